"""What the end-to-end runs on Debian's cron share: the crontab's variable lines
that give a job the test's world, the next whole minute far enough ahead, the
wait for cron to start Vocarta and the check of the take it records from the
clock-paced test microphone. Import after private_cron.enter_private_namespace()."""

import os
import shutil
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))),
                                "app"))
import private_cron  # noqa: E402
from session_e2e_support import SessionEnv  # noqa: E402
from vocarta_testlib import end_process  # noqa: E402

CRON_VARIABLES = ("HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME",
                  "XDG_RUNTIME_DIR", "VOCARTA_SHARED_DIR", "PULSE_SERVER", "PULSE_RUNTIME_PATH")


def require_tools(*extra):
    for tool in ("pulseaudio", "pactl", "soxi", "sox") + extra:
        if shutil.which(tool) is None:
            raise RuntimeError(tool + " is missing (scripts/install-deps.sh --with-tests)")


def stamp(t):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(t))


def next_minute(lead):
    """The next whole minute at least `lead` seconds from now."""
    now = time.time()
    start = (int(now) // 60 + 1) * 60
    return start + 60 if start - now < lead else start


def crontab():
    return subprocess.run(["crontab", "-l"], capture_output=True, text=True, check=True).stdout


def install_user_lines(cron, env):
    """cron gives a job only what the crontab's variable lines say: the user's own
    lines, which Vocarta must keep. Returns them."""
    lines = "".join("%s=%s\n" % (v, env.env[v]) for v in CRON_VARIABLES)
    lines += "# the user's own comment\n"
    cron.install(lines)
    return lines


def job_lines(table):
    return [line for line in table.splitlines() if "# vocarta-schedule:" in line]


def copies_of(program, home):
    """The processes of `program` started with -scheduled_launch in the test's own
    world (its HOME): other tests run the same program with that switch."""
    found = set()
    wanted = b"HOME=" + home.encode()
    for pid in os.listdir("/proc"):
        if not pid.isdigit():
            continue
        try:
            with open("/proc/%s/cmdline" % pid, "rb") as f:
                words = f.read().split(b"\0")
        except OSError:
            continue
        if not (words and words[0] == program.encode() and b"-scheduled_launch" in words):
            continue
        try:
            with open("/proc/%s/environ" % pid, "rb") as f:
                if wanted in f.read().split(b"\0"):
                    found.add(int(pid))
        except OSError:
            continue
    return found


def launched_at(program, home, deadline, started):
    """The moment a new process of `program` with -scheduled_launch appears; its
    id is added to `started`."""
    before = copies_of(program, home)
    while time.time() < deadline:
        new = copies_of(program, home) - before
        if new:
            started.update(new)
            return time.time()
        time.sleep(0.02)
    raise AssertionError("cron did not start vocarta by " + stamp(deadline))


def check_cron_take(env, start, end, started):
    """Waits for cron to start Vocarta at `start` and for the take to end; checks
    that it ended at `end` and holds the stretch from the launch to the end.
    Returns the file names in the record folder."""
    launch = launched_at(env.program, env.env["HOME"], start + 15, started)
    assert start - 0.2 <= launch <= start + 3, (stamp(start), launch - start)
    env.wait_until(lambda: env.count_log("Recording complete for file:") >= 1,
                   end - time.time() + 15, "the end of the take")
    closed = time.time()
    # The recorder stops at the limit itself, or the session's check does.
    assert env.count_log("Scheduled end reached") + \
        env.count_log("Recorder reached its time limit") == 1, env.describe()
    files = env.files()
    assert len(files) == 1, files
    path = os.path.join(env.rec, files[0])
    length = env.duration(path)
    assert abs(closed - end) <= 1.0, "ended %.2f s after the scheduled end" % (closed - end)
    assert abs(length - (end - launch)) <= 1.0, \
        "holds %.2f s; from the launch to the end is %.2f s" % (length, end - launch)
    print("launched %.2f s after the start; the take ended %.2f s after the scheduled end "
          "and holds %.2f s of the %.2f s from the launch to the end"
          % (launch - start, closed - end, length, end - launch))
    assert env.rms(path) > 0.1, "the microphone's tone is not in the take"
    lines = env.log_lines()
    assert any(l.startswith("Started by the schedule job") for l in lines), env.describe()
    assert any(l.startswith("Scheduled start at") and "for the occurrence ending %s"
               % stamp(end) in l for l in lines), env.describe()
    return files


def end_copies(pids):
    """The copies cron started are not children of the test: end them by id."""
    for pid in pids:
        try:
            os.kill(pid, signal.SIGTERM)
        except ProcessLookupError:
            continue
        for _ in range(100):
            if not os.path.exists("/proc/%d" % pid):
                break
            time.sleep(0.05)
        else:
            os.kill(pid, signal.SIGKILL)


class CronWorld:
    """A private cron, a SessionEnv recording from the test microphone whose
    world the crontab's variable lines give to jobs, and (optionally) an Xvfb;
    all of it, and the copies cron started, go at the end."""

    def __init__(self, *tools):
        require_tools(*tools)
        self.cron = private_cron.PrivateCron()
        self.started = set()
        self.xvfb = None
        try:
            self.env = SessionEnv(modules=False, mic=True)
        except Exception:
            self.env = None
            self.__exit__()
            raise

    def __enter__(self):
        self.user_lines = install_user_lines(self.cron, self.env)
        return self

    def __exit__(self, *exc):
        if self.xvfb is not None:
            end_process(self.xvfb)
        self.cron.stop()
        end_copies(self.started)
        if self.env is not None:
            self.env.close()
        for target in ("/run", "/etc/cron.d", "/etc/crontab", "/var/spool/cron/crontabs"):
            subprocess.call(["umount", "-l", target])
        shutil.rmtree(self.cron.root, ignore_errors=True)

    def schedules(self):
        """The rows of `vocarta -schedules`, without its heading."""
        listing = subprocess.run([self.env.program, "-schedules"], env=self.env.env,
                                 capture_output=True, text=True, timeout=20)
        assert listing.returncode == 0, listing.stderr
        return listing.stdout.splitlines()[1:]

    def job_lines(self):
        """The crontab's one job line; the user's lines must still lead it."""
        table = crontab()
        assert table.startswith(self.user_lines), table
        jobs = job_lines(table)
        assert len(jobs) == 1, table
        return jobs

    def record(self, start, end):
        """cron starts the job and the take is checked (check_cron_take); the copy
        cron started stays, as a scheduled launch does, and is ended."""
        self.cron.start()
        files = check_cron_take(self.env, start, end, self.started)
        result, _ = self.env.launch("-exit")
        assert result.returncode == 0, result.stderr
        self.env.wait_until(lambda: not os.path.exists(self.env.socket_path), 20,
                            "the copy to end")
        return files

