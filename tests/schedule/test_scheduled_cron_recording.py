"""A one-time schedule carried out by Debian's cron daemon, end to end: the
schedule is made with `vocarta -schedule-add` (no display; the crontab is the
job launcher), cron starts Vocarta at the start minute, and it records from the
clock-paced test microphone until the scheduled end. The file must hold the
stretch from the launch to the end within a second. A late start of the same
job after the end must not record, and removal must leave the user's own
crontab lines as they were.

Runs as root: the script runs again inside a mount namespace of its own
(unshare -m) with private folders over the spool, /etc/crontab, /etc/cron.d and
/run, so that `crontab -` and the cron daemon touch nothing of the machine. cron
runs jobs with HOME from /etc/passwd and an empty environment: the crontab's
variable lines (the user's own, which Vocarta keeps) give the job the test's
world. cron starts jobs about one second after a minute begins."""

import grp
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "app"))

LENGTH = 8  # seconds scheduled
# Shell and cron characters in the name: they must reach nothing but the name.
NAME = "Cron take $(touch pwned) `touch pwned` 50% ; 'x'"
CRON_VARIABLES = ("HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME",
                  "XDG_RUNTIME_DIR", "VOCARTA_SHARED_DIR", "PULSE_SERVER", "PULSE_RUNTIME_PATH")
MOUNTS = ("/var/spool/cron/crontabs", "/etc/crontab", "/etc/cron.d", "/run")


def enter_private_namespace():
    if os.environ.get("VOCARTA_PRIVATE_CRON"):
        return
    if os.geteuid() != 0:
        raise RuntimeError("a private cron spool needs root")
    for tool in ("/usr/bin/crontab", "/usr/sbin/cron", "/usr/bin/unshare", "pulseaudio", "pactl",
                 "soxi", "sox"):
        if shutil.which(tool) is None:
            raise RuntimeError(tool + " is missing (scripts/install-deps.sh --with-tests)")
    sys.exit(subprocess.call(["unshare", "-m", "--propagation", "private", sys.executable]
                             + sys.argv, env=dict(os.environ, VOCARTA_PRIVATE_CRON="1")))


def private_cron_folders():
    root = tempfile.mkdtemp(prefix="vocarta-cron-")
    sources = [os.path.join(root, name) for name in ("spool", "crontab", "cron.d", "run")]
    for source in sources:
        open(source, "w").close() if source.endswith("crontab") else os.mkdir(source)
    os.chown(sources[0], 0, grp.getgrnam("crontab").gr_gid)
    os.chmod(sources[0], 0o1730)
    for source, target in zip(sources, MOUNTS):
        subprocess.check_call(["mount", "--bind", source, target])
    return root


def stamp(t):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(t))


def vocarta(env, *args):
    return subprocess.run([env.program] + list(args), env=env.env, cwd=env.root,
                          capture_output=True, text=True, timeout=20)


def crontab():
    return subprocess.run(["crontab", "-l"], capture_output=True, text=True, check=True).stdout


def copies_of(program, home):
    """The processes of `program` started with -scheduled_launch in the test's own
    world (its HOME): other tests run the same program with that switch."""
    found = set()
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open("/proc/%s/cmdline" % pid, "rb") as f:
                words = f.read().split(b"\0")
            if words[0] == program.encode() and b"-scheduled_launch" in words:
                with open("/proc/%s/environ" % pid, "rb") as f:
                    if b"HOME=" + home.encode() in f.read().split(b"\0"):
                        found.add(int(pid))
        except OSError:
            continue
    return found


def launched_at(env, deadline, started):
    """The moment a new scheduled copy appears; its id is added to `started`."""
    before = copies_of(env.program, env.env["HOME"])
    while time.time() < deadline:
        new = copies_of(env.program, env.env["HOME"]) - before
        if new:
            started.update(new)
            return time.time()
        time.sleep(0.02)
    raise AssertionError("cron did not start vocarta by " + stamp(deadline))


def check_take(env, start, end, started):
    """cron starts Vocarta at `start`; the take ends at `end` and holds the stretch
    from the launch to the end."""
    launch = launched_at(env, start + 15, started)
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
    assert env.rms(path) > 0.1, "the microphone's tone is not in the take"
    lines = env.log_lines()
    assert any(l.startswith("Started by the schedule job") for l in lines), env.describe()
    assert any(l.startswith("Scheduled start at") and "for the occurrence ending %s"
               % stamp(end) in l for l in lines), env.describe()
    return files


def run_schedule(env, started):
    user_lines = "".join("%s=%s\n" % (v, env.env[v]) for v in CRON_VARIABLES)
    user_lines += "# the user's own comment\n"
    subprocess.run(["crontab", "-"], input=user_lines.encode(), check=True)
    start = (int(time.time()) // 60 + 1) * 60
    start += 60 if start - time.time() < 6 else 0  # time to add the schedule before its minute
    end = start + LENGTH
    add = vocarta(env, "-schedule-add", NAME, "once", time.strftime("%Y-%m-%d", time.localtime(
        start)), time.strftime("%H:%M:%S", time.localtime(start)), "+%ds" % LENGTH)
    assert add.returncode == 0, add.stderr
    assert add.stdout.endswith("Next start (crontab): %s\n" % stamp(start)), add.stdout
    rows = vocarta(env, "-schedules").stdout.splitlines()[1:]
    assert rows[0].endswith("\tActive\t00-00-%02d\t%s" % (LENGTH, stamp(start))), rows
    table = crontab()
    assert table.startswith(user_lines), table
    jobs = [line for line in table.splitlines() if "# vocarta-schedule:" in line]
    assert len(jobs) == 1, table
    cron = subprocess.Popen(["cron", "-f"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        files = check_take(env, start, end, started)
    finally:
        cron.terminate()
        cron.wait(5)
    # The copy cron started stays, as a scheduled launch does, until told to end.
    assert vocarta(env, "-exit").returncode == 0
    env.wait_until(lambda: not os.path.exists(env.socket_path), 20, "the copy to end")

    # The same job started again after its end (as after a machine was off):
    # it must not record, nor stay.
    command = re.match(r"^(\S+\s+){5}(.*)$", jobs[0]).group(2)
    late = subprocess.run(["/bin/sh", "-c", command], env=env.env, cwd=env.env["HOME"],
                          capture_output=True, timeout=20)
    assert late.returncode == 0, late.stderr
    assert env.files() == files, env.files()
    assert any("not carried out" in l for l in env.log_lines()), env.describe()

    removed = vocarta(env, "-schedule-remove", NAME)
    assert removed.returncode == 0, removed.stderr
    assert crontab() == user_lines, crontab()
    for folder in (env.root, env.env["HOME"], "/"):
        assert not os.path.exists(os.path.join(folder, "pwned")), folder


def main():
    enter_private_namespace()
    from session_e2e_support import SessionEnv
    root = private_cron_folders()
    started = set()
    env = None
    try:
        env = SessionEnv(modules=False, mic=True)
        run_schedule(env, started)
    finally:
        # The copies cron (or the late start) left are not children of the test.
        for pid in started | (copies_of(env.program, env.env["HOME"]) if env else set()):
            subprocess.call(["kill", str(pid)], stderr=subprocess.DEVNULL)
        if env is not None:
            env.close()
        for target in MOUNTS:
            subprocess.call(["umount", "-l", target])
        shutil.rmtree(root, ignore_errors=True)
    print("cron recorded the scheduled stretch")


main()
