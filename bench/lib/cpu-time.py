"""Runs a command and prints the CPU time of it and of all its descendants that
were waited for, with microsecond resolution (getrusage of the children), and
their voluntary context switches:  CPU_SECONDS WAKEUPS
/usr/bin/time prints hundredths of a second, too coarse for a recorder that
takes a few hundredths in two minutes.
  cpu-time.py OUTPUT_FILE COMMAND [ARGUMENT...]
The command's own exit status is ignored (recorders stopped by `timeout`
return 124); a command that cannot be started is an error."""
import resource
import subprocess
import sys

if len(sys.argv) < 3:
    sys.exit("usage: cpu-time.py OUTPUT_FILE COMMAND [ARGUMENT...]")
try:
    subprocess.run(sys.argv[2:], check=False)
except OSError as error:
    sys.exit(f"cannot run {sys.argv[2]}: {error}")
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
with open(sys.argv[1], "w", encoding="ascii") as out:
    out.write(f"{usage.ru_utime + usage.ru_stime:.6f} {usage.ru_nvcsw}\n")
