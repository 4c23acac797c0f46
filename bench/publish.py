#!/usr/bin/env python3
"""publish.py RESULTS DOCS: puts the last results into the documents: the table and the run's particulars into
performance.md (between its marks), the pictures and the CSV beside it into performance/."""

import json
import os
import platform
import shutil
import subprocess
import sys
import time
from pathlib import Path

from table import Row, cells

BEGIN, END = "<!-- results: begin -->", "<!-- results: end -->"
PICTURES = ["promises.svg", "peers.svg", "store-reads.svg", "heap.svg"]


def first_line(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()[0]


def particulars(results):
    day = time.strftime("%Y-%m-%d", time.gmtime(os.path.getmtime(results / "results.json")))
    return (f"Measured on {day} with `make bench`: {first_line('c++', '--version')}, {platform.machine()}, "
            f"{first_line('valgrind', '--version')}.")


def table(rows):
    lines = [["what", "measured", "at most", ""], ["---"] * 4]
    lines += [cells(Row(**{key: value for key, value in row.items() if key != "verdict"})) for row in rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def main(results, docs):
    results, docs = Path(results), Path(docs)
    rows = json.loads((results / "results.json").read_text(encoding="utf-8"))
    page = docs / "performance.md"
    before, _, rest = page.read_text(encoding="utf-8").partition(BEGIN)
    after = rest.partition(END)[2]
    page.write_text(f"{before}{BEGIN}\n{particulars(results)}\n\n{table(rows)}\n{END}{after}", encoding="utf-8")
    (docs / "performance").mkdir(exist_ok=True)
    for name in [*PICTURES, "results.csv"]:
        shutil.copy(results / name, docs / "performance" / name)


if __name__ == "__main__":
    main(*sys.argv[1:])
