"""End to end: the program killed with SIGKILL while recording. What is on the
disk must play, up to a fraction of a second before the kill, in every format
that can be recorded as a stream (WAV, MP3, FLAC)."""

import os
import signal
import time
import unittest

from session_e2e_support import SessionEnv, require_tools, run


def decoded_seconds(path, env):
    """Length of what a real decoder gets out of `path`, decoding all of it."""
    out = os.path.join(env.root, "decoded.wav")
    if path.endswith(".mp3"):
        run("mpg123", "-q", "-w", out, path)
    elif path.endswith(".flac"):
        # The header of a killed stream says "length unknown": flac reads on.
        run("flac", "-s", "-d", "-f", "-o", out, path)
    else:
        out = path
    stat = run("sox", out, "-n", "stat").stderr
    for line in stat.splitlines():
        if line.startswith("Length (seconds):"):
            return float(line.split(":")[1])
    raise AssertionError("sox stat gave no length:\n" + stat)


class KilledRecordingTest(unittest.TestCase):
    def setUp(self):
        require_tools(self)

    def test_killed_recording_plays_up_to_the_kill(self):
        for ext, word in ((".wav", "wav"), (".mp3", "mp3"), (".flac", "flac")):
            with self.subTest(format=word), SessionEnv() as env:
                take = env.take(0, ext)
                copy = env.start("-record", word)
                env.wait_for_log("Recording into " + take)
                t0 = env.wait_for_audio(take)
                time.sleep(3)
                copy.send_signal(signal.SIGKILL)
                t1 = time.monotonic()
                copy.wait(timeout=10)
                self.assertNotIn("Recording complete for file: " + take, env.log_lines())
                seconds = decoded_seconds(take, env)
                # Audio comes in 200 ms pieces; the encoders hold back up to ~0.1 s.
                self.assertGreater(seconds, t1 - t0 - 0.6, word)
                self.assertLess(seconds, t1 - t0 + 0.4, word)
                self.assertGreater(env.rms(take if ext != ".flac" else
                                           os.path.join(env.root, "decoded.wav")), 0.2)

                # The next running copy starts cleanly and takes the next number.
                env.start("-record", word)
                env.wait_for_log("Recording into " + env.take(1, ext))


if __name__ == "__main__":
    unittest.main()
