"""End to end: a start needs room for 100 s of 44100 Hz stereo 32-bit samples
after the Trash of the record folder's file system is emptied; at each 60-second
check a recording without that room is stopped. As root the record folder is a
small tmpfs (whose trash is emptied, never the home Trash on another file system);
otherwise the free-space figure is injected through VOCARTA_FREE_BYTES_FILE."""

import os
import subprocess
import unittest

from session_e2e_support import SessionEnv, require_tools, run

MB = 1024 * 1024
TITLE = 'Message "Vocarta Sound Recorder": '
LOW_DISK_TEXT = ("Recording has been stopped due to low disk space. Please free up some space "
                 "and start recording again.")
NO_SPACE_TEXT = ("You have no free disk space left. Please delete some of the files to make "
                 "more space.")


class DiskSpaceTest(unittest.TestCase):
    def test_start_refused_then_recording_stopped_at_the_minute_check(self):
        require_tools(self)
        env = SessionEnv(modules=False, mic=True)
        self.addCleanup(env.close)
        os.makedirs(env.rec)
        if os.geteuid() == 0:
            run("mount", "-t", "tmpfs", "-o", "size=30m", "tmpfs", env.rec)
            self.addCleanup(subprocess.run, ["umount", "-l", env.rec])  # before env.close
            set_free = lambda size: run("mount", "-o", "remount,size=%d" % size, env.rec)
        else:
            figure = os.path.join(env.root, "free-bytes")
            env.env["VOCARTA_FREE_BYTES_FILE"] = figure

            def set_free(size):
                with open(figure, "w") as f:
                    f.write("%d\n" % size)
            set_free(30 * MB)
        # The home Trash; as root it is on another file system than the tmpfs, whose
        # own trash is .Trash-0 at its top.
        home_trash = os.path.join(env.env["XDG_DATA_HOME"], "Trash")
        volume_trash = os.path.join(env.rec, ".Trash-0")
        trashes = [home_trash] + ([volume_trash] if os.geteuid() == 0 else [])
        for trash in trashes:
            os.makedirs(os.path.join(trash, "info"))
            os.makedirs(os.path.join(trash, "files"))
            with open(os.path.join(trash, "files", "old.wav"), "wb") as f:
                f.write(b"\0" * 4096)

        # 30 MB: not enough to start, and emptying the Trash does not help. A
        # headless launch whose recording cannot start says so and ends with 1.
        copy = env.popen("-record", "wav")
        self.assertEqual(copy.wait(timeout=30), 1, env.describe())
        self.assertIn("the recording could not start: needs", env.stderr_of(0))
        env.wait_for_log(TITLE + NO_SPACE_TEXT)
        self.assertEqual(env.files(), [".Trash-0"] if os.geteuid() == 0 else [])
        self.assertFalse(os.path.exists(os.path.join(trashes[-1], "files", "old.wav")))
        if os.geteuid() == 0:
            self.assertTrue(os.path.exists(os.path.join(home_trash, "files", "old.wav")),
                            "the home Trash on another file system was emptied")
            self.assertIn("Trash emptied: %s: 1 items, 4096 bytes" % volume_trash,
                          env.log_lines())
        self.assertEqual(env.read_setting("UsageStats", "LastFailedReason"), "LowDiskSpace")

        # 40 MB: it starts (the refused start used up 000); 60 s take 21 MB.
        set_free(40 * MB)
        copy = env.start("-record")
        take = env.take(1)
        env.wait_for_log("Recording into " + take)
        if os.geteuid() != 0:  # a tmpfs fills up by itself
            set_free(40 * MB - 60 * 44100 * 2 * 4)
        env.wait_for_log("AfterStop done=true", timeout=90, proc=copy)
        env.wait_for_log(TITLE + LOW_DISK_TEXT)
        self.assertIsNone(copy.poll(), "the program goes on; only the recording stopped")
        self.assertEqual([f for f in env.files() if f != ".Trash-0"], ["Untitled 001.wav"])
        # A finished file: its header matches its data, and it holds the minute
        # (checked at the time updates, once a second when nothing shows them).
        self.assertGreater(env.duration(take), 59.9)
        self.assertLess(env.duration(take), 61.3)
        self.assertGreater(env.rms(take, 58, 1), 0.2)
        self.assertIn(LOW_DISK_TEXT, env.stderr_of(1))


if __name__ == "__main__":
    unittest.main()
