"""What the comments of the generated code say, the same in every language."""

ASSUMED = " Assumed: not every name or width here is agreed with the other side."


def assumed(declaration):
    return ASSUMED if declaration.assumed else ""


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
