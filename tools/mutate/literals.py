"""What becomes of a literal: numbers one more, one less and 0, characters the next one and NUL, texts with one
character changed and empty, sets of characters with each one left out."""

import ast
import re
from zlib import crc32

NUMBER = re.compile(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)([uUlLzZ]*)")
# A conversion and an escape stay whole.
PIECE = re.compile(r"\\x[0-9a-fA-F]+|\\[0-7]{1,3}|\\.|%[-+ #0]*[\d.*]*[hlzjt]*[A-Za-z%]|.", re.DOTALL)


def changed_literals(spelling):
    match = NUMBER.fullmatch(spelling)
    if match:
        return changed_numbers(*match.groups())
    if spelling.startswith("'"):
        return changed_characters(spelling)
    if spelling.startswith('"'):
        return changed_texts(spelling)
    return []


def changed_numbers(digits, suffix):
    digits = digits.replace("'", "")
    base, form = 10, "{}"
    if digits[:2].lower() == "0x":
        base, form = 16, "0x{:x}"
    elif digits[0] == "0" and len(digits) > 1:
        base, form = 8, "0{:o}"
    value = int(digits, base)
    values = [value + 1, value - 1] + ([0] if value not in (0, 1) else [])
    return [(form.format(new) if new > 0 else str(new) if new == 0 else f"({new})") + suffix for new in values]


def changed_characters(spelling):
    value = ast.literal_eval("b" + spelling)[0]
    return [character((value + 1) % 256)] + ([character(0)] if value != 0 else [])


def character(value):
    if value == 0:
        return "'\\0'"
    if 0x20 <= value < 0x7f:
        return "'" + ("\\" if chr(value) in "'\\" else "") + chr(value) + "'"
    return f"'\\x{value:02x}'"


def changed_texts(spelling):
    pieces = PIECE.findall(spelling[1:-1])
    if not pieces:
        return ['"x"']
    changed = change_one(pieces, crc32(spelling.encode()))
    return ([f'"{changed}"'] if changed else []) + ['""'] + smaller_sets(pieces)


def smaller_sets(pieces):
    """A text without letters is a set of characters, or may be: one of them less."""
    if len(pieces) < 3 or any(piece.isalnum() or piece[0] == "%" and len(piece) > 1 for piece in pieces):
        return []
    return ['"' + "".join(pieces[:index] + pieces[index + 1:]) + '"' for index in range(len(pieces))]


def change_one(pieces, choice):
    """Which one is changed depends on the text alone, so that the next run changes the same."""
    plain = [index for index, piece in enumerate(pieces) if piece.isascii() and piece.isalnum()]
    other = [index for index, piece in enumerate(pieces) if len(piece) == 1 and index not in plain]
    rest = [index for index, piece in enumerate(pieces) if piece[0] == "\\"]
    for places in (plain, other, rest):
        if places:
            index = places[choice % len(places)]
            return "".join(pieces[:index]) + next_character(pieces[index]) + "".join(pieces[index + 1:])
    return None


def next_character(piece):
    if piece.isascii() and piece.isalnum():
        return {"z": "a", "Z": "A", "9": "0"}.get(piece) or chr(ord(piece) + 1)
    return "+" if piece == "#" else "#"
