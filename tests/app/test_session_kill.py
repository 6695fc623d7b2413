"""End to end: SIGKILL while recording leaves a file that real decoders play up to
at most the hand-over in flight before the kill, in every streamed format."""

import os
import signal
import time
import unittest

from session_e2e_support import SessionEnv, require_tools, run


class KilledRecordingTest(unittest.TestCase):
    def test_killed_recording_plays_up_to_the_kill(self):
        require_tools(self)
        for word in ("wav", "mp3", "flac"):
            with self.subTest(format=word), SessionEnv(modules=False, mic=True) as env:
                take = env.take(0, "." + word)
                copy = env.start("-record", word)
                env.wait_for_log("Recording into " + take)
                t0 = time.monotonic()
                env.wait_for_audio(take)
                time.sleep(2.5)
                copy.send_signal(signal.SIGKILL)
                t1 = time.monotonic()
                copy.wait(timeout=10)
                self.assertNotIn("Recording complete for file: " + take, env.log_lines())
                decoded = os.path.join(env.root, "decoded.wav")
                if word == "mp3":
                    run("mpg123", "-q", "-w", decoded, take)
                elif word == "flac":  # the killed stream's header says "length unknown"
                    run("flac", "-s", "-d", "-f", "-o", decoded, take)
                else:
                    decoded = take
                seconds = env.sox_stat(decoded, "Length (seconds)")
                # Nothing shows the levels, so audio comes in 1 s pieces: the piece in
                # flight is lost, and the encoders hold back up to ~0.1 s more.
                self.assertGreater(seconds, t1 - t0 - 1.4, word)
                self.assertLess(seconds, t1 - t0 + 0.2, word)
                self.assertGreater(env.rms(decoded), 0.2)
                # The next running copy starts cleanly and takes the next number.
                env.start("-record", word)
                env.wait_for_log("Recording into " + env.take(1, "." + word))


if __name__ == "__main__":
    unittest.main()
