"""The checked model: what the emitters may rely on. Whatever is wrong with a schema is refused here."""

from dataclasses import dataclass, field

from schema import EnumStatement, ForwardStatement, MessageStatement, RecordStatement, SchemaError

# Words that C++ or Java keep for themselves.
RESERVED = set(
    """abstract alignas alignof and asm assert auto bool boolean break byte case catch char class const constexpr
    continue default delete do double else enum explicit export extends extern false final finally float for friend
    goto if implements import inline instanceof int interface long mutable namespace native new noexcept not null
    nullptr operator or package private protected public register requires return short signed sizeof static strictfp
    struct super switch synchronized template this throw throws transient true try typedef typename union unsigned
    using virtual void volatile while xor""".split()
)


@dataclass
class Enumerator:
    name: str
    value: int
    comment: str


@dataclass
class Enum:
    name: str
    bits: int
    stored_bits: int
    kind: str  # "ranges", "mask" or "any"
    ranges: list  # (first, last), ascending, none touching the next
    mask: int
    names: list  # Enumerators
    assumed: bool
    family: str
    comment: str

    @property
    def signed(self):
        """It has negative values: the wire's integer is signed, and so is the member."""
        return bool(self.ranges) and self.ranges[0][0] < 0

    @property
    def limits(self):
        """The least and the largest value of the wire's integer."""
        return _limits(self.bits, self.signed)


@dataclass
class Field:
    """One field. `kind` decides which of the other members mean something:

    integer, bool    bits, signed, stored_bits
    enum             enum, signed
    record           record
    fixed_bytes      size
    array            element ("integer", "enum" or "record"), count (the Field that counts), maximum
    """

    name: str
    kind: str
    bits: int = 0
    signed: bool = False
    stored_bits: int = 0
    enum: Enum = None
    record: "Record" = None
    size: int = 0
    element: str = ""
    count: "Field" = None
    maximum: int = 0
    counts: "Field" = None  # the array that this integer counts
    comment: str = ""


@dataclass
class Record:
    name: str
    text: bool
    assumed: bool
    assumed_names: bool  # its bytes are agreed, the names of its fields are ours
    family: str
    place: object
    comment: str
    fields: list = field(default_factory=list)

    @property
    def fixed_size(self):
        """Bytes that stand on the wire whatever the counts say."""
        return sum(_fixed_bytes(each) for each in self.fields)

    @property
    def largest_size(self):
        return sum(_largest_bytes(each) for each in self.fields)

    @property
    def is_fixed(self):
        return self.fixed_size == self.largest_size


@dataclass
class Forward:
    name: str
    target: Record
    family: str
    comment: str

    @property
    def assumed(self):
        return self.target.assumed


@dataclass
class Message:
    id: int
    name: str
    record: object  # Record or Forward
    family: str
    comment: str

    @property
    def payload(self):
        """The record whose fields the message carries."""
        return self.record.target if isinstance(self.record, Forward) else self.record


@dataclass
class Family:
    name: str
    file: str
    comment: str
    enums: list = field(default_factory=list)
    records: list = field(default_factory=list)  # a nested record before the record that holds it
    forwards: list = field(default_factory=list)
    messages: list = field(default_factory=list)
    uses: list = field(default_factory=list)  # names of the families whose types stand in this one's records


@dataclass
class Model:
    families: list


def element_bytes(array):
    """The wire size of an array's element, its fixed part if the element is a record of varying size."""
    if array.element == "record":
        return array.record.fixed_size
    return scalar_bits(array) // 8


def _limits(bits, signed):
    return (-(2 ** (bits - 1)), 2 ** (bits - 1) - 1) if signed else (0, 2**bits - 1)


def _fixed_bytes(member):
    sizes = {"record": lambda: member.record.fixed_size, "fixed_bytes": lambda: member.size, "array": lambda: 0}
    return sizes.get(member.kind, lambda: scalar_bits(member) // 8)()


def _largest_bytes(member):
    if member.kind == "record":
        return member.record.largest_size
    if member.kind == "array":
        each = member.record.largest_size if member.element == "record" else element_bytes(member)
        return member.maximum * each
    return _fixed_bytes(member)


def scalar_bits(member):
    """The wire width of a scalar, or of an array's elements."""
    return member.enum.bits if member.enum else member.bits


def build(schemas):
    """Checks all schemas together and returns the Model. Raises SchemaError with every fault found."""
    return _Checker(schemas).model()


class _Checker:
    def __init__(self, schemas):
        self._schemas = schemas
        self._faults = []
        self._declared = {}  # name -> place, of types and messages
        self._enumerators = {}  # name -> place
        self._ids = {}  # message id -> place
        self._types = {}  # name -> Enum, Record or Forward
        self._statements = {}  # record name -> its statement
        self._order = []  # records, a nested one before its holder

    def model(self):
        families = [Family(schema.family, schema.file, schema.comment) for schema in self._schemas]
        each = [(family, statement) for family, schema in zip(families, self._schemas) for statement in schema.statements]
        for family, statement in each:
            self._try(self._declare, family, statement)
        for family, statement in each:
            if isinstance(statement, RecordStatement):
                self._try(self._fill, statement, ())
        for family, statement in each:
            if isinstance(statement, ForwardStatement):
                self._try(self._forward, family, statement)
        for family, statement in each:
            if isinstance(statement, MessageStatement):
                self._try(self._message, family, statement)
        if self._faults:
            raise SchemaError("\n".join(self._faults))
        for family in families:
            family.records = [record for record in self._order if record.family == family.name]
            self._find_uses(family)
        self._refuse_rings(families)
        return Model(families)

    def _try(self, step, *arguments):
        try:
            step(*arguments)
        except SchemaError as fault:
            if str(fault) not in self._faults:
                self._faults.append(str(fault))

    def _claim(self, table, key, place, what):
        if key in table:
            place.refuse(f"{what} is already declared at {table[key].file}:{table[key].line}")
        table[key] = place

    def _declare(self, family, statement):
        if statement.name in RESERVED:
            statement.place.refuse(f"'{statement.name}' is a word of C++ or Java")
        self._claim(self._declared, statement.name, statement.place, f"'{statement.name}'")
        if isinstance(statement, EnumStatement):
            # Known even when its values are refused below, so that one fault is told once.
            enum = Enum(statement.name, statement.bits, statement.stored_bits, statement.kind, [], statement.mask,
                        [], statement.assumed, family.name, statement.comment)
            self._types[statement.name] = enum
            family.enums.append(enum)
            self._fill_enum(enum, statement)
        elif isinstance(statement, RecordStatement):
            self._statements[statement.name] = statement
            self._types[statement.name] = Record(
                statement.name, statement.text, statement.assumed, statement.assumed_names, family.name, statement.place,
                statement.comment)

    def _fill_enum(self, enum, statement):
        place = statement.place
        if enum.bits not in (8, 16, 32):
            place.refuse(f"an enumeration takes 8, 16 or 32 bits, not {enum.bits}")
        if enum.stored_bits not in (8, 16, 32) or enum.stored_bits < enum.bits:
            place.refuse(f"{enum.stored_bits} bits in memory cannot hold {enum.bits} bits of the wire")
        if enum.kind == "mask" and not 0 < enum.mask < 2**enum.bits:
            place.refuse(f"the mask {enum.mask:#x} does not fit {enum.bits} bits")
        ranges = list(statement.ranges)
        for each in statement.names:
            self._claim(self._enumerators, each.name, each.place, f"the value name '{each.name}'")
            if each.name in RESERVED:
                each.place.refuse(f"'{each.name}' is a word of C++ or Java")
            if not statement.ranges and enum.kind == "ranges":
                ranges.append((each.value, each.value, each.place))
            elif not self._holds(enum, statement.ranges, each.value):
                each.place.refuse(f"'{each.name}' names {each.value}, which is outside of '{enum.name}'")
            enum.names.append(Enumerator(each.name, each.value, each.comment))
        if enum.kind == "ranges":
            enum.ranges = self._merge(enum, ranges, place)

    @staticmethod
    def _holds(enum, ranges, value):
        if enum.kind == "ranges":
            return any(first <= value <= last for first, last, _ in ranges)
        return 0 <= value < 2**enum.bits and (enum.kind == "any" or value & ~enum.mask == 0)

    @staticmethod
    def _merge(enum, ranges, place):
        """Ascending ranges; neighbours that touch become one."""
        if not ranges:
            place.refuse(f"'{enum.name}' has no values")
        merged = []
        ordered = sorted(ranges, key=lambda each: each[:2])
        signed = ordered[0][0] < 0
        least, most = _limits(enum.bits, signed)
        for first, last, where in ordered:
            if first > last:
                where.refuse(f"the range {first}..{last} runs backwards")
            for value in (first, last):
                if not least <= value <= most:
                    where.refuse(f"{value} does not fit the {enum.bits} {'signed ' * signed}bits of '{enum.name}'")
            if merged and first <= merged[-1][1]:
                where.refuse(f"{first}..{last} overlaps {merged[-1][0]}..{merged[-1][1]} in '{enum.name}'")
            if merged and first == merged[-1][1] + 1:
                merged[-1] = (merged[-1][0], last)
            else:
                merged.append((first, last))
        return merged

    def _fill(self, statement, holders):
        """Fills a record after those nested in it; `holders` are the records on the way down to it."""
        if statement.name in holders:
            statement.place.refuse(f"'{statement.name}' holds itself")
        record = self._types.get(statement.name)
        if not isinstance(record, Record) or record.fields or record.place is not statement.place:
            return
        if not statement.fields:
            statement.place.refuse(f"'{statement.name}' has no fields")
        fields = {}
        for each in statement.fields:
            if each.name in RESERVED:
                each.place.refuse(f"'{each.name}' is a word of C++ or Java")
            if each.name in fields:
                each.place.refuse(f"'{statement.name}' has a field '{each.name}' already")
            fields[each.name] = self._field(each, statement, fields, (*holders, statement.name))
        record.fields = list(fields.values())
        self._order.append(record)

    def _field(self, each, holder, before, holders):
        base = Field(each.name, kind="", comment=each.comment)
        if each.type_word == "bool":
            base.kind, base.bits, base.stored_bits = "bool", 8, 8
        elif each.type_word == "enum":
            base.kind, base.enum = "enum", self._type(each, Enum, "enumeration")
            base.signed = base.enum.signed
        elif each.type_word == "record":
            base.kind, base.record = "record", self._nested(each, holder, holders)
        else:
            base.kind, base.bits, base.signed = "integer", int(each.type_word[1:]), each.type_word[0] == "i"
            base.stored_bits = int(each.stored[1:]) if each.stored else base.bits
        if each.stored and (base.kind != "integer" or each.size or each.stored[0] != each.type_word[0]
                            or base.stored_bits < base.bits):
            each.place.refuse(f"'{each.name}' cannot be stored as {each.stored}: a single integer goes into a wider "
                              "member of the same sign")
        if not each.size:
            if each.maximum:
                each.place.refuse(f"'{each.name}' is no array and has no maximum")
            return base
        return self._array(each, base, before)

    def _array(self, each, base, before):
        if each.size.isdigit():
            if (base.kind, base.bits, base.signed) != ("integer", 8, False):
                each.place.refuse(f"'{each.name}': an array of fixed size holds bytes (u8)")
            if each.maximum or int(each.size) == 0:
                each.place.refuse(f"'{each.name}' has a fixed size, which is at least 1, and no maximum")
            return Field(each.name, "fixed_bytes", size=int(each.size), comment=each.comment)
        if base.kind == "bool" or (base.kind == "integer" and (base.signed or base.bits == 64)):
            each.place.refuse(f"'{each.name}': an array holds u8, u16, u32, enumerations or records")
        count = before.get(each.size)
        if count is None:
            each.place.refuse(f"the count '{each.size}' of '{each.name}' does not stand before it")
        if count.kind != "integer" or count.signed:
            each.place.refuse(f"the count '{each.size}' of '{each.name}' is no unsigned integer")
        if count.counts is not None:
            each.place.refuse(f"'{each.size}' counts '{count.counts.name}' already")
        if not each.maximum:
            each.place.refuse(f"'{each.name}' has no maximum")
        if each.maximum >= 2**count.bits:
            each.place.refuse(f"{count.bits} bits of '{each.size}' cannot count up to {each.maximum}")
        base.element, base.kind, base.count, base.maximum = base.kind, "array", count, each.maximum
        count.counts = base
        return base

    def _type(self, each, kind, word):
        found = self._types.get(each.type_name)
        if not isinstance(found, kind):
            each.place.refuse(f"there is no {word} '{each.type_name}'")
        return found

    def _nested(self, each, holder, holders):
        record = self._type(each, Record, "record")
        self._fill(self._statements[record.name], holders)
        if not record.fields:
            each.place.refuse(f"'{record.name}' is refused above")
        if holder.text and not record.text:
            each.place.refuse(f"'{holder.name}' has a text form and needs one of '{record.name}'")
        if record.assumed and not holder.assumed:
            each.place.refuse(f"'{holder.name}' holds '{record.name}', whose layout is assumed, and is assumed itself")
        return record

    def _forward(self, family, statement):
        target = self._types.get(statement.target)
        if not isinstance(target, Record):
            statement.place.refuse(f"there is no record '{statement.target}'")
        if not target.text:
            statement.place.refuse(f"'{statement.name}' has a text form and needs one of '{statement.target}'")
        self._types[statement.name] = Forward(statement.name, target, family.name, statement.comment)
        family.forwards.append(self._types[statement.name])

    def _message(self, family, statement):
        if not 0 < statement.id < 65536:
            statement.place.refuse(f"{statement.id} is no message id: 1 to 65535")
        self._claim(self._ids, statement.id, statement.place, f"the message id {statement.id}")
        record = self._types.get(statement.record)
        if not isinstance(record, (Record, Forward)):
            statement.place.refuse(f"there is no record '{statement.record}'")
        family.messages.append(Message(statement.id, statement.name, record, family.name, statement.comment))

    @staticmethod
    def _find_uses(family):
        types = [each.enum or each.record for record in family.records for each in record.fields]
        types += [forward.target for forward in family.forwards] + [message.record for message in family.messages]
        family.uses = sorted({each.family for each in types if each is not None} - {family.name})

    @staticmethod
    def _refuse_rings(families):
        left = {family.name: set(family.uses) for family in families}
        while free := [name for name, uses in left.items() if not uses & set(left)]:
            for name in free:
                del left[name]
        if left:
            raise SchemaError(f"these families need one another in a ring: {', '.join(sorted(left))}")
