"""Compares two builds of the relay: ./bench/run --quick --against REVISION.

Both run at the same time, and the load goes to one and then to the other in slices of a tenth of a second, so that what
else happens on the machine meets both. What is compared is processor time per request, at a fixed rate, and per event,
all streams' at once: so waking up, which costs most where events come singly and varies most, counts for little.

The rule: a build is dearer where the median of the starts' ratios is over 1 + MARGIN, and AGREE of the starts agree. Of
identical builds, ratios of a start had a standard deviation of 2 to 6 % on a machine with ten other processes waiting
for its two cores; so the median of 12 starts has one of about 2 %, and a margin of 5 % is two and a half of those. That
10 of 12 identical starts agree happens by chance in 2 of 100 measures, and both at once more rarely.
"""

import contextlib
import statistics
import subprocess
import sys
import time

from load import Certificate, Load
from processes import cpu_seconds
from proxies import PROXY_CORE, Provider, RELAY, ROOT, Relay
from speed import DEFERRED

STARTS, TURNS, SLICE = 12, 3, 100  # of both builds; of two slices each; milliseconds
MARGIN, AGREE = 0.05, 10
LOADS = {"request": ("requests", 32, 10000), "event": ("bursts", 50, 5)}


def said(*command, **options):
    words = [*map(str, command)]
    done = subprocess.run(words, stdout=subprocess.PIPE, **options)
    if done.returncode != 0:
        output = done.stdout if isinstance(done.stdout, str) else done.stdout.decode(errors="replace")
        sys.exit(f"{output[-3000:]}{' '.join(words)} failed")
    return done.stdout


def built(revision):
    """The relay of that revision, built as the release is, and its commit."""
    commit = said("git", "-C", ROOT, "rev-parse", "--verify", f"{revision}^{{commit}}", text=True).strip()[:12]
    tree = ROOT / "build" / "against" / commit
    relay = tree / "build" / "release" / RELAY.relative_to(ROOT / "build" / "release")
    if not relay.exists():
        print(f"Building the relay of {commit}", flush=True)
        tree.mkdir(parents=True, exist_ok=True)
        said("tar", "-x", "-C", tree, input=said("git", "-C", ROOT, "archive", commit))
        said("cmake", "--preset", "release", "-DFERRIN_GUI=OFF", cwd=tree)
        said("cmake", "--build", "--preset", "release", "--target", "ferrin-third-party-proxy", cwd=tree)
    return relay, commit


class Build(Relay):
    settles, ahead = 0.0, True

    def __init__(self, folder, provider, program):
        super().__init__(folder, provider, PROXY_CORE)
        self.program = program


def started(stack, folder, certificate, programs):
    """By measure, each program as a relay with its load, both of new."""
    pairs = {}
    for way, tls in (("", None), (" over TLS", certificate)):
        for unit, (mode, *words) in LOADS.items():
            pair = pairs[f"CPU µs per {unit}{way}"] = []
            for program in programs:
                provider = Provider(tls and tls.roots)
                relay = stack.enter_context(Build(folder, provider, program))
                load = Load(mode, provider.port, relay.port, *words, tls and tls.pem, ahead=True)
                pair.append((relay, load))
    for pair in pairs.values():
        for _, load in pair:
            stack.enter_context(load)
    return pairs


def costs(pair):
    """Median over the slices, of each build. What a relay did until its next slice belongs to the slice."""
    marks, counts = ([], []), ([], [])
    for index in (0, 1, 1, 0) * TURNS:
        relay, load = pair[index]
        marks[index].append(cpu_seconds(relay.pid))
        counts[index].append(load.run(SLICE)["count"])
    time.sleep(DEFERRED)
    for taken, (relay, _) in zip(marks, pair):
        taken.append(cpu_seconds(relay.pid))
    return [statistics.median((after - before) / count * 1e6 for before, after, count in zip(taken, taken[1:], counted))
            for taken, counted in zip(marks, counts)]


def one_start(folder, certificate, programs, swapped):
    with contextlib.ExitStack() as stack:
        pairs = started(stack, folder, certificate, programs[::-1] if swapped else programs)
        found = {measure: costs(pair) for measure, pair in pairs.items()}
    return {measure: both[::-1] if swapped else both for measure, both in found.items()}


def is_dearer(ratios):
    return statistics.median(ratios) > 1 + MARGIN and sum(ratio > 1 for ratio in ratios) >= AGREE * len(ratios) / STARTS


def compare(folder, revision):
    """Exit status 1 where this build is dearer."""
    other, commit = built(revision)
    certificate, starts = Certificate(folder), []
    for number in range(STARTS):
        starts.append(one_start(folder, certificate, [RELAY, other], number % 2 == 1))
        print(f"\rStart {number + 1} of {STARTS}", end="", flush=True)
    print(f"\n{'':30}{'this build':>12}{commit:>14}{'ratio (range)':>22}{'dearer in':>12}")
    dearer = []
    for measure in starts[0]:
        own, others = ([start[measure][index] for start in starts] for index in (0, 1))
        ratios = [mine / theirs for mine, theirs in zip(own, others)]
        spread = f"{statistics.median(ratios):.2f} ({min(ratios):.2f}–{max(ratios):.2f})"
        print(f"{measure:30}{statistics.median(own):12.2f}{statistics.median(others):14.2f}{spread:>22}"
              f"{sum(ratio > 1 for ratio in ratios):6} of {STARTS}")
        if is_dearer(ratios):
            dearer.append(f"{measure} by {100 * (statistics.median(ratios) - 1):.0f} %")
    print(f"Dearer than {commit}: {'; '.join(dearer)}." if dearer else f"No dearer than {commit}, within the noise.")
    return 1 if dearer else 0
