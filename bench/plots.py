"""The results as pictures (SVG, by gnuplot): how near each number is to what is promised, what others take for the same
work, and how a run grows."""

import json
import subprocess

from share_rows import FIXED_HEAP, HEAP_PER_FOLDER, SERVICES, STORE_READS

HEAD = """set terminal svg size {width},{height} noenhanced font "sans-serif,13" background "white"
set output "{output}"
set encoding utf8
set title "{title}"
set border 3 lc rgb "#888888"
set tics nomirror textcolor rgb "#333333"
set grid {grid} lc rgb "#dddddd"
set key below
"""
COLOURS = {"ftp": "#1b6ca8", "samba": "#c0562b"}


def gnuplot(script):
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def write_promises(rows, path):
    """One bar for each promise, the longest on top: which part of what is allowed is used."""
    kept = [row for row in rows if row.bar and row.measured is not None]
    kept.sort(key=lambda row: row.measured / row.bar)
    lines = "\n".join(f"{number} {100 * row.measured / row.bar:.1f} {quoted(row.what)}"
                      for number, row in enumerate(kept))
    gnuplot(f"$rows << END\n{lines}\nEND\n" + HEAD.format(
        width=900, height=70 + 24 * len(kept), output=path, title="Measured, in percent of what is promised",
        grid="xtics") + f"""set xrange [0:*]
set offsets 0, 10, 0, 0
set yrange [-0.7:{len(kept) - 0.3}]
unset key
set arrow from 100, graph 0 to 100, graph 1 nohead back lc rgb "#aa0000" dt 2
plot $rows using (0):1:(0):2:($1 - 0.35):($1 + 0.35):ytic(3) with boxxyerror fs solid noborder lc rgb "#1b6ca8", \\
     $rows using 2:1:(sprintf("%.0f", $2)) with labels left offset 0.5,0 font ",11"
""")


def write_peers(rows, path):
    """One bar for each comparison, on a scale of factors: to the left where the library takes fewer instructions."""
    compared = [row for row in reversed(rows) if row.peer]
    lines = "\n".join(f"{number} {row.measured:.4f} {quoted(row.what.replace('instructions of the same with ', ''))}"
                      for number, row in enumerate(compared))
    gnuplot(f"$rows << END\n{lines}\nEND\n" + HEAD.format(
        width=900, height=70 + 24 * len(compared), output=path, grid="xtics",
        title="Instructions, as a multiple of what others take for the same") + f"""set logscale x
set xrange [{min(row.measured for row in compared) / 2}:{max(row.measured for row in compared) * 2}]
set yrange [-0.7:{len(compared) - 0.3}]
set format x "%g"
unset key
set arrow from 1, graph 0 to 1, graph 1 nohead back lc rgb "#888888"
plot $rows using 2:1:(1):2:($1 - 0.35):($1 + 0.35):($2 > 1 ? 0xc0562b : 0x1b6ca8):ytic(3) \\
         with boxxyerror fs solid noborder lc rgb variable, \\
     $rows using ($2 > 1 ? $2 : 1):1:(sprintf("%.2g", $2)) with labels left offset 0.5,0 font ",11"
""")


def series(runs, value):
    return "\n".join(f"{folders} {value(int(folders), run)}" for folders, run in runs.items())


def write_growth(path, title, unit, blocks, curves):
    """`blocks` are named data, `curves` the pieces of gnuplot's plot command."""
    data = "".join(f"${name} << END\n{text}\nEND\n" for name, text in blocks.items())
    gnuplot(data + HEAD.format(width=720, height=400, output=path, title=title,
                                  grid="ytics") + f"""
set xlabel "folders on each of two disks"
set ylabel "{unit}"
set xrange [0:1030]
set yrange [0:]
set xtics (10, 100, 300, 1000)
plot {", ".join(curves)}
""")


def write_store_reads(results):
    runs = json.loads((results / "share_store_reads.json").read_text(encoding="utf-8"))
    blocks = {service: series(runs[service], lambda _, reads: reads) for service in SERVICES}
    curves = [f'${service} using 1:2 with linespoints pt 7 lw 2 lc rgb "{COLOURS[service]}" title "{title}"'
              for service, title in SERVICES.items()]
    curves += [f'{STORE_READS[service]} with lines dt 2 lc rgb "{COLOURS[service]}" title "{title}: at most"'
               for service, title in SERVICES.items()]
    write_growth(results / "store-reads.svg", "Store reads of a run, five users", "reads", blocks, curves)


def write_heap(results):
    runs = json.loads((results / "share_heap.json").read_text(encoding="utf-8"))
    blocks, curves = {}, []
    for service, title in SERVICES.items():
        look = f'lc rgb "{COLOURS[service]}"'
        blocks[f"{service}_peak"] = series(runs[service], lambda _, run: run["peak"] / 1024)
        blocks[f"{service}_bar"] = series(
            runs[service], lambda folders, run: (FIXED_HEAP + run["text"] + HEAP_PER_FOLDER * folders) / 1024)
        curves.append(f'${service}_peak using 1:2 with linespoints pt 7 lw 2 {look} title "{title}"')
        curves.append(f'${service}_bar using 1:2 with lines dt 2 {look} title "{title}: at most"')
    write_growth(results / "heap.svg", "Peak of the heap during a run", "KiB", blocks, curves)


def write_plots(rows, results):
    write_promises(rows, results / "promises.svg")
    write_peers(rows, results / "peers.svg")
    write_store_reads(results)
    write_heap(results)
