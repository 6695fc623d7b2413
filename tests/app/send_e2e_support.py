"""Sending finished recordings on, end to end: a SessionEnv recording from the
clock-paced test microphone, with the send queue, the send log, stand-in
programs for the run method and the test servers of tests/support."""

import json
import os
import signal
import struct
import subprocess

from session_e2e_support import SessionEnv

SUPPORT = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "support")

# Appends its arguments as one JSON line to calls.jsonl beside it, and its pid to
# pids; sleeps a minute while the file "slow" is there.
CALL_RECORDER = """#!/usr/bin/python3
import json, os, sys, time
here = os.path.dirname(os.path.abspath(__file__))
with open(os.path.join(here, "pids"), "a") as f:
    f.write("%d\\n" % os.getpid())
with open(os.path.join(here, "calls.jsonl"), "a") as f:
    f.write(json.dumps(sys.argv[1:]) + "\\n")
if os.path.exists(os.path.join(here, "slow")):
    time.sleep(60)
"""


def read_lines(path):
    """The lines of `path` (split at "\n" only); none when it does not exist."""
    if not os.path.exists(path):
        return []
    with open(path, encoding="utf-8") as f:
        return [line for line in f.read().split("\n") if line]


class SendEnv(SessionEnv):
    def __init__(self):
        super().__init__(modules=False, mic=True)
        self.queue = os.path.join(self.env["XDG_DATA_HOME"], "vocarta", "bgsend.lst")
        self.sent_log = os.path.join(self.env["XDG_STATE_HOME"], "vocarta", "sent.log")
        self.mirror = os.path.join(self.root, "mirror")
        os.makedirs(self.mirror)
        os.makedirs(self.rec)
        self.tools = os.path.join(self.root, "tools")
        os.makedirs(self.tools)
        self.program_path = os.path.join(self.tools, "record-call")
        with open(self.program_path, "w") as f:
            f.write(CALL_RECORDER)
        os.chmod(self.program_path, 0o755)
        self._servers = []
        self.write_settings("Settings", bPromptTransmit=0)

    def use_program(self):
        """The run method with the call recorder, as the page's chooser stores it."""
        self.write_settings("Settings", SendRun=1, SendRunExe='"%s" "%%s"' % self.program_path)

    def use_mirror(self):
        self.write_settings("Settings", SendFolder=1, SendFolderDir=self.mirror)

    def calls(self):
        return [json.loads(line) for line in read_lines(os.path.join(self.tools, "calls.jsonl"))]

    def record_and_stop(self, *record_args, path=None):
        """A recording started by `record_args` (default -record wav) on the
        running copy, stopped with -stop once it holds a second of sound."""
        take = path or self.take(0)
        # The event log writes a name as it is: its first line is what a log line holds.
        logged = take.split("\n")[0]
        self.command(*(record_args or ("-record", "wav")))
        self.wait_for_log("Recording into " + logged)
        self.wait_for_audio(take)
        self.wait_for_audio(take, beyond=os.path.getsize(take) + 176400)
        self.command("-stop")
        self.wait_for_log("Recording complete for file: " + logged)
        return take

    def sent(self):
        """The send log's lines as lists of fields."""
        return [line.split("\t") for line in read_lines(self.sent_log)]

    def wait_sent(self, lines, timeout=30):
        """Until the send log has `lines` lines and the queue is finished."""
        self.wait_until(lambda: len(self.sent()) >= lines and not os.path.exists(self.queue),
                        timeout, "%d send log line(s) and an empty queue" % lines)

    def start_server(self, *argv):
        """A test server of tests/support, returning its port once it listens."""
        proc = subprocess.Popen(["/usr/bin/python3"] + list(argv), stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True, env=self.env)
        self._servers.append(proc)
        first = proc.stdout.readline()
        if not first.startswith("PORT "):
            raise AssertionError("%s did not start: %r" % (argv[0], first))
        return int(first.split()[1])

    def make_certs(self):
        """The test CA and server certificates; the program trusts the CA."""
        folder = os.path.join(self.root, "certs")
        subprocess.run(["/usr/bin/python3", os.path.join(SUPPORT, "make_test_certs.py"), folder],
                       check=True, capture_output=True, timeout=120)
        self.env["SSL_CERT_FILE"] = os.path.join(folder, "ca.pem")
        return folder

    def write_password(self, key, value):
        subprocess.run([self.defaults_program, "write-password", key], input=value.encode(),
                       env=self.env, check=True, timeout=20, capture_output=True)

    def close(self):
        for proc in self._servers:
            proc.kill()
            proc.wait()
            proc.stdout.close()
        # The run method leaves its programs running when the program ends.
        for pid in read_lines(os.path.join(self.tools, "pids")):
            try:
                os.kill(int(pid), signal.SIGKILL)
            except ProcessLookupError:
                pass
        super().close()


def queue_bytes(resume_count, paths):
    """bgsend.lst as the program writes it: header {1, count, 272}, 272-byte records."""
    out = struct.pack("<HHI", 1, resume_count, 272)
    for path in paths:
        out += path.encode().ljust(264, b"\0") + struct.pack("<Q", 0)
    return out
