"""End to end: real vocarta processes, headless, sharing one running copy.
Recording goes through the simulated capture layer: no sound server needed."""

import os
import socket
import stat
import time
import unittest

from vocarta_testlib import VocartaEnv

LAUNCH_LIMIT_S = 5.0  # generous: catches a hang, not slowness (bench/ measures speed)
LIMIT_LINE = "Record limit=216000000"


class SingleInstanceTest(unittest.TestCase):
    def setUp(self):
        self.env = VocartaEnv()
        self.addCleanup(self.env.close)
        self.env.env.update(VOCARTA_CAPTURE="simulated", VOCARTA_PLAYBACK="null")

    def test_second_launch_hands_its_switches_over_and_ends(self):
        env = self.env
        copy = env.start("-record", "flac")
        env.wait_for_log(LIMIT_LINE)
        result, seconds = env.launch("-hide", "-RECORD", "wav")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertLess(seconds, LAUNCH_LIMIT_S)
        # What the switches do there: session_dispatch_test.cpp.
        env.wait_for_log('Command line: "-hide" "-RECORD" "wav"')
        self.assertIsNone(copy.poll(), "the running copy must keep running")
        # Only a bare launch brings the window to the front; to a copy without
        # one it says so and ends with 1.
        result, _ = env.launch()
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"without a window", result.stderr)
        env.command("-surveysched")
        env.wait_for_log("BringToFront")
        env.wait_for_log("Command line: -surveysched has no effect")
        self.assertEqual(env.count_log("BringToFront"), 1)
        self.assertEqual(env.count_log("Command line:"), 3)

    def test_stale_socket_of_a_killed_copy_is_taken_over(self):
        env = self.env
        first = env.start()
        first.kill()
        first.wait()
        self.assertTrue(stat.S_ISSOCK(os.lstat(env.socket_path).st_mode), "socket left behind")
        second = env.start("-show")
        env.command("-stop")
        env.wait_for_log("Stop")
        self.assertEqual(env.stop(second), 0)
        self.assertFalse(os.path.lexists(env.socket_path), "the socket must go at the end")

    def test_symlink_at_the_socket_path_is_not_followed(self):
        env = self.env
        decoy_path = os.path.join(env.root, "decoy.sock")
        decoy = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.addCleanup(decoy.close)
        decoy.bind(decoy_path)
        decoy.listen(5)
        decoy.setblocking(False)
        os.symlink(decoy_path, env.socket_path)
        env.start("-show")
        self.assertTrue(stat.S_ISSOCK(os.lstat(env.socket_path).st_mode))
        self.assertTrue(os.path.exists(decoy_path), "the link's target must stay")
        env.command("-stop")
        env.wait_for_log("Stop")
        with self.assertRaises(BlockingIOError, msg="the planted link was followed"):
            decoy.accept()

    def test_copies_started_at_the_same_moment_elect_one(self):
        env = self.env
        for round_ in range(15):
            gate_r, gate_w = os.pipe()
            procs = [env.popen("marker-%d-%s" % (round_, side), gate_fd=gate_r)
                     for side in "ab"]
            os.close(gate_r)
            os.write(gate_w, b"go\ngo\n")  # both go at once
            os.close(gate_w)
            for side in "ab":
                env.wait_for_log('Command line: "marker-%d-%s"' % (round_, side))
            time.sleep(0.2)  # give a wrongly elected second copy time to show itself
            running = [p for p in procs if p.poll() is None]
            self.assertEqual(len(running), 1, "round %d: %d copies running\n%s"
                             % (round_, len(running), env.describe()))
            self.assertEqual([p.returncode for p in procs if p not in running], [0])
            self.assertEqual(env.stop(running[0]), 0)
            self.assertFalse(os.path.lexists(env.socket_path))

    def test_relative_paths_are_taken_from_the_launching_folder(self):
        env = self.env
        env.start()
        here = os.path.join(env.root, "here")
        os.mkdir(here)
        env.command("-outdir", "takes", "-recordfile", "take.wav", cwd=here)
        env.wait_for_log("RecordToFile path=" + os.path.join(here, "take.wav"))
        env.wait_for_log("Record folder set to " + os.path.join(here, "takes"))

    def test_devices_needs_no_running_copy_and_forwards_nothing(self):
        env = self.env
        result, _ = env.launch("-devices")
        self.assertIn(result.returncode, (0, 1))  # 1: no sound server in this world
        self.assertTrue(result.stdout or result.stderr)
        self.assertFalse(os.path.lexists(env.socket_path))
        env.start()
        env.wait_for_log("Command line:")  # the copy's own, logged just after it listens
        before = env.log_lines()
        env.launch("-devices")
        time.sleep(0.2)
        self.assertEqual(env.log_lines(), before)


if __name__ == "__main__":
    unittest.main()
