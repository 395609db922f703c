"""The report of a run, docs/benchmarks.md."""

import datetime
import os
import pathlib
import platform
import re
import statistics
import subprocess

import fairness
from goals import FELT, GOALS, IDLE, counted, reached, summary
from proxies import PROXIES, ROOT

PEERS = [kind.name for kind in PROXIES if kind.name != "relay"]
NAMES = ["relay", *PEERS, "forwarder", "direct"]
HOW = """How: the proxies share core 0, one of them under load at a time; the load and the provider, which speaks TLS 1.3 with
TLS_AES_128_GCM_SHA256 to all alike, have core 1, and only the proxy's processor time counts. Latencies are taken with
everything on core 0. Requests come at a fixed rate, an equal share each millisecond whether or not earlier ones were
answered: 1,000 a second over 1 connection, 10,000 over 32 and 256. Events come at fixed intervals: every 1, 10 and 50 ms on
each of 1, 50 and 500 streams. For both, all proxies run and the load goes from one to the next in slices of a fifth of a
second, so that what else happens on the machine meets all alike. Requests per second are taken at saturation, with one proxy
running. Cells hold the median of the rounds, and where there are several, the least and the greatest in brackets; a ratio is
taken within a round. `forwarder` is no proxy: it passes bytes on with the fewest calls to the system and to OpenSSL, and so
shows the limit, which is named where a goal is below it.
[bench/](../bench/) has the rest."""


def version_of(command, pattern):
    done = subprocess.run(command, capture_output=True, text=True)
    found = re.search(pattern, done.stdout + done.stderr)
    return found.group(1) if found else "?"


def machine():
    model = re.search(r"model name\s*:\s*(.+)", pathlib.Path("/proc/cpuinfo").read_text())
    versions = ", ".join(f"{name} {version_of([name, flag], pattern)}" for name, flag, pattern in (
        ("nginx", "-v", r"nginx/(\S+)"), ("haproxy", "-v", r"version (\S+)"), ("caddy", "version", r"v?(\S+)"),
        ("node", "--version", r"v(\S+)"), ("openssl", "version", r"OpenSSL (\S+)")))
    name = model.group(1) if model else platform.machine()
    return f"{name}, {os.cpu_count()} cores, Linux {platform.release()}; {versions}"


def spread(values, digits=2):
    """Median and range."""
    if not values:
        return ""
    middle = f"{statistics.median(values):.{digits}f}"
    return middle if len(values) == 1 else f"{middle} ({min(values):.{digits}f}–{max(values):.{digits}f})"


def table(heads, rows):
    return ["| " + " | ".join(heads) + " |", "|---" * len(heads) + "|",
            *("| " + " | ".join(map(str, row)) + " |" for row in rows), ""]


def goal_row(results, goal):
    ratios = results.ratios(goal.measure, "relay", "nginx")
    others = {peer: results.median(goal.measure, peer) for peer in PEERS if results.of(goal.measure, peer)}
    best = (max if goal.higher else min)(others, key=others.get)
    limit = results.ratios(goal.measure, "forwarder", "nginx")
    verdict = reached(ratios, goal.wanted, goal.higher)
    if limit and verdict != "yes" and not goal.higher and statistics.median(limit) > goal.wanted:
        verdict += f"; the limit is {statistics.median(limit):.2f}"
    return (goal.measure, spread(results.of(goal.measure, "relay")), spread(ratios),
            f"{'≥' if goal.higher else '≤'} {goal.wanted:.2f}", verdict, best,
            spread(results.ratios(goal.measure, "relay", best)), spread(limit))


def goal_table(results):
    rows = [goal_row(results, goal) for goal in GOALS
            if results.of(goal.measure, "relay") and results.of(goal.measure, "nginx")]
    for measure in IDLE:
        if own := results.of(measure, "relay"):
            rows.append((f"{measure}, 30 s", spread(own, 0), "", "0", reached(own, 0), "", "", ""))
    return table(("measure", "relay", "to nginx", "to reach", "reached", "best peer", "to the best peer",
                  "forwarder to nginx"), rows) if rows else []


def felt_table(results):
    rows = [(measure, manager, spread(values, 0), f"≤ {wanted}", reached(values, wanted))
            for measure, wanted in FELT.items() for manager, values in results.values.get(f"{measure}, ms", {}).items()]
    missing = [f"Not measured with {manager}: {reason}." for manager, reason in results.missing.items()]
    if not rows and not missing:
        return []
    heads = ("ms, the port probed every 5 ms", "service manager", "median", "to reach", "reached")
    return ["## What users feel", "", *(table(heads, rows) if rows else []), *missing, *([""] if missing else [])]


def all_figures(results):
    rows = []
    for measure, found in results.values.items():
        if not set(found) & set(NAMES):
            continue
        cells = []
        for name in NAMES:
            rate = results.behind.get((measure, name))
            mark = f", at {statistics.median(rate):.0f}/s only" if rate else ""
            cells.append(spread(found.get(name)) + mark)
        rows.append((measure, *cells))
    return ["## All figures", "", *table(("measure", *NAMES), rows)] if rows else []


def report(results, rounds, setup):
    lines = ["# Benchmarks", "", f"Made by `./bench/run` on {datetime.date.today().isoformat()}: {machine()}.",
             f"{counted(rounds, 'round')} in which the proxies took turns.", "", HOW, "", *goal_table(results),
             summary(results, PEERS), "", *felt_table(results), *all_figures(results)]
    if setup:
        lines += ["## Alike over TLS", "", "As the provider counts it, and by the answers to certificates that must be "
                  "refused. caddy has no setting to resume sessions; as connections are kept, the rows above don't depend "
                  "on it.", "",
                  *table(("proxy", *fairness.COLUMNS), setup)]
    return "\n".join(lines)


def notes():
    return (ROOT / "bench" / "notes.md").read_text() + "\n![The relay against nginx, by measure](benchmarks.svg)\n"
