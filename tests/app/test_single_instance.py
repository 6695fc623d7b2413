"""End to end: two real vocarta processes, headless, sharing one running copy."""

import os
import socket
import stat
import time
import unittest

from vocarta_testlib import VocartaEnv

# Generous: these catch a hang, not slowness (bench/ measures speed).
LAUNCH_LIMIT_S = 5.0


class SingleInstanceTest(unittest.TestCase):
    def setUp(self):
        self.env = VocartaEnv()
        # Recording needs no sound server here: the simulated capture layer.
        self.env.env["VOCARTA_CAPTURE"] = "simulated"
        self.env.env["VOCARTA_PLAYBACK"] = "null"

    def tearDown(self):
        self.env.close()

    def test_second_launch_hands_its_switches_over_and_ends(self):
        env = self.env
        copy = env.start("-record", "flac")
        env.wait_for_log("Record limit=216000000")
        result, seconds = env.launch("-hide", "-RECORD", "wav")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertLess(seconds, LAUNCH_LIMIT_S)
        env.wait_for_log('Command line: "-hide" "-RECORD" "wav"')
        env.wait_for_log("HideWindow")
        env.wait_for_log("Record limit=216000000", count=2)
        self.assertEqual(env.read_setting("Settings", "Format"), "0")
        self.assertIsNone(copy.poll(), "the running copy must keep running")

    def test_bare_second_launch_brings_the_window_to_front(self):
        env = self.env
        env.start()
        result, _ = env.launch()
        self.assertEqual(result.returncode, 0)
        env.wait_for_log("BringToFront")
        self.assertEqual(env.count_log("Command line:"), 1)  # only the first launch's own

    def test_mp3_options_are_stored_by_the_running_copy(self):
        env = self.env
        env.start()
        env.write_setting("Settings", "Format", "3")
        result, _ = env.launch("-record", "mp3", "-cbr", "-b", "128", "-h", "-m", "j", "-p")
        self.assertEqual(result.returncode, 0)
        env.wait_for_log("Record limit=216000000")
        expected = {("Settings", "Format"): "1", ("MP3Encoder", "ConstantBitRate"): "1",
                    ("MP3Encoder", "CBRBitRate"): "128", ("MP3Encoder", "HighQuality"): "1",
                    ("MP3Encoder", "ChannelMode"): "1", ("MP3Encoder", "ErrorProtection"): "1"}
        for (section, key), value in expected.items():
            self.assertEqual(env.read_setting(section, key), value, section + "/" + key)

    def test_stale_socket_of_a_killed_copy_is_taken_over(self):
        env = self.env
        first = env.start()
        first.kill()
        first.wait()
        self.assertTrue(stat.S_ISSOCK(os.lstat(env.socket_path).st_mode), "socket left behind")
        second = env.start("-show")
        result, _ = env.launch("-stop")
        self.assertEqual(result.returncode, 0)
        env.wait_for_log("Stop")
        self.assertEqual(env.stop(second), 0)
        self.assertFalse(os.path.lexists(env.socket_path), "the socket must go at the end")

    def test_symlink_at_the_socket_path_is_not_followed(self):
        env = self.env
        decoy_path = os.path.join(env.root, "decoy.sock")
        decoy = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        decoy.bind(decoy_path)
        decoy.listen(5)
        decoy.setblocking(False)
        os.symlink(decoy_path, env.socket_path)
        try:
            env.start("-show")
            with self.assertRaises(BlockingIOError, msg="the planted link was followed"):
                decoy.accept()
            self.assertTrue(stat.S_ISSOCK(os.lstat(env.socket_path).st_mode))
            self.assertTrue(os.path.exists(decoy_path), "the link's target must stay")
            result, _ = env.launch("-stop")
            self.assertEqual(result.returncode, 0)
            env.wait_for_log("Stop")
            with self.assertRaises(BlockingIOError):
                decoy.accept()
        finally:
            decoy.close()

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
            ended = [p for p in procs if p is not running[0]][0]
            self.assertEqual(ended.returncode, 0)
            self.assertEqual(env.stop(running[0]), 0)
            self.assertFalse(os.path.lexists(env.socket_path))

    def test_termination_stops_the_recording_and_cleans_up(self):
        env = self.env
        copy = env.start("-record")
        env.wait_for_log("Recording into")
        self.assertEqual(env.stop(copy), 0)
        lines = env.log_lines()
        tail = lines[lines.index(next(l for l in lines if l.startswith("Signal"))):]
        self.assertEqual(tail[1], "AfterStop done=true")
        self.assertTrue(tail[2].startswith("Recording complete for file: "), tail)
        self.assertEqual(tail[-2:], ["Close", "Running copy ended"])
        self.assertFalse(os.path.lexists(env.socket_path))

    def test_ms_ends_the_program_by_itself(self):
        env = self.env
        copy = env.popen("-record", "-ms", "300")
        self.assertEqual(copy.wait(timeout=20), 0)
        env.wait_for_log("AfterStop done=true")
        env.wait_for_log("Close")

    def test_relative_paths_are_taken_from_the_launching_folder(self):
        env = self.env
        env.start()
        here = os.path.join(env.root, "here")
        os.mkdir(here)
        result, _ = env.launch("-outdir", "takes", "-recordfile", "take.wav", cwd=here)
        self.assertEqual(result.returncode, 0)
        env.wait_for_log("RecordToFile path=" + os.path.join(here, "take.wav"))
        env.wait_for_log("Record folder set to " + os.path.join(here, "takes"))

    def test_devices_needs_no_running_copy_and_forwards_nothing(self):
        env = self.env
        result, _ = env.launch("-devices")
        self.assertIn(result.returncode, (0, 1))  # 1: no sound server in this world
        self.assertTrue(result.stdout or result.stderr)
        self.assertFalse(os.path.lexists(env.socket_path))
        env.start()
        before = env.log_lines()
        result, _ = env.launch("-devices")
        time.sleep(0.2)
        self.assertEqual(env.log_lines(), before)


if __name__ == "__main__":
    unittest.main()
