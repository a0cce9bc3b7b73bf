#include <ara/log/Logger.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "platform/log/Log_core.h"
#include "platform/log/Memory_target.h"

namespace ara::log {
namespace {

TEST(Logger_test, SameContextGivesTheSameLogger) {
    EXPECT_EQ(CreateLogger("DIAG", "one"), CreateLogger("DIAG", "another"));
    EXPECT_NE(CreateLogger("DIAG", "one"), CreateLogger("OTHR", "one"));
}

TEST(Logger_test, ContextIsCutToFourCharacters) {
    EXPECT_EQ(CreateLogger("CONTEXT", "")->contextId(), "CONT");
    EXPECT_EQ(CreateLogger("CONTACT", ""), CreateLogger("CONT", ""));
}

TEST(Logger_test, OneStreamIsOneMessage) {
    Capture capture;

    LogStream(LogLevel::kInfo, *CreateLogger("DIAG", "")) << "one " << nullptr << "two\n";

    auto const messages = capture.messages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].level, LogLevel::kInfo);
    EXPECT_EQ(messages[0].context, "DIAG");
    EXPECT_EQ(messages[0].text, "one two\n");
}

TEST(Logger_test, LessSevereThanTheThresholdIsNotWritten) {
    Logger& sut = *CreateLogger("DIAG", "");
    for (std::uint8_t threshold = 0; threshold <= 6; ++threshold) {
        Capture capture(static_cast<LogLevel>(threshold));
        for (std::uint8_t level = 0; level <= 6; ++level) {
            bool const expected = level != 0 && level <= threshold;
            EXPECT_EQ(sut.IsLogEnabled(static_cast<LogLevel>(level)), expected)
                << int{level} << " of " << int{threshold};
            LogStream(static_cast<LogLevel>(level), sut) << "text";
        }
        EXPECT_EQ(capture.messages().size(), threshold);
    }
}

TEST(Logger_test, TargetOfBeforeReturnsAfterACapture) {
    Target& before = Log_core::instance().target();
    LogLevel const threshold = Log_core::instance().threshold();
    {
        Capture capture(LogLevel::kDebug);
        EXPECT_NE(&Log_core::instance().target(), &before);
    }
    EXPECT_EQ(&Log_core::instance().target(), &before);
    EXPECT_EQ(Log_core::instance().threshold(), threshold);
}

TEST(Logger_test, MessagesOfManyThreadsAllArrive) {
    Capture capture;
    std::array<std::thread, 8> threads;
    for (std::thread& thread : threads)
        thread = std::thread([] {
            for (int number = 0; number < 1000; ++number)
                LogStream(LogLevel::kInfo, *CreateLogger("MANY", "")) << std::to_string(number).c_str();
        });
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(capture.messages("MANY").size(), 8000U);
}

TEST(Logger_test, MemoryKeepsTheNewest) {
    Memory_target& memory = Memory_target::instance();
    memory.clear();
    for (std::size_t number = 0; number < Memory_target::CAPACITY + 5; ++number)
        memory.write(LogLevel::kInfo, "C", std::to_string(number));

    auto const messages = memory.messages();
    memory.clear();

    ASSERT_EQ(messages.size(), Memory_target::CAPACITY);
    EXPECT_EQ(messages.front().text, "5");
}

/// What the environment says, seen from a process of its own.
class Logger_environment_test : public ::testing::Test {
protected:
    /// Ends a child process that has those settings and logs a line of every level; its exit code is 0.
    static void logUnder(char const* target, char const* level) {
        ::testing::FLAGS_gtest_death_test_style = "threadsafe";
        if (target != nullptr)
            ::setenv("ARA_LOG_TARGET", target, 1);
        else
            ::unsetenv("ARA_LOG_TARGET");
        if (level != nullptr)
            ::setenv("ARA_LOG_LEVEL", level, 1);
        else
            ::unsetenv("ARA_LOG_LEVEL");
    }
    ~Logger_environment_test() override {
        ::unsetenv("ARA_LOG_FOLD");
        ::unsetenv("ARA_LOG_TARGET");
        ::unsetenv("ARA_LOG_LEVEL");
    }
    [[noreturn]] static void repeatAndExit() {
        for (int i = 0; i < 14; ++i) LogStream(LogLevel::kError, *CreateLogger("DIAG", "")) << "same";
        std::exit(0);
    }
    [[noreturn]] static void logAndExit() {
        for (std::uint8_t number = 1; number <= 6; ++number)
            LogStream(static_cast<LogLevel>(number), *CreateLogger("DIAG", ""))
                << "text" << std::to_string(number).c_str();
        std::exit(0);
    }
};

TEST_F(Logger_environment_test, ConsoleAndWarnAreTheDefault) {
    logUnder(nullptr, nullptr);
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0), "fatal text1\n.*error text2\n.*warn text3\n$");
}

TEST_F(Logger_environment_test, LevelIsTaken) {
    logUnder("console", "verbose");
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0), "verbose text6\n$");
}

TEST_F(Logger_environment_test, NoneWritesNothing) {
    logUnder("none", "verbose");
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0), "^$");
}

TEST_F(Logger_environment_test, RepeatsAreFoldedWhereThatIsAskedFor) {
    logUnder(nullptr, nullptr);
    ::setenv("ARA_LOG_FOLD", "on", 1);
    EXPECT_EXIT(repeatAndExit(), ::testing::ExitedWithCode(0),
                "^[^\n]*error same\n[^\n]*error 13 more like it\n$");
}

TEST_F(Logger_environment_test, RepeatsAreNotFoldedWhereTheConsoleIsAFile) {
    logUnder(nullptr, nullptr);
    EXPECT_EXIT(repeatAndExit(), ::testing::ExitedWithCode(0), "^([^\n]*error same\n)+$");
}

/// Repeats a line on a pipe as standard error, and copies what came out to the standard error of before.
[[noreturn]] void repeatOnAPipeAndExit() {
    int const before = ::dup(STDERR_FILENO);
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0 || ::dup2(ends[1], STDERR_FILENO) < 0) std::_Exit(1);
    for (int i = 0; i < 14; ++i) LogStream(LogLevel::kError, *CreateLogger("DIAG", "")) << "same";
    LogStream(LogLevel::kError, *CreateLogger("DIAG", "")) << "end";
    std::string text;
    for (std::array<char, 4096> piece{}; text.find("end\n") == std::string::npos;) {
        ssize_t const got = ::read(ends[0], piece.data(), piece.size());
        if (got <= 0) std::_Exit(2);
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
    ssize_t const written = ::write(before, text.data(), text.size());
    std::_Exit(written == static_cast<ssize_t>(text.size()) ? 0 : 3);
}

TEST_F(Logger_environment_test, RepeatsAreFoldedOnAPipe) {
    logUnder(nullptr, nullptr);
    EXPECT_EXIT(repeatOnAPipeAndExit(), ::testing::ExitedWithCode(0),
                "[0-9]+ more like it\n[^\n]*error end\n$");
}

TEST_F(Logger_environment_test, UnknownFoldingIsTold) {
    logUnder(nullptr, nullptr);
    ::setenv("ARA_LOG_FOLD", "maybe", 1);
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0),
                "ARA_LOG_FOLD: 'maybe' is neither on nor off; taking off");
}

TEST_F(Logger_environment_test, UnknownTargetIsToldAndTheConsoleTaken) {
    logUnder("printer", nullptr);
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0),
                "'printer' is none of .*\n(.*\n)*.*warn text3\n$");
}

TEST_F(Logger_environment_test, TargetWithoutItsPathOrWithAnApplicationThatDltCannotNameIsUnknown) {
    for (char const* target : {"file:", "dlt:", "dlt:FIVEE"}) {
        logUnder(target, nullptr);
        EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0),
                    std::string("^[^\n]*'") + target + "' is none of .*\n(.*\n)*.*warn text3\n$");
    }
}

TEST_F(Logger_environment_test, TwoWrongSettingsAreBothTold) {
    logUnder("printer", "loud");
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0), "'loud' is none of .*\n.*'printer' is none of ");
}

TEST_F(Logger_environment_test, UnknownLevelIsTold) {
    logUnder(nullptr, "loud");
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0), "'loud' is none of .*taking warn");
}

TEST_F(Logger_environment_test, FileThatCannotBeOpenedIsTold) {
    logUnder("file:/nowhere/at/all", nullptr);
    EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(0), "ARA_LOG_TARGET: /nowhere/at/all: No such file");
}

}  // namespace
}  // namespace ara::log
