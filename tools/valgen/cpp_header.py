"""Writes a family's header and the umbrella header."""

import words
from cpp_types import (
    BANNER, PACK_MESSAGE_SIGNATURE, PACK_SIGNATURE, TO_STRING_SIGNATURE, UNPACK_MESSAGE_SIGNATURE, UNPACK_SIGNATURE,
    integer, scalar)

HEADER = """\
{banner}#pragma once

{includes}
#include <cstddef>
#include <cstdint>

{comment}{body}"""

ENUM = """\
{doc}enum {name} : {stored} {{{enumerators}}};
bool PackUnpackEnum{name}HasValue({wire} value);

"""

STRUCT = """\
{doc}struct {name} {{
{members}}};
static_assert(sizeof({name}) < 65536);
"""

ALIAS = """\
{doc}using {name} = {target};
"""

# A program that has not accepted assumptions sees the name and nothing of the layout.
ASSUMED_TYPE = """\
#ifdef DIAG_ARA_ACCEPT_ASSUMED_LAYOUTS
{type}#else
struct CODEC_ASSUMED({record}) {name};
#endif
"""

FUNCTIONS = f"""\
{{mark}}{PACK_SIGNATURE};
{{mark}}{UNPACK_SIGNATURE};
{{mark}}std::uint64_t PackedSizeOf{{name}}({{size_arguments}});
"""

MESSAGE = f"""\
{{doc}}inline constexpr std::uint16_t {{name}}Id = {{id}};
{{mark}}{PACK_MESSAGE_SIGNATURE};
{{mark}}{UNPACK_MESSAGE_SIGNATURE};

"""


def umbrella(model, prefix):
    """The header that brings every record of every family."""
    files = " and ".join(family.file for family in model.families)
    includes = ["codec/MessageFrame.h", "codec/Primitives.h"] + [f"{prefix}/{each.name}.h" for each in model.families]
    return BANNER.format(file=files) + "#pragma once\n\n" + "".join(f'#include "{each}"\n' for each in includes)


def header(model, family, prefix):
    includes = ["codec/Assumed.h"] if any(each.assumed for each in [*family.records, *family.forwards]) else []
    includes += ["codec/MessageFrame.h", "codec/Primitives.h", "codec/TextForm.h"]
    includes += [f"{prefix}/{name}.h" for name in family.uses]
    body = "".join(map(_enum, family.enums)) + "".join(map(_record, family.records))
    body += "".join(map(_forward, family.forwards)) + "".join(map(_message, family.messages))
    return HEADER.format(
        banner=BANNER.format(file=family.file),
        includes="".join(f'#include "{each}"\n' for each in includes),
        comment="".join(f"// {line}\n" for line in words.wrapped(family.comment, 3)) + "\n" * bool(family.comment),
        body=body.rstrip("\n") + "\n",
    )


def _enum(enum):
    names = "".join(_with_note(f"{each.name} = {each.value},", each.comment) for each in enum.names)
    return ENUM.format(
        doc=words.doc(enum.comment, words.enum(enum)), name=enum.name, stored=integer(enum.stored_bits, enum.signed),
        wire=integer(enum.bits, enum.signed), enumerators="\n" + names if names else "")


def _with_note(line, *notes):
    """A member's line and what is to be said about it, behind it if there is room."""
    note = "; ".join(filter(None, notes))
    if not note:
        return f"    {line}\n"
    whole = f"    {line}  ///< {note}\n"
    return whole if len(whole) <= words.MOST_COLUMNS + 1 else words.doc(note, indent="    ") + f"    {line}\n"


def _record(record):
    name = record.name
    struct = STRUCT.format(doc=words.doc(record.comment, words.record(record)), name=name,
                           members="".join(map(_member, record.fields)))
    append_text = f"{_mark(record)}void appendText(TextForm& text, const {name}& record);\n" if record.text else ""
    return _type(name, record, struct) + "\n" + _functions(name, record) + append_text + "\n"


def _type(name, record, declaration):
    return ASSUMED_TYPE.format(type=declaration, record=record.name, name=name) if record.assumed else declaration


def _mark(record):
    return f"CODEC_ASSUMED({record.name})\n" if record.assumed else ""


def _functions(name, record):
    """What `record` can do, under its own name or a forwarder's."""
    # A record of fixed size needs neither argument, so that a caller may leave both away.
    arguments = f"const void* context, const {name}* record"
    if record.is_fixed:
        arguments = f"const void* context = nullptr,\n    const {name}* record = nullptr"
    text = _mark(record) + TO_STRING_SIGNATURE.format(name=name) + ";\n" if record.text else ""
    return FUNCTIONS.format(name=name, mark=_mark(record), size_arguments=arguments) + text


def _member(field):
    if field.kind == "fixed_bytes":
        return _with_note(f"std::uint8_t {field.name}[{field.size}];", field.comment)
    if field.kind == "array":
        return _with_note(f"{scalar(field)} {field.name}[{field.maximum}];", f"`{field.count.name}` of them count",
                          field.comment)
    if field.kind == "bool":
        return _with_note(f"unsigned char {field.name};", "true unless 0", field.comment)
    return _with_note(f"{scalar(field)} {field.name};", field.comment)


def _forward(forward):
    name, target = forward.name, forward.target
    alias = ALIAS.format(doc=words.doc(forward.comment), name=name, target=target.name)
    return _type(name, target, alias) + _functions(name, target) + "\n"


def _message(message):
    return MESSAGE.format(doc=words.doc(message.comment), name=message.name, id=message.id,
                          mark=_mark(message.payload), record=message.record.name)
