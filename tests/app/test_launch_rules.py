"""End to end: what the launching process refuses before anything runs, and what
a headless launch does when the recording it asked for cannot be made. Which
targets are refused, encoder options, the name prompt: command_line_test.cpp,
file_naming_test.cpp, session_controller_test.cpp, session_headless_test.cpp."""

import os
import sys
import unittest

from session_e2e_support import SessionEnv, require_tools


class LaunchRulesTest(unittest.TestCase):
    def setUp(self):
        require_tools(self, ("pulseaudio", "pactl"))

    # "-ms -5" and "-scheduled_launch 25:00:00" once left a recording running for
    # ever; a cut 300-byte path gave a file without its extension. Which values
    # are refused is the parser's table (command_line_test.cpp).
    def test_bad_values_are_refused_before_anything_runs(self):
        with SessionEnv(modules=False) as env:
            for args in (("-record", "-ms", "-5"), ("-scheduled_launch", "25:00:00"), ("-ms",),
                         ("-recordfile", os.path.join(env.root, "x" * 300 + ".wav"))):
                result, _ = env.launch("-nogui", *args)
                self.assertEqual(result.returncode, 2, args)
                lines = result.stderr.decode().splitlines()
                self.assertTrue(lines and lines[0].startswith("vocarta: "), lines)
                self.assertFalse(os.path.exists(env.socket_path), "a copy started for %r" % (args,))
            for args, words in ((("-h",), "Usage:"), (("--help",), "Usage:"),
                                (("-V",), "Vocarta Sound Recorder"),
                                (("--version",), "Vocarta Sound Recorder")):
                result, _ = env.launch(*args)
                self.assertEqual(result.returncode, 0, args)
                self.assertIn(words, result.stdout.decode())
                self.assertFalse(os.path.exists(env.socket_path), "a copy started for %r" % (args,))

    # A failed start left a headless process running with status 0 (a bare launch
    # to a headless copy: test_single_instance.py).
    def test_a_headless_start_that_fails_ends_with_status_one(self):
        with SessionEnv(modules=False) as env:
            blocked = os.path.join(env.root, "plain")
            with open(blocked, "w") as f:
                f.write("x")
            copy = env.popen("-outdir", os.path.join(blocked, "sub"), "-record")
            self.assertEqual(copy.wait(timeout=30), 1, env.describe())
            self.assertIn("the recording could not start", env.stderr_of(0))

    # A damaged settings file was taken silently: every setting lost, the auto
    # number back at 000, old names used again.
    def test_a_damaged_settings_file_is_restored_and_said_so(self):
        with SessionEnv(modules=False, mic=True) as env:
            env.write_settings("Settings", AutoNumber=41)
            env.write_settings("Settings", IntervalSecs=31)  # the backup now holds the 41
            conf = os.path.join(env.env["XDG_CONFIG_HOME"], "vocarta",
                                "com.vocarta.SoundRecorder.conf")
            with open(conf, "r+b") as f:
                f.truncate(os.path.getsize(conf) // 2)
            copy = env.popen("-record", "wav", "-ms", "1000")
            self.assertEqual(copy.wait(timeout=30), 0, env.describe())
            self.assertIn("The settings file was damaged", env.stderr_of(0))
            self.assertEqual(env.files(), ["Untitled 041.wav"])


if __name__ == "__main__":
    sys.exit(unittest.main())
