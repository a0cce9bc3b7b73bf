"""Writes a family's functions: straight-line C++, one line for each field and rule."""

from cpp_types import (
    BANNER, PACK_MESSAGE_SIGNATURE, PACK_SIGNATURE, TO_STRING_SIGNATURE, UNPACK_MESSAGE_SIGNATURE, UNPACK_SIGNATURE,
    cast, integer)
from model import element_bytes, scalar_bits
from words import MOST_COLUMNS

SOURCE = """\
{banner}#include "{prefix}/{family}.h"

{body}"""

ENUM = """\
bool PackUnpackEnum{name}HasValue({wire}{value}) {{
{test}}}

"""

ENUM_SWITCH = """\
    switch (value) {{
{cases}            return true;
        default:
            rangeCheckErrorLog("{name}", {told});
            return false;
    }}
"""

ENUM_TEST = """\
    if ({condition}) return true;
    rangeCheckErrorLog("{name}", {told});
    return false;
"""

PACK = f"""\
{PACK_SIGNATURE} {{{{
    if (header == nullptr) return ePackNoHeader;
    if (buffer == nullptr) return ePackNoBuffer;
    if (cursor == nullptr) return ePackNoCursor;
    if (record == nullptr) return ePackNoRecord;
{{body}}}}}}

"""

UNPACK = f"""\
{UNPACK_SIGNATURE} {{{{
    if (header == nullptr) return eUnpackNoHeader;
    if (buffer == nullptr) return eUnpackNoBuffer;
    if (cursor == nullptr) return eUnpackNoCursor;
    if (record == nullptr) return eUnpackNoRecord;
{{body}}}}}}

"""

FIXED_SIZE = """\
std::uint64_t PackedSizeOf{name}(const void*, const {name}*) {{ return {size}; }}

"""

VARYING_SIZE = """\
std::uint64_t PackedSizeOf{name}(const void*{context}, const {name}* record) {{
    std::uint64_t size = {size};
{fields}    return size;
}}

"""

# A bad count names elements beyond the array: they count as empty ones and are not read.
SIZE_OF_ELEMENTS = """\
    for (std::uint64_t i = 0; i < record->{count} && i < {maximum}; ++i) {{
        size += PackedSizeOf{element}(context, &record->{name}[i]);
    }}
    if (const std::uint64_t count = record->{count}; count > {maximum}) size += (count - {maximum}) * {empty};
"""

TEXT = f"""\
{TO_STRING_SIGNATURE} {{{{
    TextForm form(text, size);
    if (record != nullptr) appendText(form, *record);
}}}}

void appendText(TextForm& text, const {{name}}& record) {{{{
{{fields}}}}}}

"""

FORWARD = f"""\
std::uint64_t PackedSizeOf{{name}}(const void* context, const {{name}}* record) {{{{
    return PackedSizeOf{{target}}(context, record);
}}}}

{TO_STRING_SIGNATURE} {{{{
    ToString{{target}}(record, text, size);
}}}}

"""

MESSAGE = f"""\
{PACK_MESSAGE_SIGNATURE} {{{{
    if (header == nullptr) return ePackNoHeader;
    if (buffer == nullptr) return ePackNoBuffer;
    header->length = size;
    header->messageId = {{name}}Id;
    unsigned int cursor = 0;
    const tPackErrorCode code = Pack{{record}}(header, buffer, &cursor, record);
    header->length = code == ePackOk ? cursor : 0;
    return code;
}}}}

{UNPACK_MESSAGE_SIGNATURE} {{{{
    if (header == nullptr) return eUnpackNoHeader;
    if (header->messageId != {{name}}Id) return eUnpackWrongMessageId;
    unsigned int cursor = 0;
    const tUnpackErrorCode code = Unpack{{record}}(header, buffer, &cursor, record);
    if (code != eUnpackOk) return code;
    return header->length > cursor ? eUnpackTrailingBytes : eUnpackOk;
}}}}

"""


def source(family, prefix):
    body = "".join(map(_enum, family.enums)) + "".join(map(_record, family.records))
    body += "".join(map(_forward, family.forwards))
    body += "".join(MESSAGE.format(name=each.name, record=each.record.name) for each in family.messages)
    return SOURCE.format(
        banner=BANNER.format(file=family.file), prefix=prefix, family=family.name, body=body.rstrip("\n") + "\n")


def _enum(enum):
    value = " value"
    # Told is the value as it stands on the wire.
    known = {"name": enum.name, "told": cast(enum.bits, "value") if enum.signed else "value"}
    if enum.kind == "any" or enum.ranges == [enum.limits]:
        test, value = "    return true;\n", ""
    elif enum.kind == "mask":
        test = ENUM_TEST.format(condition=f"(value & {2**enum.bits - 1 - enum.mask:#x}u) == 0", **known)
    elif len(enum.ranges) == 1 and enum.ranges[0][0] != enum.ranges[0][1]:
        # A test that cannot fail gets no warning, as it is left away.
        (first, last), (least, most) = enum.ranges[0], enum.limits
        tests = [f"value >= {first}"] * (first > least) + [f"value <= {last}"] * (last < most)
        test = ENUM_TEST.format(condition=" && ".join(tests), **known)
    else:
        each = [value for first, last in enum.ranges for value in range(first, last + 1)]
        rows = [each[start : start + 8] for start in range(0, len(each), 8)]
        cases = "".join("        " + " ".join(f"case {value}:" for value in row) + "\n" for row in rows)
        test = ENUM_SWITCH.format(cases=cases, **known)
    return ENUM.format(name=enum.name, wire=integer(enum.bits, enum.signed), value=value, test=test)


def _record(record):
    name = record.name
    text = PACK.format(name=name, body="".join(map(_pack, record.fields)) + "    return ePackOk;\n")
    text += UNPACK.format(name=name, body="".join(map(_unpack, record.fields)) + "    return eUnpackOk;\n")
    if record.is_fixed:
        text += FIXED_SIZE.format(name=name, size=record.fixed_size)
    else:
        # Nested records of fixed size are part of the constant.
        own = sum(each.record.fixed_size for each in record.fields if each.kind == "record" and not each.record.is_fixed)
        sizes = "".join(map(_size, record.fields))
        context = " context" if "(context, " in sizes else ""
        text += VARYING_SIZE.format(name=name, size=record.fixed_size - own, fields=sizes, context=context)
    if record.text:
        text += TEXT.format(name=name, fields="".join(map(_text, record.fields)))
    return text


def _forward(forward):
    name, target = forward.name, forward.target.name
    text = PACK.format(name=name, body=f"    return Pack{target}(header, buffer, cursor, record);\n")
    text += UNPACK.format(name=name, body=f"    return Unpack{target}(header, buffer, cursor, record);\n")
    return text + FORWARD.format(name=name, target=target)


def _call(function, *arguments, indent="    "):
    """A call of a primitive whose failure ends the caller."""
    return _checked(f"{function}(header->length, buffer, cursor, {', '.join(arguments)})", indent)


def _nested_call(function, member, indent="    "):
    return _checked(f"{function}(header, buffer, cursor, &{member})", indent)


def _checked(call, indent):
    test = f"{indent}if (const auto failure = {call})"
    if len(test) + len(" return failure;") <= MOST_COLUMNS:
        return f"{test} return failure;\n"
    if len(test) > MOST_COLUMNS:
        test = test.replace("cursor, ", f"cursor,\n{indent}        ")
    return f"{test}\n{indent}    return failure;\n"


def _pack(field):
    member = f"record->{field.name}"
    if field.kind == "bool":
        return _call("PackBool", member)
    if field.kind == "integer":
        same = not field.signed and field.stored_bits == field.bits
        return _call(f"PackUint{field.bits}", member if same else cast(field.bits, member))
    if field.kind == "enum":
        return _pack_enum(field, member, "    ")
    if field.kind == "record":
        return _nested_call(f"Pack{field.record.name}", member)
    if field.kind == "fixed_bytes":
        return _call("PackUint8Array", member, str(field.size))
    test = _count_test(field, "ePackArrayTooLong")
    if field.element == "integer":
        return test + _call(f"PackUint{field.bits}Array", member, _count(field))
    inner = "        "
    element = (_pack_enum(field, f"{member}[i]", inner) if field.element == "enum"
               else _nested_call(f"Pack{field.record.name}", f"{member}[i]", inner))
    return test + _loop(field, element)


def _pack_enum(field, member, indent):
    enum = field.enum
    value = member if enum.stored_bits == enum.bits else cast(enum.bits, member, enum.signed)
    test = f"{indent}if (!PackUnpackEnum{enum.name}HasValue({value})) return ePackBadEnum;\n"
    return test + _call(f"PackUint{enum.bits}", cast(enum.bits, member) if enum.signed else value, indent=indent)


def _unpack(field):
    member = f"record->{field.name}"
    if field.kind == "bool":
        return _call("UnpackBool", f"&{member}")
    if field.kind == "integer":
        return _unpack_integer(field, member)
    if field.kind == "enum":
        return "    {\n" + _unpack_enum(field, member) + "    }\n"
    if field.kind == "record":
        return _nested_call(f"Unpack{field.record.name}", member)
    if field.kind == "fixed_bytes":
        return _call("UnpackUint8Array", member, str(field.size))
    test = _count_test(field, "eUnpackArrayTooLong")
    if field.element == "integer":
        return test + _call(f"UnpackUint{field.bits}Array", member, _count(field))
    element = (_unpack_enum(field, f"{member}[i]") if field.element == "enum"
               else _nested_call(f"Unpack{field.record.name}", f"{member}[i]", "        "))
    return test + _loop(field, element)


def _unpack_integer(field, member):
    function, wire = f"UnpackUint{field.bits}", integer(field.bits)
    if field.stored_bits != field.bits:
        # Widened: with zeros, or with the sign.
        inner = "        "
        value = f"static_cast<{integer(field.bits, True)}>(value)" if field.signed else "value"
        return (f"    {{\n{inner}{wire} value = 0;\n" + _call(function, "&value", indent=inner)
                + f"{inner}{member} = {value};\n    }}\n")
    return _call(function, f"reinterpret_cast<{wire}*>(&{member})" if field.signed else f"&{member}")


def _unpack_enum(field, member):
    enum, inner = field.enum, "        "
    target = f"reinterpret_cast<{integer(enum.bits)}*>(&value)" if enum.signed else "&value"
    return (f"{inner}{integer(enum.bits, enum.signed)} value = 0;\n"
            + _call(f"UnpackUint{enum.bits}", target, indent=inner)
            + f"{inner}if (!PackUnpackEnum{enum.name}HasValue(value)) return eUnpackBadEnum;\n"
            + f"{inner}{member} = static_cast<{enum.name}>(value);\n")


def _count(field):
    """The count as the primitives take it; it has passed its test, so nothing is lost."""
    count = f"record->{field.count.name}"
    return cast(32, count) if field.count.stored_bits > 32 else count


def _count_test(field, code):
    if field.maximum == 2**field.count.stored_bits - 1:
        return ""  # no count can be above it
    return f"    if (record->{field.count.name} > {field.maximum}) return {code};\n"


def _loop(field, element):
    return f"    for (std::uint32_t i = 0; i < record->{field.count.name}; ++i) {{\n{element}    }}\n"


def _size(field):
    if field.kind == "record" and not field.record.is_fixed:
        return f"    size += PackedSizeOf{field.record.name}(context, &record->{field.name});\n"
    if field.kind != "array":
        return ""
    if field.element == "record" and not field.record.is_fixed:
        return SIZE_OF_ELEMENTS.format(name=field.name, count=field.count.name, maximum=field.maximum,
                                       element=field.record.name, empty=field.record.fixed_size)
    each = element_bytes(field)
    count = f"record->{field.count.name}"
    return f"    size += {count};\n" if each == 1 else f"    size += {cast(64, count)} * {each};\n"


def _text(field):
    name, member = field.name, f"record.{field.name}"
    if field.kind == "bool":
        return f'    text.addBool("{name}", {member});\n'
    if field.kind == "integer":
        # Printed is what goes on the wire.
        if field.stored_bits != field.bits or (field.bits == 64 and not field.signed):
            member = f"static_cast<{integer(field.bits, field.signed or field.bits == 64)}>({member})"
        kind = "Long" if field.bits == 64 else "Signed" if field.signed else "Unsigned"
        return f'    text.add{kind}("{name}", {member});\n'
    if field.kind == "enum":
        if field.signed or field.enum.bits == 32:
            return f'    text.addSigned("{name}", {cast(field.enum.bits, member, True)});\n'
        return f'    text.addUnsigned("{name}", {cast(field.enum.bits, member)});\n'
    if field.kind == "record":
        return f"    text.addRecord({member});\n"
    if field.kind == "fixed_bytes":
        return f'    text.addArray<std::uint8_t>("{name}", {member}, {field.size}, {field.size});\n'
    bounds = f"record.{field.count.name}, {field.maximum}"
    if field.element == "record":
        return f'    text.addRecords("{name}", {member}, {bounds});\n'
    return f'    text.addArray<{integer(scalar_bits(field))}>("{name}", {member}, {bounds});\n'
