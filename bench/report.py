"""The report of a run, docs/benchmarks.md, and its chart."""

import datetime
import os
import pathlib
import platform
import re
import subprocess

from proxies import ROOT

TARGETS = [  # measure, against what, ratio to reach, whether a higher figure is the better one
    ("CPU µs per request, 32 connections", "nginx", 0.70, False),
    ("CPU µs per request, 256 connections", "nginx", 0.70, False),
    ("requests per second, 32 connections", "nginx", 1.25, True),
    ("requests per second, 256 connections", "nginx", 1.25, True),
    ("latency added µs, one connection, one core", "nginx", 0.65, False),
    ("CPU µs per event, 1 streams", "nginx", 0.80, False),
    ("CPU µs per event, 50 streams", "nginx", 0.80, False),
    ("CPU µs per event, 500 streams", "nginx", 0.80, False),
    ("event delay added µs, 1 streams, one core", "nginx", 0.80, False),
    ("event delay added µs, 50 streams, one core", "nginx", 0.80, False),
    ("resident KiB, 500 streams over TLS", "nginx", 0.60, False),
    ("start to listening ms, with the system's roots", "nginx", 0.60, False),
    ("first request over TLS ms", "nginx", 1.00, False),
]


def version_of(command, pattern):
    done = subprocess.run(command, capture_output=True, text=True)
    found = re.search(pattern, done.stdout + done.stderr)
    return found.group(1) if found else "?"


def machine():
    model = re.search(r"model name\s*:\s*(.+)", pathlib.Path("/proc/cpuinfo").read_text())
    versions = ", ".join(f"{name} {version_of([name, flag], pattern)}" for name, flag, pattern in (
        ("nginx", "-v", r"nginx/(\S+)"), ("haproxy", "-v", r"version (\S+)"), ("node", "--version", r"v(\S+)")))
    name = model.group(1) if model else platform.machine()
    return f"{name}, {os.cpu_count()} cores, Linux {platform.release()}; {versions}"


def report(results, rounds):
    lines = ["# Benchmarks", "", f"Made by `./bench/run` on {datetime.date.today().isoformat()}: {machine()}.",
             f"Medians of {rounds} rounds in which the proxies took turns. See [bench/bench.py](../bench/bench.py) for how.",
             "", "`forwarder` is no proxy: it passes bytes on with the fewest system calls, and so shows the limit.", "",
             "| measure | relay | nginx | ratio | to reach | reached | forwarder / nginx |", "|---|---|---|---|---|---|---|"]
    ratios = []
    for measure, peer, wanted, higher in TARGETS:
        own, other = results.median(measure, "relay"), results.median(measure, peer)
        ratio = own / other
        reached = ratio >= wanted if higher else ratio <= wanted
        ratios.append((measure, ratio, wanted))
        least = results.median(measure, "forwarder")
        limit = "" if least is None else f"{least / other:.2f}"
        lines.append(f"| {measure} | {own:.2f} | {other:.2f} | {ratio:.2f} | {'≥' if higher else '≤'} {wanted:.2f} | "
                     f"{'yes' if reached else 'no'} | {limit} |")
    for measure in ("idle: CPU µs", "idle: context switches"):
        own = results.median(measure, "relay")
        lines.append(f"| {measure}, 30 s | {own:.0f} | {results.median(measure, 'nginx'):.0f} | | 0 | "
                     f"{'yes' if own == 0 else 'no'} | |")
    names = ["relay", "nginx", "haproxy", "node", "forwarder", "direct"]
    lines += ["", "## All figures", "", "| measure | " + " | ".join(names) + " |", "|---" * (len(names) + 1) + "|"]
    for measure in results.values:
        cells = [results.median(measure, name) for name in names]
        lines.append(f"| {measure} | " + " | ".join("" if cell is None else f"{cell:.2f}" for cell in cells) + " |")
    lines += ["", (ROOT / "bench" / "notes.md").read_text().rstrip(), "", "![The relay against nginx, by measure](benchmarks.svg)", ""]
    return "\n".join(lines), ratios


def draw(ratios, folder, target):
    data = folder / "ratios.dat"
    data.write_text("".join(f'"{measure}" {ratio:.3f} {wanted:.3f}\n' for measure, ratio, wanted in ratios))
    script = f"""
set terminal svg size 900,520 font 'sans-serif,12' background rgb 'white'
set output '{target}'
set title 'The relay against nginx (1.0): ratio, and what is to be reached'
set style fill solid 0.8 noborder
set xrange [0:2]
set yrange [-1:{len(ratios)}] reverse
set grid xtics lc rgb '#dddddd'
set lmargin 46
set key bottom right
plot '{data}' using ($2/2):0:($2/2):(0.35):yticlabels(1) with boxxyerror lc rgb '#3b7dd8' title 'relay / nginx', \\
     '{data}' using 3:0 with points pt 7 ps 0.8 lc rgb '#d8503b' title 'to reach'
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)
