#include "tools/tester/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace tester {

namespace {

template <class Number>
std::string formatted(char const* format, Number number) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), format, number);
    return text.data();
}

bool isPrintable(unsigned char byte) {
    return byte >= 0x20 && byte < 0x7F;
}

void appendHex(std::string& text, Bytes bytes) {
    for (unsigned char byte : bytes) {
        if (!text.empty()) text += ' ';
        text += formatted("%02X", byte);
    }
}

}  // namespace

std::string hexNumber(std::uint32_t number) {
    return formatted("0x%04X", number);
}

std::string hexByte(unsigned char byte) {
    return formatted("0x%02X", byte);
}

std::string hex(Bytes bytes, std::size_t atMost) {
    std::string text;
    if (bytes.size() <= atMost) {
        appendHex(text, bytes);
        return text;
    }
    appendHex(text, bytes.first(atMost - atMost / 2));
    text += " ...";
    appendHex(text, bytes.last(atMost / 2));
    return text;
}

std::string hexPlain(Bytes bytes) {
    std::string text;
    for (unsigned char byte : bytes) text += formatted("%02x", byte);
    return text;
}

std::string characters(Bytes bytes) {
    std::string text;
    for (unsigned char byte : bytes) text += isPrintable(byte) ? static_cast<char>(byte) : '.';
    return text;
}

std::string hexDump(Bytes bytes) {
    constexpr std::size_t PER_LINE = 16;
    std::string dump;
    for (std::size_t at = 0; at < bytes.size(); at += PER_LINE) {
        Bytes const line = bytes.subspan(at, std::min(PER_LINE, bytes.size() - at));
        std::string left = hex(line.first(std::min(line.size(), PER_LINE / 2)));
        if (line.size() > PER_LINE / 2) left += "  " + hex(line.subspan(PER_LINE / 2));
        dump += formatted("%04zX  ", at) + padRight(left, PER_LINE * 3) + "  |" + characters(line) + "|\n";
    }
    return dump;
}

std::optional<std::string> printable(Bytes bytes) {
    auto const end = std::find(bytes.begin(), bytes.end(), 0);
    bool const zerosBehind = std::all_of(end, bytes.end(), [](unsigned char byte) { return byte == 0; });
    if (end - bytes.begin() < 4 || !zerosBehind || !std::all_of(bytes.begin(), end, isPrintable)) return {};
    return std::string(bytes.begin(), end);
}

std::string visible(std::string text) {
    constexpr std::string_view DIRECTION = "\xE2\x80";  // begins U+2000 to U+203F in UTF-8
    constexpr unsigned char FIRST = 0xAA;               // ends U+202A, and so on up to U+202E
    for (std::size_t at = text.find(DIRECTION); at != std::string::npos; at = text.find(DIRECTION, at + 1)) {
        if (at + 2 >= text.size()) break;
        unsigned const last = static_cast<unsigned char>(text[at + 2]);
        if (last < FIRST || last > FIRST + 4U) continue;
        text.replace(at, 3, formatted("<U+%04X>", 0x2000U + (last - 0x80U)));
    }
    return text;
}

std::string cut(std::string text, std::size_t width) {
    if (text.size() > width) text.replace(width - 3, std::string::npos, "...");
    return text;
}

std::string padRight(std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

std::string padLeft(std::string text, std::size_t width) {
    if (text.size() < width) text.insert(0, width - text.size(), ' ');
    return text;
}

std::string millisecondsText(double value) {
    return formatted("%.1f", value);
}

std::string clockText(std::chrono::system_clock::time_point time) {
    std::time_t const seconds = std::chrono::system_clock::to_time_t(time);
    auto const sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
    std::tm local{};
    localtime_r(&seconds, &local);
    std::ostringstream text;
    text << std::put_time(&local, "%H:%M:%S") << '.' << std::setw(3) << std::setfill('0')
         << sinceEpoch.count() % 1000;
    return text.str();
}

std::string counted(std::size_t count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

}  // namespace tester
