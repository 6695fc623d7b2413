"""A one-time schedule carried out by Debian's cron daemon, end to end: the
schedule is made with `vocarta -schedule-add` (no display; the crontab is the
job launcher), cron starts Vocarta at the start minute, and it records from the
clock-paced test microphone until the scheduled end. The file must hold the
stretch from the launch to the end within a second. A late start of the same
job after the end must not record, and removal must leave the user's own
crontab lines as they were. Runs as root in a private mount namespace
(private_cron.py); without root it fails."""

import os
import re
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "app"))
import private_cron  # noqa: E402

private_cron.enter_private_namespace()

from session_e2e_support import SessionEnv  # noqa: E402

LENGTH = 8  # seconds scheduled
# Shell and cron characters in the name: they must reach nothing but the name.
NAME = "Cron take $(touch pwned) `touch pwned` 50% ; 'x'"
CRON_VARIABLES = ("HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME",
                  "XDG_RUNTIME_DIR", "VOCARTA_SHARED_DIR", "PULSE_SERVER", "PULSE_RUNTIME_PATH")


def stamp(t):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(t))


def copies_of(program):
    """The processes of `program` started with -scheduled_launch."""
    found = set()
    for pid in os.listdir("/proc"):
        if not pid.isdigit():
            continue
        try:
            with open("/proc/%s/cmdline" % pid, "rb") as f:
                words = f.read().split(b"\0")
        except OSError:
            continue
        if words and words[0] == program.encode() and b"-scheduled_launch" in words:
            found.add(int(pid))
    return found


def launched_at(program, deadline, started):
    """The moment a new process of `program` with -scheduled_launch appears; its
    id is added to `started`."""
    before = copies_of(program)
    while time.time() < deadline:
        new = copies_of(program) - before
        if new:
            started.update(new)
            return time.time()
        time.sleep(0.02)
    raise AssertionError("cron did not start vocarta by " + stamp(deadline))


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


def crontab():
    return subprocess.run(["crontab", "-l"], capture_output=True, text=True, check=True).stdout


def main():
    for tool in ("pulseaudio", "pactl", "soxi", "sox"):
        if shutil.which(tool) is None:
            raise RuntimeError(tool + " is missing (scripts/install-deps.sh --with-tests)")
    cron = private_cron.PrivateCron()
    env = None
    started = set()
    try:
        env = SessionEnv(modules=False, mic=True)
        # cron gives a job only what the crontab's variable lines say: the user's
        # own lines, which Vocarta must keep.
        user_lines = "".join("%s=%s\n" % (v, env.env[v]) for v in CRON_VARIABLES)
        user_lines += "# the user's own comment\n"
        cron.install(user_lines)

        now = time.time()
        start = (int(now) // 60 + 1) * 60
        if start - now < 6:  # time to add the schedule before its minute
            start += 60
        end = start + LENGTH
        add = subprocess.run([env.program, "-schedule-add", NAME, "once",
                              time.strftime("%Y-%m-%d", time.localtime(start)),
                              time.strftime("%H:%M:%S", time.localtime(start)), "+%ds" % LENGTH],
                             env=env.env, cwd=env.root, capture_output=True, text=True,
                             timeout=20)
        assert add.returncode == 0, add.stderr
        assert add.stdout.endswith("Next start (crontab): %s\n" % stamp(start)), add.stdout
        listing = subprocess.run([env.program, "-schedules"], env=env.env, capture_output=True,
                                 text=True, timeout=20)
        assert listing.returncode == 0, listing.stderr
        assert listing.stdout.splitlines()[1].endswith("\tActive\t00-00-%02d\t%s"
                                                       % (LENGTH, stamp(start))), listing.stdout
        table = crontab()
        assert table.startswith(user_lines), table
        job_lines = [line for line in table.splitlines() if "# vocarta-schedule:" in line]
        assert len(job_lines) == 1, table

        cron.start()
        launch = launched_at(env.program, start + 15, started)
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

        # The copy cron started stays, as a scheduled launch does; end it.
        result, _ = env.launch("-exit")
        assert result.returncode == 0, result.stderr
        env.wait_until(lambda: not os.path.exists(env.socket_path), 20, "the copy to end")

        # The same job started again after its end (as after a machine was off):
        # it must not record, nor stay.
        command = re.match(r"^(\S+\s+){5}(.*)$", job_lines[0]).group(2)
        late = subprocess.run(["/bin/sh", "-c", command], env=env.env, cwd=env.env["HOME"],
                              capture_output=True, timeout=20)
        assert late.returncode == 0, late.stderr
        assert env.files() == files, env.files()
        assert any("not carried out" in l for l in env.log_lines()), env.describe()

        removed = subprocess.run([env.program, "-schedule-remove", NAME], env=env.env,
                                 capture_output=True, text=True, timeout=20)
        assert removed.returncode == 0, removed.stderr
        assert crontab() == user_lines, crontab()
        for folder in (env.root, env.env["HOME"], "/"):
            assert not os.path.exists(os.path.join(folder, "pwned")), folder
    finally:
        cron.stop()
        end_copies(started)
        if env is not None:
            env.close()
        for target in ("/run", "/etc/cron.d", "/etc/crontab", "/var/spool/cron/crontabs"):
            subprocess.call(["umount", "-l", target])
        shutil.rmtree(cron.root, ignore_errors=True)
    print("cron recorded the scheduled stretch")


main()
