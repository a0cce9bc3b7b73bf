#include <ara/log/Logger.h>
#include <gtest/gtest.h>

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
        ::unsetenv("ARA_LOG_TARGET");
        ::unsetenv("ARA_LOG_LEVEL");
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
