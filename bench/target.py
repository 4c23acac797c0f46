#!/usr/bin/env python3
"""target.py BUILD RESULTS: the size of the library as it is for the device. Fails when a promise is not kept."""

import sys
from pathlib import Path

from binary_rows import CODE_BAR, MIPS_TOOLS, rows_for
from table import print_table


def main(build, results):
    Path(results).mkdir(parents=True, exist_ok=True)
    rows = rows_for("uClibc-ng", MIPS_TOOLS, Path(build) / "src/libnas.so", Path(results) / "libnas-target.so", CODE_BAR)
    print_table(rows)
    return 1 if any(row.verdict == "MISSED" for row in rows) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
