"""Every change between two versions of the schemas, and what it does to a peer that has the other one."""

from dataclasses import dataclass, field as member

import layout
from versions import value_sets
from versions.field_changes import compare_fields
from versions.pairing import Pairing, wire_form

WIRE, SOURCE, SAFE = "wire", "source", "safe"
UNUSED = "no message that both versions have carries it; code that uses it has to be changed"


@dataclass
class Change:
    effect: str  # WIRE, SOURCE or SAFE
    kind: str    # a fixed word for programs, such as "field-inserted"
    subject: str  # "message", "record", "enumeration" or "wrapper"
    name: str
    field: str  # "" if it isn't about a field or a named value
    offset: object  # an Offset in the record; of the new version for what is new, else of the old; or None
    text: str
    consequence: str
    assumed: bool = False  # its layout was only assumed in the old version
    reached: list = member(default_factory=list)  # Places in messages that the two versions exchange

    def __str__(self):
        return f"{self.subject} {self.name}" + (f", {self.field}" if self.field else "")


def compare(old, new):
    """All changes from one Version to another, the worst first."""
    return _Comparison(old, new).changes()


class _Comparison:
    def __init__(self, old, new):
        self._old, self._new = old.model, new.model
        self._whole = old.is_whole and new.is_whole
        self._pairing = Pairing(self._old, self._new)
        self._new_ids = {message.id for message in layout.messages(self._new)}
        self._changes = []

    def changes(self):
        self._messages()
        self._types("record", layout.records, self._pairing.records, self._record)
        # What a wrapper stands for is told by the message that carries it.
        self._types("wrapper", layout.forwards, self._pairing.forwards, lambda old, new: None)
        self._types("enumeration", layout.enums, self._pairing.enums, self._enum)
        order = [WIRE, SOURCE, SAFE]
        return sorted(self._changes, key=lambda each: order.index(each.effect))

    def _tell(self, effect, kind, subject, name, text, consequence, **more):
        change = Change(effect, kind, subject, name, more.pop("field", ""), more.pop("offset", None), text,
                        consequence, **more)
        self._changes.append(change)

    def _comment(self, subject, name, old, new, field=""):
        if self._whole and old.comment != new.comment:
            self._tell(SAFE, "comment", subject, name, f"comment '{old.comment}' is now '{new.comment}'",
                       "nothing, unless it told of another unit or meaning: then give the field a new name",
                       field=field)

    def _family(self, subject, name, old, new):
        """Each family has headers of its own, and in Java a class for its enumerations."""
        if self._whole and old != new:
            java = "" if subject != "enumeration" else ", and Java finds it in the class of that family"
            self._tell(SOURCE, f"{subject}-moved", subject, name, f"stands in {new}.val in place of {old}.val",
                       f"the bytes are the same; code that includes {old}.h for it has to include {new}.h{java}")

    # Messages

    def _messages(self):
        old = {each.name: each for each in layout.messages(self._old)}
        new = {each.name: each for each in layout.messages(self._new)}
        old_ids = {each.id: each for each in old.values()}
        new_ids = {each.id: each for each in new.values()}
        renamed = set()
        for message in old.values():
            same = new.get(message.name)
            heir = new_ids.get(message.id)
            if same is not None and same.id == message.id:
                self._payload(message, same)
                self._family("message", message.name, message.family, same.family)
                self._comment("message", message.name, message, same)
            elif same is not None:
                self._renumbered(message, same, heir)
                self._payload(message, same)
            elif heir is not None and heir.name not in old:
                renamed.add(heir.name)
                self._tell(SOURCE, "message-renamed", "message", message.name, f"{message.id} is now '{heir.name}'",
                           "names are not on the wire; code that names it has to be changed")
                self._payload(message, heir)
            else:
                self._tell(WIRE, "message-removed", "message", message.name, f"{message.id} is gone",
                           "the old version still sends it and nobody here handles it; what it waits for never comes",
                           assumed=message.payload.assumed)
        for message in new.values():
            if message.name not in old and message.name not in renamed:
                reused = message.id in old_ids
                self._tell(SAFE, "message-added", "message", message.name, f"{message.id} is new",
                           "an old peer has no handler for it and drops it"
                           + ("; its id belonged to another message, which is told by itself" if reused else ""))

    def _renumbered(self, old, new, heir):
        text = f"{old.id} is now {new.id}"
        consequence = ("each version sends an id that the other doesn't handle for it: an unpack with the wrong id ends "
                       "with eUnpackWrongMessageId (2)")
        if heir is not None:
            consequence = (f"{old.id} is '{heir.name}' now: each version takes the other's payload for another message's")
        self._tell(WIRE, "message-renumbered", "message", old.name, text, consequence, assumed=old.payload.assumed)

    def _payload(self, old, new):
        pairing = self._pairing
        paired = {**pairing.records, **pairing.forwards}.get(old.record.name)
        if pairing.records.get(old.payload.name) == new.payload.name:
            if paired != new.record.name:
                self._tell(SOURCE, "message-other-record", "message", old.name,
                           f"carries {new.record.name} in place of {old.record.name}, with the same fields",
                           "the bytes are the same; code that names the type has to be changed")
            return
        text = f"carries {new.record.name} in place of {old.record.name}"
        place = _first_difference(pairing, old.payload, new.payload)
        if place is None:
            self._tell(SOURCE, "message-other-record", "message", old.name, text + ", with the same bytes",
                       "the bytes are the same; code that names the type or its members has to be changed")
            return
        self._tell(WIRE, "message-other-record", "message", old.name, text,
                   f"each version reads the other's payload as another record, from offset {place} on",
                   offset=place, assumed=old.payload.assumed)

    # Types

    def _types(self, subject, of, pairs, compare_pair):
        olds, news = of(self._old), of(self._new)
        for name, old in olds.items():
            if name not in pairs:
                self._tell(SOURCE, f"{subject}-removed", subject, name, "is gone",
                           "code that uses it doesn't compile; messages that carried it are told by themselves")
                continue
            new = news[pairs[name]]
            if new.name != name:
                self._tell(SOURCE, f"{subject}-renamed", subject, name, f"is now '{new.name}'",
                           "names are not on the wire; code that uses it has to be changed")
            compare_pair(old, new)
            self._family(subject, name, old.family, new.family)
            self._comment(subject, name, old, new)
        for name in news:
            if name not in pairs.values():
                self._tell(SAFE, f"{subject}-added", subject, name, "is new", "nobody uses it yet")

    def _reached(self, name):
        return [place for place in self._pairing.old_places.of(name) if place.message.id in self._new_ids]

    def _record(self, old, new):
        same_bytes = wire_form(old, self._pairing.enums) == wire_form(new)
        reached = self._reached(old.name)
        for found in compare_fields(self._pairing, old, new):
            effect, consequence = found.effect, found.consequence
            if effect == WIRE and same_bytes:
                effect, consequence = SOURCE, "the bytes are the same; code that names the members has to be changed"
            elif effect == WIRE and not reached:
                effect, consequence = SOURCE, UNUSED
            places = [place.at(found.field, found.offset) for place in reached] if effect == WIRE else []
            self._tell(effect, found.kind, "record", old.name, found.text, consequence, field=found.field,
                       offset=found.offset, assumed=old.assumed, reached=places)
        self._marks(old, new)
        if self._whole:
            fields = {each.name: each for each in new.fields}
            for each in old.fields:
                if each.name in fields:
                    self._comment("record", old.name, each, fields[each.name], each.name)

    def _marks(self, old, new):
        if old.text and not new.text:
            self._tell(SOURCE, "text-removed", "record", old.name, "has no text form any more",
                       f"ToString{old.name} is gone: code that logs it doesn't compile")
        if new.text and not old.text:
            self._tell(SAFE, "text-added", "record", old.name, "has a text form now", f"ToString{new.name} is new")
        if new.assumed and not old.assumed:
            self._tell(SOURCE, "assumed-added", "record", old.name, "is marked as assumed now",
                       "code that uses it doesn't compile until it accepts assumed layouts")
        if old.assumed and not new.assumed:
            self._tell(SAFE, "assumed-removed", "record", old.name, "is agreed now",
                       "code no longer has to accept an assumed layout for it")
        if new.assumed_names != old.assumed_names:
            self._tell(SAFE, "assumed-names-added" if new.assumed_names else "assumed-names-removed", "record", old.name,
                       f"names of fields are {'ours' if new.assumed_names else 'agreed'} now", "its bytes are the same")

    def _enum(self, old, new):
        name, reached = old.name, self._reached(old.name)
        assumed = old.assumed or bool(reached) and all(place.message.payload.assumed for place in reached)

        def tell_wire(kind, text, consequence, unused=SOURCE, field=""):
            self._tell(WIRE if reached else unused, kind, "enumeration", name, text,
                       consequence if reached else UNUSED, field=field, assumed=assumed, reached=reached)

        if old.bits != new.bits:
            tell_wire("enumeration-width", f"takes {new.bits} bits on the wire in place of {old.bits}",
                      "the wire has no tags: everything behind each field of this type is read from the wrong place")
        if old.stored_bits != new.stored_bits:
            self._tell(SOURCE, "enumeration-stored", "enumeration", name,
                       f"takes {new.stored_bits} bits in memory in place of {old.stored_bits}",
                       "the wire is the same; records that hold it change in memory: compile everything again")
        if added := value_sets.difference(new, old):
            tell_wire("values-added", f"accepts {added} as well",
                      "old readers refuse a payload with such a value: eUnpackBadEnum (11); new readers take all that "
                      "old versions send", unused=SAFE)
        if removed := value_sets.difference(old, new):
            tell_wire("values-removed", f"refuses {removed} now",
                      "new readers refuse a payload with such a value: eUnpackBadEnum (11); it can't be sent any "
                      "more either: ePackBadEnum (9)")
        if old.assumed != new.assumed:
            self._tell(SAFE, "assumed-added" if new.assumed else "assumed-removed", "enumeration", name,
                       "is marked as assumed now" if new.assumed else "is agreed now", "its bytes are the same")
        self._value_names(old, new, tell_wire)

    def _value_names(self, old, new, tell_wire):
        olds, news = ({each.name: each for each in enum.names} for enum in (old, new))
        for each in olds.values():
            if each.name in news:
                same = news[each.name]
                self._comment("enumeration", old.name, each, same, each.name)
                if same.value != each.value:
                    tell_wire("value-changed", f"is {same.value} in place of {each.value}",
                              "each version means another thing by the same number", field=each.name)
                continue
            heirs = [other.name for other in new.names if other.value == each.value and other.name not in olds]
            what = f"{each.value} is now '{heirs[0]}'" if heirs else "is no name of a value any more"
            self._tell(SOURCE, "value-renamed" if heirs else "value-name-removed", "enumeration", old.name, what,
                       "names are not on the wire; code that uses it has to be changed", field=each.name)
        taken = {each.value for each in olds.values() if each.name not in news}
        for each in news.values():
            if each.name not in olds and each.value not in taken:
                self._tell(SAFE, "value-name-added", "enumeration", old.name, f"names {each.value}",
                           "nobody uses the name yet", field=each.name)


def _first_difference(pairing, old, new):
    """The Offset at which two records cease to have the same bytes; None if they don't."""
    olds, news = wire_form(old, pairing.enums), wire_form(new)
    if [each[1:] for each in olds] == [each[1:] for each in news]:
        return None
    same = 0
    while same < min(len(olds), len(news)) and olds[same][1:] == news[same][1:]:
        same += 1
    flat = list(_flat_offsets(old))
    return flat[same] if same < len(flat) else layout.Offset(old.fixed_size, _varying(old))


def _varying(record):
    return tuple(field.name for field in record.fields if len(set(layout.span(field))) == 2)


def _flat_offsets(record):
    for field, offset in layout.offsets(record):
        if field.kind == "record":
            for inner in _flat_offsets(field.record):
                yield offset.plus(inner, f"{field.name}.")
        else:
            yield offset
