"""End to end: the headless program hands each finished recording to the send
queue - a mirror folder and a program receive it, questions take their
unattended answer, and a queue cut short by a kill or by the end of the program
is taken up at the next start. Hostile names, FailCount and a record appended
under the queue's lock: tests/transmit (run_method_test, send_queue_test)."""

import filecmp
import os
import signal
import unittest

from send_e2e_support import SendEnv, queue_bytes
from session_e2e_support import require_tools



class SendOnTest(unittest.TestCase):
    def setUp(self):
        require_tools(self, ("pulseaudio", "pactl"))

    def test_recordings_reach_the_mirror_and_the_program(self):
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
            # Headless, each question is printed and answered "Yes" (texts: tests/transmit).
            self.assertEqual(env.stderr_of(0).count('[answered "Yes"]'), 2)

    def test_a_killed_or_ended_send_is_resumed_at_the_next_start(self):
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


if __name__ == "__main__":
    unittest.main()
