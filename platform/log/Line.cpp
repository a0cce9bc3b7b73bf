#include "platform/log/Line.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "platform/log/Log_core.h"

namespace ara::log {
namespace {

constexpr std::array<char const*, 7> COLOURS = {"",         "\x1b[1;31m", "\x1b[31m", "\x1b[33m",
                                                "\x1b[32m", "\x1b[36m",   "\x1b[2m"};
constexpr char const* PLAIN = "\x1b[0m";

void appendClock(std::string& line) {
    auto const now = std::chrono::system_clock::now();
    std::time_t const seconds = std::chrono::system_clock::to_time_t(now);
    auto const milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(milliseconds));
    line += text.data();
}

}  // namespace

std::string formatLine(LogLevel level, std::string_view context, std::string_view text, bool coloured) {
    auto const number = static_cast<std::size_t>(level);
    coloured = coloured && number < COLOURS.size();
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);

    std::string line;
    line.reserve(text.size() + 48);
    appendClock(line);
    line += ' ';
    line += context;
    line += ' ';
    if (coloured) line += COLOURS[number];
    line += name(level);
    if (coloured) line += PLAIN;
    line += ' ';
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte != 0x7F) {
            line += character;
        } else {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%02X", static_cast<unsigned>(byte));
            line += escape.data();
        }
    }
    line += '\n';
    return line;
}

}  // namespace ara::log
