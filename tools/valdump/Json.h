// Payloads as JSON, both ways. A record is an object in the order of its fields; integers, enumerations and
// arrays of them are numbers, arrays of bytes are strings of hex digits, a bool is true or false (a number if
// its byte is neither 0 nor 1).
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/valdump/Payload.h"

namespace valdump {

using Json = nlohmann::ordered_json;

/// JSON as users write it. Throws BadInput for what is none, for a name that stands twice in an object (which
/// of its values is meant, nobody can tell), and for what is nested deeper than any record.
Json readJson(std::string const& text);

/// The message, its bytes, its fields as a record, and a row for each of them with offset, raw bytes and
/// meaning.
Json toJson(Message const& message, Bytes bytes, Payload const& payload);

/// The payload of a record's JSON, or of a whole document of `toJson`. Counts may be left out; an enumeration
/// may be given by name. Throws BadInput, which names the field.
std::vector<unsigned char> encode(Message const& message, Json const& json);

}  // namespace valdump
