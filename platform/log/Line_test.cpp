#include "platform/log/Line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace ara::log {
namespace {

std::string withoutClock(std::string const& line) {
    return line.substr(13);
}

TEST(Line_test, BeginsWithTheClock) {
    std::string const line = formatLine(LogLevel::kInfo, "DIAG", "text", false);

    EXPECT_THAT(line, ::testing::MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} DIAG info text\n"));
}

TEST(Line_test, EveryLevelHasItsName) {
    std::array<char const*, 7> const names = {"off", "fatal", "error", "warn", "info", "debug", "verbose"};
    for (std::size_t level = 0; level < names.size(); ++level)
        EXPECT_EQ(withoutClock(formatLine(static_cast<LogLevel>(level), "C", "t", false)),
                  "C " + std::string(names[level]) + " t\n");
}

TEST(Line_test, EndOfLineIsNotDoubled) {
    EXPECT_EQ(withoutClock(formatLine(LogLevel::kWarn, "C", "text\n", false)), "C warn text\n");
}

TEST(Line_test, ForeignControlCharactersCannotForgeALine) {
    EXPECT_EQ(withoutClock(formatLine(LogLevel::kWarn, "C", "a\nb\x1b[2J\x7f", false)),
              "C warn a\\x0Ab\\x1B[2J\\x7F\n");
}

TEST(Line_test, TextBeyondAsciiPasses) {
    EXPECT_EQ(withoutClock(formatLine(LogLevel::kWarn, "C",
                                      "\xE2\x80\xAD"
                                      "1",
                                      false)),
              "C warn \xE2\x80\xAD"
              "1\n");
}

TEST(Line_test, ColourEndsBehindTheLevel) {
    EXPECT_EQ(withoutClock(formatLine(LogLevel::kWarn, "C", "t", true)), "C \x1b[33mwarn\x1b[0m t\n");
}

}  // namespace
}  // namespace ara::log
