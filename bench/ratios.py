"""The results of one run, and ratios of its rows."""
import json
import statistics
from dataclasses import dataclass


@dataclass
class Ratio:
    """Median and quartiles."""
    median: float
    low: float
    high: float

    def __str__(self):
        return f"{self.median:.2f} ({self.low:.2f} to {self.high:.2f})"


def spread(values):
    if len(values) < 2:
        return Ratio(values[0], values[0], values[0])
    low, median, high = statistics.quantiles(values, n=4, method="inclusive")
    return Ratio(median, low, high)


class Results:
    def __init__(self, path):
        self.facts = json.loads(path.read_text(encoding="utf-8"))
        self.records = {(one["where"], one["table"], one["row"], one["measure"]): one for one in self.facts["records"]}

    def _values(self, *key):
        return self.records[key]["values"]

    def median(self, where, table, row, measure):
        """The median of a row's rounds, and its unit."""
        record = self.records[where, table, row, measure]
        return statistics.median(record["values"]), record["unit"]

    def ratio(self, where, table, row, base, measure):
        """A row beside another one of its table. They took turns, so each round is divided by the same round of the other."""
        values, floor = self._values(where, table, row, measure), self._values(where, table, base, measure)
        return spread([value / below for value, below in zip(values, floor, strict=True)])

    def ratio_of_ratios(self, where, table, base_table, row, base, measure):
        """How much more a row takes beside another one in one table than in another table of the same rounds."""
        values = [[value / below for value, below in zip(self._values(where, one, row, measure),
                                                         self._values(where, one, base, measure), strict=True)]
                  for one in (table, base_table)]
        return spread([value / below for value, below in zip(*values, strict=True)])
