# End to end: system-wide hot-keys of the windowed program on a private Xvfb
# display, bound through the options window's hot-key page with the keyboard as a
# user would; they start and stop a recording at once. A key another program holds,
# and pause/resume in the file: tests/hotkeys and the recorder's own tests.

import re
import time
import unittest

from x11_session import TITLE, x11_session

# Order of the commands in the dialog's list.
RECORD, PAUSE, STOP, PLAY = 0, 1, 2, 4
# Ctrl+Alt+F1..F12 switch terminals in the X keyboard map: letters instead.
RECORD_KEY, PAUSE_KEY, STOP_KEY, HELD_KEY = "ctrl+alt+r", "ctrl+alt+p", "ctrl+alt+t", "ctrl+alt+s"


class HotkeyTest(unittest.TestCase):
    def setUp(self):
        self.env, _, self.display = x11_session(self, modules=False, mic=True)
        self.x = self.display.x

    def window(self, name):
        # The visible window named exactly `name`, once there is one.
        self.display.proc = self.copy
        return self.display.wait_for("^%s$" % re.escape(name))

    def gone(self, name):
        self.display.wait_for("^%s$" % re.escape(name), shown=False)

    def keys(self, name, *keys):
        # Keys typed into the window `name`, after giving it the focus.
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

    def press(self, key, log_line, focus):
        before = self.env.count_log(log_line)
        self.x("xdotool", "windowfocus", "--sync", focus)
        self.x("xdotool", "key", key)
        self.env.wait_for_log(log_line, before + 1, 10, self.copy)

    def test_keys_bound_on_the_page_drive_a_recording(self):
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

if __name__ == "__main__":
    unittest.main()
