#include "tools/valdump/Log.h"

#include <algorithm>
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

/// None if the word is no hex.
std::vector<unsigned char> bytesOf(std::string_view word) {
    try {
        return parseHex(word);
    } catch (BadInput const&) {
        return {};
    }
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
        } else if (auto const bytes = bytesOf(word); !bytes.empty()) {
            logged.bytes.insert(logged.bytes.end(), bytes.begin(), bytes.end());
        } else {
            break;
        }
        any = true;
        rest = after;
    }
    return any;
}

/// An id as "2350:" or "[2350]".
std::string_view withoutMarks(std::string_view word) {
    if (word.ends_with(':')) word.remove_suffix(1);
    if (word.starts_with('[') && word.ends_with(']')) word = word.substr(1, word.size() - 2);
    return word;
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
    // Where bytes that don't end the line stop: those behind an id among them stop there as well. Without it
    // a long line of numbers would be read once for each of them.
    char const* stop = line.data();
    while (!isEnd(line)) {
        std::string_view const word = takeWord(line);
        bool const isArrow = word == "->" || word == "<-";
        Logged logged{messageOf(withoutMarks(word)), {}, false};
        std::string_view rest = line;
        bool const isOpen = isAfterArrow || line.data() >= stop;
        if (logged.message != nullptr && isOpen && takeBytes(rest, logged)) {
            if (isAfterArrow || isEnd(rest)) {
                found.push_back(std::move(logged));
                line = rest;
            } else {
                stop = rest.data();
            }
        }
        isAfterArrow = isArrow;
    }
    return found;
}

}  // namespace valdump
