"""Reads one of the library's public headers: what its comments say, and about which declarations."""

import re
from dataclasses import dataclass, field

COMMENT = re.compile(r"/\*(.*?)\*/", re.DOTALL)
ITEM = re.compile(r"/\*.*?\*/|#[^\n]*|\n[ \t]*\n|\{|\}|;|[^/#\n{};]+|.|\n", re.DOTALL)
FUNCTION = re.compile(r"(\w+)\s*\(")
OBJECT = re.compile(r"^extern\b.*?(\w+)\s*(?:\[\])?;$", re.DOTALL)


@dataclass
class Group:
    """What stands below one comment, up to the next comment or an empty line."""

    paragraphs: list
    declarations: list = field(default_factory=list)

    def names(self):
        return [name for name in map(exported_name, self.declarations) if name]

    def records(self):
        return [text for text in self.declarations if re.match(r"(struct|enum)\b[^(]*\{", text)]


@dataclass
class Header:
    family: str
    title: str
    paragraphs: list
    groups: list
    includes: list

    def names(self):
        return [name for group in self.groups for name in group.names()]


def exported_name(declaration):
    """The function or table that a declaration gives its caller; none for a record."""
    if "{" in declaration.split("(")[0] or re.match(r"(struct|enum) \w+;", declaration):
        return None
    match = OBJECT.match(declaration) or FUNCTION.search(declaration)
    return match.group(1) if match else None


def comment_paragraphs(comment):
    """A paragraph ends at an empty line; a line that begins with a quoted text and a colon begins another."""
    lines = [line.strip().removeprefix("*").strip() for line in comment.strip().splitlines()]
    paragraphs = [[]]
    for line in lines:
        if not line or re.match(r'"[^"]+":', line):
            paragraphs.append([])
        if line:
            paragraphs[-1].append(line)
    return [" ".join(paragraph) for paragraph in paragraphs if paragraph]


def as_c(text):
    """What a C compiler sees of the parts for C and for C++."""
    text = re.sub(r"#ifdef __cplusplus\n.*?#else\n(.*?)#endif\n", r"\1", text, flags=re.DOTALL)
    return re.sub(r"#ifdef __cplusplus\n.*?#endif\n", "", text, flags=re.DOTALL)


def read_groups(body):
    groups, pending, depth = [Group([])], "", 0
    for item in ITEM.findall(body):
        if depth == 0 and not pending.strip():
            if item.startswith("/*"):
                groups.append(Group(comment_paragraphs(item[2:-2])))
                pending = ""
                continue
            if item.startswith("#") or not item.strip():
                if item.count("\n") > 1 and groups[-1].declarations:
                    groups.append(Group([]))
                continue
        pending += item
        depth += {"{": 1, "}": -1}.get(item, 0)
        if item == ";" and depth == 0:
            groups[-1].declarations.append(pending.strip())
            pending = ""
    return [group for group in groups if group.declarations]


def read(path):
    """The comment after a declaration in its line (`struct X; /* the host's */`) is not part of the contract."""
    text = as_c(path.read_text(encoding="utf-8"))
    opening = COMMENT.search(text)
    title, *paragraphs = comment_paragraphs(opening.group(1))
    title, _, rest = title.partition(". ")
    begin, end = text.find("NAS_BEGIN_DECLS"), text.rfind("NAS_END_DECLS")
    body = text[begin + len("NAS_BEGIN_DECLS"):end] if begin >= 0 else ""
    body = re.sub(r"^((?:struct|enum) \w+;)[ \t]*/\*.*?\*/", r"\1", body, flags=re.DOTALL | re.MULTILINE)
    return Header(path.stem, title.rstrip("."), ([rest] if rest else []) + paragraphs, read_groups(body),
                  re.findall(r'#include [<"](nas/\w+\.h)[>"]', text))
