"""The private cron of private_cron.py runs a job of a private crontab with the
HOME and variables its lines give, within seconds on a moved clock, and leaves
the machine's spool alone."""

import os
import shutil
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import private_cron  # noqa: E402

private_cron.enter_private_namespace()
machine_spool = os.listdir("/var/spool/cron/crontabs")
cron = private_cron.PrivateCron()
try:
    out = os.path.join(cron.root, "ran")
    home = os.path.join(cron.root, "home dir")
    os.mkdir(home)  # cron runs a job in its HOME and skips it when that is missing
    offset = (58 - int(time.time()) % 60) % 60
    cron.install("HOME=%s\nXDG_DATA_HOME=%s/data\n"
                 "* * * * * echo \"$HOME|$XDG_DATA_HOME|\\%%\" > '%s'\n" % (home, home, out))
    cron.start(clock_offset=offset)
    deadline = time.time() + 15
    while time.time() < deadline and not os.path.exists(out):
        time.sleep(0.2)
    with open(out) as f:
        got = f.read()
    assert got == "%s|%s/data|%%\n" % (home, home), got
finally:
    cron.stop()
    for target in ("/run", "/etc/cron.d", "/etc/crontab", "/var/spool/cron/crontabs"):
        os.system("umount -l " + target)
    shutil.rmtree(cron.root, ignore_errors=True)
assert os.listdir("/var/spool/cron/crontabs") == machine_spool
print("private cron ran the job")
