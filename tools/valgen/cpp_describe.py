"""Writes a family's description: constant tables of its enumerations, records and messages."""

import json

from cpp_types import BANNER
from model import Enum

SOURCE = """\
{banner}#include "codec/describe/Tables.h"
#include "{prefix}/{family}.h"

namespace codec::describe {{

{foreign}{body}constinit const Family family_{family}{{
    "{family}",
    {comment},
    {enumerations}, {records}, {messages}}};

}}  // namespace codec::describe
"""

# All families in one list.
FAMILIES = """\
{banner}#include "codec/describe/Tables.h"

namespace codec::describe {{

{declarations}
std::span<const Family* const> families() {{
    static constexpr const Family* ALL[] = {{
{rows}    }};
    return ALL;
}}

}}  // namespace codec::describe
"""

ENUM = """\
{lists}extern const Enumeration enum_{name};
constinit const Enumeration enum_{name}{{
    "{name}", {bits}, {signed}, Enumeration::Kind::{kind}, {ranges}, {mask}, {names},
    CODEC_ENUM_FUNCTION({name}), {comment},
    {assumed}}};

"""

RECORD = """\
constexpr Field fields_{name}[] = {{
{fields}}};
extern const Record record_{name};
constinit const Record record_{name}{{
    "{name}", "{family}",
    {comment},
    {assumed}, {assumed_names}, sizeof({name}), alignof({name}), {smallest}, {largest}, fields_{name},
    CODEC_RECORD_FUNCTIONS({name}), {to_string}}};

"""

FIELD = """\
    {{"{name}", Field::Kind::{kind}, {bits}, CODEC_MEMBER({record}, {name}), {array}, {capacity},
     {count}, {enum}, {nested}, {comment}}},
"""

MESSAGE = """\
    {{{id}, "{name}", "{payload}", &record_{record},
     CODEC_MESSAGE_FUNCTIONS({name}, {payload}), {to_string},
     {comment}}},
"""


def describe(family, prefix):
    """The text of a family's describe_<family>.cpp."""
    body = "".join(map(_enum, family.enums)) + "".join(map(_record, family.records))
    body += _list("Message", f"messages_{family.name}", "".join(map(_message, family.messages)))
    body += _list("const Enumeration*", f"enumerations_{family.name}", _addresses("enum", family.enums))
    body += _list("const Record*", f"records_{family.name}", _addresses("record", family.records))
    foreign = "".join(f"extern const {kind} {name};\n" for kind, name in sorted(_foreign(family)))
    return SOURCE.format(
        banner=BANNER.format(file=family.file), prefix=prefix, family=family.name, comment=_text(family.comment),
        foreign=foreign + "\n" * bool(foreign), body=body,
        enumerations=f"enumerations_{family.name}" if family.enums else "{}",
        records=f"records_{family.name}" if family.records else "{}",
        messages=f"messages_{family.name}" if family.messages else "{}")


def families(model):
    """The text of describe.cpp, which knows all families."""
    names = [family.name for family in model.families]
    return FAMILIES.format(
        banner=BANNER.format(file=" and ".join(family.file for family in model.families)),
        declarations="".join(f"extern const Family family_{name};\n" for name in names),
        rows="".join(f"        &family_{name},\n" for name in names))


def _foreign(family):
    """The tables of other families that this one's point to, and its own table, which others point to."""
    types = [each.enum or each.record for record in family.records for each in record.fields]
    types += [message.payload for message in family.messages]
    tables = {("Enumeration", f"enum_{each.name}") if isinstance(each, Enum) else ("Record", f"record_{each.name}")
              for each in types if each is not None and each.family != family.name}
    return tables | {("Family", f"family_{family.name}")}


def _list(kind, name, rows):
    return f"constexpr {kind} {name}[] = {{\n{rows}}};\n\n" if rows else ""


def _addresses(kind, declarations):
    return "".join(f"    &{kind}_{each.name},\n" for each in declarations)


def _text(comment):
    return json.dumps(comment)  # ASCII without backslashes: only quotes need a mark


def _bool(value):
    return "true" if value else "false"


def _enum(enum):
    rows = [", ".join(f"{{{first}, {last}}}" for first, last in enum.ranges[start : start + 6])
            for start in range(0, len(enum.ranges), 6)]
    ranges = "".join(f"    {row},\n" for row in rows)
    names = "".join(f'    {{"{each.name}", {each.value}}},\n' for each in enum.names)
    lists = _list("Enumeration::Range", f"ranges_{enum.name}", ranges)
    lists += _list("Enumeration::Enumerator", f"names_{enum.name}", names)
    return ENUM.format(
        lists=lists.replace("\n\n", "\n"), name=enum.name, bits=enum.bits, signed=_bool(enum.signed),
        kind=enum.kind.upper(), ranges=f"ranges_{enum.name}" if ranges else "{}", mask=f"{enum.mask:#x}",
        names=f"names_{enum.name}" if names else "{}", comment=_text(enum.comment), assumed=_bool(enum.assumed))


def _record(record):
    return RECORD.format(
        name=record.name, family=record.family, comment=_text(record.comment), assumed=_bool(record.assumed),
        assumed_names=_bool(record.assumed_names),
        smallest=record.fixed_size, largest=record.largest_size,
        fields="".join(_field(record, each) for each in record.fields),
        to_string=_to_string(record.name, record))


def _to_string(name, record):
    return f"CODEC_TEXT_FUNCTION({name})" if record.text else "nullptr"


def _field(record, field):
    is_array = field.kind in ("array", "fixed_bytes")
    scalar = {"array": field.element, "fixed_bytes": "integer"}.get(field.kind, field.kind)
    kind = scalar.upper() if scalar != "integer" else "SIGNED" if field.signed else "UNSIGNED"
    bits = 8 if field.kind == "fixed_bytes" else field.enum.bits if field.enum else field.bits
    return FIELD.format(
        record=record.name, name=field.name, kind=kind, bits=bits, array=_bool(is_array),
        capacity=field.maximum or field.size or 1,
        count=_index(record, field.count) if field.count else "Field::NO_COUNT",
        enum=f"&enum_{field.enum.name}" if field.enum else "nullptr",
        nested=f"&record_{field.record.name}" if field.record else "nullptr", comment=_text(field.comment))


def _index(record, field):
    return next(index for index, each in enumerate(record.fields) if each is field)


def _message(message):
    return MESSAGE.format(
        id=message.id, name=message.name, payload=message.record.name, record=message.payload.name,
        to_string=_to_string(message.record.name, message.payload), comment=_text(message.comment))
