"""End to end: system-wide hot-keys of the windowed program on a private Xvfb
display. The bindings are made through the options window's hot-key page with
the keyboard, as a user would. At the next start another program holds one of
the keys: that binding is refused with a message naming the key, and with the
other program's window in front xdotool presses the other keys, which start,
pause, resume and stop a recording from the clock-paced test microphone."""

import array
import os
import re
import select
import subprocess
import sys
import time
import unittest
import wave

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "app"))
from session_e2e_support import TOOLS, SessionEnv, require_tools  # noqa: E402
from vocarta_testlib import XDisplay, end_process, start_xvfb  # noqa: E402

TITLE = "Vocarta Sound Recorder"
OTHER = os.path.join(HERE, "other_x_client.py")
# Order of the commands in the dialog's list.
RECORD, PAUSE, STOP, PLAY = 0, 1, 2, 4
# Ctrl+Alt+F1..F12 switch terminals in the X keyboard map: letters instead.
RECORD_KEY, PAUSE_KEY, STOP_KEY, HELD_KEY = "ctrl+alt+r", "ctrl+alt+p", "ctrl+alt+t", "ctrl+alt+s"


class HotkeyTest(unittest.TestCase):
    def setUp(self):
        require_tools(self, TOOLS + ("Xvfb", "xdotool"))
        self.env = SessionEnv(modules=False, mic=True)
        self.addCleanup(self.env.close)
        self.xvfb = start_xvfb(self.env.env)
        self.addCleanup(end_process, self.xvfb)
        os.makedirs(self.env.rec)  # else the first take asks to create it
        # Keys through X grabs, not a portal on a session bus of the machine's.
        self.env.env.pop("DBUS_SESSION_BUS_ADDRESS", None)
        self.display = XDisplay(self.env)
        self.x = self.display.x

    def window(self, name):
        """The visible window named exactly `name`, once there is one."""
        self.display.proc = self.copy
        return self.display.wait_for("^%s$" % re.escape(name))

    def gone(self, name):
        self.display.wait_for("^%s$" % re.escape(name), shown=False)

    def keys(self, name, *keys):
        """Keys typed into the window `name`, after giving it the focus."""
        self.x("xdotool", "windowfocus", "--sync", self.window(name))
        for key in keys:
            self.x("xdotool", "key", "--delay", "50", key)
            time.sleep(0.1)

    def add_binding(self, command_row, key):
        self.keys("Options", "alt+a")
        # The command list has the focus; Tab moves on to the "Press Key" box, which
        # takes the next key and hands the focus to OK.
        self.keys("Add New Hot-Key", *(["Down"] * command_row + ["Tab", key]))
        time.sleep(0.2)
        self.keys("Add New Hot-Key", "Return")
        self.gone("Add New Hot-Key")

    def press(self, key, log_line, focus=None):
        """A hot-key pressed while the other program (or `focus`) has the focus."""
        before = self.env.count_log(log_line)
        self.x("xdotool", "windowfocus", "--sync", focus or self.other_window)
        self.x("xdotool", "key", key)
        self.env.wait_for_log(log_line, before + 1, 10, self.copy)

    def mic_seconds(self, path):
        """The second of the microphone's 16-second cycle heard at a time into the
        take: its tone is 200 + 100 * second Hz, counted here by zero crossings in
        0.1 s (sox's own estimate is too rough for that)."""
        plain = os.path.join(self.env.root, "plain.wav")
        subprocess.run(["sox", path, "-b", "16", "-e", "signed", "-c", "1", plain], check=True)
        with wave.open(plain) as w:
            rate = w.getframerate()
            samples = array.array("h", w.readframes(w.getnframes()))

        def second(at):
            s = samples[int(at * rate):int((at + 0.1) * rate)]
            hertz = sum(1 for i in range(1, len(s)) if s[i - 1] < 0 <= s[i]) / 0.1
            return round((hertz - 200) / 100)
        return second

    def test_keys_bound_on_the_page_drive_a_recording_from_behind_another_program(self):
        self.copy = self.env.start(nogui=False)
        self.env.wait_for_log("Hot-keys through X11 key grabs", 1, 20, self.copy)
        self.keys(TITLE, "alt+f", "o")
        for _ in range(3):  # Recording, Device, Trimming, Hot-Keys
            self.keys("Options", "ctrl+Tab")
        for row, key in ((RECORD, RECORD_KEY), (PAUSE, PAUSE_KEY), (STOP, STOP_KEY),
                         (PLAY, HELD_KEY)):
            self.add_binding(row, key)
        for saved in ('⌃⌥R saved for "Start Recording"', '⌃⌥P saved for "Pause Recording"',
                      '⌃⌥T saved for "Stop and Mark Done"', '⌃⌥S saved for "Play Recording"'):
            self.assertEqual(self.env.count_log("Hot-key " + saved), 1, self.env.describe())
        self.env.wait_for_log("Hot-keys registered: 4 of 4", 1, 10, self.copy)
        self.keys("Options", "Tab", "Return")  # from Add on to OK
        self.gone("Options")
        self.env.wait_for_log("Options stored", 1, 10, self.copy)
        # They work at once, without a new start.
        window = self.window(TITLE)
        self.press(RECORD_KEY, "Command from the hot-key: record", window)
        self.env.wait_for_audio(self.env.take(0), beyond=100)
        self.press(STOP_KEY, "Command from the hot-key: stop", window)
        self.env.wait_for_log("Recording complete for file: " + self.env.take(0), 1, 20,
                              self.copy)
        self.env.command("-exit")
        self.assertEqual(self.copy.wait(timeout=20), 0)

        # Another program takes one of the keys before the next start: that binding
        # is refused with a message naming the key; the others work.
        other = subprocess.Popen(["/usr/bin/python3", OTHER, HELD_KEY], env=self.env.env,
                                 stdout=subprocess.PIPE, text=True)
        self.addCleanup(other.stdout.close)
        self.addCleanup(end_process, other)
        self.assertEqual(other.stdout.readline().strip(), "ready")
        self.copy = self.env.start(nogui=False)
        self.keys("Hot-Key Not Available", "Return")
        self.gone("Hot-Key Not Available")
        self.assertEqual(self.env.count_log("Hot-key not registered: Play Recording: The hot-key "
                                            "⌃⌥S could not be registered: another program "
                                            "already uses it."), 1, self.env.describe())
        self.assertEqual(self.env.count_log("Hot-keys registered: 3 of 4"), 1)

        # The held key still reaches the program that holds it, and only that one.
        self.other_window = self.window("Other Program")
        self.x("xdotool", "windowfocus", "--sync", self.other_window)
        self.x("xdotool", "key", HELD_KEY)
        ready, _, _ = select.select([other.stdout], [], [], 10)
        self.assertTrue(ready and other.stdout.readline().strip() == "pressed")

        # Lengths are measured from the first audio of each stretch: a stream
        # takes a moment to deliver after it connects.
        take = self.env.take(1)
        self.press(RECORD_KEY, "Command from the hot-key: record")
        started = self.env.wait_for_audio(take, beyond=100)  # past the header
        time.sleep(2)
        self.press(PAUSE_KEY, "Command from the hot-key: pause")
        paused = time.monotonic()
        time.sleep(3)
        self.press(RECORD_KEY, "Command from the hot-key: record")
        resumed = self.env.wait_for_audio(take)
        time.sleep(2)
        self.press(STOP_KEY, "Command from the hot-key: stop")
        stopped = time.monotonic()
        self.env.wait_for_log("Recording complete for file: " + take, 1, 20, self.copy)
        self.assertEqual(self.env.count_log("Play"), 0, "the refused key played")

        # The file holds the two stretches and not the pause between them: its
        # length is what was recorded, and the microphone's time jumps by the
        # pause where the first stretch ends.
        first, second = paused - started, stopped - resumed
        length = SessionEnv.duration(take)
        self.assertAlmostEqual(length, first + second, delta=0.5, msg=self.env.describe())
        heard = self.mic_seconds(take)
        self.assertAlmostEqual((heard(first - 0.35) - heard(0.05)) % 16, first - 0.4, delta=1.2)
        self.assertAlmostEqual((heard(first + 0.25) - heard(first - 0.35)) % 16,
                               resumed - paused + 0.6, delta=1.2)
        self.assertAlmostEqual((heard(length - 0.15) - heard(first + 0.25)) % 16,
                               second - 0.4, delta=1.2)


if __name__ == "__main__":
    sys.exit(unittest.main())
