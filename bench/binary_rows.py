"""What the library's file holds: its size, its variables, what runs when it is loaded, and what it asks of others."""

import os
import re
import subprocess
import sys
from pathlib import Path

from table import Row

KIB = 1024
CODE_BAR = 96 * KIB
DATA_BAR = 4 * KIB
MIPS_TOOLS = "mips-linux-gnu-"
MIPS_BUILD = Path("build/mips")


def output(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}status {done.returncode}")
    return done.stdout


def section_sizes(tools, library):
    table = output(f"{tools}readelf", "--wide", "--section-headers", library)
    fields = re.findall(r"^\s*\[\s*\d+\]\s+(\.\S+)\s+\S+\s+\w+\s+\w+\s+(\w+)", table, re.MULTILINE)
    return {name: int(size, 16) for name, size in fields}


def static_constructors(tools, library):
    """What runs at loading, other than the compiler's own start code."""
    pointer = 8 if "ELF64" in output(f"{tools}readelf", "--file-header", library) else 4
    sizes = section_sizes(tools, library)
    entries = sizes.get(".init_array", 0) // pointer
    # A list of the older kind begins and ends with a mark.
    entries += max(sizes.get(".ctors", 0) // pointer - 2, 0)
    return entries - (1 if re.search(r" frame_dummy$", output(f"{tools}nm", library), re.MULTILINE) else 0)


def variables(tools, library):
    sizes = section_sizes(tools, library)
    return sum(size for name, size in sizes.items() if re.fullmatch(r"\.[st]?(data|bss)", name))


def rows_for(title, tools, library, stripped, code_bar):
    output(f"{tools}strip", "--strip-unneeded", "-o", stripped, library)
    text, data, bss = (int(field) for field in output(f"{tools}size", stripped).splitlines()[1].split()[:3])
    return [
        Row(f"stripped library, {title}", stripped.stat().st_size, code_bar, "bytes",
            f"by size: text {text:,}, data {data:,}, bss {bss:,}"),
        Row(f".data + .bss, {title}", variables(tools, stripped), DATA_BAR, "bytes"),
        Row(f"static constructors, {title}", static_constructors(tools, library), 0),
    ]


def symbol_row(title, tools, library):
    """The check of the tests: a line of complaint for each fault."""
    command = ["sh", "tests/support/check_symbols.sh", library, "nas.map", "include/nas",
               "tests/support/host_operations.txt"]
    done = subprocess.run(command, capture_output=True, text=True,
                          env=os.environ | {"NM": f"{tools}nm", "READELF": f"{tools}readelf"})
    complaints = done.stderr.splitlines()
    if (done.returncode != 0) != bool(complaints):
        raise SystemExit(f"{' '.join(map(str, command))}: status {done.returncode}\n{done.stderr}")
    print(done.stderr, end="", file=sys.stderr)
    return Row(f"faults in what it exports, leaves undefined and needs, {title}", len(complaints), 0, "",
               done.stdout.strip())


def mips_rows(results):
    title = "mips32r2 -Os"
    output("cmake", "--preset", "mips")
    output("cmake", "--build", MIPS_BUILD, "--target", "nas")
    library = MIPS_BUILD / "src/libnas.so"
    return [*rows_for(title, MIPS_TOOLS, library, results / "libnas-mips.so", CODE_BAR),
            symbol_row(title, MIPS_TOOLS, library)]


def rows(programs):
    title, library = "this machine", programs.build / "src/libnas.so"
    own = [*rows_for(title, "", library, programs.results / "libnas.so", None), symbol_row(title, "", library)]
    return own + mips_rows(programs.results)
