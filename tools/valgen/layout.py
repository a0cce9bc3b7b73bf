"""Where fields stand on the wire, what they are, and which records a message is made of."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Offset:
    """Bytes from the start: a number, and the names of what varies in size before it."""

    least: int = 0
    after: tuple = ()

    def __str__(self):
        return " + ".join([str(self.least), *(f"size of {name}" for name in self.after)])

    def plus(self, inner, path):
        """The place of something at `inner` of the record that stands here and is reached by `path`."""
        return Offset(self.least + inner.least, self.after + tuple(path + name for name in inner.after))


@dataclass(frozen=True)
class Place:
    """One occurrence of a type in a message: `pairs[].value` at offset 3."""

    message: object
    path: str
    offset: Offset

    def at(self, field, inner):
        """The place of a field of the record that stands here."""
        return Place(self.message, joined(self.path, field), self.offset.plus(inner, f"{self.path}." if self.path else ""))


def joined(path, name):
    return f"{path}.{name}" if path else name


def offsets(record):
    """Every field of the record with its Offset."""
    here = Offset()
    for field in record.fields:
        yield field, here
        least, most = span(field)
        here = Offset(here.least + least, here.after + ((field.name,) if least != most else ()))


def span(field):
    """The fewest and the most bytes that a field takes."""
    if field.kind == "record":
        return field.record.fixed_size, field.record.largest_size
    if field.kind == "fixed_bytes":
        return field.size, field.size
    bits = field.enum.bits if field.enum else field.bits
    if field.kind != "array":
        return bits // 8, bits // 8
    return 0, field.maximum * (field.record.largest_size if field.element == "record" else bits // 8)


def type_text(field):
    """A field's type as a schema says it."""
    if field.kind == "fixed_bytes":
        return f"u8[{field.size}]"
    if field.enum:
        text = f"enum {field.enum.name}"
    elif field.record:
        text = f"record {field.record.name}"
    else:
        text = "bool" if field.kind == "bool" else f"{'i' if field.signed else 'u'}{field.bits}"
    if field.kind == "array":
        return f"{text}[{field.count.name}] max {field.maximum}"
    return text if field.stored_bits in (0, field.bits) else f"{text} stored {text[0]}{field.stored_bits}"


class Places:
    """Where each record and enumeration stands in the messages of a model."""

    def __init__(self, model):
        self._of = {}
        for message in messages(model):
            self._walk(message.payload, Place(message, "", Offset()))

    def of(self, type_name):
        return self._of.get(type_name, [])

    def _walk(self, record, place):
        self._of.setdefault(record.name, []).append(place)
        for field, offset in offsets(record):
            array = field.kind == "array"
            inner = place.at(f"{field.name}[]" if array else field.name, offset)
            if field.enum:
                self._of.setdefault(field.enum.name, []).append(inner)
            elif field.record:
                self._walk(field.record, inner)


def messages(model):
    return sorted((each for family in model.families for each in family.messages), key=lambda each: each.id)


def records(model):
    return {each.name: each for family in model.families for each in family.records}


def forwards(model):
    return {each.name: each for family in model.families for each in family.forwards}


def enums(model):
    return {each.name: each for family in model.families for each in family.enums}
