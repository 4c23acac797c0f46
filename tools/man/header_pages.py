#!/usr/bin/env python3
"""header_pages.py VERSION OUT HEADER...: section 3 of the manual, from the comments of the public headers.

nas_<family>(3) for each header that declares functions, another name of it for each function, and nas(3) for nas.h."""

import re
import sys
from pathlib import Path

import header
import roff

SECTION = 3


def prototype(declaration):
    """The names of functions and parameters stand out."""
    text = roff.escape(re.sub(r"\s+", " ", declaration))
    return ".B " + text.replace('"', "\\(dq")


def lower_first(text):
    """A title as it stands behind a name; abbreviations (USB, NAT) keep their letters."""
    return text[0].lower() + text[1:] if text[1:2].islower() or text[1:2] == " " else text


def add_synopsis(page, family, groups):
    page.heading("SYNOPSIS")
    page.add(".nf", f".B #include <nas/{family}.h>")
    for group in groups:
        if group.names():
            page.add(".PP")
            page.add(*(prototype(text) for text in group.declarations if header.exported_name(text)))
    page.add(".fi")


def add_records(page, groups, names):
    groups = [group for group in groups if group.records()]
    if not groups:
        return
    page.heading("RECORDS AND CONSTANTS")
    for number, group in enumerate(groups):
        if number:
            page.add(".PP")
        if group.paragraphs:
            page.paragraphs(group.paragraphs, names, roff.italic)
            page.add(".PP")
        for text in group.records():
            page.add(*roff.verbatim(text))


def add_functions(page, groups, names):
    page.heading("FUNCTIONS")
    for group in groups:
        if group.names():
            page.subheading(", ".join(group.names()))
            page.paragraphs(group.paragraphs, names, roff.italic)


def neighbours(own, families, names_of):
    """The families whose functions this one's comments name."""
    text = " ".join(p for group in own.groups for p in group.paragraphs)
    words = set(re.findall(r"\w+", text))
    return [each.family for each in families if each is not own and words & set(names_of[each.family])]


def family_page(own, families, version, out):
    names_of = {each.family: each.names() for each in families}
    every_name = frozenset(name for names in names_of.values() for name in names)
    name = f"nas_{own.family}"
    page = roff.Page(name, SECTION, version, [name, *own.names()], lower_first(own.title))
    page.heading("LIBRARY")
    page.add("Storage services of a home router (libnas,", roff.bold("-lnas") + ")")
    add_synopsis(page, own.family, own.groups)
    if own.paragraphs:
        page.heading("DESCRIPTION")
        page.paragraphs(own.paragraphs, every_name, roff.italic)
    add_functions(page, own.groups, every_name)
    add_records(page, own.groups, every_name)
    others = [(f"nas_{family}", SECTION) for family in neighbours(own, families, names_of)]
    page.see_also([("nas", SECTION), *others, ("nas-host", 7)])
    page.write(out)
    for function in own.names():
        roff.write_alias(out, function, name, SECTION)


def overview_page(all_in_one, families, version, out):
    page = roff.Page("nas", SECTION, version, ["nas"], "storage services of a home router")
    page.heading("SYNOPSIS")
    page.add(".nf", ".B #include <nas/nas.h>", ".PP", ".B cc ... $(pkg\\-config \\-\\-cflags \\-\\-libs nas)", ".fi")
    page.heading("DESCRIPTION")
    page.paragraphs([all_in_one.title + ".", *all_in_one.paragraphs])
    page.heading("FAMILIES")
    for own in families:
        page.add(".TP", f".BR nas_{own.family} ({SECTION})", roff.inline(own.title))
    page.see_also([("nas-host", 7), ("nasctl", 1)])
    page.write(out)


def main(version, out, *paths):
    out = Path(out)
    headers = {each.family: each for each in map(header.read, map(Path, paths))}
    all_in_one = headers.pop("nas")
    families = [each for _, each in sorted(headers.items()) if each.names()]
    for own in families:
        family_page(own, families, version, out)
    overview_page(all_in_one, families, version, out)


if __name__ == "__main__":
    main(*sys.argv[1:])
