// A payload taken apart: every field with its place in the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "codec/describe/Description.h"
#include "tools/valdump/Hex.h"

namespace valdump {

using codec::describe::Enumeration;
using codec::describe::Field;
using codec::describe::Message;
using codec::describe::Record;

/// A field, or an element of an array.
struct Value {
    Field const* field;
    std::string name;    ///< the field's own, or "[1]" of an element
    std::size_t offset;  ///< of the first byte in the payload
    std::size_t size = 0;
    std::uint64_t number = 0;  ///< of a single value; a signed one is widened with its sign
    std::vector<Value>
        inner{};  ///< of a record its fields, of an array its elements; none of an array of bytes
};

/// Why the codec refuses a payload.
struct Failure {
    tUnpackErrorCode code;
    std::string field;   ///< "parts[1].colour"; empty if it is about no field
    std::size_t offset;  ///< where reading stopped
    std::string text;    ///< without the code: "`data` needs 2 bytes at offset 10, the payload ends at 11"
};

struct Payload {
    std::vector<Value> fields;  ///< those before a failure
    std::optional<Failure> failure;
    std::string text;  ///< the record's line for the log; empty if it has none, or is refused
};

/// Reads as the codec does, and has the codec read it as well.
Payload readPayload(Message const& message, Bytes bytes);

bool isBytes(Field const& field);
bool isSigned(Field const& field);

/// "-5", "45127".
std::string numberText(Field const& field, std::uint64_t number);
/// The name that an enumeration gives a value; empty if it gives none.
std::string_view valueName(Field const& field, std::uint64_t number);
/// "0 to 2, 7".
std::string valuesText(Enumeration const& enumeration);

/// "eUnpackTruncated (4)".
std::string codeText(tUnpackErrorCode code);
std::string_view codeName(tUnpackErrorCode code);

}  // namespace valdump
