"""Helpers for end-to-end tests of the vocarta program (run with /usr/bin/python3).

Each VocartaEnv is a private world: HOME and every XDG folder in a fresh
temporary folder, no display (the program runs headless), removed at the end
together with every process it started.

    with VocartaEnv() as env:
        copy = env.start("-record", "wav")     # running copy; returns once it listens
        result, seconds = env.launch("-stop")  # a second launch, run to its end
        env.wait_for_log("Stop")               # a line of vocarta.log (time stamp removed)
        env.read_setting("Settings", "Format") # via vocarta-defaults, else the file
        env.stop(copy)                         # SIGTERM, then its exit status

VOCARTA_BUILD_DIR names the build folder (the test runner sets it).
"""

import os
import shutil
import signal
import subprocess
import tempfile
import time

_STAMP_LENGTH = len("2024-05-01 12:00:00 ")


def build_dir():
    path = os.environ.get("VOCARTA_BUILD_DIR")
    if not path:
        raise RuntimeError("VOCARTA_BUILD_DIR is not set: run the test through ctest")
    return path


def _unescape(text):
    out, i = [], 0
    while i < len(text):
        c = text[i]
        if c == "\\" and i + 1 < len(text):
            i += 1
            c = {"n": "\n", "r": "\r"}.get(text[i], text[i])
        out.append(c)
        i += 1
    return "".join(out)


class VocartaEnv:
    def __init__(self, prefix="vocarta-e2e-"):
        self.root = tempfile.mkdtemp(prefix=prefix)
        self.home = os.path.join(self.root, "home")
        env = {k: v for k, v in os.environ.items()
               if k not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
        env["HOME"] = self.home
        for var, sub in (("XDG_CONFIG_HOME", ".config"), ("XDG_DATA_HOME", ".local/share"),
                         ("XDG_CACHE_HOME", ".cache"), ("XDG_STATE_HOME", ".local/state"),
                         ("XDG_RUNTIME_DIR", "runtime"), ("VOCARTA_SHARED_DIR", "shared")):
            env[var] = os.path.join(self.home, sub)
            os.makedirs(env[var], mode=0o700, exist_ok=True)
        self.env = env
        self.program = os.path.join(build_dir(), "vocarta")
        self.defaults_program = os.path.join(build_dir(), "vocarta-defaults")
        if not os.access(self.program, os.X_OK):
            raise RuntimeError(self.program + " is missing: build the vocarta target first")
        self._procs = []

    # Places.
    @property
    def socket_path(self):
        return os.path.join(self.env["XDG_CACHE_HOME"], ".spipe.Vocarta")

    @property
    def event_log(self):
        return os.path.join(self.env["XDG_DATA_HOME"], "vocarta", "vocarta.log")

    @property
    def error_log(self):
        return os.path.join(self.env["XDG_DATA_HOME"], "vocarta", "error.log")

    @property
    def preferences_file(self):
        return os.path.join(self.env["XDG_CONFIG_HOME"], "vocarta",
                            "com.vocarta.SoundRecorder.conf")

    # Processes.
    def popen(self, *args, nogui=True, cwd=None, gate_fd=None, **kwargs):
        """Starts vocarta without waiting; output goes to files in the root.

        With `gate_fd` (the read end of a pipe), the program is started only when
        a line can be read from it: write one line per gated process to release
        them all at the same moment."""
        argv = [self.program] + (["-nogui"] if nogui else []) + list(args)
        if gate_fd is not None:
            argv = ["/bin/sh", "-c", 'read -r _ <&%d; exec "$0" "$@"' % gate_fd] + argv
            kwargs["pass_fds"] = tuple(kwargs.get("pass_fds", ())) + (gate_fd,)
        n = len(self._procs)
        out = open(os.path.join(self.root, "out%d.txt" % n), "wb")
        err = open(os.path.join(self.root, "err%d.txt" % n), "wb")
        proc = subprocess.Popen(argv, env=self.env, cwd=cwd or self.root, stdout=out,
                                stderr=err, stdin=subprocess.DEVNULL, **kwargs)
        out.close()
        err.close()
        self._procs.append(proc)
        return proc

    def start(self, *args, timeout=20, nogui=True):
        """Starts a running copy and returns once it listens on its socket."""
        before = self.count_log("Running copy listening on")
        proc = self.popen(*args, nogui=nogui)
        self.wait_for_log("Running copy listening on", count=before + 1, timeout=timeout,
                          proc=proc)
        return proc

    def launch(self, *args, timeout=20, cwd=None):
        """Runs a second launch to its end: (CompletedProcess, seconds taken)."""
        t0 = time.monotonic()
        result = subprocess.run([self.program] + list(args), env=self.env,
                                cwd=cwd or self.root, capture_output=True, timeout=timeout,
                                stdin=subprocess.DEVNULL)
        return result, time.monotonic() - t0

    def stop(self, proc, sig=signal.SIGTERM, timeout=20):
        """Signals a process and returns its exit status."""
        if proc.poll() is None:
            proc.send_signal(sig)
        return proc.wait(timeout=timeout)

    # Logs.
    def log_lines(self, which="event"):
        path = self.event_log if which == "event" else self.error_log
        try:
            with open(path, encoding="utf-8", errors="replace") as f:
                return [line.rstrip("\n")[_STAMP_LENGTH:] for line in f]
        except FileNotFoundError:
            return []

    def count_log(self, prefix, which="event"):
        return sum(1 for line in self.log_lines(which) if line.startswith(prefix))

    def wait_for_log(self, prefix, count=1, timeout=10, which="event", proc=None):
        """Waits until `count` lines start with `prefix`; fails with the log shown."""
        deadline = time.monotonic() + timeout
        while True:
            if self.count_log(prefix, which) >= count:
                return [l for l in self.log_lines(which) if l.startswith(prefix)]
            if proc is not None and proc.poll() is not None:
                raise AssertionError("vocarta ended (status %s) before logging %r:\n%s"
                                     % (proc.returncode, prefix, self.describe()))
            if time.monotonic() > deadline:
                raise AssertionError("no %d line(s) %r in the %s log within %ss:\n%s"
                                     % (count, prefix, which, timeout, self.describe()))
            time.sleep(0.005)

    def describe(self):
        return ("--- vocarta.log\n" + "\n".join(self.log_lines()) +
                "\n--- error.log\n" + "\n".join(self.log_lines("error")))

    # Settings.
    def read_setting(self, section, key):
        """The stored text of Section/Key, or None."""
        if os.access(self.defaults_program, os.X_OK):
            r = subprocess.run([self.defaults_program, "read", section + "/" + key],
                               env=self.env, capture_output=True, text=True, timeout=20)
            return r.stdout[:-1] if r.returncode == 0 else None
        try:
            with open(self.preferences_file, encoding="utf-8") as f:
                for line in f:
                    line = line.rstrip("\n")
                    if not line or line.startswith("#"):
                        continue
                    k, _, v = line.partition("=")
                    if _unescape(k) == section + "/" + key:
                        return _unescape(v)
        except FileNotFoundError:
            pass
        return None

    def write_setting(self, section, key, value):
        if not os.access(self.defaults_program, os.X_OK):
            raise RuntimeError(self.defaults_program + " is missing: build vocarta-defaults")
        subprocess.run([self.defaults_program, "write", section + "/" + key, str(value)],
                       env=self.env, check=True, timeout=20)

    # Clean-up.
    def close(self):
        for proc in self._procs:
            if proc.poll() is None:
                proc.kill()
                proc.wait()
        shutil.rmtree(self.root, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
