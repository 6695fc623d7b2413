"""End to end: the free-space rule. A start needs room for 100 s of 32-bit
samples (44100 Hz stereo: 35 280 000 bytes) after the Trash has been emptied,
and a recording is stopped at the 60-second check when that room is gone.

Running as root, the record folder is a small tmpfs mounted by the test; as
any other user the free-space figure is injected through
VOCARTA_FREE_BYTES_FILE (see docs/session.md)."""

import os
import subprocess
import time
import unittest

from session_e2e_support import SessionEnv, require_tools, run

NEEDED = 44100 * 100 * 2 * 4
LOW_DISK_TEXT = ("Recording has been stopped due to low disk space. Please free up some space "
                 "and start recording again.")
NO_SPACE_TEXT = ("You have no free disk space left. Please delete some of the files to make "
                 "more space.")


class LowDiskSpace:
    """The record folder's free space, real (tmpfs) or injected."""

    def __init__(self, env):
        self.env = env
        self.mounted = False
        os.makedirs(env.rec, exist_ok=True)
        if os.geteuid() == 0:
            run("mount", "-t", "tmpfs", "-o", "size=30m", "tmpfs", env.rec)
            self.mounted = True
        else:
            self.figure = os.path.join(env.root, "free-bytes")
            env.env["VOCARTA_FREE_BYTES_FILE"] = self.figure
            self.set_free(30 * 1024 * 1024)

    def set_free(self, size):
        if self.mounted:
            run("mount", "-o", "remount,size=%d" % size, self.env.rec)
        else:
            with open(self.figure, "w") as f:
                f.write("%d\n" % size)

    def recording_fills_it(self):
        """A tmpfs fills up by itself; an injected figure is lowered by hand to
        what 60 s of recording would leave of 40 MB."""
        if not self.mounted:
            self.set_free(40 * 1024 * 1024 - 60 * 44100 * 2 * 4)

    def close(self):
        if self.mounted:
            subprocess.run(["umount", "-l", self.env.rec], check=False)


class DiskSpaceTest(unittest.TestCase):
    def setUp(self):
        require_tools(self)

    def test_start_refused_then_recording_stopped_at_the_minute_check(self):
        with SessionEnv() as env:
            disk = LowDiskSpace(env)
            try:
                self.run_low_disk(env, disk)
            finally:
                disk.close()

    def run_low_disk(self, env, disk):
        trash = os.path.join(env.env["XDG_DATA_HOME"], "Trash")
        os.makedirs(os.path.join(trash, "files"))
        os.makedirs(os.path.join(trash, "info"))
        with open(os.path.join(trash, "files", "old.wav"), "wb") as f:
            f.write(b"\0" * 4096)

        # 30 MB free: not enough to start, and emptying the Trash does not help.
        copy = env.start("-record", "wav")
        env.wait_for_log('Message "Vocarta Sound Recorder": ' + NO_SPACE_TEXT)
        self.assertEqual(env.files(), [])
        self.assertFalse(os.path.exists(os.path.join(trash, "files", "old.wav")))
        self.assertEqual(env.read_setting("UsageStats", "LastFailedReason"), "LowDiskSpace")

        # 40 MB: it starts; 60 s of recording take 21 MB, and the next check stops it.
        disk.set_free(40 * 1024 * 1024)
        env.command("-record")
        # A refusal for space does not give its number back (only a device failure does).
        take = env.take(1)
        env.wait_for_log("Recording into " + take)
        disk.recording_fills_it()
        env.wait_for_log("AfterStop done=true", timeout=90, proc=copy)
        env.wait_for_log('Message "Vocarta Sound Recorder": ' + LOW_DISK_TEXT)
        self.assertIsNone(copy.poll(), "the program goes on; only the recording stopped")
        self.assertEqual(env.files(), ["Untitled 001.wav"])
        # A finished file: its header matches its data, and it holds the minute.
        length = float(run("soxi", "-D", take).stdout)
        self.assertAlmostEqual(length, 60.0, delta=0.4)
        self.assertGreater(env.rms(take, 58, 1), 0.2)
        self.assertIn(LOW_DISK_TEXT, env.stderr_of(0))


if __name__ == "__main__":
    unittest.main()
