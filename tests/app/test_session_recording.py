"""End to end: the headless program's recording session, driven by real second
launches, recording from a private PulseAudio daemon: what only real audio,
files and signals show. The state table, counters, voice time-out, an empty
take and a device that cannot open: session_*_test.cpp; a scheduled end on real
audio: tests/schedule (cron)."""

import os
import signal
import struct
import time
import unittest
import wave

from session_e2e_support import SessionEnv, require_tools, run

COMPLETE = "Recording complete for file: "
# Each start (and resume) drops the device's first half second: its start-up
# transient.
DISCARDED = 0.5


class SessionRecordingTest(unittest.TestCase):
    def setUp(self):
        require_tools(self)

    def record_for(self, env, take, seconds):
        """Waits for audio in `take`, records `seconds` more and returns the start."""
        t0 = env.wait_for_audio(take)
        time.sleep(seconds)
        return t0

    def test_record_then_stop_gives_the_named_file_of_the_right_length(self):
        with SessionEnv(modules=False, mic=True) as env:
            env.start("-record", "wav")
            env.wait_for_log("Recording into " + env.take(0))
            t0 = time.monotonic()
            self.record_for(env, env.take(0), 3)
            env.command("-stop")
            t1 = time.monotonic()
            env.wait_for_log(COMPLETE + env.take(0))
            self.assertEqual(env.files(), ["Untitled 000.wav"])
            # The stop travels through a second launch; what the input delivered
            # until then is all written, but for the device's first half second.
            self.assertAlmostEqual(env.duration(env.take(0)), t1 - t0 - DISCARDED, delta=0.4)
            self.assertGreater(env.rms(env.take(0)), 0.2, "the tone was recorded")

    def test_termination_signal_finishes_the_file_and_cleans_up(self):
        # A closed terminal (SIGHUP) ends a headless recording as SIGTERM does.
        for sig, word in ((signal.SIGINT, "flac"), (signal.SIGTERM, "flac"),
                          (signal.SIGHUP, "wav")):
            with self.subTest(signal=sig), SessionEnv() as env:
                copy = env.start("-record", word)
                take = env.take(0, "." + word)
                env.wait_for_log("Recording into " + take)
                t0 = self.record_for(env, take, 2)
                self.assertEqual(env.stop(copy, sig), 0)
                t1 = time.monotonic()
                lines = env.log_lines()
                tail = lines[next(i for i, l in enumerate(lines) if l.startswith("Signal")):]
                # The finished file is still handed to the send queue on the way out
                # (from the after-recording thread, so at any point; the send thread
                # may be stopped with it).
                self.assertIn("Queued for sending: " + take, tail)
                tail = [l for l in tail if not l.startswith(("Queued for sending: ",
                                                             "Sending stopped"))]
                self.assertEqual(tail[1:3], ["AfterStop done=true", COMPLETE + take])
                self.assertEqual(tail[-2:], ["Close", "Running copy ended"])
                self.assertFalse(os.path.lexists(env.socket_path))
                if word == "flac":
                    run("flac", "-t", "-s", take)  # finished: it knows its length and passes
                    # FLAC frames of 4096 samples: the first one is written once full.
                    self.assertAlmostEqual(env.duration(take), t1 - t0 + 0.09, delta=0.5)
                    continue
                # The WAV header's sizes are final: RIFF's and the data chunk's.
                with open(take, "rb") as f:
                    data = f.read()
                self.assertEqual(struct.unpack_from("<I", data, 4)[0], len(data) - 8)
                with wave.open(take) as w:
                    size = w.getnframes() * w.getnchannels() * w.getsampwidth()
                    self.assertEqual(data.index(b"data") + 8 + size + (size & 1), len(data))
                    self.assertGreater(w.getnframes(), w.getframerate() * 1.5)

if __name__ == "__main__":
    unittest.main()
