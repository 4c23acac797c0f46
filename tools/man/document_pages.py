#!/usr/bin/env python3
"""document_pages.py VERSION OUT PAGES: manual pages whose texts are sections of the project's documents.

PAGES is a TOML file, a table for each page: `section`, `names` (its own first), `description`, `synopsis` (lines),
`text` (pairs of a document, relative to PAGES, and a heading of it; "" is what stands before the first), `exit_status`,
`see_also`."""

import sys
import tomllib
from pathlib import Path

import markdown_text
import roff


def cited(text):
    name, section = text.rstrip(")").split("(")
    return name, section


def add_text(page, base, parts):
    """The first section is the description; those behind it keep their headings."""
    page.heading("DESCRIPTION")
    for number, (document, heading) in enumerate(parts):
        if number:
            page.heading(heading.upper())
        text = (base / document).read_text(encoding="utf-8")
        lines = markdown_text.to_roff(markdown_text.section(text, heading))
        page.add(*(lines[1:] if lines[0] == ".PP" else lines))


def write_page(name, entry, base, version, out):
    page = roff.Page(name, entry["section"], version, entry["names"], entry["description"])
    if entry.get("synopsis"):
        page.heading("SYNOPSIS")
        page.add(".nf", *(roff.bold(line) for line in entry["synopsis"]), ".fi")
    add_text(page, base, entry["text"])
    if entry.get("exit_status"):
        page.heading("EXIT STATUS")
        page.paragraphs([entry["exit_status"]])
    page.see_also([cited(text) for text in entry["see_also"]])
    page.write(out)
    for other in entry["names"][1:]:
        roff.write_alias(out, other, name, entry["section"])


def main(version, out, pages):
    pages = Path(pages)
    for name, entry in tomllib.loads(pages.read_text(encoding="utf-8")).items():
        write_page(name, entry, pages.parent, version, Path(out))


if __name__ == "__main__":
    main(*sys.argv[1:])
