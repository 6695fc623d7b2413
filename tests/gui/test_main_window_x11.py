"""End to end: the real program with its window on a private Xvfb display,
driven with xdotool, recording from a private PulseAudio daemon (a 440 Hz tone
on the monitor of a null sink). What the user sees is read back from the X
server: the window title (status and whole seconds while recording), grabs of
the window with `import`, and which windows are mapped. Three desktops: no
tray at all, and a tray run by `trayer`.

With VOCARTA_SCREENSHOT set to a file name, the recording test also saves a
grab of the window while recording there (docs/screenshot-recording.png)."""

import os
import re
import shutil
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from session_e2e_support import SessionEnv, require_tools  # noqa: E402

TITLE = "Vocarta Sound Recorder"
X_TOOLS = ("Xvfb", "xdotool", "xwininfo", "import", "compare", "trayer")


class WindowTest(unittest.TestCase):
    def setUp(self):
        require_tools(self)
        missing = [t for t in X_TOOLS if shutil.which(t) is None]
        if missing:
            self.fail("missing: %s (scripts/install-deps.sh --with-tests)" % ", ".join(missing))
        self.env = SessionEnv(sine=True)
        self.addCleanup(self.env.close)
        self.start_xvfb()
        os.makedirs(self.env.rec, exist_ok=True)
        # Qt talks to a StatusNotifier tray over D-Bus when it finds one; these
        # tests are about the X tray and the desktop without any.
        self.env.env.pop("DBUS_SESSION_BUS_ADDRESS", None)
        self.tray = None

    def start_xvfb(self):
        # Xvfb picks a free display itself and writes its number to the pipe.
        read_fd, write_fd = os.pipe()
        self.xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(write_fd), "-nolisten", "tcp",
                                      "-screen", "0", "1024x768x24"], pass_fds=(write_fd,),
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_fd)
        with os.fdopen(read_fd) as numbers:
            number = numbers.readline().strip()
        self.addCleanup(self.stop_process, self.xvfb)
        if not number:
            self.fail("Xvfb did not start")
        self.env.env["DISPLAY"] = ":" + number

    @staticmethod
    def stop_process(proc):
        if proc.poll() is None:
            proc.terminate()
            try:
                proc.wait(5)
            except subprocess.TimeoutExpired:
                proc.kill()
                proc.wait()

    # The X side.
    def x(self, *argv):
        return subprocess.run(list(argv), env=self.env.env, capture_output=True, text=True,
                              timeout=30).stdout.strip()

    def visible(self, name=TITLE):
        return self.x("xdotool", "search", "--onlyvisible", "--name", name).split()

    def title(self):
        return self.x("xdotool", "getwindowname", self.window)

    def key(self, key, window=None):
        self.x("xdotool", "windowfocus", "--sync", window or self.window)
        self.x("xdotool", "key", key)

    def wait(self, predicate, what, timeout=20):
        self.env.wait_until(predicate, timeout, what + " (title %r)" % self.title())

    def wait_title(self, pattern, timeout=20):
        self.wait(lambda: re.search(pattern, self.title()), "a title matching %r" % pattern,
                  timeout)
        return self.title()

    def title_seconds(self):
        m = re.search(r" (\d+):(\d\d):(\d\d) - ", self.title())
        self.assertIsNotNone(m, self.title())
        return int(m.group(1)) * 3600 + int(m.group(2)) * 60 + int(m.group(3))

    def grab(self, name):
        path = os.path.join(self.env.root, name + ".png")
        self.x("import", "-window", self.window, path)
        self.assertTrue(os.path.getsize(path) > 0, "no grab of the window")
        return path

    def differing_pixels(self, a, b):
        r = subprocess.run(["compare", "-metric", "AE", a, b, "null:"], capture_output=True,
                           text=True, timeout=30)
        return int(float(r.stderr.split()[0]))

    def start_program(self):
        self.copy = self.env.start(nogui=False)
        self.env.wait_until(lambda: self.visible(), 20, "the main window")
        self.window = self.visible()[0]
        self.assertEqual(self.title(), TITLE)

    def start_recording(self):
        self.key("F5")
        self.wait_title(r"^Recording\.\.\. 0:00:0\d - " + TITLE)
        self.take = self.env.take(0)
        self.env.wait_for_audio(self.take)

    def answer_close_to_tray(self, key):
        """Quit (Ctrl+Q) while recording, and answer the question with `key`."""
        self.key("ctrl+q")
        self.env.wait_until(lambda: self.visible("^Close To Tray$"), 20, "the Close To Tray box")
        self.key(key, self.visible("^Close To Tray$")[0])
        self.env.wait_until(lambda: not self.visible("^Close To Tray$"), 20, "the box to close")

    def assert_still_recording(self):
        size = os.path.getsize(self.take)
        self.env.wait_for_audio(self.take, beyond=size)
        self.assertEqual(self.env.count_log("AfterStop"), 0)

    def stop_and_check_take(self, least_seconds):
        self.wait(lambda: self.title_seconds() > least_seconds + 1, "the take to grow")
        self.key("F7")
        self.wait_title("^" + TITLE + "$")
        self.env.wait_for_log("Recording complete for file: " + self.take)
        self.assertGreater(self.env.duration(self.take), least_seconds, self.env.describe())

    # The tests.
    def test_keys_drive_the_recording_and_the_window_shows_it(self):
        self.start_program()
        self.start_recording()
        # The time display moves: in the title, and in what the window shows.
        first = self.grab("recording1")
        seconds = self.title_seconds()
        self.wait(lambda: self.title_seconds() > seconds, "the time to move on")
        self.assertGreater(self.differing_pixels(first, self.grab("recording2")), 0)
        if os.environ.get("VOCARTA_SCREENSHOT"):
            self.wait(lambda: self.title_seconds() >= 3, "three seconds recorded")
            shutil.copyfile(self.grab("screenshot"), os.environ["VOCARTA_SCREENSHOT"])

        # Home: the retake starts the same file again from its beginning.
        self.wait(lambda: self.title_seconds() >= 2, "two seconds recorded")
        self.key("Home")
        self.env.wait_for_log("Restart")
        self.wait_title(r"^Recording\.\.\. 0:00:0[01] - ")

        # F6 pauses: the time display stands still, and so does the window.
        self.key("F6")
        self.env.wait_for_log("Pause")
        time.sleep(0.5)
        held = self.title()
        paused = self.grab("paused1")
        time.sleep(1.5)
        self.assertEqual(self.title(), held)
        self.assertEqual(self.differing_pixels(paused, self.grab("paused2")), 0)

        # F5 goes on; F7 stops and marks the file done.
        self.key("F5")
        self.env.wait_for_log("Record limit=", count=2)
        self.wait(lambda: self.title() != held, "the time to move on after the pause")
        self.stop_and_check_take(1.0)
        self.assertEqual(self.env.files(), ["Untitled 000.wav"])

        # Space plays the recording just made.
        self.key("space")
        self.env.wait_for_log("Play")
        self.assertEqual(self.env.count_log("No recording to play"), 0)

    def test_without_a_tray_record_in_background_minimises(self):
        self.start_program()
        self.env.wait_for_log("No system tray")
        self.start_recording()

        self.answer_close_to_tray("Escape")  # Cancel
        self.assertEqual(self.visible(), [self.window])
        self.assert_still_recording()

        self.answer_close_to_tray("Return")  # Record in Background, the default
        self.env.wait_for_log("No tray to hide to: the window is minimised")
        # Not withdrawn: a desktop shows it on its task bar; here it stays mapped.
        self.assertEqual(self.visible(), [self.window])
        self.assert_still_recording()

        self.env.command("-show")
        self.stop_and_check_take(1.0)
        self.assertEqual(self.copy.poll(), None)

    def test_with_a_tray_record_in_background_hides_to_the_icon(self):
        self.tray = subprocess.Popen(
            ["trayer", "--edge", "top", "--align", "right", "--widthtype", "pixel", "--width",
             "120", "--heighttype", "pixel", "--height", "24"],
            env=self.env.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(self.stop_process, self.tray)
        self.env.wait_until(lambda: "panel" in self.x("xwininfo", "-root", "-tree"), 20,
                            "trayer's panel")
        self.start_program()
        self.env.wait_for_log("Tray icon shown")
        icon = self.tray_icon_position()
        self.start_recording()

        self.answer_close_to_tray("Return")  # Record in Background
        self.env.wait_until(lambda: not self.visible(), 20, "the window to hide")
        self.assert_still_recording()

        # A click on the icon brings the window back.
        self.x("xdotool", "mousemove", str(icon[0]), str(icon[1]), "click", "1")
        self.env.wait_until(lambda: self.visible(), 20, "the window back from the tray")
        self.assert_still_recording()
        self.wait(lambda: self.title_seconds() >= 2, "two seconds recorded")

        # Hidden again, the tray menu stops the recording, then quits.
        self.answer_close_to_tray("Return")
        self.env.wait_until(lambda: not self.visible(), 20, "the window to hide")
        self.tray_menu(icon, "t")  # "S&top and Mark Done"
        self.env.wait_for_log("Recording complete for file: " + self.take)
        self.assertGreater(self.env.duration(self.take), 1.0, self.env.describe())
        self.tray_menu(icon, "q")  # "&Quit"
        self.assertEqual(self.copy.wait(timeout=20), 0)

    def tray_icon_position(self):
        """Centre of the program's icon inside trayer's panel, in root coordinates."""
        def find():
            for line in self.x("xwininfo", "-root", "-tree").splitlines():
                m = re.search(r'"vocarta": \("vocarta" "vocarta"\)\s+(\d+)x(\d+)\+-?\d+\+-?\d+'
                              r'\s+\+(-?\d+)\+(-?\d+)', line)
                if m and int(m.group(1)) <= 64:
                    w, h, x, y = map(int, m.groups())
                    return x + w // 2, y + h // 2
            return None
        self.env.wait_until(lambda: find() is not None, 20, "the icon in the tray")
        return find()

    def tray_menu(self, icon, mnemonic):
        self.x("xdotool", "mousemove", str(icon[0]), str(icon[1]), "click", "3")
        time.sleep(0.5)  # the menu grabs the keyboard once it is up
        self.x("xdotool", "key", mnemonic)


if __name__ == "__main__":
    unittest.main()
