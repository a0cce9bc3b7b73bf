#include "tools/tester/wireshark/Lua.h"

#include <vector>

namespace tester::wireshark {

namespace {

constexpr std::size_t LINE = 110;

std::string quoted(std::string const& text) {
    std::string quoted = "\"";
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        if (byte < ' ' || character == '"' || character == '\\') {
            std::string const digits = std::to_string(byte);
            quoted += '\\' + std::string(3 - digits.size(), '0') + digits;
        } else {
            quoted += character;
        }
    }
    return quoted + '"';
}

}  // namespace

std::string lua(nlohmann::ordered_json const& value, std::size_t indent) {
    if (value.is_string()) return quoted(value.get<std::string>());
    if (!value.is_structured()) return value.dump();
    std::vector<std::string> parts;
    std::size_t length = indent;
    for (auto const& [key, member] : value.items()) {
        std::string const name = value.is_object() ? key + " = " : std::string();
        parts.push_back(name + lua(member, indent + 2));
        length += parts.back().size() + 2;
        if (parts.back().find('\n') != std::string::npos) length = LINE;
    }
    bool const fits = length < LINE;
    std::string text = "{";
    for (std::string const& part : parts) {
        if (!fits) text += '\n' + std::string(indent + 2, ' ');
        text += part;
        if (!fits || &part != &parts.back()) text += fits ? ", " : ",";
    }
    if (!fits) text += '\n' + std::string(indent, ' ');
    return text + '}';
}

}  // namespace tester::wireshark
