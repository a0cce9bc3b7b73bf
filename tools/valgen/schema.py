"""Reads a schema file into statements: what each line says, before anybody asks whether it is true.

A line that starts at the margin opens a declaration, indented lines below it are its body; `#` starts
a comment, which belongs to its line, or to the next one if it has a line of its own. A file that starts
with a comment says there what the family is.
"""

import re
from dataclasses import dataclass, field
from pathlib import Path


class SchemaError(Exception):
    """One or more faults, a line each: `file:line: what is wrong`."""


@dataclass(frozen=True)
class Place:
    file: str
    line: int

    def refuse(self, what):
        raise SchemaError(f"{self.file}:{self.line}: {what}")


@dataclass
class EnumStatement:
    place: Place
    name: str
    bits: int
    stored_bits: int
    assumed: bool
    kind: str  # "ranges", "mask" or "any"
    ranges: list = field(default_factory=list)  # (first, last, place)
    mask: int = 0
    names: list = field(default_factory=list)  # EnumeratorStatements
    comment: str = ""


@dataclass
class EnumeratorStatement:
    place: Place
    name: str
    value: int
    comment: str = ""


@dataclass
class FieldStatement:
    place: Place
    name: str
    type_word: str  # "u8" .. "i64", "bool", "enum" or "record"
    type_name: str  # of an enumeration or a record
    stored: str
    size: str  # what stands between the brackets: a number, the name of a count, or ""
    maximum: int
    comment: str = ""


@dataclass
class RecordStatement:
    place: Place
    name: str
    text: bool
    assumed: bool
    assumed_names: bool
    fields: list = field(default_factory=list)
    comment: str = ""


@dataclass
class ForwardStatement:
    place: Place
    name: str
    target: str
    comment: str = ""


@dataclass
class MessageStatement:
    place: Place
    id: int
    name: str
    record: str
    comment: str = ""


@dataclass
class Schema:
    family: str
    file: str
    statements: list
    comment: str = ""


NAME = r"[A-Za-z_][A-Za-z0-9_]*"
NUMBER = r"(?:0x[0-9a-fA-F]+|[0-9]+)"
VALUE = rf"-?{NUMBER}"
ENUM = re.compile(
    rf"enum (?P<name>{NAME}) : (?P<bits>\d+)(?: stored (?P<stored>\d+))?(?P<assumed> assumed)?"
    rf"(?: (?P<any>any)| mask (?P<mask>{NUMBER})| = (?P<ranges>.+))?$"
)
RANGE = re.compile(rf"({VALUE})(?:\.\.({VALUE}))?$")
ENUMERATOR = re.compile(rf"({NAME}) = ({VALUE})$")
RECORD = re.compile(rf"record (?P<name>{NAME})(?P<text> text)?(?: (?P<assumed>assumed|assumed names))?$")
FIELD = re.compile(
    rf"(?P<name>{NAME}) (?P<type>[ui](?:8|16|32|64)|bool|enum (?P<enum>{NAME})|record (?P<record>{NAME}))"
    rf"(?:\[(?P<size>{NAME}|\d+)\])?(?: stored (?P<stored>[ui](?:8|16|32|64)))?(?: max (?P<max>\d+))?$"
)
FORWARD = re.compile(rf"forward ({NAME}) to ({NAME})$")
MESSAGE = re.compile(rf"message (\d+) ({NAME}) carries ({NAME})$")


def parse_file(path):
    path = Path(path)
    return parse(read(path), path.name)


def read(path):
    try:
        return path.read_text(encoding="utf-8")
    except OSError as failed:
        raise SchemaError(f"{path}: cannot be read: {failed.strerror}") from None
    except UnicodeDecodeError as failed:
        line = failed.object.count(b"\n", 0, failed.start) + 1
        raise SchemaError(f"{path}:{line}: the byte {failed.object[failed.start]:#04x} is no UTF-8") from None


def parse(text, file):
    schema = Schema(family=file.removesuffix(".val"), file=file, statements=[])
    above = []  # the comment lines right above
    at_top = True
    for number, line in enumerate(text.splitlines(), 1):
        place = Place(file, number)
        words, sign, comment = line.partition("#")
        words, comment = " ".join(words.split()), _comment(place, comment)
        if sign and not words:
            above.append(comment)
            continue
        if at_top and (words or above):
            schema.comment, above, at_top = _joined(above), [], False
        if not words:
            above = []
            continue
        comment, above = _joined([*above, comment]), []
        if not line[0].isspace():
            schema.statements.append(_opening(place, words))
            schema.statements[-1].comment = comment
        elif not schema.statements:
            place.refuse("an indented line belongs to a declaration, and none stands above it")
        else:
            _body_line(place, words, schema.statements[-1]).comment = comment
    return schema


def _comment(place, text):
    """The words of a comment, which are written into comments of C++ and Java as they are."""
    if not text.isascii() or "\\" in text or "*/" in text:
        place.refuse("a comment is ASCII, without a backslash and without '*/'")
    return " ".join(text.split())


def _joined(comments):
    return " ".join(filter(None, comments))


def _opening(place, words):
    keyword = words.split()[0]
    readers = {"enum": _enum, "record": _record, "forward": _forward, "message": _message}
    if keyword not in readers:
        place.refuse(f"'{keyword}' is none of: enum, record, forward, message")
    return readers[keyword](place, words)


def _enum(place, words):
    match = ENUM.match(words)
    if not match:
        place.refuse("an enumeration reads: enum NAME : BITS [stored BITS] [assumed] [= VALUES | mask VALUE | any]")
    bits = int(match["bits"])
    statement = EnumStatement(
        place, match["name"], bits, int(match["stored"] or bits), bool(match["assumed"]), kind="ranges"
    )
    if match["any"]:
        statement.kind = "any"
    elif match["mask"]:
        statement.kind, statement.mask = "mask", int(match["mask"], 0)
    elif match["ranges"]:
        for words_of_range in match["ranges"].split(","):
            found = RANGE.match(words_of_range.strip())
            if not found:
                place.refuse(f"'{words_of_range.strip()}' is neither a value nor a range such as 3..7")
            first = int(found[1], 0)
            statement.ranges.append((first, int(found[2], 0) if found[2] else first, place))
    return statement


def _record(place, words):
    match = RECORD.match(words)
    if not match:
        place.refuse("a record reads: record NAME [text] [assumed [names]]")
    return RecordStatement(place, match["name"], bool(match["text"]), match["assumed"] == "assumed",
                           match["assumed"] == "assumed names")


def _forward(place, words):
    match = FORWARD.match(words)
    if not match:
        place.refuse("a forwarder reads: forward NAME to RECORD")
    return ForwardStatement(place, match[1], match[2])


def _message(place, words):
    match = MESSAGE.match(words)
    if not match:
        place.refuse("a message reads: message ID NAME carries RECORD")
    return MessageStatement(place, int(match[1]), match[2], match[3])


def _body_line(place, words, owner):
    """Adds the line's statement to its owner and returns it."""
    if isinstance(owner, EnumStatement):
        match = ENUMERATOR.match(words)
        if not match:
            place.refuse("a named value reads: NAME = VALUE")
        owner.names.append(EnumeratorStatement(place, match[1], int(match[2], 0)))
        return owner.names[-1]
    if isinstance(owner, RecordStatement):
        match = FIELD.match(words)
        if not match:
            place.refuse(
                "a field reads: NAME TYPE [stored TYPE], NAME TYPE[SIZE] or NAME TYPE[COUNT] max N, where TYPE is "
                "u8..u64, i8..i64, bool, enum NAME or record NAME"
            )
        owner.fields.append(
            FieldStatement(
                place, match["name"], match["type"].split()[0], match["enum"] or match["record"] or "",
                match["stored"] or "", match["size"] or "", int(match["max"] or 0),
            )
        )
        return owner.fields[-1]
    place.refuse("only enumerations and records have lines below them")
