#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/log/Memory_target.h"

namespace test {

/// A line of the "DIAG" log, taken apart.
struct Line {
    int level;
    std::string prefix;
    std::string function;
    std::string text;

    /// Of "12:34:56|140243|Prefix::120::function() text\n"; nothing if it has another form.
    static std::optional<Line> parse(ara::log::Message const& message);
};

/// What the library logs while this stands: it makes the logger, and what is logged goes nowhere else.
class DiagLog {
public:
    DiagLog();

    /// All lines but the two that tell the build. Any of another form fails the test.
    std::vector<Line> lines() const;

    /// All of them as "2 Bridge::init() text": what the log says, without its clock, threads and line
    /// numbers.
    std::vector<std::string> story() const;

    /// The texts of one level: 2 errors, 4 the rest.
    std::vector<std::string> errors() const { return texts(2); }
    std::vector<std::string> infos() const { return texts(4); }

    ara::log::Capture const& raw() const { return m_capture; }
    void clear() { m_capture.clear(); }

private:
    std::vector<std::string> texts(int level) const;

    ara::log::Capture m_capture;
};

}  // namespace test
