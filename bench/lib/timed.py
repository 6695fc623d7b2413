"""Runs a command with its output discarded and prints its wall-clock time and
CPU time (user + system of it and its waited-for children), in seconds:
  WALL_SECONDS CPU_SECONDS
Fails when the command fails.
  timed.py COMMAND [ARGUMENT...]"""
import resource
import subprocess
import sys
import time

if len(sys.argv) < 2:
    sys.exit("usage: timed.py COMMAND [ARGUMENT...]")
start = time.monotonic()
result = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=False)
wall = time.monotonic() - start
if result.returncode != 0:
    sys.exit(f"{sys.argv[1]} failed with status {result.returncode}")
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
print(f"{wall:.6f} {usage.ru_utime + usage.ru_stime:.6f}")
