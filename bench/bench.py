#!/usr/bin/env python3
"""Measures the relay beside other proxies on the same cores, and writes docs/benchmarks.md with a chart.

report.py says how the figures are taken, goals.py what they are to reach. With --quick two builds of the relay are compared
instead, see quick.py.
"""

import argparse
import functools
import pathlib
import shutil
import signal
import sys
import tempfile

import chart
import fairness
import felt
import footprint
import quick
import speed
from load import Certificate
from proxies import ROOT
from report import notes, report
from results import Results


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=int, default=2, help="of load per proxy and measure")
    parser.add_argument("--only", help="a part of the name of the measurements to make; the report is printed, not written")
    parser.add_argument("--out", type=pathlib.Path, default=ROOT / "docs", help="folder of the report and its chart")
    parser.add_argument("--quick", action="store_true", help="compare two builds of the relay instead, in two minutes")
    parser.add_argument("--against", metavar="REVISION", default="HEAD", help="the build to compare with")
    return parser.parse_args()


def measurements(results, folder, certificate, seconds):
    """By name: those of every round, which take the round's number, and those that are made once."""
    def bound(measure, *more):
        return functools.partial(measure, results, folder, *more)

    every_round = {"requests": bound(speed.measure_requests, certificate, seconds),
                   "saturation": bound(speed.measure_saturation, seconds),
                   "latency": bound(speed.measure_latency, 4000),
                   "events": bound(speed.measure_events, certificate, seconds),
                   "delays": bound(speed.measure_delays, (seconds + 1) // 2),
                   "start": bound(footprint.measure_start),
                   "first": bound(footprint.measure_first_request, certificate),
                   "felt": bound(felt.measure_felt)}
    once = {"pauses": bound(footprint.measure_pauses, certificate), "sizes": bound(footprint.measure_sizes),
            "idle": bound(footprint.measure_idle, 30)}
    return every_round, once


def measure(given, folder):
    results, certificate = Results(), Certificate(folder)
    every_round, once = measurements(results, folder, certificate, given.seconds)

    def chosen(all_of_them):
        return [run for name, run in all_of_them.items() if not given.only or given.only in name]

    rows = fairness.check_setup(folder, certificate) if not given.only or given.only in "fairness" else []
    for number in range(given.rounds):
        print(f"Round {number + 1} of {given.rounds}", flush=True)
        for run in chosen(every_round):
            run(number)
    for run in chosen(once):
        run()
    return results, rows


def main():
    given = arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended from outside"))  # so that what was started ends as well
    folder = pathlib.Path(tempfile.mkdtemp(prefix="ferrin-bench-"))
    try:
        if given.quick:
            return quick.compare(folder, given.against)
        results, rows = measure(given, folder)
        text = report(results, given.rounds, rows)
        if not given.only:
            (given.out / "benchmarks.md").write_text(text + notes())
            (given.out / "benchmarks.svg").write_text(chart.draw(results))
        print(text)
        return 0
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
