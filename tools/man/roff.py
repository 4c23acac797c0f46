"""Manual pages in the language of man(7)."""

import os
import re
import textwrap
import time

TOKEN = re.compile(r"`([^`]+)`|\*\*([^*]+)\*\*|\[([^]]+)\]\(([^)]*)\)")


def escape(text):
    """Text that roff prints as it is."""
    return text.replace("\\", "\\e").replace("-", "\\-").replace("^", "\\(ha").replace("~", "\\(ti")


def bold(text):
    return f"\\fB{escape(text)}\\fR"


def italic(text):
    return f"\\fI{escape(text)}\\fR"


def inline(text, names=frozenset(), code=bold):
    """Running text: `code`, **strong**, [links](to), and bold for every word in `names`."""
    return filled(marked_up(text, names, code))


def tag(text):
    """The same in one line, as the head of a list's entry has to be."""
    return guarded(marked_up(text, frozenset(), bold))


def marked_up(text, names, code):

    def plain(piece):
        words = re.split(r"(\w+)", piece)
        return "".join(bold(word) if word in names else escape(word) for word in words)

    result, end = [], 0
    for match in TOKEN.finditer(text):
        result.append(plain(text[end:match.start()]))
        ticked, strong, label, _ = match.groups()
        if ticked is not None:
            result.append(bold(ticked) if ticked in names else code(ticked))
        elif strong is not None:
            result.append(bold(strong.replace("`", "")))
        else:
            result.append(marked_up(label, names, code))
        end = match.end()
    result.append(plain(text[end:]))
    return "".join(result)


def guarded(line):
    """A line of text may begin with the mark of a request."""
    return "\\&" + line if line[:1] in (".", "'") else line


def filled(text, width=78):
    lines = textwrap.wrap(text, width, break_long_words=False, break_on_hyphens=False)
    return "\n".join(map(guarded, lines))


def verbatim(text):
    return [".nf", *(guarded(escape(line)) or "\\&" for line in text.splitlines()), ".fi"]


def date():
    """The day of the release, or of the build."""
    return time.strftime("%Y-%m-%d", time.gmtime(int(os.environ.get("SOURCE_DATE_EPOCH", time.time()))))


class Page:
    def __init__(self, name, section, version, names, description):
        self.name, self.section = name, section
        self.lines = [f'.TH {name.upper()} {section} {date()} "libnas {version}" "libnas"',
                      ".nh", ".ad l"]
        self.heading("NAME")
        self.add(filled(", ".join(escape(each) for each in names) + " \\- " + escape(description)))

    def add(self, *lines):
        self.lines += lines

    def heading(self, title):
        self.add(f".SH {escape(title)}")

    def subheading(self, title):
        self.add(f".SS {escape(title)}")

    def paragraph(self):
        if not self.lines[-1].startswith((".SH", ".SS", ".PP")):
            self.add(".PP")

    def paragraphs(self, texts, names=frozenset(), code=bold):
        for text in texts:
            self.paragraph()
            self.add(inline(text, names, code))

    def see_also(self, pages):
        self.heading("SEE ALSO")
        self.add(",\n".join(f".BR {escape(name)} ({section})" for name, section in pages).replace(",\n", " ,\n"))

    def write(self, folder):
        path = folder / f"man{self.section}" / f"{self.name}.{self.section}"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("\n".join(self.lines) + "\n", encoding="utf-8")


def write_alias(folder, name, page, section):
    """Another name of a page."""
    path = folder / f"man{section}" / f"{name}.{section}"
    path.write_text(f".so man{section}/{page}.{section}\n", encoding="utf-8")
