"""End-to-end helpers (run with /usr/bin/python3; VOCARTA_BUILD_DIR names the build).

A VocartaEnv is a private world: HOME and every XDG folder in a fresh temporary
folder, no display, removed at the end with every process it started."""

import os
import shutil
import signal
import subprocess
import tempfile
import time

_STAMP_LENGTH = len("2024-05-01 12:00:00 ")
_XDG = (("XDG_CONFIG_HOME", ".config"), ("XDG_DATA_HOME", ".local/share"),
        ("XDG_CACHE_HOME", ".cache"), ("XDG_STATE_HOME", ".local/state"),
        ("XDG_RUNTIME_DIR", "runtime"), ("VOCARTA_SHARED_DIR", "shared"))


def start_xvfb(env):
    """A private Xvfb, named by DISPLAY in `env`; it picks a free display number and
    is ready once it has written it. -noreset: the server would otherwise start over
    (dropping every key grab) whenever its last client leaves."""
    read_fd, write_fd = os.pipe()
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(write_fd), "-nolisten", "tcp", "-noreset",
                             "-screen", "0", "1024x768x24"], pass_fds=(write_fd,),
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.close(write_fd)
    with os.fdopen(read_fd) as numbers:
        number = numbers.readline().strip()
    if not number:
        xvfb.kill()
        raise RuntimeError("Xvfb did not start")
    env["DISPLAY"] = ":" + number
    return xvfb


class XDisplay:
    """xdotool on the display of a VocartaEnv's environment: windows found by
    name (a regular expression), keys typed into them."""

    def __init__(self, env, proc=None):
        self.env = env
        self.proc = proc  # a program whose early end stops every wait

    def x(self, *argv):
        return subprocess.run(list(argv), env=self.env.env, capture_output=True, text=True,
                              timeout=30).stdout.strip()

    def visible(self, name):
        return self.x("xdotool", "search", "--onlyvisible", "--name", name).split()

    def wait_for(self, name, shown=True):
        """The first visible window matching `name` once there is one (or None
        once there is none)."""
        self.env.wait_until(lambda: bool(self.visible(name)) == shown, 20,
                            "the window %r %s" % (name, "shown" if shown else "closed"),
                            self.proc)
        return self.visible(name)[0] if shown else None

    def keys(self, window, *keys, delay=50):
        self.x("xdotool", "windowfocus", "--sync", window)
        self.x("xdotool", "key", "--delay", str(delay), *keys)

    def type(self, text):
        self.x("xdotool", "type", "--delay", "20", text)


def end_process(proc):
    if proc.poll() is None:
        proc.terminate()
        try:
            proc.wait(5)
        except subprocess.TimeoutExpired:
            proc.kill()
            proc.wait()


class VocartaEnv:
    def __init__(self, prefix="vocarta-e2e-"):
        build = os.environ.get("VOCARTA_BUILD_DIR")
        if not build:
            raise RuntimeError("VOCARTA_BUILD_DIR is not set: run the test through ctest")
        self.program = os.path.join(build, "vocarta")
        self.defaults_program = os.path.join(build, "vocarta-defaults")
        for program in (self.program, self.defaults_program):
            if not os.access(program, os.X_OK):
                raise RuntimeError(program + " is missing: build it first")
        self.root = tempfile.mkdtemp(prefix=prefix)
        self.env = {k: v for k, v in os.environ.items()
                    if k not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
        self.env["HOME"] = os.path.join(self.root, "home")
        for var, sub in _XDG:
            self.env[var] = os.path.join(self.env["HOME"], sub)
            os.makedirs(self.env[var], mode=0o700)
        self.socket_path = os.path.join(self.env["XDG_CACHE_HOME"], ".spipe.Vocarta")
        self.event_log = os.path.join(self.env["XDG_DATA_HOME"], "vocarta", "vocarta.log")
        self._procs = []

    def popen(self, *args, nogui=True, gate_fd=None):
        """Starts vocarta without waiting; output goes to err<N>.txt/out<N>.txt in the
        root. With `gate_fd` (a pipe's read end) it starts once a line can be read."""
        argv = [self.program] + (["-nogui"] if nogui else []) + list(args)
        if gate_fd is not None:
            argv = ["/bin/sh", "-c", 'read -r _ <&%d; exec "$0" "$@"' % gate_fd] + argv
        n = len(self._procs)
        with open(os.path.join(self.root, "out%d.txt" % n), "wb") as out, \
                open(os.path.join(self.root, "err%d.txt" % n), "wb") as err:
            proc = subprocess.Popen(argv, env=self.env, cwd=self.root, stdout=out, stderr=err,
                                    stdin=subprocess.DEVNULL,
                                    pass_fds=() if gate_fd is None else (gate_fd,))
        self._procs.append(proc)
        return proc

    def start(self, *args, nogui=True):
        """Starts a running copy and returns once it listens on its socket."""
        before = self.count_log("Running copy listening on")
        proc = self.popen(*args, nogui=nogui)
        self.wait_for_log("Running copy listening on", before + 1, 20, proc)
        return proc

    def launch(self, *args, cwd=None):
        """Runs a second launch to its end: (CompletedProcess, seconds taken)."""
        t0 = time.monotonic()
        result = subprocess.run([self.program] + list(args), env=self.env, cwd=cwd or self.root,
                                capture_output=True, timeout=20, stdin=subprocess.DEVNULL)
        return result, time.monotonic() - t0

    def command(self, *args, cwd=None):
        """A second launch that must be taken."""
        result, _ = self.launch(*args, cwd=cwd)
        if result.returncode != 0:
            raise AssertionError("launch %r failed: %s" % (args, result.stderr))

    def stop(self, proc, sig=signal.SIGTERM):
        if proc.poll() is None:
            proc.send_signal(sig)
        return proc.wait(timeout=20)

    def stderr_of(self, index):
        with open(os.path.join(self.root, "err%d.txt" % index), errors="replace") as f:
            return f.read()

    def log_lines(self, name="vocarta.log"):
        """Lines of a log without their time stamps."""
        try:
            with open(os.path.join(os.path.dirname(self.event_log), name),
                      encoding="utf-8", errors="replace") as f:
                return [line.rstrip("\n")[_STAMP_LENGTH:] for line in f]
        except FileNotFoundError:
            return []

    def count_log(self, prefix):
        return sum(1 for line in self.log_lines() if line.startswith(prefix))

    def wait_until(self, predicate, timeout=20, what="a condition", proc=None):
        deadline = time.monotonic() + timeout
        while not predicate():
            if proc is not None and proc.poll() is not None:
                raise AssertionError("vocarta ended (status %s) before %s:\n%s"
                                     % (proc.returncode, what, self.describe()))
            if time.monotonic() > deadline:
                raise AssertionError("no %s within %ss:\n%s" % (what, timeout, self.describe()))
            time.sleep(0.01)

    def wait_for_log(self, prefix, count=1, timeout=10, proc=None):
        self.wait_until(lambda: self.count_log(prefix) >= count, timeout,
                        "%d log line(s) %r" % (count, prefix), proc)

    def describe(self):
        return "\n".join(["--- vocarta.log"] + self.log_lines() +
                         ["--- error.log"] + self.log_lines("error.log"))

    def read_setting(self, section, key):
        """The stored text of Section/Key, or None."""
        r = subprocess.run([self.defaults_program, "read", section + "/" + key], env=self.env,
                           capture_output=True, text=True, timeout=20)
        return r.stdout[:-1] if r.returncode == 0 else None

    def write_settings(self, section, **values):
        for key, value in values.items():
            subprocess.run([self.defaults_program, "write", section + "/" + key, str(value)],
                           env=self.env, check=True, timeout=20)

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
