# End to end: Recording > Find and Play Recordings... on a private Xvfb display,
# opened with the keyboard over a record folder of real WAV, MP3, AIFF and FLAC
# files made with sox (one cut short). A take recorded while the window is open
# is listed as soon as the recorder finishes it, without a rescan (the log says
# what the window listed). The toolbar is driven with its keys as a user would:
# the view filter narrows the list, the recording left plays on the private
# PulseAudio daemon, is saved elsewhere through the save panel, renamed in the
# list and deleted to the Trash. With VOCARTA_SCREENSHOT set to a file name, a
# grab of the window is saved there.

import os
import shutil
import subprocess
import unittest

from vocarta_testlib import XDisplay
from x11_session import TITLE, x11_session

FIND = "^Find and Play Recordings$"


class RecordingsWindowTest(unittest.TestCase):
    def setUp(self):
        self.env, _, _ = x11_session(self, ("import",), sine=True)
        for name, seconds in (("take1.wav", 1), ("take2.mp3", 2), ("take3.aiff", 3),
                              ("take4.flac", 4)):
            subprocess.run(["sox", "-n", "-r", "44100", "-c", "2",
                            os.path.join(self.env.rec, name), "synth", str(seconds), "sine",
                            "440"], check=True, capture_output=True, timeout=60)
        with open(os.path.join(self.env.rec, "take1.wav"), "rb") as f:
            head = f.read(30)
        with open(os.path.join(self.env.rec, "cut.wav"), "wb") as f:
            f.write(head)

    def open_window(self):
        # Starts the program and opens the window from the menu: (main, window).
        self.proc = self.env.start(nogui=False)
        self.display = XDisplay(self.env, self.proc)
        main = self.display.wait_for("^" + TITLE + "$")
        self.display.keys(main, "alt+r", "f")
        window = self.display.wait_for(FIND)
        self.env.wait_for_log("Recordings window: 5 Recordings were found in " + self.env.rec)
        return main, window

    def found(self, count):
        # How many scans of the record folder listed `count` recordings.
        text = "%d Recording%s found in %s" % (count, " was" if count == 1 else "s were",
                                                self.env.rec)
        return self.env.count_log("Recordings window: " + text)

    def test_window_lists_the_folder_and_follows_the_recorder(self):
        main, _ = self.open_window()

        # A take made now shows up when the recorder closes it.
        self.display.keys(main, "F5")
        take = self.env.take(0)
        self.env.wait_for_audio(take)
        self.display.keys(main, "F7")
        self.env.wait_for_log("Recording complete for file: " + take)
        self.env.wait_for_log("Recordings window: listed " + take)
        self.assertEqual(self.env.count_log("Recordings window: 5 Recordings"), 1,
                         "the folder was scanned again instead")

    def test_toolbar_filters_plays_saves_renames_and_deletes(self):
        _, window = self.open_window()
        d = self.display
        if os.environ.get("VOCARTA_SCREENSHOT"):
            grab = os.path.join(self.env.root, "find.png")
            d.x("import", "-window", window, grab)
            shutil.copyfile(grab, os.environ["VOCARTA_SCREENSHOT"])
        take2 = os.path.join(self.env.rec, "take2.mp3")

        # View Filter (Ctrl+F): find TAKE2 in the Name column. With a fresh
        # filter only the date check, the criterion and "Find what:" take focus.
        d.keys(window, "ctrl+f")
        dialog = d.wait_for("^View Filter$")
        d.keys(dialog, "Tab", "Tab", "space", "Tab")
        d.type("TAKE2")
        d.keys(dialog, "Return")
        d.wait_for("^View Filter$", shown=False)
        self.env.wait_until(lambda: self.found(1) == 1, 10, "the list narrowed to take2.mp3",
                            self.proc)

        # Return plays the recording left: the program opens a stream on the daemon.
        pid = 'application.process.id = "%d"' % self.proc.pid

        def playing():
            return pid in self.env.pulse.pactl("list", "sink-inputs").stdout
        self.assertFalse(playing())
        d.keys(window, "Return")
        self.env.wait_until(playing, 10, "the recording played", self.proc)

        # Save As (Ctrl+S): a path typed into the panel gets a copy (byte for byte:
        # actions_files_test.cpp).
        copies = os.path.join(self.env.env["HOME"], "copies")
        os.makedirs(copies)
        d.keys(window, "ctrl+s")
        panel = d.wait_for(r"^Save Recording As\.\.$")
        d.keys(panel, "ctrl+a")
        d.type(os.path.join(copies, "saved take2.mp3"))
        d.keys(panel, "Return")
        d.wait_for(r"^Save Recording As\.\.$", shown=False)
        copy = os.path.join(copies, "saved take2.mp3")
        self.env.wait_until(lambda: os.path.exists(copy), 10, "the saved copy", self.proc)

        # F2 renames in the list: the file is renamed on disk and still found.
        d.keys(window, "F2")
        d.type("TAKE2 renamed.mp3")
        d.keys(window, "Return")
        renamed = os.path.join(self.env.rec, "TAKE2 renamed.mp3")
        self.env.wait_until(lambda: os.path.exists(renamed), 10, "the renamed file", self.proc)
        self.assertFalse(os.path.exists(take2))
        self.env.wait_until(lambda: self.found(1) == 2, 10, "the renamed file listed",
                            self.proc)

        # Delete asks first; its safe answer "No" is the default, so Tab to "Delete".
        d.keys(window, "Delete")
        box = d.wait_for("^Delete$")
        d.keys(box, "Tab", "space")
        d.wait_for("^Delete$", shown=False)
        self.env.wait_until(lambda: self.found(0) == 1, 10, "the list emptied", self.proc)
        self.assertFalse(os.path.exists(renamed))
        # Into the Trash, with its record (their form: actions_trash_test.cpp).
        trash = os.path.join(self.env.env["XDG_DATA_HOME"], "Trash")
        self.assertTrue(os.path.exists(os.path.join(trash, "files", "TAKE2 renamed.mp3")))
        self.assertTrue(os.path.exists(os.path.join(trash, "info", "TAKE2 renamed.mp3.trashinfo")))
        self.assertEqual(sorted(os.listdir(self.env.rec)),
                         ["cut.wav", "take1.wav", "take3.aiff", "take4.flac"])


if __name__ == "__main__":
    unittest.main()
