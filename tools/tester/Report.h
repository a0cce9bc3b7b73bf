// What the call of one data identifier's method came to, and how that is told.
#pragma once

#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/tester/DataIdentifiers.h"
#include "tools/tester/Exchange.h"

namespace tester {

struct Report {
    DataIdentifier const* identifier;  // of the table of all, so it never dangles
    Exchange exchange;
    Outcome outcome = Outcome::ok;
    Decoded decoded;
    /// One line: why it failed, or that the answer came at a second attempt. Empty if there is nothing to
    /// tell.
    std::string detail;
};

/// Judges an exchange: return code, error payload, fields. A payload counts as a read's output for
/// `METHOD_READ`, and is expected to be empty for any other method.
Report judge(DataIdentifier const& identifier, unsigned short method, Exchange exchange,
             Patience const& patience);

/// A service that couldn't even be called.
Report notFound(DataIdentifier const& identifier, std::string reason);

/// The repeated part of a list: its entries where the byte field in front of the last tells their count.
/// Empty if there is no such count, or if the bytes can't be divided by it.
std::vector<Bytes> entries(std::vector<Field> const& fields);

/// One field in a few words: a number, a text in quotes, or bytes.
std::string fieldText(Field const& field, std::size_t bytesAtMost);

/// All fields in one line: "20 x 00 | 00 02". A list stands there with its count: "3 entries of 32 B".
std::string valueText(std::vector<Field> const& fields);

/// The same keys for every outcome; what doesn't apply is null.
nlohmann::ordered_json toJson(Report const& report);

}  // namespace tester
