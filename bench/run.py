#!/usr/bin/env python3
"""run.py BUILD RESULTS: measures what the library promises. Fails when a promise is not kept."""

import sys
from pathlib import Path

import binary_rows
import mount_rows
import router_rows
import share_rows
import usb_rows
from programs import Programs
from plots import write_plots
from table import print_table, write_csv, write_json

TOPICS = [mount_rows, usb_rows, share_rows, binary_rows, router_rows]


def main(build, results):
    Path(results).mkdir(parents=True, exist_ok=True)
    programs = Programs(build, results)
    rows = [row for topic in TOPICS for row in topic.rows(programs)]
    print_table(rows)
    write_json(rows, Path(results) / "results.json")
    write_csv(rows, Path(results) / "results.csv")
    write_plots(rows, Path(results))
    missed = sum(row.verdict == "MISSED" for row in rows)
    if missed:
        print(f"{missed} missed")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
