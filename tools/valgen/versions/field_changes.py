"""The changes of a record's fields."""

from dataclasses import dataclass

import layout
from layout import type_text
from versions import value_sets
from versions.pairing import field_pairs, wire_form

WIRE, SOURCE = "wire", "source"
LONGER = ("the payload ends with it: an old reader finds bytes left over, eUnpackTrailingBytes (5), and a new reader "
          "finds an old payload too short, eUnpackTruncated (4)")
SHORTER = ("the payload ended with it: a new reader finds bytes left over in an old one, eUnpackTrailingBytes (5), and "
           "an old reader finds a new one too short, eUnpackTruncated (4)")
OTHER_MEANING = "both versions take the same bytes, and read something else from them"


@dataclass
class Found:
    effect: str
    kind: str
    field: str
    offset: object
    text: str
    consequence: str


def compare_fields(pairing, old, new):
    """What changed from one record to the other, in the order of the old one, then what is new."""
    return list(_Fields(pairing, old, new).found())


class _Fields:
    def __init__(self, pairing, old, new):
        self._pairing, self._old, self._new = pairing, old, new
        self._old_offsets = {field.name: offset for field, offset in layout.offsets(old)}
        self._new_offsets = {field.name: offset for field, offset in layout.offsets(new)}
        self._pairs, self._moved = field_pairs(pairing, old, new)

    def found(self):
        news = {field.name: field for field in self._new.fields}
        for field in self._old.fields:
            offset = self._old_offsets[field.name]
            if field.name not in self._pairs:
                last = field is self._old.fields[-1]
                yield Found(WIRE, "field-removed", field.name, offset, f"{type_text(field)} is gone",
                            self._ends(SHORTER) if last else _shift(offset))
                continue
            other = news[self._pairs[field.name]]
            if other.name != field.name:
                yield Found(SOURCE, "field-renamed", field.name, offset, f"is now '{other.name}'",
                            "names are not on the wire, but in the members, in the text form and in the logs")
            if field.name in self._moved:
                yield self._move(field, offset)
            yield from self._types(field, other, offset)
        for field in self._new.fields:
            if field.name not in self._pairs.values():
                offset, last = self._new_offsets[field.name], field is self._new.fields[-1]
                yield Found(WIRE, "field-inserted", field.name, offset, f"{type_text(field)} is new",
                            self._ends(LONGER) if last else _shift(offset))

    def _ends(self, consequence):
        """A record ends the payload, unless another one holds it."""
        nested = any(place.path for place in self._pairing.old_places.of(self._old.name))
        return consequence + ("; where another record holds this one, all that stands behind it is read from the wrong "
                              "place" if nested else "")

    def _move(self, field, offset):
        count = field.counts is not None
        return Found(WIRE, "count-moved" if count else "field-reordered", field.name, offset,
                     f"stands at offset {self._new_offsets[field.name]} now",
                     f"the wire has no tags: every field from offset {min(offset.least, self._new_offsets[field.name].least)}"
                     " on is read as another one" + (f", and so is the length of '{field.counts.name}'" if count else ""))

    def _types(self, old, new, offset):
        def found(effect, kind, text, consequence):
            return Found(effect, kind, old.name, offset, text, consequence)

        change = f"{type_text(old)} is now {type_text(new)}"
        if old.kind == new.kind == "array":
            yield from self._arrays(old, new, found, change, offset)
        elif old.kind == new.kind == "fixed_bytes":
            if old.size != new.size:
                yield found(WIRE, "size-changed", change, _shift(offset))
        elif old.kind == new.kind == "record":
            if self._pairing.records.get(old.record.name) != new.record.name:
                yield self._other_record(old.record, new.record, found, change, offset)
        elif "array" in (old.kind, new.kind):
            yield found(WIRE, "field-retyped", change, _shift(offset))
        elif "record" in (old.kind, new.kind) or "fixed_bytes" in (old.kind, new.kind):
            yield from self._blocks(old, new, found, change, offset)
        else:
            yield from self._scalars(old, new, found, change, offset)

    def _other_record(self, old, new, found, change, offset):
        if wire_form(old, self._pairing.enums) == wire_form(new):
            return found(SOURCE, "field-retyped", change, "the bytes are the same; code that names the type has to be changed")
        same_size = old.is_fixed and new.is_fixed and old.fixed_size == new.fixed_size
        return found(WIRE, "field-retyped", change, OTHER_MEANING if same_size else _shift(offset))

    @staticmethod
    def _blocks(old, new, found, change, offset):
        """Bytes, a record or a scalar in place of another one of these."""
        plain = {"fixed_bytes", "integer"}
        if layout.span(old) != layout.span(new):
            yield found(WIRE, "field-retyped", change, _shift(offset))
        elif {old.kind, new.kind} == plain and not (old.signed or new.signed):
            yield found(SOURCE, "field-retyped", change, "the bytes are the same; the member has another type")
        else:
            yield found(WIRE, "field-retyped", change, OTHER_MEANING)

    def _scalars(self, old, new, found, change, offset):
        if old.enum and new.enum and self._pairing.enums.get(old.enum.name) == new.enum.name:
            return  # told of the enumeration
        old_bits, new_bits = layout.span(old)[0] * 8, layout.span(new)[0] * 8
        if old_bits != new_bits:
            kind = "field-widened" if new_bits > old_bits else "field-narrowed"
            yield found(WIRE, kind, change, _shift(offset))
        elif old.signed != new.signed:
            yield found(WIRE, "sign-changed", change,
                        "both versions take the same bytes; a value with the top bit set is read as another number")
        elif "bool" in (old.kind, new.kind) and old.kind != new.kind:
            yield found(WIRE, "field-retyped", change,
                        "the same byte; the version with the bool reads every value but 0 as 1")
        elif old.enum or new.enum:
            yield self._other_values(old, new, found, change)
        elif old.stored_bits != new.stored_bits:
            yield found(SOURCE, "stored-changed", change,
                        "the wire is the same; the record changes in memory: compile everything again")

    @staticmethod
    def _other_values(old, new, found, change):
        """An enumeration in place of a number or of another enumeration."""
        told = []
        if new.enum and _refuses(new.enum, old.enum):
            told.append("new readers refuse values that the old version sends: eUnpackBadEnum (11)")
        if old.enum and _refuses(old.enum, new.enum):
            told.append("old readers refuse values that the new version sends: eUnpackBadEnum (11)")
        if told:
            return found(WIRE, "field-retyped", change, "; ".join(told))
        return found(SOURCE, "field-retyped", change, "the bytes and the values are the same; the member has another type")

    def _arrays(self, old, new, found, change, offset):
        counts = self._pairs.get(old.count.name) != new.count.name
        if counts:
            yield found(WIRE, "count-changed", f"is counted by '{new.count.name}' in place of '{old.count.name}'",
                        "each version takes another field for the number of elements: everything behind is read from the "
                        "wrong place")
        if not self._same_elements(old, new):
            yield found(WIRE, "field-retyped", change,
                        "the count is a number of elements, and those are others: everything behind offset "
                        f"{offset} is read from the wrong place")
        elif self._renamed_element(old, new):
            yield found(SOURCE, "field-retyped", change, "the bytes are the same; code that names the type has to be changed")
        if new.maximum > old.maximum:
            yield found(WIRE, "maximum-raised", f"holds up to {new.maximum} elements in place of {old.maximum}",
                        f"old readers refuse a count above {old.maximum}: eUnpackArrayTooLong (8); new readers take all "
                        "that old versions send")
        elif new.maximum < old.maximum:
            yield found(WIRE, "maximum-lowered", f"holds up to {new.maximum} elements in place of {old.maximum}",
                        f"new readers refuse a count above {new.maximum}: eUnpackArrayTooLong (8), and refuse to send it: "
                        "ePackArrayTooLong (6)")

    def _same_elements(self, old, new):
        if old.element != new.element:
            return False
        if old.enum:
            return (self._pairing.enums.get(old.enum.name) == new.enum.name
                    or old.enum.bits == new.enum.bits and not _refuses(old.enum, new.enum)
                    and not _refuses(new.enum, old.enum))
        if old.record:
            return (self._pairing.records.get(old.record.name) == new.record.name
                    or wire_form(old.record, self._pairing.enums) == wire_form(new.record))
        return old.bits == new.bits

    def _renamed_element(self, old, new):
        if old.enum:
            return self._pairing.enums.get(old.enum.name) != new.enum.name
        return bool(old.record) and self._pairing.records.get(old.record.name) != new.record.name


def _shift(offset):
    return f"the wire has no tags: every field behind offset {offset} is read from the wrong place"


def _refuses(enum, sender):
    """Whether a reader with this enumeration refuses something that a sender with the other, or with none, may send."""
    if sender is not None:
        return bool(value_sets.difference(sender, enum))
    if enum.kind == "mask":
        return enum.mask != 2**enum.bits - 1
    return enum.kind == "ranges" and enum.ranges != [enum.limits]
