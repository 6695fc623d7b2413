#!/bin/sh
# Forwarding round trip: a second launch of vocarta is started, hands its command
# line to the running copy (headless) and ends; the time until the running copy
# has logged the command, and until the second launch has ended, over N launches.
# Usage: bench/forwarding-roundtrip.sh BUILD_DIR [N]
set -eu
build=$(cd "${1:?build folder}" && pwd)
count=${2:-50}
here=$(cd "$(dirname "$0")" && pwd)
VOCARTA_BUILD_DIR="$build" PYTHONPATH="$here/../tests/support" PYTHONDONTWRITEBYTECODE=1 \
exec /usr/bin/python3 - "$count" <<'PY'
import os, statistics, subprocess, sys, time
from vocarta_testlib import VocartaEnv

count = int(sys.argv[1])
with VocartaEnv(prefix="vocarta-bench-") as env:
    env.start()
    applied, ended = [], []
    log = open(env.event_log, "rb")
    log.seek(0, os.SEEK_END)
    for i in range(count):
        marker = ('Command line: "bench-%d"' % i).encode()
        seen = b""
        t0 = time.perf_counter()
        proc = subprocess.Popen([env.program, "bench-%d" % i], env=env.env,
                                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        t_applied = t_ended = None
        while t_applied is None or t_ended is None:
            chunk = log.read()
            if chunk:
                seen += chunk
                if t_applied is None and marker in seen:
                    t_applied = time.perf_counter()
            if t_ended is None and proc.poll() is not None:
                t_ended = time.perf_counter()
                if proc.returncode != 0:
                    sys.exit("launch %d ended with status %d" % (i, proc.returncode))
            if time.perf_counter() - t0 > 20:
                sys.exit("launch %d: no round trip within 20 s" % i)
            time.sleep(0.0002)
        applied.append((t_applied - t0) * 1000)
        ended.append((t_ended - t0) * 1000)

def row(name, values):
    values = sorted(values)
    p90 = values[int(len(values) * 0.9) - 1]
    print("%-34s median %6.1f ms   p90 %6.1f ms   min %6.1f ms   max %6.1f ms"
          % (name, statistics.median(values), p90, values[0], values[-1]))

print("forwarding round trip, %d launches" % count)
row("launch -> command in running copy", applied)
row("launch -> second copy ended", ended)
PY
