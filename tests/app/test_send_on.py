"""End to end: the headless program hands each finished recording to the send
queue - a mirror folder and a program receive it, hostile file names execute
nothing, questions take their unattended answer, a queue cut short by a kill or
by the end of the program is taken up at the next start, within "FailCount", and
a record another process appends while it holds the queue's lock is not lost."""

import fcntl
import filecmp
import os
import shutil
import signal
import time
import unittest

from send_e2e_support import SendEnv, queue_bytes
from session_e2e_support import require_tools

MIRROR_QUESTION = ('Send to folder?: You have the send to folder transmit option enabled. '
                   'Would you like this recording sent to "%s"? [answered "Yes"]')
RUN_QUESTION = ('Run Executable?: You have the run executable transmit option enabled. Would '
                'you like to run "%s" with this recording as a command-line argument? '
                '[answered "Yes"]')


class SendOnTest(unittest.TestCase):
    def setUp(self):
        require_tools(self, ("pulseaudio", "pactl"))

    def test_recordings_reach_the_mirror_and_the_program_and_names_execute_nothing(self):
        with SendEnv() as env:
            env.use_mirror()
            env.use_program()
            env.write_settings("Settings", bPromptTransmit=1)
            env.start()
            take = env.record_and_stop("-record", "wav")
            env.wait_sent(2)
            copy = os.path.join(env.mirror, os.path.basename(take))
            self.assertTrue(filecmp.cmp(take, copy, shallow=False), "the mirror copy differs")
            self.assertEqual(env.calls(), [[take]], "the path is one argument")
            command = '"%s" "%%s"' % env.program_path
            self.assertEqual([line[2:] for line in env.sent()],
                             [["folder", env.mirror, "Ok"], ["run", command, "Ok"]])
            # Headless, each question is printed and answered "Yes".
            messages = env.stderr_of(0)
            self.assertIn(MIRROR_QUESTION % env.mirror, messages)
            self.assertIn(RUN_QUESTION % command, messages)

            hostile = os.path.join(env.rec, "a'$(touch x)`touch y`;touch z\nb.wav")
            env.record_and_stop("-recordfile", hostile, path=hostile)
            env.wait_sent(4)
            self.assertTrue(filecmp.cmp(hostile, os.path.join(env.mirror,
                                                              os.path.basename(hostile)),
                                        shallow=False))
            self.assertEqual(env.calls(), [[take], [hostile]])
            for folder, _, names in os.walk(env.root):
                for name in ("x", "y", "z"):
                    self.assertNotIn(name, names, "a command in the name ran in " + folder)

    def test_a_killed_or_ended_send_is_resumed_at_the_next_start_within_failcount(self):
        with SendEnv() as env:
            env.use_program()
            open(os.path.join(env.tools, "slow"), "w").close()
            copy = env.start()
            take = env.record_and_stop()
            env.wait_until(lambda: len(env.calls()) == 1, 20, "the slow program")
            copy.send_signal(signal.SIGKILL)
            copy.wait(timeout=10)
            with open(env.queue, "rb") as f:
                queued = f.read()
            # Header and path as written; the owner reference is the killed window's.
            self.assertEqual(len(queued), 8 + 272)
            self.assertEqual(queued[:8 + 264], queue_bytes(0, [take])[:8 + 264])

            # The next start sends it again; ending the program asks nothing and
            # keeps the record.
            copy = env.start()
            env.wait_until(lambda: len(env.calls()) == 2, 20, "the resumed send")
            env.command("-exit")
            self.assertEqual(copy.wait(timeout=15), 0)
            self.assertNotIn("[answered", env.stderr_of(1), "a question at the end")
            with open(env.queue, "rb") as f:
                self.assertEqual(f.read(8), queue_bytes(1, [])[:8], "resumed once")

            # Resumed a second time (FailCount 1): this time the program is quick.
            os.unlink(os.path.join(env.tools, "slow"))
            copy = env.start()
            env.wait_sent(1)
            self.assertEqual(env.calls(), [[take]] * 3)
            self.assertEqual(env.sent()[-1][2:], ["run", '"%s" "%%s"' % env.program_path, "Ok"])

            # A queue resumed more often than FailCount allows is deleted unsent.
            env.command("-exit")
            self.assertEqual(copy.wait(timeout=15), 0)
            with open(env.queue, "wb") as f:
                f.write(queue_bytes(2, [take]))
            env.start()
            env.wait_until(lambda: not os.path.exists(env.queue), 10, "the queue deleted")
            self.assertEqual(len(env.calls()), 3, "sent from a queue past FailCount")

    def test_a_record_another_process_appends_under_the_lock_is_kept_and_sent(self):
        with SendEnv() as env:
            env.use_program()
            env.start()
            first = env.record_and_stop()
            env.wait_sent(1)
            other = os.path.join(env.root, "from another process.wav")
            shutil.copyfile(first, other)

            fd = os.open(env.queue, os.O_RDWR | os.O_CREAT, 0o600)
            try:
                fcntl.flock(fd, fcntl.LOCK_EX)
                os.write(fd, queue_bytes(0, [other]))
                second = env.record_and_stop(path=env.take(1))
                time.sleep(1)
                self.assertEqual(os.path.getsize(env.queue), 8 + 272,
                                 "the running copy appended without the lock")
            finally:
                os.close(fd)  # releases the lock
            env.wait_sent(3)
            self.assertEqual(env.calls(), [[first], [other], [second]])


if __name__ == "__main__":
    unittest.main()
