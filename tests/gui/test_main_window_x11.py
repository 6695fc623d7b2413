# End to end: the program with its window on a private Xvfb display, driven with
# xdotool and second launches, recording a 440 Hz tone from a private PulseAudio
# daemon. What the user sees is read back from the X server: the title (status and
# whole seconds while recording), grabs of the window, which windows are mapped.
# Desktops without a tray and with `trayer`. With VOCARTA_SCREENSHOT set to a file
# name, a grab of the window while recording is saved there.

import os
import re
import shutil
import subprocess
import time
import unittest

from vocarta_testlib import end_process
from x11_session import TITLE, x11_session

BOX = "^Close To Tray$"


class WindowTest(unittest.TestCase):
    def setUp(self):
        self.env, self.xvfb, self.display = x11_session(
            self, ("xwininfo", "import", "compare", "trayer"), sine=True)
        self.x = self.display.x

    def visible(self):
        return self.display.visible(TITLE)

    def title(self):
        return self.x("xdotool", "getwindowname", self.window)

    def key(self, key, window=None):
        self.display.keys(window or self.window, key)

    def wait(self, predicate, what):
        self.env.wait_until(predicate, 20, what + " (title %r)" % self.title())

    def wait_title(self, pattern):
        self.wait(lambda: re.search(pattern, self.title()), "a title matching %r" % pattern)

    def title_seconds(self):
        m = re.search(r" (\d+):(\d\d):(\d\d) - ", self.title())
        self.assertIsNotNone(m, self.title())
        return int(m.group(1)) * 3600 + int(m.group(2)) * 60 + int(m.group(3))

    def grab(self, name):
        path = os.path.join(self.env.root, name + ".png")
        self.x("import", "-window", self.window, path)
        self.assertGreater(os.path.getsize(path), 0, "no grab of the window")
        return path

    def differing_pixels(self, a, b):
        return int(float(subprocess.run(["compare", "-metric", "AE", a, b, "null:"],
                                        capture_output=True, text=True).stderr.split()[0]))

    def start_program(self):
        self.copy = self.env.start(nogui=False)
        self.window = self.display.wait_for(TITLE)
        self.assertEqual(self.title(), TITLE)

    def start_recording(self):
        self.key("F5")
        self.wait_title(r"^Recording\.\.\. 0:00:0\d - " + TITLE)
        self.take = self.env.take(0)
        self.env.wait_for_audio(self.take)

    def answer_close_to_tray(self, key):
        self.key("ctrl+q")
        self.key(key, self.display.wait_for(BOX))
        self.display.wait_for(BOX, shown=False)

    def assert_still_recording(self):
        self.env.wait_for_audio(self.take)
        self.assertEqual(self.env.count_log("AfterStop"), 0)

    def stop_and_check_take(self, least_seconds):
        self.wait(lambda: self.title_seconds() > least_seconds + 1, "the take to grow")
        self.key("F7")
        self.wait_title("^" + TITLE + "$")
        self.env.wait_for_log("Recording complete for file: " + self.take)
        self.assertGreater(self.env.duration(self.take), least_seconds, self.env.describe())

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

        # F6 pauses: the time stands still, the title says so, and the time
        # display blinks, so the window is never taken for a running recording.
        self.key("F6")
        self.env.wait_for_log("Pause")
        time.sleep(0.5)
        held = self.title()
        self.assertTrue(held.startswith("Paused "), held)
        frames = [self.grab("paused%d" % i) for i in range(4) if time.sleep(0.3) is None]
        self.assertEqual(self.title(), held)
        self.assertTrue(any(self.differing_pixels(frames[0], f) > 0 for f in frames[1:]),
                        "the paused time display does not blink")

        # F5 goes on; F7 stops and marks the file done. (Home and Space: the same
        # shortcuts, hotkey_service_test.cpp; what they do: tests/app.)
        self.key("F5")
        self.env.wait_for_log("Record limit=", count=2)
        self.wait(lambda: self.title() != held, "the time to move on after the pause")
        self.stop_and_check_take(1.0)
        self.assertEqual(self.env.files(), ["Untitled 000.wav"])

    def test_forwarded_switches_show_and_hide_the_window(self):
        self.env.write_settings("Settings", MainWindowShownAtStartup="0")
        copy = self.env.start(nogui=False)
        time.sleep(0.5)
        self.assertEqual(self.visible(), [], "shown although the setting says hidden")
        for switches, shown in ((["-show"], True), (["-hide"], False), ([], True)):
            self.env.command(*switches)
            self.display.wait_for(TITLE, shown)
        self.env.wait_for_log("BringToFront")  # the bare launch
        self.env.command("-exit")
        self.assertEqual(copy.wait(timeout=20), 0)
        self.assertFalse(os.path.lexists(self.env.socket_path))

    def test_dead_display_falls_back_to_headless(self):
        end_process(self.xvfb)
        copy = self.env.start(nogui=False)
        self.env.command("-exit")
        self.assertEqual(copy.wait(timeout=20), 0)

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
        self.assertIsNone(self.copy.poll())

    def test_with_a_tray_record_in_background_hides_to_the_icon(self):
        tray = subprocess.Popen(
            ["trayer", "--edge", "top", "--align", "right", "--widthtype", "pixel", "--width",
             "120", "--heighttype", "pixel", "--height", "24"],
            env=self.env.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(end_process, tray)
        self.env.wait_until(lambda: "panel" in self.x("xwininfo", "-root", "-tree"), 20,
                            "trayer's panel")
        self.start_program()
        self.env.wait_for_log("Tray icon shown")
        self.env.wait_until(lambda: self.tray_icon() is not None, 20, "the icon in the tray")
        icon = self.tray_icon()
        self.start_recording()
        self.answer_close_to_tray("Return")  # Record in Background
        self.display.wait_for(TITLE, shown=False)
        self.assert_still_recording()

        self.x("xdotool", "mousemove", str(icon[0]), str(icon[1]), "click", "1")
        self.display.wait_for(TITLE)
        self.assert_still_recording()
        self.wait(lambda: self.title_seconds() >= 2, "two seconds recorded")

        # Hidden again, the tray menu stops the recording, then quits.
        self.answer_close_to_tray("Return")
        self.display.wait_for(TITLE, shown=False)
        self.tray_menu(icon, "t")  # "S&top and Mark Done"
        self.env.wait_for_log("Recording complete for file: " + self.take)
        self.assertGreater(self.env.duration(self.take), 1.0, self.env.describe())
        self.tray_menu(icon, "q")  # "&Quit"
        self.assertEqual(self.copy.wait(timeout=20), 0)

    def tray_icon(self):  # the centre of the program's icon in trayer's panel
        for line in self.x("xwininfo", "-root", "-tree").splitlines():
            m = re.search(r'"vocarta": \("vocarta" "vocarta"\)\s+(\d+)x(\d+)\+-?\d+\+-?\d+'
                          r'\s+\+(-?\d+)\+(-?\d+)', line)
            if m and int(m.group(1)) <= 64:
                w, h, x, y = map(int, m.groups())
                return x + w // 2, y + h // 2
        return None

    def tray_menu(self, icon, mnemonic):
        self.x("xdotool", "mousemove", str(icon[0]), str(icon[1]), "click", "3")
        time.sleep(0.5)  # the menu grabs the keyboard once it is up
        self.x("xdotool", "key", mnemonic)


if __name__ == "__main__":
    unittest.main()
