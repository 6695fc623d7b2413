"""End to end: the headless program's recording session, driven by real second
launches, recording from a private PulseAudio daemon."""

import datetime
import os
import signal
import time
import unittest

from session_e2e_support import SessionEnv, require_tools, run

COMPLETE = "Recording complete for file: "


def clock_in(seconds):
    t = datetime.datetime.now() + datetime.timedelta(seconds=seconds)
    return "%d:%d:%d" % (t.hour, t.minute, t.second)


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

    def test_pause_resume_and_retake_follow_the_state_table(self):
        with SessionEnv(modules=False, mic=True) as env:
            take, retake = env.take(0), env.take(1)
            env.start("-record", "wav")
            env.wait_for_log("Recording into " + take)
            t0 = time.monotonic()
            self.record_for(env, take, 2)
            env.command("-pause")
            env.wait_for_log("Pause")
            first = time.monotonic() - t0
            # The log line comes before the pause; the audio captured until then
            # still reaches the file. Once it has, nothing more may arrive.
            time.sleep(0.5)
            paused_size = os.path.getsize(take)
            time.sleep(1.5)
            self.assertEqual(os.path.getsize(take), paused_size, "recorded while paused")
            env.command("-resume")
            env.wait_for_log("Recording into " + take, count=2)
            t1 = time.monotonic()
            self.record_for(env, take, 2)
            env.command("-stop")
            second = time.monotonic() - t1
            env.wait_for_log(COMPLETE + take)
            self.assertAlmostEqual(env.duration(take), first + second - 2 * DISCARDED, delta=0.6)

            env.command("-record")
            env.wait_for_log("Recording into " + retake)
            self.record_for(env, retake, 2.5)
            env.command("-restart")  # the take is thrown away; the file starts again
            env.wait_for_log("Recording into " + retake, count=2)
            t2 = time.monotonic()
            time.sleep(2)
            env.command("-stop")
            t3 = time.monotonic()
            env.wait_for_log(COMPLETE + retake)
            self.assertAlmostEqual(env.duration(retake), t3 - t2 - DISCARDED, delta=0.5)
            self.assertLess(env.duration(retake), 2.6, "the first take is gone")
            self.assertEqual(env.files(), ["Untitled 000.wav", "Untitled 001.wav"])
            self.assertEqual(env.read_setting("UsageStats", "CmRestart"), "1")

    def test_maximum_time_goes_on_into_the_next_files(self):
        with SessionEnv(modules=False, mic=True) as env:
            env.write_settings("Settings", MaxTimeHours=0, MaxTimeMinutes=0, MaxTimeSeconds=2,
                               StopReachMaxTime=0)
            env.start("-record", "wav")
            env.wait_until(lambda: os.path.exists(env.take(3)), 30, "Untitled 003")
            env.command("-stop")
            env.wait_for_log(COMPLETE + env.take(3))
            for number in (0, 1, 2):
                self.assertAlmostEqual(env.duration(env.take(number)), 2.1, delta=0.25)

    def test_scheduled_end_stops_and_ends_the_program(self):
        with SessionEnv(modules=False, mic=True) as env:
            env.write_settings("Settings", StopReachMaxTime=0)  # a scheduled end always stops
            copy = env.start("-exitifstop", "-scheduled_launch", clock_in(4))
            self.assertEqual(copy.wait(timeout=15), 0)
            self.assertEqual(env.files(), ["Untitled 000.wav"])
            # The end time has whole seconds: the limit is 3 to 4 s of recording.
            self.assertGreater(env.duration(env.take(0)), 2.9)
            self.assertLess(env.duration(env.take(0)), 4.3)
            self.assertTrue(env.count_log("Scheduled end reached")
                            + env.count_log("Recorder reached its time limit"))

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
        for sig in (signal.SIGINT, signal.SIGTERM):
            with SessionEnv() as env:
                copy = env.start("-record", "flac")
                take = env.take(0, ".flac")
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
                run("flac", "-t", "-s", take)  # finished: it knows its length and passes
                # FLAC frames of 4096 samples: the first one is written once full.
                self.assertAlmostEqual(env.duration(take), t1 - t0 + 0.09, delta=0.5)


if __name__ == "__main__":
    unittest.main()
