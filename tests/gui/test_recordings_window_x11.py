"""End to end: Recording > Find and Play Recordings... on a private Xvfb display,
opened with the keyboard over a record folder of real WAV, MP3, AIFF and FLAC
files made with sox (one cut short). A take recorded while the window is open
is listed as soon as the recorder finishes it, without a rescan (the log says
what the window listed). With VOCARTA_SCREENSHOT set to a file name, a grab of
the window is saved there."""

import os
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from session_e2e_support import TOOLS, SessionEnv, require_tools  # noqa: E402
from vocarta_testlib import end_process, start_xvfb  # noqa: E402

TITLE = "Vocarta Sound Recorder"
FIND = "^Find and Play Recordings$"


class RecordingsWindowTest(unittest.TestCase):
    def setUp(self):
        require_tools(self, TOOLS + ("Xvfb", "xdotool", "import"))
        self.env = SessionEnv(sine=True)
        self.addCleanup(self.env.close)
        self.xvfb = start_xvfb(self.env.env)
        self.addCleanup(end_process, self.xvfb)
        self.env.env.pop("DBUS_SESSION_BUS_ADDRESS", None)
        os.makedirs(self.env.rec)
        for name, seconds in (("take1.wav", 1), ("take2.mp3", 2), ("take3.aiff", 3),
                              ("take4.flac", 4)):
            subprocess.run(["sox", "-n", "-r", "44100", "-c", "2",
                            os.path.join(self.env.rec, name), "synth", str(seconds), "sine",
                            "440"], check=True, capture_output=True, timeout=60)
        with open(os.path.join(self.env.rec, "take1.wav"), "rb") as f:
            head = f.read(30)
        with open(os.path.join(self.env.rec, "cut.wav"), "wb") as f:
            f.write(head)

    def x(self, *argv):
        return subprocess.run(list(argv), env=self.env.env, capture_output=True, text=True,
                              timeout=30).stdout.strip()

    def visible(self, name):
        return self.x("xdotool", "search", "--onlyvisible", "--name", name).split()

    def key(self, window, *keys):
        self.x("xdotool", "windowfocus", "--sync", window)
        for key in keys:
            self.x("xdotool", "key", key)

    def test_window_lists_the_folder_and_follows_the_recorder(self):
        self.env.start(nogui=False)
        self.env.wait_until(lambda: self.visible("^" + TITLE + "$"), 20, "the main window")
        main = self.visible("^" + TITLE + "$")[0]
        self.key(main, "alt+r", "f")
        self.env.wait_until(lambda: self.visible(FIND), 20, "the recordings window")
        self.env.wait_for_log("Recordings window: 5 Recordings were found in " + self.env.rec)
        if os.environ.get("VOCARTA_SCREENSHOT"):
            grab = os.path.join(self.env.root, "find.png")
            self.x("import", "-window", self.visible(FIND)[0], grab)
            shutil.copyfile(grab, os.environ["VOCARTA_SCREENSHOT"])

        # A take made now shows up when the recorder closes it.
        self.key(main, "F5")
        take = self.env.take(0)
        self.env.wait_for_audio(take)
        self.key(main, "F7")
        self.env.wait_for_log("Recording complete for file: " + take)
        self.env.wait_for_log("Recordings window: listed " + take)
        self.assertEqual(self.env.count_log("Recordings window: 5 Recordings"), 1,
                         "the folder was scanned again instead")


if __name__ == "__main__":
    unittest.main()
