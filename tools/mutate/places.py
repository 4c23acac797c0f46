"""Finds, with libclang, the places of a C++ file where it can be changed a little, and says how.

The kinds: literal (numbers, characters, texts), order (neighbouring statements, arguments of like kind), limit (bounds
and sizes, one more or less), condition, statement (left out, or another value returned)."""

from bisect import bisect_right
from collections import Counter
from dataclasses import dataclass, replace
import re

from clang.cindex import CursorKind as C, Index, TokenKind, TypeKind as T

from literals import changed_literals
import needless

OTHER_OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
}
BETWEEN_INTEGERS = {"==": ("<=", ">="), "!=": ("<", ">")}
LIMITS = {("<", "<="), ("<=", "<"), (">", ">="), (">=", ">")}
ARITHMETIC = {
    "+": "-", "-": "+", "*": "+", "/": "*", "%": "/", "&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "*=": "+=", "/=": "*=", "%=": "/=", "&=": "|=", "|=": "&=", "<<=": ">>=", ">>=": "<<=",
}
INTEGERS = {
    T.CHAR_U, T.UCHAR, T.CHAR_S, T.SCHAR, T.USHORT, T.UINT, T.ULONG, T.ULONGLONG, T.SHORT, T.INT, T.LONG, T.LONGLONG,
}
LOOPS = {C.FOR_STMT, C.WHILE_STMT, C.CXX_FOR_RANGE_STMT}
JUMPS = {C.RETURN_STMT, C.BREAK_STMT, C.CONTINUE_STMT, C.GOTO_STMT}
LABELS = {C.CASE_STMT, C.DEFAULT_STMT, C.LABEL_STMT, C.NULL_STMT}
SHOWN = 70  # characters of a long statement


class Unreadable(Exception):
    pass


@dataclass(frozen=True)
class Mutant:
    file: str
    function: str
    line_number: int
    line: str
    kind: str
    change: str  # for people; with file, function and line it names the mutant, whatever its line's number is
    start: int
    end: int
    new: str

    def key(self):
        return (self.file, self.function, self.line, self.change)

    def apply(self, text):
        return text[:self.start] + self.new.encode() + text[self.end:]


def one_line(text):
    text = " ".join(text.split())
    return text if len(text) <= SHOWN else text[:SHOWN] + " ..."


def integer(cursor):
    return cursor.type.get_canonical().kind in INTEGERS


def boolean(cursor):
    return cursor.type.get_canonical().kind == T.BOOL


def other_operators(spelling, between_integers):
    more = BETWEEN_INTEGERS.get(spelling, ()) if between_integers else ()
    return OTHER_OPERATORS.get(spelling, ()) + more + ((ARITHMETIC[spelling],) if spelling in ARITHMETIC else ())


def like_kind(cursor):
    """Two arguments of which this is the same may well be mistaken for one another."""
    kind = cursor.type.get_canonical()
    if kind.kind in INTEGERS:
        return "integer"
    return re.sub(r"\b(const|__restrict) ?|\[\d*\]$|&$|\*", "", kind.spelling).strip()


class Source:
    """One file as libclang sees it: its bytes, its tokens, its nodes."""

    def __init__(self, unit, path):
        self.path = str(path)
        self.data = path.read_bytes()
        self.lines = [0] + [match.end() for match in re.finditer(rb"\n", self.data)]
        file = unit.get_file(self.path)
        extent = unit.get_extent(self.path, (0, len(self.data)))
        directives = [match.span() for match in re.finditer(rb"(?m)^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", self.data)]
        self.tokens = [
            (token.extent.start.offset, token.extent.end.offset, token.kind, token.spelling)
            for token in unit.get_tokens(extent=extent)
            if token.kind != TokenKind.COMMENT and token.location.file.name == file.name
            and not any(first <= token.extent.start.offset < last for first, last in directives)
        ]
        self.token_starts = [token[0] for token in self.tokens]
        self.nodes = list(self.walk(unit.cursor))
        self.functions = [
            (node.extent.start.offset, node.extent.end.offset, node.spelling) for node in self.nodes
            if node.kind in needless.FUNCTIONS
        ]
        self.assertions = [node.extent for node in self.nodes if node.kind == C.STATIC_ASSERT]

    def walk(self, cursor):
        for child in cursor.get_children():
            if child.location.file is not None and child.location.file.name == self.path:
                yield child
                yield from self.walk(child)

    def text(self, start, end):
        return self.data[start:end].decode()

    def text_of(self, cursor):
        return self.text(cursor.extent.start.offset, cursor.extent.end.offset)

    def is_asserted(self, offset):
        """By the compiler: what is changed there does not build, or leaves no trace."""
        return any(extent.start.offset <= offset < extent.end.offset for extent in self.assertions)

    def function_at(self, offset):
        names = [name for start, end, name in self.functions if start <= offset < end]
        return names[0] if names else "-"

    def line_at(self, offset):
        """Its number and text."""
        number = bisect_right(self.lines, offset)
        end = self.lines[number] if number < len(self.lines) else len(self.data)
        return number, self.text(self.lines[number - 1], end).strip()

    def tokens_between(self, start, end):
        first = bisect_right(self.token_starts, start - 1)
        for token in self.tokens[first:]:
            if token[0] >= end:
                return
            yield token

    def parentheses(self, cursor):
        """The parts between the first parentheses of a statement, split at its own semicolons; and where they end."""
        depth, begin, parts = 0, None, []
        for start, end, _, spelling in self.tokens_between(cursor.extent.start.offset, cursor.extent.end.offset + 1):
            if spelling in ("(", "[", "{"):
                depth += 1
                begin = end if begin is None else begin
            elif spelling in (")", "]", "}"):
                depth -= 1
                if depth == 0:
                    return parts + [(begin, start)], end
            elif spelling == ";" and depth == 1:
                parts.append((begin, start))
                begin = end
        return [], cursor.extent.start.offset


class Finder:
    def __init__(self, source, name):
        self.source = source
        self.name = name
        self.found = {}
        self.without_order = set()  # where a call's arguments may stand in either order

    def add(self, kind, start, end, new, change=None):
        old = self.source.text(start, end)
        if start >= end or old == new or (start, end, new) in self.found or self.source.is_asserted(start):
            return
        line_number, line = self.source.line_at(start)
        change = change or f"{one_line(old)} => {one_line(new) or '(nothing)'}"
        self.found[start, end, new] = Mutant(self.name, self.source.function_at(start), line_number, line, kind, change,
                                             start, end, new)

    def replace(self, kind, cursor, new, change=None):
        self.add(kind, cursor.extent.start.offset, cursor.extent.end.offset, new, change)

    def mutants(self):
        for node in self.source.nodes:
            for finder in FINDERS.get(node.kind, ()):
                finder(self, node)
        self.find_literals()
        found = sorted(self.found.values(), key=lambda mutant: (mutant.start, mutant.end, mutant.new))
        return number_equal_keys(found)

    # --- tokens ---

    def find_literals(self):
        before = ""
        for start, end, kind, spelling in self.source.tokens:
            if kind == TokenKind.LITERAL and before != "extern":
                for new in changed_literals(spelling):
                    self.add("literal", start, end, new)
            elif spelling in ("true", "false"):
                self.add("literal", start, end, "false" if spelling == "true" else "true")
            elif spelling in ("==", "!=") and before != "operator":
                self.add("condition", start, end, "!=" if spelling == "==" else "==")
            before = spelling

    # --- expressions ---

    def operator_of(self, left, right):
        for token in self.source.tokens_between(left.extent.end.offset, right.extent.start.offset):
            return token
        return None

    def find_binary(self, node):
        children = list(node.get_children())
        token = self.operator_of(*children) if len(children) == 2 else None
        if token is None:
            return
        left, right = children
        spelling = token[3]
        if spelling in ("&&", "||"):
            self.drop_operands(node, left, right, spelling)
        if spelling in BETWEEN_INTEGERS and (call := needless.call_for_equality(left, right)):
            self.without_order.add(call.extent.start.offset)
        for new in other_operators(spelling, integer(left) and not needless.is_yes_or_no(left, right)):
            kind = "limit" if (spelling, new) in LIMITS or spelling in ARITHMETIC else "condition"
            self.change_operator(kind, node, token, new)

    def change_operator(self, kind, node, token, new):
        start, end = token[:2]
        whole = node.extent
        changed = self.source.text(whole.start.offset, start) + new + self.source.text(end, whole.end.offset)
        self.add(kind, start, end, new, f"{one_line(self.source.text_of(node))} => {one_line(changed)}")

    def drop_operands(self, node, left, right, spelling):
        self.replace("condition", node, self.source.text_of(left))
        inner = list(left.get_children()) if left.kind == C.BINARY_OPERATOR else []
        inner_token = self.operator_of(*inner) if len(inner) == 2 else None
        if inner_token is None or inner_token[3] != spelling:  # of "a && b && c" its own node drops a and b
            self.replace("condition", node, self.source.text_of(right))

    def find_unary(self, node):
        text = self.source.text_of(node)
        operand = next(node.get_children(), None)
        if operand is None:
            return
        if re.match(r"!|~|-[^-\d]", text):
            self.replace("condition" if text[0] == "!" else "limit", node, self.source.text_of(operand))
        for one, other in (("++", "--"), ("--", "++")):
            if text.startswith(one):
                self.replace("limit", node, other + text[2:])
            elif text.endswith(one):
                self.replace("limit", node, text[:-2] + other)

    def find_size(self, node):
        text = self.source.text_of(node)
        if text.startswith("sizeof"):
            self.one_more_or_less(node, text)

    def find_constant(self, node):
        """A use of a named number: an enumerator, a constant."""
        target = node.referenced
        named = target is not None and (
            target.kind == C.ENUM_CONSTANT_DECL and not target.semantic_parent.is_scoped_enum() or
            target.kind == C.VAR_DECL and integer(target) and target.type.is_const_qualified() and
            target.semantic_parent.kind not in needless.FUNCTIONS)
        text = self.source.text_of(node)
        if named and re.fullmatch(r"[\w:]+", text):
            self.one_more_or_less(node, text)

    def find_macro_number(self, node):
        text = self.source.text_of(node)
        if re.fullmatch(r"[A-Za-z_]\w*", text):
            self.one_more_or_less(node, text)

    def one_more_or_less(self, node, text):
        self.replace("limit", node, f"({text} + 1)")
        self.replace("limit", node, f"({text} - 1)")

    def find_arguments(self, node):
        if not node.spelling.startswith("operator") and node.extent.start.offset not in self.without_order:
            self.swap_like(list(node.get_arguments()))

    def find_elements(self, node):
        self.swap_like(list(node.get_children()))

    def swap_like(self, cursors):
        cursors = [cursor for cursor in cursors if cursor.extent.start.offset < cursor.extent.end.offset]
        for index, one in enumerate(cursors):
            for other in cursors[index + 1:]:
                if like_kind(one) == like_kind(other):
                    self.swap(one.extent.start.offset, one.extent.end.offset, other.extent.start.offset,
                              other.extent.end.offset)
                    break

    def swap(self, start, end, other_start, other_end):
        one, other = self.source.text(start, end), self.source.text(other_start, other_end)
        if end <= other_start and one != other:
            self.add("order", start, other_end, other + self.source.text(end, other_start) + one,
                     f"swap {one_line(one)} <=> {one_line(other)}")

    # --- conditions ---

    def change_condition(self, start, end):
        text = self.source.text(start, end).strip()
        start += len(self.source.text(start, end)) - len(self.source.text(start, end).lstrip())
        end = start + len(text.encode())
        if text:
            for new in (f"!({text})", "true", "false"):
                self.add("condition", start, end, new)

    def find_condition(self, node):
        """Of if and while; what a declaration gives is left to the places in it."""
        parts, _ = self.source.parentheses(node)
        first = next(node.get_children(), None)
        if parts and first is not None and first.kind not in (C.VAR_DECL, C.DECL_STMT):
            self.change_condition(*parts[-1])

    def find_for_condition(self, node):
        parts, _ = self.source.parentheses(node)
        if len(parts) == 3:
            self.change_condition(*parts[1])

    def find_do_condition(self, node):
        *_, condition = node.get_children()
        self.change_condition(condition.extent.start.offset, condition.extent.end.offset)

    def find_choice(self, node):
        condition = next(node.get_children())
        self.change_condition(condition.extent.start.offset, condition.extent.end.offset)

    def find_flag(self, node):
        """A truth value that is given a name."""
        *_, value = [None, *node.get_children()]
        if value is not None and value.kind.is_expression() and boolean(node):
            for new in ("true", "false"):
                self.replace("condition", value, new)

    # --- statements ---

    def leave_out(self, node):
        bare = node.kind in JUMPS and not list(node.get_children())
        if bare or node.kind.is_expression() or node.kind == C.CXX_FOR_RANGE_STMT:
            self.replace("statement", node, "" if node.kind != C.CXX_FOR_RANGE_STMT else ";",
                         f"leave out {one_line(self.source.text_of(node))}")

    def find_body(self, node):
        """The statement that an if or a loop has without braces."""
        _, end = self.source.parentheses(node)
        for child in node.get_children():
            if child.extent.start.offset >= end:
                self.leave_out(child)

    def find_labelled(self, node):
        *_, statement = node.get_children()
        self.leave_out(statement)

    def find_statements(self, node):
        statements = list(node.get_children())
        for statement in statements:
            self.leave_out(statement)
        for one, other in zip(statements, statements[1:]):
            if not {one.kind, other.kind} & (JUMPS | LABELS) and not needless.swap_is_needless(one, other):
                self.swap(*self.whole(one), *self.whole(other))

    def whole(self, statement):
        """With its semicolon, which an expression does not count as its own."""
        start, end = statement.extent.start.offset, statement.extent.end.offset
        match = re.compile(rb"\s*;").match(self.source.data, end)
        return start, match.end() if match and self.source.data[end - 1:end] not in (b";", b"}") else end

    def find_result(self, node):
        value = next(node.get_children(), None)
        if value is None:
            return
        text = self.source.text_of(value)
        if re.fullmatch(r"-?\d+|true|false|nullptr|\{\}", text):
            return
        if boolean(value):
            news = (f"!({text})", "true", "false")
        elif integer(value):
            news = ("0", f"({text}) + 1")
        elif value.type.get_canonical().kind == T.POINTER:
            news = ("nullptr",)
        else:
            news = ("{}",)
        for new in news:
            self.replace("statement", value, new)


FINDERS = {
    C.BINARY_OPERATOR: (Finder.find_binary,),
    C.COMPOUND_ASSIGNMENT_OPERATOR: (Finder.find_binary,),
    C.UNARY_OPERATOR: (Finder.find_unary,),
    C.CXX_UNARY_EXPR: (Finder.find_size,),
    C.DECL_REF_EXPR: (Finder.find_constant,),
    C.INTEGER_LITERAL: (Finder.find_macro_number,),
    C.CALL_EXPR: (Finder.find_arguments,),
    C.INIT_LIST_EXPR: (Finder.find_elements,),
    C.IF_STMT: (Finder.find_condition, Finder.find_body),
    C.WHILE_STMT: (Finder.find_condition, Finder.find_body),
    C.FOR_STMT: (Finder.find_for_condition, Finder.find_body),
    C.CXX_FOR_RANGE_STMT: (Finder.find_body,),
    C.DO_STMT: (Finder.find_do_condition,),
    C.CONDITIONAL_OPERATOR: (Finder.find_choice,),
    C.VAR_DECL: (Finder.find_flag,),
    C.CASE_STMT: (Finder.find_labelled,),
    C.DEFAULT_STMT: (Finder.find_labelled,),
    C.COMPOUND_STMT: (Finder.find_statements,),
    C.RETURN_STMT: (Finder.find_result,),
}


def number_equal_keys(mutants):
    """The second of two that look the same is called so."""
    seen = Counter()
    numbered = []
    for mutant in mutants:
        seen[mutant.key()] += 1
        count = seen[mutant.key()]
        numbered.append(mutant if count == 1 else replace(mutant, change=f"{mutant.change} (no. {count})"))
    return numbered


def parse(path, arguments):
    unit = Index.create().parse(str(path), args=arguments)
    errors = [str(diagnostic) for diagnostic in unit.diagnostics if diagnostic.severity >= 3]
    if errors:
        raise Unreadable("libclang cannot read this:\n" + "\n".join(errors))
    return unit


def find_mutants(unit, path, name):
    return Finder(Source(unit, path), name).mutants()
