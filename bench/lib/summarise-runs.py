"""Medians and spread of interleaved benchmark runs measured by cpu-window.py.

  summarise-runs.py FOLDER SOURCE LABEL=NAME... [--ratio A/B...] [--threads NAME]
                    [--memory PROCESS]

FOLDER holds files named c.SOURCE.NAME.RUN. For each NAME a table row gives
CPU seconds per hour and wake-ups per second: the median of the runs with the
lowest and highest in brackets. --memory adds PROCESS's resident set at the
end of the window and its peak. --ratio A/B gives, for each run, A's
CPU over B's in the same round (they ran one after the other), then the median
and range of those ratios. --threads NAME splits NAME by thread."""
import os
import statistics
import sys


def load(folder, source, name):
    """[(run, (cpu per hour, wake-ups per second), {thread: (the same)},
    {process: (rss KiB, peak KiB)})]"""
    runs = []
    prefix = f"c.{source}.{name}."
    for entry in sorted(os.listdir(folder)):
        if not entry.startswith(prefix):
            continue
        threads, total, resident = {}, None, {}
        with open(os.path.join(folder, entry), encoding="utf-8") as f:
            for line in f:
                fields = line.split()
                if fields[0] == "memory":
                    resident[fields[1]] = (int(fields[2]), int(fields[3]))
                elif fields[0] == "total":
                    total = (float(fields[1]), int(fields[2]), float(fields[3]))
                elif len(fields) == 3:
                    threads[fields[0]] = (float(fields[1]), int(fields[2]))
        if not total:
            continue
        window = total[2]
        per_thread = {t: (c * 3600 / window, w / window) for t, (c, w) in threads.items()}
        runs.append((entry[len(prefix):], (total[0] * 3600 / window, total[1] / window),
                     per_thread, resident))
    return runs


def spread(values, digits):
    m = statistics.median(values)
    return f"{m:.{digits}f} ({min(values):.{digits}f}-{max(values):.{digits}f})"


def main():
    args = sys.argv[1:]
    if len(args) < 3:
        sys.exit(__doc__)
    folder, source = args[0], args[1]
    rows, ratios, thread_names, memory_of = [], [], [], None
    i = 2
    while i < len(args):
        if args[i] == "--ratio":
            ratios.append(args[i + 1])
            i += 2
        elif args[i] == "--memory":
            memory_of = args[i + 1]
            i += 2
        elif args[i] == "--threads":
            thread_names.append(args[i + 1])
            i += 2
        else:
            label, name = args[i].rsplit("=", 1)
            rows.append((label, name))
            i += 1
    data = {name: load(folder, source, name) for _, name in rows}
    memory_head = f" {memory_of} RSS at the end, peak (MiB) |" if memory_of else ""
    print(f"| | CPU s per hour, median (range) | % of one core | wake-ups per second |"
          f"{memory_head} runs |")
    print("|---|---|---|---|" + ("---|" if memory_of else "") + "---|")
    for label, name in rows:
        runs = data[name]
        if not runs:
            print(f"| {label} | no run | | |" + (" |" if memory_of else "") + " 0 |")
            continue
        cpu = [r[1][0] for r in runs]
        line = (f"| {label} | {spread(cpu, 2)} | {statistics.median(cpu) / 36:.2f} % | "
                f"{spread([r[1][1] for r in runs], 1)} |")
        if memory_of:
            rss = [r[3][memory_of][0] / 1024 for r in runs if memory_of in r[3]]
            peak = [r[3][memory_of][1] / 1024 for r in runs if memory_of in r[3]]
            line += f" {spread(rss, 1)}, {max(peak):.1f} |" if rss else " |"
        print(line + f" {len(runs)} |")
    for ratio in ratios:
        a, b = ratio.split("/")
        by_run_b = {r[0]: r[1][0] for r in data.get(b, [])}
        values = [r[1][0] / by_run_b[r[0]] for r in data.get(a, [])
                  if by_run_b.get(r[0])]
        names = {name: label for label, name in rows}
        if values:
            print(f"\n{names.get(a, a)} / {names.get(b, b)}, run by run: "
                  f"{spread(values, 2)}")
    for name in thread_names:
        runs = data.get(name, [])
        if not runs:
            continue
        print(f"\n{dict((n, l) for l, n in rows).get(name, name)} by thread:\n")
        print("| thread | CPU s per hour | wake-ups per second |")
        print("|---|---|---|")
        for thread in sorted({t for r in runs for t in r[2]}):
            cpu = [r[2][thread][0] for r in runs if thread in r[2]]
            woke = [r[2][thread][1] for r in runs if thread in r[2]]
            print(f"| {thread} | {spread(cpu, 2)} | {spread(woke, 1)} |")


if __name__ == "__main__":
    main()
