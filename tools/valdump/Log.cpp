#include "tools/valdump/Log.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace valdump {

namespace {

/// The next word and what follows it; empty at the end of the line.
std::string_view takeWord(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t\r"), line.size()));
    std::string_view const word = line.substr(0, line.find_first_of(" \t\r"));
    line.remove_prefix(word.size());
    return word;
}

bool isHex(std::string_view word) {
    return word.size() % 2 == 0 && !word.empty() &&
           std::ranges::all_of(word, [](unsigned char letter) { return std::isxdigit(letter) != 0; });
}

/// The bytes at the start of `rest`, up to the gap of two blanks behind them.
bool takeBytes(std::string_view& rest, Logged& logged) {
    bool any = false;
    while (true) {
        std::string_view after = rest;
        std::string_view const word = takeWord(after);
        if (any && rest.starts_with("  ")) break;
        if (word == "(empty)" && !any) {
            rest = after;
            return true;
        }
        if (word == "..." && any) {
            logged.isCut = true;
        } else if (isHex(word)) {
            auto const bytes = parseHex(word);
            logged.bytes.insert(logged.bytes.end(), bytes.begin(), bytes.end());
        } else {
            break;
        }
        any = true;
        rest = after;
    }
    return any;
}

bool isEnd(std::string_view rest) {
    return rest.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

Message const* messageOf(std::string_view idOrName) {
    bool const isHexadecimal = idOrName.starts_with("0x") || idOrName.starts_with("0X");
    std::string_view const digits = idOrName.substr(isHexadecimal ? 2 : 0);
    std::uint16_t id = 0;
    auto const [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), id, isHexadecimal ? 16 : 10);
    bool const isNumber = error == std::errc() && end == digits.data() + digits.size();
    return isNumber ? codec::describe::findMessage(id) : codec::describe::findMessage(idOrName);
}

std::vector<Logged> findMessages(std::string_view line) {
    std::vector<Logged> found;
    bool isAfterArrow = false;
    while (!isEnd(line)) {
        std::string_view word = takeWord(line);
        bool const isArrow = word == "->" || word == "<-";
        if (word.ends_with(':')) word.remove_suffix(1);
        Logged logged{messageOf(word), {}, false};
        std::string_view rest = line;
        if (logged.message != nullptr && takeBytes(rest, logged) && (isAfterArrow || isEnd(rest))) {
            found.push_back(std::move(logged));
            line = rest;
        }
        isAfterArrow = isArrow;
    }
    return found;
}

}  // namespace valdump
