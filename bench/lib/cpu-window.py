"""Runs a command, lets it settle, and measures what it costs over a window
once it runs: CPU time and voluntary context switches (wake-ups) of every
thread of the command and of its descendants, from the kernel's scheduler
statistics (nanoseconds, /proc/PID/task/TID/schedstat), so that start-up and
shutdown stay out of the figure. The command is then ended with SIGINT (as a
user stops parecord) and waited for.

  cpu-window.py [--settle S] [--window S] [--then CMD] OUTPUT_FILE -- COMMAND [ARG...]

--then runs CMD (through sh) once the command has started and before the
settling time (for a second launch that starts the recording).
OUTPUT_FILE gets one line per thread, "THREAD CPU_SECONDS WAKEUPS", the thread
named PROCESS/THREAD, one line per process "memory PROCESS RSS_KIB PEAK_KIB"
(VmRSS at the end of the window, VmHWM), and a last line
"total CPU_SECONDS WAKEUPS WINDOW_SECONDS".
A command that cannot be started, or that ends before the window is over, is an
error (its output is kept for the caller to show)."""
import os
import signal
import subprocess
import sys
import time


def descendants(root):
    """The process `root` and every process below it."""
    children = {}
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat", encoding="ascii", errors="replace") as f:
                fields = f.read().rsplit(")", 1)[1].split()
            children.setdefault(int(fields[1]), []).append(int(entry))
        except (OSError, IndexError):
            continue
    found, todo = [], [root]
    while todo:
        pid = todo.pop()
        found.append(pid)
        todo.extend(children.get(pid, []))
    return found


def snapshot(root):
    """{(pid, tid): (name, cpu_ns, wakeups)} for every thread of the tree."""
    result = {}
    for pid in descendants(root):
        try:
            with open(f"/proc/{pid}/comm", encoding="utf-8", errors="replace") as f:
                process = f.read().strip()
            tids = os.listdir(f"/proc/{pid}/task")
        except OSError:
            continue
        for tid in tids:
            base = f"/proc/{pid}/task/{tid}"
            try:
                with open(f"{base}/comm", encoding="utf-8", errors="replace") as f:
                    name = f.read().strip()
                with open(f"{base}/schedstat", encoding="ascii") as f:
                    cpu = int(f.read().split()[0])
                wakeups = 0
                with open(f"{base}/status", encoding="ascii", errors="replace") as f:
                    for line in f:
                        if line.startswith("voluntary_ctxt_switches:"):
                            wakeups = int(line.split()[1])
            except (OSError, ValueError, IndexError):
                continue
            label = f"{process}/{name}".replace(" ", "_")
            result[(int(pid), int(tid))] = (label, cpu, wakeups)
    return result


def memory(root):
    """[(process, rss KiB, peak KiB)] for every process of the tree."""
    result = []
    for pid in descendants(root):
        fields = {}
        try:
            with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as f:
                for line in f:
                    key, _, value = line.partition(":")
                    fields[key] = value.split()
        except OSError:
            continue
        if "VmRSS" in fields:
            result.append((fields["Name"][0], int(fields["VmRSS"][0]), int(fields["VmHWM"][0])))
    return result


def main():
    args = sys.argv[1:]
    settle, window, then = 5.0, 60.0, None
    while args and args[0].startswith("--") and args[0] != "--":
        option, value = args[0], args[1] if len(args) > 1 else None
        if value is None:
            sys.exit(f"{option} needs a value")
        if option == "--settle":
            settle = float(value)
        elif option == "--window":
            window = float(value)
        elif option == "--then":
            then = value
        else:
            sys.exit(f"unknown option {option}")
        args = args[2:]
    if len(args) < 3 or args[1] != "--":
        sys.exit(__doc__)
    output, command = args[0], args[2:]
    try:
        child = subprocess.Popen(command, start_new_session=True)
    except OSError as error:
        sys.exit(f"cannot run {command[0]}: {error}")
    try:
        if then:
            subprocess.run(["sh", "-c", then], check=True)
        time.sleep(settle)
        before = snapshot(child.pid)
        start = time.monotonic()
        time.sleep(window)
        after = snapshot(child.pid)
        elapsed = time.monotonic() - start
        resident = memory(child.pid)
        if child.poll() is not None:
            sys.exit(f"{command[0]} ended during the measurement (status {child.returncode})")
    finally:
        if child.poll() is None:
            os.killpg(child.pid, signal.SIGINT)
            try:
                child.wait(timeout=30)
            except subprocess.TimeoutExpired:
                os.killpg(child.pid, signal.SIGKILL)
                child.wait()
    threads, total_cpu, total_wakeups = {}, 0, 0
    for key, (label, cpu, wakeups) in after.items():
        if key not in before:
            continue  # a thread that came and went mid-window is not a steady cost
        d_cpu, d_wakeups = cpu - before[key][1], wakeups - before[key][2]
        old = threads.get(label, (0, 0))
        threads[label] = (old[0] + d_cpu, old[1] + d_wakeups)
        total_cpu += d_cpu
        total_wakeups += d_wakeups
    with open(output, "w", encoding="utf-8") as out:
        for label, (cpu, wakeups) in sorted(threads.items()):
            out.write(f"{label} {cpu / 1e9:.6f} {wakeups}\n")
        for process, rss, peak in resident:
            out.write(f"memory {process.replace(' ', '_')} {rss} {peak}\n")
        out.write(f"total {total_cpu / 1e9:.6f} {total_wakeups} {elapsed:.3f}\n")


if __name__ == "__main__":
    main()
