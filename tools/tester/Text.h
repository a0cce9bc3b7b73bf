// Bytes and columns as text.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tester {

using Bytes = std::span<unsigned char const>;

/// "0xB047", "0x81A2E0".
std::string hexNumber(std::uint32_t number);
/// "0x04".
std::string hexByte(unsigned char byte);

/// "00 00 00 14", with the middle replaced by "..." when there are more bytes than `atMost`.
std::string hex(Bytes bytes, std::size_t atMost = SIZE_MAX);
/// "0000001a", never cut: for programs.
std::string hexPlain(Bytes bytes);
/// The bytes as characters, with a dot for each that isn't printable ASCII.
std::string characters(Bytes bytes);
/// Offset, sixteen bytes in hex and as characters on each line.
std::string hexDump(Bytes bytes);

/// The bytes as text: printable ASCII of four characters or more, with nothing but zeros behind it.
std::optional<std::string> printable(Bytes bytes);

/// The text with the marks of writing direction, which no terminal shows, by their names:
/// "<U+202D>8495840<U+202C>".
std::string visible(std::string text);

/// One line in place of many: a text longer than `width` ends in "...".
std::string cut(std::string text, std::size_t width);
std::string padRight(std::string text, std::size_t width);
std::string padLeft(std::string text, std::size_t width);

/// "12.3": milliseconds with one digit behind the point.
std::string millisecondsText(double value);

/// "12:34:56.789", local time of day.
std::string clockText(std::chrono::system_clock::time_point time);

/// "1 attempt", "2 attempts".
std::string counted(std::size_t count, std::string_view noun);

}  // namespace tester
