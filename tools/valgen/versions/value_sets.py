"""What two enumerations accept, compared."""


def difference(these, others):
    """The values of `these` that `others` refuses, as text; empty if there are none. Both are enumerations."""
    if (these.kind, these.mask, these.ranges) == (others.kind, others.mask, others.ranges) and these.bits == others.bits:
        return ""
    if "mask" in (these.kind, others.kind):
        return _bits(these, others)
    return _text(_minus(_ranges(these), _ranges(others)))


def _ranges(enum):
    return [enum.limits] if enum.kind == "any" else enum.ranges


def _minus(ranges, others):
    """Both ascend; so does the result."""
    left = []
    for first, last in ranges:
        for start, end in others:
            if end < first or start > last:
                continue
            if start > first:
                left.append((first, start - 1))
            first = end + 1
        if first <= last:
            left.append((first, last))
    return left


def _text(ranges):
    return ", ".join(str(first) if first == last else f"{first} to {last}" for first, last in ranges)


def _bits(these, others):
    """One of the two accepts by its bits: bits are compared, of a set of ranges those that its values have."""
    bits = _mask(these) & ~_mask(others)
    if bits:
        return f"the bits {bits:#x}"
    # A set of ranges lacks values that its bits could make.
    return "values between its own" if others.kind == "ranges" and not _is_full(others) else ""


def _mask(enum):
    if enum.kind == "mask":
        return enum.mask
    if enum.kind == "any" or enum.signed:
        return 2**enum.bits - 1
    mask = 0
    for first, last in enum.ranges:
        # All bits below the highest in which the ends differ occur between them.
        mask |= first | last | (2 ** (first ^ last).bit_length() - 1)
    return mask


def _is_full(enum):
    """The ranges hold every value that their bits can make."""
    return len(enum.ranges) == 1 and enum.ranges[0] == (0, _mask(enum))
