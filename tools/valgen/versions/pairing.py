"""Which declaration of one version is which of the other: by name, and renamed ones by what they are."""

from layout import Places, enums, forwards, records


class Pairing:
    """Old names to new names of types; `shape` makes types of the two versions comparable."""

    def __init__(self, old, new):
        self.old_places, self.new_places = Places(old), Places(new)
        # Enumerations first: records are told apart by them.
        self.enums = self._pair(enums(old), enums(new), _enum_shape, _enum_shape)
        self.records = {}
        self.records = self._pair(records(old), records(new), self.record_shape, _own_record_shape)
        # A renamed record that holds renamed ones is known once those are.
        self.records = self._pair(records(old), records(new), self.record_shape, _own_record_shape)
        self.forwards = self._pair(forwards(old), forwards(new), self._forward_shape, lambda each: each.target.name)

    def _pair(self, olds, news, old_shape, new_shape):
        pairs = {name: name for name in olds if name in news}
        for name in (name for name in olds if name not in news):
            shape = old_shape(olds[name])
            alike = [each for each in news if each not in olds and each not in pairs.values()
                     and new_shape(news[each]) == shape]
            # Types of the same shape are many: it has to stand in the same messages as well.
            alike = [each for each in alike if self._used(news[each], self.new_places) == self._used(
                olds[name], self.old_places)]
            if len(alike) == 1:
                pairs[name] = alike[0]
        return pairs

    @staticmethod
    def _used(type_, places):
        if hasattr(type_, "target"):
            return sorted(place.message.id for place in places.of(type_.target.name)
                          if place.message.record is type_)
        return sorted((place.message.id, str(place.offset)) for place in places.of(type_.name))

    def record_shape(self, record):
        """As `_own_record_shape`, of an old record in the names of the new version."""
        return tuple((field.name, self.form(field)) for field in record.fields)

    def form(self, field):
        """As `form`, of an old field in the names of the new version."""
        return form(field, self.enums, self.records)

    def _forward_shape(self, forward):
        return self.records.get(forward.target.name, forward.target.name)


def form(field, enum_names=None, record_names=None):
    """What a field is, apart from its name and its count's."""
    name = None
    if field.enum:
        name = (enum_names or {}).get(field.enum.name, field.enum.name)
    elif field.record:
        name = (record_names or {}).get(field.record.name, field.record.name)
    return field.kind, field.element, field.bits, field.signed, field.stored_bits, name, field.size, field.maximum


def _own_record_shape(record):
    return tuple((field.name, form(field)) for field in record.fields)


def _enum_shape(enum):
    return (enum.bits, enum.stored_bits, enum.kind, tuple(enum.ranges), enum.mask,
            tuple((each.name, each.value) for each in enum.names))


def wire_form(record, enum_names=None):
    """The fields of a record with nested ones in their places: equal for records whose bytes are the same."""
    flat = []
    for field in record.fields:
        if field.kind == "record":
            flat += wire_form(field.record, enum_names)
            continue
        enum = (enum_names or {}).get(field.enum.name, field.enum.name) if field.enum else None
        element = tuple(wire_form(field.record, enum_names)) if field.record else None
        count = field.count.name if field.count else None
        flat.append((field.name, field.kind, field.bits, field.signed, enum, element, field.size, count, field.maximum))
    return flat


def field_pairs(pairing, old, new):
    """Old name to new name of the fields of a record, and the old names of those that moved among the others."""
    new_names = [field.name for field in new.fields]
    common = [field.name for field in old.fields if field.name in new_names]
    kept = _longest_rise([new_names.index(name) for name in common])
    kept = [new_names[index] for index in kept]
    pairs = {name: name for name in common}
    for old_gap, new_gap in zip(_gaps(old.fields, kept), _gaps(new.fields, kept)):
        old_gap = [field for field in old_gap if field.name not in pairs]
        new_gap = [field for field in new_gap if field.name not in pairs.values()]
        pairs.update(_renamed(pairing, old_gap, new_gap))
    return pairs, [name for name in common if name not in kept]


def _gaps(fields, kept):
    """The fields before, between and behind those that stayed where they were."""
    gaps = [[]]
    for field in fields:
        if field.name in kept:
            gaps.append([])
        else:
            gaps[-1].append(field)
    return gaps


def _renamed(pairing, olds, news):
    """Fields of one gap that are alike, in their order."""
    pairs, left = {}, list(news)
    for field in olds:
        found = next((each for each in left if form(each) == pairing.form(field)), None)
        if found is not None:
            pairs[field.name] = found.name
            left = left[left.index(found) + 1 :]
    return pairs


def _longest_rise(numbers):
    """The longest ascending choice of the numbers."""
    best = []  # for each number, the longest choice that ends with it
    for number in numbers:
        before = max((choice for choice in best if choice[-1] < number), key=len, default=[])
        best.append([*before, number])
    return max(best, key=len, default=[])
