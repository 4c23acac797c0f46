"""Turns the sections of a Markdown document into roff: headings, paragraphs, lists, tables and code, as they are used
in this project's documents."""

import re

import roff

ITEM = re.compile(r"^(-|\d+\.) ")


def section(text, heading):
    """What stands below a heading of the second level; for "", what stands before the first one."""
    parts = re.split(r"^## +(.*)$", text, flags=re.MULTILINE)
    if not heading:
        return re.sub(r"^# .*\n", "", parts[0])
    sections = dict(zip(parts[1::2], parts[2::2]))
    if heading not in sections:
        raise SystemExit(f'there is no section "{heading}"')
    return sections[heading]


def blocks(text):
    """Groups of lines: code with its fences, or what stands between empty lines."""
    block, in_code = [], False
    for line in text.strip("\n").splitlines():
        fence = line.startswith("```")
        if (not line.strip() and not in_code) or (fence and not in_code):
            if block:
                yield block
            block = []
        if fence:
            in_code = not in_code
        if line.strip() or in_code:
            block.append(line)
    if block:
        yield block


def code(block):
    return [".PP", ".RS 4", *roff.verbatim("\n".join(block[1:-1])), ".RE"]


def cells(line):
    return [cell.replace("\\|", "|").strip() for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]


def table(block):
    """A row is a paragraph of its own: the first column as its tag; the others behind, with their titles if several."""
    titles, rows = cells(block[0]), [cells(line) for line in block[2:]]
    result = []
    for first, *others in rows:
        named = [f"{title}: {cell}" if len(others) > 1 and title else cell
                 for title, cell in zip(titles[1:], others) if cell]
        result += [".TP", roff.tag(first), "\n.br\n".join(map(roff.inline, named)) or "\\&"]
    return result


def items(block):
    texts = []
    for line in block:
        if ITEM.match(line):
            texts.append(line)
        else:
            texts[-1] += " " + line.strip()
    for text in texts:
        mark, rest = text.split(" ", 1)
        shown = "\\(bu" if mark == "-" else mark
        yield f".IP {shown} 4"
        yield roff.inline(rest)


def to_roff(text):
    lines = []
    for block in blocks(text):
        if block[0].startswith("```"):
            lines += code(block)
        elif block[0].startswith("|"):
            lines += table(block)
        elif ITEM.match(block[0]):
            lines += items(block)
        elif block[0].startswith("### "):
            lines += [f".SS {roff.escape(block[0][4:])}"]
        else:
            lines += [".PP", roff.inline(" ".join(block))]
    return lines
