// What the call of one target's method came to, and how that is told.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/tester/Exchange.h"
#include "tools/tester/Targets.h"

namespace tester {

struct Report {
    Target const* target;  // of its catalogue, so it never dangles
    Exchange exchange;
    Outcome outcome = Outcome::ok;
    Decoded decoded;
    /// One line: why it failed, or that the answer came at a second attempt. Empty if there is nothing to
    /// tell.
    std::string detail;
};

/// What a method's reply holds: the fields that the target's interface names, or no byte.
enum class Reply : std::uint8_t { nothing, output };

/// Judges an exchange: return code, error payload, fields.
Report judge(Target const& target, Reply reply, Exchange exchange, Patience const& patience);

/// A service that couldn't even be called.
Report notFound(Target const& target, std::string reason);

/// Whether an array of so many bytes, in front of bytes that end a reply, counts the entries in them.
constexpr bool countsEntries(std::size_t size) noexcept {
    return size <= 2;
}

/// The repeated part of a list: its entries where the byte field in front of the last tells their count.
/// Empty if there is no such count, or if the bytes can't be divided by it.
std::vector<Bytes> entries(std::vector<Field> const& fields);

/// One field in a few words: a number, a text in quotes, or bytes.
std::string fieldText(Field const& field, std::size_t bytesAtMost);

/// All fields in one line: "20 x 00 | 00 02". A list stands there with its count: "3 entries of 32 B".
std::string valueText(std::vector<Field> const& fields);

/// The same of a whole reply; a routine's byte as its two halves.
std::string valueText(Report const& report);

/// A routine's reply: the upper four bits are its status, the lower four its result.
struct RoutineOutcome {
    unsigned status;
    unsigned result;
};
std::optional<RoutineOutcome> routineOutcome(Report const& report);

/// The same keys for every outcome; what doesn't apply is null. A routine has a status and a result as well,
/// a trouble code its decimal number.
nlohmann::ordered_json toJson(Report const& report);

}  // namespace tester
