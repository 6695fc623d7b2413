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
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import private_cron  # noqa: E402

private_cron.enter_private_namespace()

import cron_take  # noqa: E402
from cron_take import crontab, stamp  # noqa: E402

LENGTH = 8  # seconds scheduled
# Shell and cron characters in the name: they must reach nothing but the name.
NAME = "Cron take $(touch pwned) `touch pwned` 50% ; 'x'"


def main():
    with cron_take.CronWorld() as world:
        env = world.env
        start = cron_take.next_minute(6)  # time to add the schedule before its minute
        end = start + LENGTH
        add = subprocess.run([env.program, "-schedule-add", NAME, "once",
                              time.strftime("%Y-%m-%d", time.localtime(start)),
                              time.strftime("%H:%M:%S", time.localtime(start)), "+%ds" % LENGTH],
                             env=env.env, cwd=env.root, capture_output=True, text=True,
                             timeout=20)
        assert add.returncode == 0, add.stderr
        assert add.stdout.endswith("Next start (crontab): %s\n" % stamp(start)), add.stdout
        rows = world.schedules()
        assert rows[0].endswith("\tActive\t00-00-%02d\t%s" % (LENGTH, stamp(start))), rows
        job_lines = world.job_lines()
        files = world.record(start, end)

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
        assert crontab() == world.user_lines, crontab()
        for folder in (env.root, env.env["HOME"], "/"):
            assert not os.path.exists(os.path.join(folder, "pwned")), folder
    print("cron recorded the scheduled stretch")


main()
