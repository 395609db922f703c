"""What was measured, by measure and proxy."""

import statistics


class Results:
    """values[measure][proxy]: one number a round."""

    def __init__(self):
        self.values = {}

    def add(self, measure, proxy, value):
        self.values.setdefault(measure, {}).setdefault(proxy, []).append(value)
        print(f"  {measure:<44} {proxy:<8} {value:10.2f}", flush=True)

    def median(self, measure, proxy):
        found = self.values.get(measure, {}).get(proxy)
        return statistics.median(found) if found else None
