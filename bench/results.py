"""What was measured, by measure and proxy."""

import statistics


class Results:
    """values[measure][proxy]: one number a round, in the order of the rounds."""

    def __init__(self):
        self.values = {}
        self.behind = {}
        self.missing = {}  # reasons

    def add(self, measure, proxy, value):
        self.values.setdefault(measure, {}).setdefault(proxy, []).append(value)
        print(f"  {measure:<48} {proxy:<9} {value:10.2f}", flush=True)

    def fell_behind(self, measure, proxy, rate):
        """Records that the proxy could not keep up with a fixed rate, and did `rate` a second instead."""
        self.behind.setdefault((measure, proxy), []).append(rate)

    def of(self, measure, proxy):
        return self.values.get(measure, {}).get(proxy, [])

    def median(self, measure, proxy):
        found = self.of(measure, proxy)
        return statistics.median(found) if found else None

    def ratios(self, measure, proxy, peer):
        """Round by round: both were measured within the same minute."""
        return [own / other for own, other in zip(self.of(measure, proxy), self.of(measure, peer)) if other]
