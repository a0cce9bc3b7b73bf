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

{body}"""

ENUM = """\
/** On the wire {bits} bits: {values}.{assumed} */
enum {name} : {stored} {{{enumerators}}};
bool PackUnpackEnum{name}HasValue({wire} value);

"""

RECORD = """\
/** {size} on the wire.{assumed} */
struct {name} {{
{members}}};
static_assert(sizeof({name}) < 65536);

{functions}{append_text}
"""

FORWARD = """\
using {name} = {target};
{functions}
"""

FUNCTIONS = f"""\
{PACK_SIGNATURE};
{UNPACK_SIGNATURE};
std::uint64_t PackedSizeOf{{name}}({{size_arguments}});
"""

MESSAGE = f"""\
inline constexpr std::uint16_t {{name}}Id = {{id}};
{PACK_MESSAGE_SIGNATURE};
{UNPACK_MESSAGE_SIGNATURE};

"""

def umbrella(model, prefix):
    """The header that brings every record of every family."""
    files = " and ".join(family.file for family in model.families)
    includes = ["codec/MessageFrame.h", "codec/Primitives.h"] + [f"{prefix}/{each.name}.h" for each in model.families]
    return BANNER.format(file=files) + "#pragma once\n\n" + "".join(f'#include "{each}"\n' for each in includes)


def header(model, family, prefix):
    includes = ["codec/MessageFrame.h", "codec/Primitives.h", "codec/TextForm.h"]
    includes += [f"{prefix}/{name}.h" for name in family.uses]
    body = "".join(map(_enum, family.enums)) + "".join(map(_record, family.records))
    body += "".join(map(_forward, family.forwards)) + "".join(map(_message, family.messages))
    return HEADER.format(
        banner=BANNER.format(file=family.file),
        includes="".join(f'#include "{each}"\n' for each in includes),
        body=body.rstrip("\n") + "\n",
    )


def _enum(enum):
    names = "".join(f"\n    {name} = {value}," for name, value in enum.names)
    return ENUM.format(
        name=enum.name, bits=enum.bits, values=words.values(enum), assumed=words.assumed(enum),
        stored=integer(enum.stored_bits), wire=integer(enum.bits), enumerators=names + "\n" if names else "",
    )


def _record(record):
    return RECORD.format(
        name=record.name, size=words.size(record), members="".join(map(_member, record.fields)),
        assumed=words.assumed(record), functions=_functions(record.name, record),
        append_text=f"void appendText(TextForm& text, const {record.name}& record);\n" if record.text else "")


def _functions(name, record):
    """What `record` can do, under its own name or a forwarder's."""
    # A record of fixed size needs neither argument, so that a caller may leave both away.
    arguments = f"const void* context, const {name}* record"
    if record.is_fixed:
        arguments = f"const void* context = nullptr,\n    const {name}* record = nullptr"
    text = TO_STRING_SIGNATURE.format(name=name) + ";\n" if record.text else ""
    return FUNCTIONS.format(name=name, size_arguments=arguments) + text


def _member(field):
    if field.kind == "fixed_bytes":
        return f"    std::uint8_t {field.name}[{field.size}];\n"
    if field.kind == "array":
        return f"    {scalar(field)} {field.name}[{field.maximum}];  ///< `{field.count.name}` of them count\n"
    if field.kind == "bool":
        return f"    unsigned char {field.name};  ///< true unless 0\n"
    return f"    {scalar(field)} {field.name};\n"


def _forward(forward):
    return FORWARD.format(
        name=forward.name, target=forward.target.name, functions=_functions(forward.name, forward.target))


def _message(message):
    return MESSAGE.format(name=message.name, id=message.id, record=message.record.name)
