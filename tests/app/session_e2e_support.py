"""The program recording from a private PulseAudio daemon: the monitor of a null
sink "nul", which runs on the server's clock (module-sine-source would hand over
its first second at once). With sine=True a 440 Hz tone plays into "nul" all the
time. Recordings go to <root>/rec as WAV, start and stop tones off."""

import os
import shutil
import subprocess
import time

from pulse_daemon import PulseDaemon
from vocarta_testlib import VocartaEnv

TOOLS = ("pulseaudio", "pactl", "paplay", "sox", "soxi", "flac", "mpg123")


def require_tools(testcase, tools=TOOLS):
    missing = [t for t in tools if shutil.which(t) is None]
    if missing:
        testcase.fail("missing tools: %s (scripts/install-deps.sh --with-tests)"
                      % ", ".join(missing))


def run(*argv):
    return subprocess.run(list(argv), capture_output=True, text=True, check=True, timeout=60)


MIC = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "support",
                   "realtime-mic.py")


class SessionEnv(VocartaEnv):
    def __init__(self, sine=True, modules=True, mic=False):
        super().__init__(prefix="vocarta-session-")
        self.pulse = PulseDaemon(os.path.join(self.root, "pulse"))
        self._players = []
        try:
            self.pulse.start()
            if modules:
                self.pulse.load_module("module-null-sink", "sink_name=nul rate=44100")
            if modules and sine:
                self.play_tone(600)
        except Exception:
            self.close()
            raise
        self.env.update(PULSE_SERVER="unix:" + self.pulse.socket,
                        PULSE_RUNTIME_PATH=self.pulse.runtime)
        self.rec = os.path.join(self.root, "rec")
        self.write_settings("FindPlay", DefaultRecordFolder=self.rec)
        self.write_settings("Settings", Format=0, RecordTone=0, StoppedTone=0)
        if modules:
            self.write_settings("Settings", RecordDevice="nul.monitor")
        if mic:
            self.start_mic()

    def start_mic(self, *silence):
        """The clock-paced test microphone as source "mic", made the record device:
        lengths recorded from it follow the clock. `silence`: "A-B" stretches."""
        fifo = os.path.join(self.root, "mic.fifo")
        self.pulse.load_module("module-pipe-source", "source_name=mic file=%s format=s16le "
                               "rate=44100 channels=2" % fifo)
        args = ["/usr/bin/python3", MIC, fifo]
        for stretch in silence:
            args += ["--silence", stretch]
        self._players.append(subprocess.Popen(args))
        self.write_settings("Settings", RecordDevice="mic")

    def play_tone(self, seconds):
        sox = subprocess.Popen(["sox", "-n", "-t", "raw", "-r", "44100", "-c", "2", "-b", "16",
                                "-e", "signed", "-", "synth", str(seconds), "sine", "440",
                                "vol", "0.5"], stdout=subprocess.PIPE)
        player = subprocess.Popen(["paplay", "--raw", "--latency-msec=40", "--rate=44100",
                                   "--channels=2", "--format=s16le", "--device=nul"],
                                  stdin=sox.stdout, env=self.pulse.env())
        sox.stdout.close()
        self._players += [player, sox]
        self.wait_until(lambda: self.pulse.pactl("list", "short", "sink-inputs").stdout.strip(),
                        10, "paplay's stream")

    def close(self):
        for proc in self._procs + self._players:  # nothing may outlive the daemon
            if proc.poll() is None:
                proc.kill()
                proc.wait()
        self.pulse.stop()
        super().close()

    def take(self, number, ext=".wav"):
        return os.path.join(self.rec, "Untitled %03d%s" % (number, ext))

    def files(self):
        return sorted(os.listdir(self.rec)) if os.path.isdir(self.rec) else []

    def wait_for_audio(self, path, beyond=None, timeout=20):
        """Waits until `path` grows past `beyond` bytes (default: its size now) and
        returns when. The monitor's first sound comes up to 2 s after a stream
        connects, so lengths are measured from the first audio written."""
        def size():
            return os.path.getsize(path) if os.path.exists(path) else 0
        base = size() if beyond is None else beyond
        self.wait_until(lambda: size() > base, timeout, "audio in " + path)
        return time.monotonic()

    @staticmethod
    def duration(path):
        return float(run("soxi", "-D", path).stdout)

    @staticmethod
    def sox_stat(path, field, *effects):
        """A figure of `sox stat` ("RMS     amplitude", "Length (seconds)")."""
        out = run("sox", path, "-n", *effects, "stat").stderr
        for line in out.splitlines():
            if line.startswith(field + ":"):
                return float(line.split(":")[1])
        raise AssertionError("sox stat gave no %s:\n%s" % (field, out))

    @staticmethod
    def rms(path, *trim):
        return SessionEnv.sox_stat(path, "RMS     amplitude",
                                   *(["trim"] + [str(t) for t in trim] if trim else []))
