"""What the comments of the generated code say, the same in every language."""

import textwrap

MOST_COLUMNS = 110
ASSUMED = "Assumed: not every name or width here is agreed with the other side."
ASSUMED_NAMES = "Agreed to the byte; the names of the fields are ours."


def enum(enum):
    return f"On the wire {enum.bits} bits: {values(enum)}. {ASSUMED if enum.assumed else ''}"


def record(record):
    mark = ASSUMED if record.assumed else ASSUMED_NAMES if record.assumed_names else ""
    return f"{size(record)} on the wire. {mark}"


def values(enum):
    """The value set of an enumeration."""
    if enum.kind == "any":
        return "any value"
    if enum.kind == "mask":
        return f"any bits of {enum.mask:#x}"
    return ", ".join(str(first) if first == last else f"{first} to {last}" for first, last in enum.ranges)


def size(record):
    """What a record takes on the wire."""
    if not record.is_fixed:
        return f"{record.fixed_size} to {record.largest_size} bytes"
    return f"{record.fixed_size} byte{'' if record.fixed_size == 1 else 's'}"


def doc(*parts, indent=""):
    """A documentation comment, of C++ and Java alike: each part starts a line, empty ones are left away."""
    parts = list(filter(None, map(str.strip, parts)))
    if len(parts) > 1:
        parts = [each if each[-1] in ".!?:" else each + "." for each in parts]
    lines = [line for each in parts for line in wrapped(each, len(indent) + 3)]
    if len(lines) == 1 and len(indent) + len(lines[0]) + 7 <= MOST_COLUMNS:
        return f"{indent}/** {lines[0]} */\n"
    return "".join([f"{indent}/**\n", *(f"{indent} * {line}\n" for line in lines), f"{indent} */\n"]) if lines else ""


def wrapped(text, indent):
    return textwrap.wrap(text, MOST_COLUMNS - indent, break_on_hyphens=False)
