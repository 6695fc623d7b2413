"""A private PulseAudio daemon for end-to-end tests (the Python twin of
pulse_daemon.h): its own runtime folder and socket, no default modules.

    pulse = PulseDaemon(tmpdir).start()
    pulse.load_module("module-null-sink", "sink_name=nul rate=48000")
    subprocess.run([vocarta, "-devices"], env=pulse.env())  # PULSE_SERVER etc. set
    pulse.stop()
"""

import os
import signal
import subprocess
import time


class PulseDaemon:
    def __init__(self, folder):
        self.folder = folder
        self.runtime = os.path.join(folder, "pulse-runtime")
        self.socket = os.path.join(folder, "pulse-native")
        self.process = None

    def env(self, base=None):
        env = dict(os.environ if base is None else base)
        env["XDG_RUNTIME_DIR"] = self.runtime
        env["PULSE_RUNTIME_PATH"] = self.runtime
        env["PULSE_SERVER"] = "unix:" + self.socket
        return env

    def start(self, timeout=10.0):
        os.makedirs(self.runtime, mode=0o700, exist_ok=True)
        log = os.path.join(self.folder, "pulse.log")
        self.process = subprocess.Popen(
            ["pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
             "--high-priority=no", "--realtime=no", "--no-cpu-limit=yes", "--log-target=file:" + log,
             "-L", "module-native-protocol-unix auth-anonymous=1 socket=" + self.socket],
            env=self.env(), stdin=subprocess.DEVNULL)
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            if self.process.poll() is not None:
                raise RuntimeError("pulseaudio ended at start; see " + log)
            if self.pactl("info", check=False).returncode == 0:
                return self
            time.sleep(0.1)
        self.stop()
        raise RuntimeError("pulseaudio did not answer within %.0f s" % timeout)

    def stop(self):
        if self.process and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.process = None

    def pactl(self, *args, check=True):
        return subprocess.run(["pactl", *args], env=self.env(), check=check,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def load_module(self, name, arguments=""):
        args = ["load-module", name] + ([arguments] if arguments else [])
        return int(self.pactl(*args).stdout.strip())

    def play(self, path, sink, wait=True):
        """paplay with a low latency, so that a monitor of `sink` gets the sound
        in small blocks; returns the Popen when not waiting."""
        process = subprocess.Popen(["paplay", "--latency-msec=40", "--device=" + sink, path],
                                   env=self.env())
        if wait:
            if process.wait() != 0:
                raise RuntimeError("paplay failed on " + path)
        return process
