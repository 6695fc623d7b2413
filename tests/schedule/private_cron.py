"""Debian's cron with a private spool, for end-to-end tests of schedules (as root).

enter_private_namespace() re-runs the calling script inside a mount namespace of
its own (unshare -m) and mounts private folders over the spool, /etc/crontab,
/etc/cron.d and /run, so that `crontab -` and the cron daemon touch nothing of
the machine. cron runs jobs as root with HOME from /etc/passwd and an empty
environment: give the job its world with variable lines at the top of the
crontab (they are the user's own lines, which Vocarta keeps); HOME must exist,
as cron runs the job there and skips it otherwise. cron starts jobs
about one second after a minute begins; `clock_offset` moves only the daemon's
clock (libfaketime), so a test that needs the real minute waits for it."""

import grp
import os
import subprocess
import sys
import tempfile

_MARK = "VOCARTA_PRIVATE_CRON"
FAKETIME = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1"


def enter_private_namespace():
    """Call first thing: returns inside the namespace (the script runs again)."""
    if os.environ.get(_MARK):
        return
    if os.geteuid() != 0:
        raise RuntimeError("a private cron spool needs root")
    for tool in ("/usr/bin/crontab", "/usr/sbin/cron", "/usr/bin/unshare"):
        if not os.access(tool, os.X_OK):
            raise RuntimeError(tool + " is missing (packages cron, util-linux)")
    env = dict(os.environ, **{_MARK: "1"})
    args = ["unshare", "-m", "--propagation", "private", sys.executable] + sys.argv
    sys.exit(subprocess.call(args, env=env))


class PrivateCron:
    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="vocarta-cron-")
        spool = os.path.join(self.root, "spool")
        os.mkdir(spool)
        os.chown(spool, 0, grp.getgrnam("crontab").gr_gid)
        os.chmod(spool, 0o1730)
        tables = os.path.join(self.root, "cron.d")
        os.mkdir(tables)
        crontab = os.path.join(self.root, "crontab")
        open(crontab, "w").close()
        run = os.path.join(self.root, "run")
        os.mkdir(run)
        for source, target in ((spool, "/var/spool/cron/crontabs"), (crontab, "/etc/crontab"),
                               (tables, "/etc/cron.d"), (run, "/run")):
            subprocess.check_call(["mount", "--bind", source, target])
        self.daemon = None

    def install(self, text):
        """Replaces the crontab of root with `text` (must end in a line end)."""
        subprocess.run(["crontab", "-"], input=text.encode(), check=True)

    def start(self, clock_offset=0):
        env = dict(os.environ)
        if clock_offset:
            env.update(LD_PRELOAD=FAKETIME, FAKETIME="+%ds" % clock_offset)
        self.daemon = subprocess.Popen(["cron", "-f"], env=env, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)

    def stop(self):
        if self.daemon and self.daemon.poll() is None:
            self.daemon.terminate()
            self.daemon.wait(5)
