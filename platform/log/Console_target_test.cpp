#include "platform/log/Console_target.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

namespace ara::log {
namespace {

using Clock = std::chrono::steady_clock;

/// A pipe and a target that writes into it. The target's thread lives to the end of the process, so neither
/// the target nor its end of the pipe is ever given back.
class Console_target_test : public ::testing::Test {
protected:
    Console_target_test() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        m_reader = ends[0];
        sut = new Console_target(ends[1]);
    }
    ~Console_target_test() override {
        if (m_reader >= 0) ::close(m_reader);
    }

    std::string readUntil(std::string const& end) {
        std::string text;
        std::array<char, 4096> piece{};
        while (text.find(end) == std::string::npos) {
            ssize_t const got = ::read(m_reader, piece.data(), piece.size());
            if (got <= 0) break;
            text.append(piece.data(), static_cast<std::size_t>(got));
        }
        return text;
    }
    void closeReader() {
        ::close(m_reader);
        m_reader = -1;
    }

    int m_reader = -1;
    Console_target* sut = nullptr;
};

TEST_F(Console_target_test, LinesArriveWholeAndInOrder) {
    for (int number = 0; number < 1000; ++number)
        sut->write(LogLevel::kInfo, "DIAG", "line " + std::to_string(number));

    std::string const text = readUntil("line 999\n");

    std::size_t position = 0;
    for (int number = 0; number < 1000; ++number) {
        position = text.find("DIAG info line " + std::to_string(number) + "\n", position);
        ASSERT_NE(position, std::string::npos) << number;
    }
}

TEST_F(Console_target_test, ReaderThatNeverReadsDoesNotStopTheCaller) {
    std::string const text(1000, 'x');

    auto const start = Clock::now();
    for (int number = 0; number < 20'000; ++number) sut->write(LogLevel::kInfo, "DIAG", text);
    auto const needed = Clock::now() - start;

    EXPECT_LT(needed, std::chrono::seconds(20));
    EXPECT_GT(sut->dropped(), 15'000U);
}

TEST_F(Console_target_test, LostLinesAreToldOnceThereIsRoom) {
    std::string const text(1000, 'x');
    while (sut->dropped() == 0) sut->write(LogLevel::kInfo, "DIAG", text);

    std::string all;
    std::thread reader([&] { all = readUntil("last words\n"); });
    sut->flush();
    auto const deadline = Clock::now() + std::chrono::seconds(60);
    for (std::size_t before = 1; before != 0 && Clock::now() < deadline;) {
        std::size_t const lost = sut->dropped();
        sut->write(LogLevel::kInfo, "DIAG", "last words");
        before = sut->dropped() - lost;
    }
    reader.join();

    EXPECT_NE(all.find("lines lost: nobody reads this log"), std::string::npos);
}

TEST_F(Console_target_test, FlushIsBoundedWhenNobodyReads) {
    while (sut->dropped() == 0) sut->write(LogLevel::kInfo, "DIAG", std::string(1000, 'x'));

    auto const start = Clock::now();
    sut->flush();

    EXPECT_LT(Clock::now() - start, Console_target::FLUSH_LIMIT + std::chrono::seconds(10));
}

TEST_F(Console_target_test, ReaderThatHasGoneDoesNotEndTheProcess) {
    closeReader();

    for (int number = 0; number < 10; ++number) sut->write(LogLevel::kInfo, "DIAG", "into the void");
    sut->flush();

    EXPECT_EQ(sut->dropped(), 0U);
}

TEST_F(Console_target_test, PipeGetsNoColours) {
    sut->write(LogLevel::kError, "DIAG", "plain");

    EXPECT_EQ(readUntil("plain\n").find('\x1b'), std::string::npos);
}

TEST_F(Console_target_test, ThreadsDoNotMixTheirLines) {
    std::array<std::thread, 8> threads;
    for (std::size_t index = 0; index < threads.size(); ++index)
        threads[index] = std::thread([this, index] {
            for (int number = 0; number < 100; ++number)
                sut->write(LogLevel::kInfo, "DIAG", std::string(100, static_cast<char>('a' + index)));
        });
    for (std::thread& thread : threads) thread.join();
    sut->write(LogLevel::kInfo, "DIAG", "end");

    std::string const text = readUntil("info end\n");

    std::size_t whole = 0;
    for (char letter = 'a'; letter < 'a' + 8; ++letter) {
        std::string const line = "DIAG info " + std::string(100, letter) + "\n";
        for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++whole;
    }
    EXPECT_EQ(whole, 800U);
}

}  // namespace
}  // namespace ara::log
