#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Shows what ./dev bench measured as a table of ratios.

usage: bench_report.py [--report] FOLDER

FOLDER holds times.json and counts.json of the two benchmark programs. With --report the table and
the machine go into docs/performance.md, and the plots beside it are drawn anew.
"""
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys

sys.dont_write_bytecode = True
import tables  # noqa: E402

TOP = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = TOP / "docs/performance.md"
PLOTS = TOP / "docs/performance"
FAMILIES = ("sym", "keymint", "rsa", "hash", "kdf", "random", "sets", "chain", "cose", "file", "modem",
       "program", "token")


def read(path):
    """The values of each line: {(name, size): {"ours": [benchmark...], "raw": [...]}}."""
    lines = {}
    for run in json.loads(path.read_text())["benchmarks"]:
        if run.get("run_type") != "iteration":
            continue
        name, size, side = re.match(r"(.+)/(\d+)/(ours|raw)/", run["name"]).groups()
        lines.setdefault((name, int(size)), {}).setdefault(side, []).append(run)
    return lines


def time_of(name, runs):
    """Nanoseconds of the fastest repetition, as whatever disturbs adds: the thread's own time, of a
    program that on the wall."""
    clock = "real_time" if name.startswith("program") else "cpu_time"
    return min(run[clock] for run in runs)


class Results:
    def __init__(self, folder):
        times, counts = read(folder / "times.json"), read(folder / "counts.json")
        self.rows = []
        # Measured in a random order.
        order = lambda line: (FAMILIES.index(line[0].split("/")[0]), *line)
        for name, size in sorted(times, key=order):
            sides, counted = times[name, size], counts[name, size]
            ours, raw = (time_of(name, sides[side]) for side in ("ours", "raw"))
            self.rows.append((name, size, ours, raw,
                              {side: counted[side][0] for side in ("ours", "raw")}))

    def find(self, name):
        return [(size, ours, raw) for what, size, ours, raw, _ in self.rows if what == name]


def duration(ns):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if abs(ns) >= factor:
            return f"{ns / factor:.3g} {unit}"
    return f"{ns:.0f} ns"


def amount(size):
    """As the plots say it; nothing for lines of which there is only one."""
    if size >= 1024 and size % 1024 == 0:
        return f"{size // 1024} KiB"
    return f"{size:,}" if size > 1 else ""


def rows_to_show(results):
    for name, size, ours, raw, counted in results.rows:
        # The programs' own memory is not what the benchmark's process asked for.
        counts = ["", ""] if name.startswith("program") else [
            f"{counted['ours'][what]:.0f} / {counted['raw'][what]:.0f}"
            for what in ("allocations", "copied")]
        yield (name, amount(size), duration(ours), duration(raw),
               f"{ours / raw:.2f}", duration(ours - raw), *counts)


HEADER = ("line", "size", "ours", "raw", "ratio", "added", "allocations", "bytes copied")


def library_facts():
    """Size, relocations and written memory of the library as it is installed."""
    library = TOP / "build/host/lib/liborx.so"
    stripped = TOP / "build/host/bench/liborx.so"
    subprocess.run(["strip", "-o", stripped, library], check=True)
    relocations = subprocess.run(["readelf", "-rW", library], check=True, text=True,
                                 capture_output=True).stdout.count(" R_")
    maps = subprocess.run(["cat", "/proc/self/smaps"], check=True, text=True, capture_output=True,
                          env=os.environ | {"LD_PRELOAD": str(library)}).stdout
    dirty, inside = 0, False
    for line in maps.splitlines():
        if re.match(r"[0-9a-f]+-[0-9a-f]+ ", line):
            inside = "/liborx.so" in line
        elif inside and line.startswith("Private_Dirty:"):
            dirty += int(line.split()[1])
    return (f"`liborx.so`, stripped: {stripped.stat().st_size / 1024:.0f} KiB, {relocations} "
            f"relocations, {dirty} KiB of memory of its own in each process once loaded.")


def machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    date = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d")
    return f"{date}, {model[1] if model else 'unknown CPU'}, {os.cpu_count()} cores."


STYLE = """set terminal svg size 760,{height} font "sans-serif,13" background "white"
set output "{output}"
set title "{title}"
set grid lc rgb "#dddddd"
set border lc rgb "#888888"
set key left top
"""
COLOURS = ("#1f5fa8", "#d1662b", "#3a8a4a", "#8a4a8a")


def draw(name, title, commands, height=380):
    script = STYLE.format(output=PLOTS / f"{name}.svg", title=title, height=height) + commands
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def curves(series):
    """Plot commands for {title: [(x, y)...]}, points and lines."""
    data, plots = "", []
    for at, (title, points) in enumerate(series.items()):
        rows = "\n".join(f"{x} {y}" for x, y in points)
        data += f"$d{at} << EOD\n{rows}\nEOD\n"
        plots.append(f'$d{at} with linespoints pt 7 ps 0.6 lw 2 lc rgb "{COLOURS[at]}" '
                     f'title "{title}"')
    return data + "plot " + ", ".join(plots) + "\n"


def rows_of(groups):
    rows = "\n".join('"' + label.replace("_", "\\\\_") + '" ' + " ".join(map(str, values))
                     for label, *values in groups)
    return f"$d << EOD\n{rows}\nEOD\n"


def bars(groups, names):
    """Plot commands for [(label, value...)...], one upright bar a value, on a logarithmic scale."""
    plots = [f'$d using {at + 2}:xtic(1) lc rgb "{COLOURS[at]}" title "{name}"'
             for at, name in enumerate(names)]
    return (rows_of(groups) + "set style data histograms\nset style fill solid 0.9\n"
            "set boxwidth 0.9\nset logscale y\nset xtics nomirror\nset ytics nomirror\n"
            "set key outside top center horizontal\nplot " + ", ".join(plots) + "\n")


def ratios(groups):
    """Plot commands for [(label, ratio)...], one lying bar each, and a line at 1."""
    return (rows_of(groups) + f"set yrange [{len(groups) - 0.5}:-0.5]\nset xrange [0:*]\n"
            "set style fill solid 0.9\nset ytics nomirror\nset xtics nomirror\nunset key\n"
            'set arrow from 1, graph 0 to 1, graph 1 nohead front lw 2 lc rgb "#333333"\n'
            "plot $d using (0):0:(0):2:($0-0.35):($0+0.35):ytic(1) with boxxyerror "
            f'lc rgb "{COLOURS[0]}"\n')


def draw_all(results):
    PLOTS.mkdir(exist_ok=True)
    sizes = 'set logscale xy\nset xtics ("16 B" 16, "256 B" 256, "4 KiB" 4096, "64 KiB" 65536, ' \
            '"1 MiB" 1048576)\nset format y "%g"\nset ylabel "µs a message"\n'
    added = {title: [(size, (ours - raw) / 1e3) for size, ours, raw in results.find(name)]
             for title, name in (("added by ORX\\\\_SYM", "sym/message"),
                                 ("added by KeyMintService", "keymint/begin-finish"))}
    added["raw AES-128-CBC"] = [(size, raw / 1e3) for size, _, raw in results.find("sym/aes-cbc")]
    draw("added", "Cost that a message has besides the device's", sizes + curves(added))

    growth = {name: [(size, ours / 1e3) for size, ours, _ in results.find(f"sets/{name}")]
              for name in ("sort", "unique", "union", "subtract")}
    draw("sets", "Sets of parameters",
         'set logscale xy\nset xlabel "parameters in each set"\nset ylabel "µs"\n'
         'set format y "%g"\n' + curves(growth))

    shown = [(f"{name} {amount(size)}", ours / raw) for name, size, ours, raw, _ in results.rows
             if not name.startswith(("sym/message", "sym/copies", "sym/log", "keymint", "token", "sets"))
             and size not in (64, 256, 16384, 262144, 1000000)]
    draw("ratios", "Time as a multiple of the raw thing's", ratios(shown), 620)

    token = [(f"{name.removeprefix('token/')} {amount(size)}", ours / 1e3, raw / 1e3)
             for name, size, ours, raw, _ in results.rows if name.startswith("token")]
    if token:
        draw("softhsm", "The simulated device beside SoftHSM2",
             'set ylabel "µs"\nset format y "%g"\n' +
             bars(token, ["simulated device", "SoftHSM2"]))


def write_report(results):
    measured = f"{machine()}\n\n{library_facts()}\n\n" + tables.table(
        HEADER, [list(row) for row in rows_to_show(results)])
    tables.update(DOCUMENT, "./dev bench --report", {"measured": measured}, False)
    draw_all(results)


def main():
    arguments = sys.argv[1:]
    report = "--report" in arguments
    if report:
        arguments.remove("--report")
    results = Results(pathlib.Path(arguments[0]))
    rows = [HEADER, *rows_to_show(results)]
    widths = [max(len(row[at]) for row in rows) for at in range(len(rows[0]))]
    for row in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    print("\n" + library_facts())
    if report:
        write_report(results)


main()
