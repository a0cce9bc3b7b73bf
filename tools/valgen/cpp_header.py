"""Writes a family's header and the umbrella header."""

from cpp_types import BANNER, integer, scalar

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

tPackErrorCode Pack{name}(const sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned int* cursor,
    const {name}* record);
tUnpackErrorCode Unpack{name}(const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
    unsigned int* cursor, {name}* record);
std::uint64_t PackedSizeOf{name}({size_arguments});
"""

TEXT = """\
void ToString{name}(const {name}* record, char* text, std::size_t size);
void appendText(TextForm& text, const {name}& record);
"""

FORWARD = """\
using {name} = {target};

tPackErrorCode Pack{name}(const sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned int* cursor,
    const {name}* record);
tUnpackErrorCode Unpack{name}(const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
    unsigned int* cursor, {name}* record);
std::uint64_t PackedSizeOf{name}({size_arguments});
void ToString{name}(const {name}* record, char* text, std::size_t size);

"""

MESSAGE = """\
inline constexpr std::uint16_t {name}Id = {id};
tPackErrorCode Pack{name}(sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned int size,
    const {record}* record);
tUnpackErrorCode Unpack{name}(const sQlet1Mod4MessageHdr* header, const unsigned char* buffer,
    {record}* record);

"""

ASSUMED = " Assumed: not every name or width here is agreed with the other side."


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
        name=enum.name, bits=enum.bits, values=values(enum), assumed=ASSUMED if enum.assumed else "",
        stored=integer(enum.stored_bits), wire=integer(enum.bits), enumerators=names + "\n" if names else "",
    )


def values(enum):
    """The value set in words."""
    if enum.kind == "any":
        return "any value"
    if enum.kind == "mask":
        return f"any bits of {enum.mask:#x}"
    return ", ".join(str(first) if first == last else f"{first} to {last}" for first, last in enum.ranges)


def _record(record):
    size = f"{record.fixed_size} byte{'s' if record.fixed_size != 1 else ''}"
    if not record.is_fixed:
        size = f"{record.fixed_size} to {record.largest_size} bytes"
    text = TEXT.format(name=record.name) if record.text else ""
    return RECORD.format(
        name=record.name, size=size, members="".join(map(_member, record.fields)),
        assumed=ASSUMED if record.assumed else "", size_arguments=_size_arguments(record, record.name),
    ) + text + "\n"


def _member(field):
    if field.kind == "fixed_bytes":
        return f"    std::uint8_t {field.name}[{field.size}];\n"
    if field.kind == "array":
        return f"    {scalar(field)} {field.name}[{field.maximum}];  ///< `{field.count.name}` of them count\n"
    if field.kind == "bool":
        return f"    unsigned char {field.name};  ///< true unless 0\n"
    return f"    {scalar(field)} {field.name};\n"


def _size_arguments(record, name):
    """A record of fixed size needs neither argument, so that a caller may leave both away."""
    if record.is_fixed:
        return f"const void* context = nullptr, const {name}* record = nullptr"
    return f"const void* context, const {name}* record"


def _forward(forward):
    return FORWARD.format(
        name=forward.name, target=forward.target.name, size_arguments=_size_arguments(forward.target, forward.name))


def _message(message):
    return MESSAGE.format(name=message.name, id=message.id, record=message.record.name)
