"""End to end: the headless program's recording session, driven by real second
launches, recording from a private PulseAudio daemon. A scheduled end on real
audio: tests/schedule (cron); -exitifstop at a real stop: session_limits_test.cpp."""

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
            # The count follows the log line; it is waited for, not raced.
            for section, key in (("Settings", "AutoNumber"), ("Settings", "FilesRecorded"),
                                 ("UsageStats", "StrtRcrdng")):
                env.wait_until(lambda: env.read_setting(section, key) == "1", 5,
                               "%s/%s = 1" % (section, key))

    def test_voice_timeout_splits_the_recording_into_files(self):
        with SessionEnv(sine=False) as env:
            env.write_settings("Settings", VoiceActivate=1, VoiceActivateLevel=-18,
                               PauseWaitSeconds=1, VoiceActivateTimeoutRestart=1)
            sound = os.path.join(env.root, "speech.wav")
            # Two "sentences" of 1.5 s, each followed by 2.5 s of silence.
            run("sox", "-n", "-r", "44100", "-c", "2", sound, "synth", "1.5", "sine", "440",
                "vol", "0.5", "pad", "0", "2.5", "repeat", "1")
            env.start("-record", "wav")
            env.wait_for_log("Recording into")
            time.sleep(2.5)  # the monitor's first sound comes late
            env.play(sound)
            env.wait_for_log("Voice time-out:", count=2, timeout=15)
            env.command("-stop")
            env.wait_for_log(COMPLETE + env.take(2))
            # The third file never heard a voice: it is gone.
            self.assertEqual(env.files(), ["Untitled 000.wav", "Untitled 001.wav"])
            for number in (0, 1):
                self.assertGreater(env.duration(env.take(number)), 1.2)
                self.assertLess(env.duration(env.take(number)), 3.2)
                self.assertGreater(env.rms(env.take(number), 0, 1.0), 0.05)

    def test_stop_from_paused_with_nothing_recorded_deletes_the_file(self):
        with SessionEnv(sine=False) as env:
            env.write_settings("Settings", VoiceActivate=1, FilesRecorded=3)
            env.start("-record", "wav")
            env.wait_for_log("Recording into")
            time.sleep(3)  # the monitor has been delivering silence by now
            env.command("-pause")
            env.wait_for_log("Pause")
            env.command("-stop")
            env.wait_for_log("Nothing was recorded: " + env.take(0) + " deleted")
            self.assertEqual(env.files(), [])
            self.assertEqual(env.read_setting("Settings", "FilesRecorded"), "3")

    def test_failed_device_start_puts_the_number_back_and_says_why(self):
        with SessionEnv(modules=False) as env:  # a sound server without any input
            env.write_settings("Settings", AutoNumber=7)
            copy = env.popen("-record", "wav")
            # Headless, a recording that cannot start ends the launch with 1.
            self.assertEqual(copy.wait(timeout=30), 1, env.describe())
            env.wait_for_log('Message "Vocarta Sound Recorder": Vocarta cannot open the sound '
                             "device for recording.")
            self.assertEqual(env.read_setting("Settings", "AutoNumber"), "7")
            self.assertEqual(env.files(), [])
            self.assertEqual(env.read_setting("UsageStats", "LastFailed"), "StrtRcrdng")
            self.assertTrue(env.read_setting("UsageStats", "LastFailedReason"))
            self.assertIn("Vocarta cannot open the sound device for recording.\n\nPlease check "
                          "you have selected the correct Sound Record Device in Settings",
                          env.stderr_of(0))
            # With a device, the number given back is taken.
            env.pulse.load_module("module-null-sink", "sink_name=nul rate=44100")
            env.write_settings("Settings", RecordDevice="nul.monitor")
            copy = env.start("-record")
            env.wait_for_log("Recording into " + env.take(7), proc=copy)

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
