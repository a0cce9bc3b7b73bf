#include "tests/support/DiagLog.h"

#include <gtest/gtest.h>

#include "core/Trace.h"

namespace test {

std::optional<Line> Line::parse(ara::log::Message const& message) {
    constexpr char const* DIGITS = "0123456789";
    std::string const& whole = message.text;
    auto const thread = whole.find('|') + 1;
    auto const prefix = whole.find('|', thread) + 1;
    if (thread == 0 || prefix == 0 || whole.find_first_not_of(DIGITS, thread) != prefix - 1)
        return std::nullopt;
    // The first number that "::" follows: a prefix may have numbers of its own, as in "Server<1>::".
    auto number = whole.find_first_of(DIGITS, prefix);
    auto function = whole.find_first_not_of(DIGITS, number);
    while (number != std::string::npos && whole.compare(function, 2, "::") != 0) {
        number = whole.find_first_of(DIGITS, function);
        function = whole.find_first_not_of(DIGITS, number);
    }
    if (number == std::string::npos || function == std::string::npos) return std::nullopt;
    auto const text = whole.find("() ", function);
    if (text == std::string::npos || whole.find('\n') != whole.size() - 1) return std::nullopt;
    return Line{static_cast<int>(message.level), whole.substr(prefix, number - prefix),
                whole.substr(function + 2, text - function - 2),
                whole.substr(text + 3, whole.size() - text - 4)};
}

DiagLog::DiagLog() {
    zvg::val::Trace::mLogLevel = 5;
    zvg::val::Trace::g_loggerCtx = ara::log::CreateLogger("DIAG", "DIAG logging context");
}

std::vector<Line> DiagLog::lines() const {
    std::vector<Line> lines;
    for (auto const& message : m_capture.messages("DIAG")) {
        if (auto line = Line::parse(message)) {
            lines.push_back(std::move(*line));
        } else if (message.text.find("|osal api version ") == std::string::npos &&
                   message.text.find("|variant ") == std::string::npos) {
            ADD_FAILURE() << "not a line: " << message.text;
        }
    }
    return lines;
}

std::vector<std::string> DiagLog::story() const {
    std::vector<std::string> story;
    for (auto const& line : lines())
        story.push_back(std::to_string(line.level) + ' ' + line.prefix + line.function + "() " + line.text);
    return story;
}

std::vector<std::string> DiagLog::texts(int level) const {
    std::vector<std::string> texts;
    for (auto const& line : lines()) {
        if (line.level == level) texts.push_back(line.text);
    }
    return texts;
}

}  // namespace test
