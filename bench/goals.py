"""What is to be reached, and whether it was."""

import dataclasses
import statistics


@dataclasses.dataclass
class Goal:
    """The ratio of the relay's figure to nginx's."""

    measure: str
    wanted: float
    higher: bool = False

    def beats(self, own, other):
        return own > other if self.higher else own < other


def counted(number, noun):
    return f"{number} {noun}{'' if number == 1 else 's'}"


def costs(unit, way, sizes, wanted):
    return [Goal(f"CPU µs per {unit[0]}{way}, {counted(size, unit[1])}", ratio) for size, ratio in zip(sizes, wanted)]


REQUESTS, EVENTS = ("request", "connection"), ("event", "stream")
GOALS = [
    *costs(REQUESTS, "", (1, 32, 256), (1.00, 0.80, 0.70)),
    *costs(REQUESTS, " over TLS", (1, 32, 256), (0.90, 0.80, 0.70)),
    Goal("requests per second, 32 connections", 1.15, higher=True),
    Goal("requests per second, 256 connections", 1.35, higher=True),
    Goal("latency added µs, one connection, one core", 0.70),
    *costs(EVENTS, "", (1, 50, 500), (0.80, 0.80, 0.80)),
    *costs(EVENTS, " over TLS", (1, 50, 500), (0.85, 0.85, 0.85)),
    Goal("event delay added µs, 1 stream, one core", 0.80),
    Goal("event delay added µs, 50 streams, one core", 0.80),
    Goal("resident KiB, 500 streams", 1.00),
    Goal("resident KiB over TLS, 500 streams", 0.50),
    Goal("start to listening ms, with the system's roots", 0.50),
    Goal("first request over TLS ms", 1.00),
]
IDLE = ("idle: CPU µs", "idle: context switches")
FELT = {  # milliseconds
    "first apply to first answer": 200,
    "port silent, re-apply at rest": 150,
    "port silent, re-apply with 10 streams": 150,
    "stop with 10 streams": 200,
}


def reached(values, wanted, higher=False):
    """yes or no where every round says so, else in how many of them."""
    good = sum(value >= wanted if higher else value <= wanted for value in values)
    if good in (0, len(values)):
        return "yes" if good else "no"
    return f"range crosses it: {good} of {len(values)} rounds"


def leaders(results, goal, peers):
    """Peers that the relay is not ahead of by the median of the rounds' ratios, and whether it was ahead of all of them
    in every round."""
    own = results.of(goal.measure, "relay")
    others = {peer: results.of(goal.measure, peer) for peer in peers if results.of(goal.measure, peer)}
    better = [peer for peer in others
              if not goal.beats(statistics.median(results.ratios(goal.measure, "relay", peer)), 1)]
    return better, all(goal.beats(*pair) for values in others.values() for pair in zip(own, values))


def summary(results, peers):
    """On how many rows the relay is ahead of every peer, as one line."""
    measured = [goal for goal in GOALS
                if results.of(goal.measure, "relay") and any(results.of(goal.measure, peer) for peer in peers)]
    if not measured:
        return ""
    ahead, always, behind = 0, 0, []
    for goal in measured:
        better, every_round = leaders(results, goal, peers)
        ahead += not better
        always += every_round
        if better:
            behind.append(f"{goal.measure} ({', '.join(better)})")
    line = (f"The relay is ahead of every peer ({', '.join(peers)}) on {ahead} of {len(measured)} rows by the median, "
            f"on {always} of them in every round")
    return f"{line}; not on: {'; '.join(behind)}." if behind else line + "."
