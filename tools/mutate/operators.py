"""What a fault makes of an operator or a literal."""

import re

BINARY = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"], "&": ["|"], "|": ["&"], "^": ["&"],
    "<<": [">>"], ">>": ["<<"], "&&": ["||"], "||": ["&&"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "&=": ["|="], "|=": ["&="],
}
UNARY = {"!": ["!!"], "-": [""], "++": ["--"], "--": ["++"]}
RELATIONAL = ("<", "<=", ">", ">=", "==", "!=")

NUMBER = re.compile(r"(0[xX])?([0-9a-fA-F']+?)([uUlLzZ]*)")
REAL = re.compile(r"([0-9']*\.[0-9']*)([fFlL]?)")
QUOTED = re.compile(r"((?:u8|[uUL])?)\"((?:[^\"\\\n]|\\.)*)\"(.*)", re.S)
FIRST_LETTER = re.compile(r"(?:\\(?:x[0-9a-fA-F]+|[0-7]{1,3}|u[0-9a-fA-F]{4}|.)|[ ])*[^\\ ]")
CHARACTER = re.compile(r"((?:u8|[uUL])?)'([^'\\])'")


def changed_integer(text):
    """One more, one less, and 0 where it is neither."""
    match = NUMBER.fullmatch(text)
    if not match:
        return []
    prefix, digits, suffix = match.groups()
    octal = not prefix and digits.startswith("0") and len(digits) > 1
    value = int(digits.replace("'", ""), 16 if prefix else 8 if octal else 10)
    values = [value + 1, value - 1] if value > 0 else [1]
    return [(hex(other) if prefix else str(other)) + suffix for other in values]


def changed_real(text):
    match = REAL.fullmatch(text)
    return [f"{float(match[1].replace(chr(39), '')) + 1}{match[2]}"] if match else []


def changed_string(text):
    """The first letter becomes another: the length, and so the type, stays."""
    match = QUOTED.fullmatch(text)
    if not match:
        return []
    prefix, inner, rest = match.groups()
    if not inner:
        return [f'{prefix}"~"{rest}']
    first = FIRST_LETTER.match(inner)
    if not first:
        return []
    at = first.end() - 1
    return [f'{prefix}"{inner[:at]}{"#" if inner[at] == "~" else "~"}{inner[at + 1:]}"{rest}']


def changed_character(text):
    match = CHARACTER.fullmatch(text)
    return [f"{match[1]}'{'#' if match[2] == '~' else '~'}'"] if match else []


def changed_bool(text):
    return {"true": ["false"], "false": ["true"]}.get(text, [])
