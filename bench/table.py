"""A row of the table, the table itself, and its JSON."""

import csv
import json
from dataclasses import asdict, dataclass


@dataclass
class Row:
    """One measured number. Without a bar it is only told; without a number it could not be measured."""

    what: str
    measured: float | None
    bar: float | None
    unit: str = ""
    note: str = ""  # how the number comes about, or why there is none
    peer: str = ""  # who does the same work, where the number is a comparison

    @property
    def verdict(self):
        if self.measured is None:
            return "not measured"
        if self.bar is None:
            return ""
        return "ok" if self.measured <= self.bar else "MISSED"


def against(peer, what, own, other):
    """The instructions that the library takes, as a multiple of what `peer` takes for the same. There is no bar."""
    note = f"{own:,} of {other:,}"
    return Row(f"{what}: instructions of the same with {peer}", own / other, None, "x", note, peer)


def number(value, unit):
    if value is None:
        return ""
    text = f"{value:,.2f}" if isinstance(value, float) else f"{value:,}"
    return f"{text} {unit}".rstrip()


def cells(row):
    measured = number(row.measured, row.unit) + (f" ({row.note})" if row.note and row.measured is not None else "")
    return [row.what, measured or row.note, number(row.bar, row.unit), row.verdict]


def print_table(rows):
    lines = [["what", "measured", "at most", ""]] + [cells(row) for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(4)]
    for index, line in enumerate(lines):
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
        if index == 0:
            print("  ".join("-" * width for width in widths[:3]))


def write_json(rows, path):
    with open(path, "w", encoding="utf-8") as file:
        json.dump([asdict(row) | {"verdict": row.verdict} for row in rows], file, indent=2)
        file.write("\n")


def write_csv(rows, path):
    with open(path, "w", encoding="utf-8", newline="") as file:
        writer = csv.writer(file)
        writer.writerow(["what", "measured", "at most", "unit", "verdict", "note"])
        writer.writerows([row.what, row.measured, row.bar, row.unit, row.verdict, row.note] for row in rows)
