"""End to end: the terminal of a headless recording is closed (SIGHUP). The
recording is finished as on SIGTERM: a WAV header whose sizes match the data, and
the program's own cleanup to its last log line."""

import os
import signal
import struct
import sys
import time
import unittest

from session_e2e_support import SessionEnv, require_tools


def wav_header(path):
    """RIFF size, bytes per second, data chunk start and size, file size of a
    one-data-chunk WAV."""
    with open(path, "rb") as f:
        data = f.read()
    header = {"riff": struct.unpack_from("<I", data, 4)[0], "file": len(data)}
    at = 12
    while at + 8 <= len(data):
        size = struct.unpack_from("<I", data, at + 4)[0]
        if data[at:at + 4] == b"fmt ":
            header["rate"] = struct.unpack_from("<I", data, at + 16)[0]
        if data[at:at + 4] == b"data":
            header.update(start=at + 8, data=size)
            return header
        at += 8 + size + (size & 1)
    raise AssertionError("no data chunk in " + path)


class HangupTest(unittest.TestCase):
    def test_hangup_finishes_the_wav_header_and_ends_cleanly(self):
        require_tools(self, ("pulseaudio", "pactl"))
        with SessionEnv(modules=False, mic=True) as env:
            take = env.take(0)
            copy = env.start("-record", "wav")
            env.wait_for_log("Recording into " + take)
            env.wait_for_audio(take)
            time.sleep(2)
            copy.send_signal(signal.SIGHUP)
            self.assertEqual(copy.wait(timeout=20), 0, env.describe())
            self.assertIn("Running copy ended", env.log_lines(), "no normal cleanup")
            self.assertIn("Recording complete for file: " + take, env.log_lines())

            h = wav_header(take)
            self.assertEqual(h["riff"], h["file"] - 8, "RIFF size still provisional")
            self.assertEqual(h["start"] + h["data"] + (h["data"] & 1), h["file"],
                             "data size still provisional")
            self.assertGreater(h["data"], h["rate"] * 1.5, "under 1.5 s recorded")
            self.assertFalse(os.path.exists(env.socket_path), "the instance socket was left")


if __name__ == "__main__":
    sys.exit(unittest.main())
