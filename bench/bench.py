#!/usr/bin/env python3
"""Measures the relay beside other proxies on the same cores, and writes docs/benchmarks.md with a chart.

The proxy under test has core 0 to itself, the load and the provider share core 1; for latencies everything is on
core 0, as a wake-up between cores costs more than the proxies differ by. Every round measures all proxies one after
the other; figures are medians over the rounds. Processor time is the kernel's own count in nanoseconds
(/proc/PID/schedstat).
"""

import argparse
import pathlib
import shutil
import sys
import tempfile

from footprint import measure_idle, measure_pauses, measure_sizes, measure_start, measure_tls
from proxies import ROOT
from report import draw, report
from results import Results
from speed import measure_latency, measure_requests, measure_streams


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=int, default=2, help="of load per proxy and measure")
    parser.add_argument("--only", help="a part of the name of the measurement to make, printed and not written")
    given = parser.parse_args()
    results = Results()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="ferrin-bench-"))
    every_round = {"requests": lambda: measure_requests(results, folder, given.seconds),
                   "latency": lambda: measure_latency(results, folder, 4000),
                   "streams": lambda: measure_streams(results, folder, (given.seconds + 1) // 2),
                   "start": lambda: measure_start(results, folder),
                   "tls": lambda: measure_tls(results, folder)}
    once = {"pauses": lambda: measure_pauses(results, folder), "sizes": lambda: measure_sizes(results, folder),
            "idle": lambda: measure_idle(results, folder, 30)}
    try:
        for number in range(1, given.rounds + 1):
            print(f"Round {number} of {given.rounds}", flush=True)
            for name, measurement in every_round.items():
                if not given.only or given.only in name:
                    measurement()
        for name, measurement in once.items():
            if not given.only or given.only in name:
                measurement()
        if not given.only:
            text, ratios = report(results, given.rounds)
            (ROOT / "docs" / "benchmarks.md").write_text(text)
            draw(ratios, folder, ROOT / "docs" / "benchmarks.svg")
            print(text)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
