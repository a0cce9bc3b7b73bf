#include "tools/valdump/Hex.h"

#include <algorithm>

namespace valdump {

namespace {

constexpr std::string_view SEPARATORS = " \t\r\n\f\v,:;-{}[]";

int digit(char letter) {
    if (letter >= '0' && letter <= '9') return letter - '0';
    if (letter >= 'a' && letter <= 'f') return letter - 'a' + 10;
    if (letter >= 'A' && letter <= 'F') return letter - 'A' + 10;
    return -1;
}

/// "line 2, column 7".
std::string placeOf(std::string_view text, std::size_t at) {
    std::string_view const before = text.substr(0, at);
    auto const line = 1 + std::ranges::count(before, '\n');
    std::size_t const start = before.find_last_of('\n');
    std::size_t const column = start == std::string_view::npos ? at + 1 : at - start;
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

/// In quotes, or its number if it can't be shown.
std::string characterText(char letter) {
    auto const byte = static_cast<unsigned char>(letter);
    if (byte >= 0x20 && byte < 0x7F) return "'" + std::string(1, letter) + "'";
    return "the byte 0x" + plainHex({&byte, 1});
}

std::string joined(Bytes bytes, char const* digits, std::string_view between) {
    std::string text;
    for (unsigned char byte : bytes) {
        if (!text.empty()) text += between;
        text += {digits[byte >> 4], digits[byte & 15]};
    }
    return text;
}

}  // namespace

std::vector<unsigned char> parseHex(std::string_view text) {
    std::vector<unsigned char> bytes;
    std::size_t at = 0;
    while ((at = text.find_first_not_of(SEPARATORS, at)) != std::string_view::npos) {
        std::size_t const end = std::min(text.find_first_of(SEPARATORS, at), text.size());
        bool const isPrefixed = text.substr(at).starts_with("0x") || text.substr(at).starts_with("0X");
        if (isPrefixed) at += 2;
        for (std::size_t i = at; i < end; ++i) {
            if (digit(text[i]) >= 0) continue;
            throw BadInput(characterText(text[i]) + " at " + placeOf(text, i) + " is no hex digit");
        }
        if (isPrefixed && end - at == 1) {  // 0x1, as debuggers write it
            bytes.push_back(static_cast<unsigned char>(digit(text[at++])));
            continue;
        }
        if (end == at || (end - at) % 2 != 0) {
            throw BadInput("'" + std::string(text.substr(at, std::min<std::size_t>(end - at, 16))) + "' at " +
                           placeOf(text, at) + " has " + (end == at ? "no" : "an odd number of") +
                           " hex digits; a byte has two");
        }
        for (; at < end; at += 2) {
            bytes.push_back(static_cast<unsigned char>(digit(text[at]) * 16 + digit(text[at + 1])));
        }
    }
    return bytes;
}

std::string spacedHex(Bytes bytes) {
    return joined(bytes, "0123456789ABCDEF", " ");
}

std::string plainHex(Bytes bytes) {
    return joined(bytes, "0123456789abcdef", "");
}

}  // namespace valdump
