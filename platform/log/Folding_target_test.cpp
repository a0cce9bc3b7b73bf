#include "platform/log/Folding_target.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>
#include <vector>

namespace ara::log {
namespace {

/// What came out, as "context level text".
class Lines : public Target {
public:
    void write(LogLevel level, std::string_view context, std::string_view text) override {
        std::lock_guard const lock(m_mutex);
        m_lines.push_back(std::string(context) + ' ' + std::to_string(static_cast<int>(level)) + ' ' +
                          std::string(text));
        m_grown.notify_all();
    }
    void flush() override { ++flushes; }

    std::vector<std::string> get() {
        std::lock_guard const lock(m_mutex);
        return m_lines;
    }
    bool await(std::size_t count) {
        std::unique_lock lock(m_mutex);
        return m_grown.wait_for(lock, std::chrono::seconds(60), [&] { return m_lines.size() >= count; });
    }

    int flushes = 0;

private:
    std::mutex m_mutex;
    std::condition_variable m_grown;
    std::vector<std::string> m_lines;  // guarded by m_mutex
};

using Expected = std::vector<std::string>;

/// A target that lives to the end of the process, as its thread does.
template <class Target, class... Args>
Target& kept(Args&&... args) {
    static auto& all = *new std::vector<Target*>;
    all.push_back(new Target(std::forward<Args>(args)...));
    return *all.back();
}

class Folding_target_test : public ::testing::Test {
protected:
    static constexpr std::chrono::hours NEVER{1};

    Lines& lines = kept<Lines>();
    Folding_target& sut = kept<Folding_target>(lines, NEVER);
};

TEST_F(Folding_target_test, ARowOfAlikeMessagesIsItsFirstAndACount) {
    for (int server = 0; server < 13; ++server)
        sut.write(LogLevel::kError, "DIAG", "server" + std::to_string(server) + "::handleMsg() no request\n");
    sut.write(LogLevel::kError, "DIAG", "another");

    EXPECT_EQ(lines.get(), (Expected{"DIAG 2 server0::handleMsg() no request\n", "DIAG 2 12 more like it",
                                     "DIAG 2 another"}));
}

TEST_F(Folding_target_test, TheFirstOfARowIsPassedOnAtOnce) {
    sut.write(LogLevel::kError, "DIAG", "text");
    EXPECT_EQ(lines.get(), Expected{"DIAG 2 text"});
}

TEST_F(Folding_target_test, WhatDiffersInLevelContextOrTextIsNotFolded) {
    sut.write(LogLevel::kError, "DIAG", "a() text 1");
    sut.write(LogLevel::kWarn, "DIAG", "a() text 1");
    sut.write(LogLevel::kWarn, "COMM", "a() text 1");
    sut.write(LogLevel::kWarn, "COMM", "a() text 2");

    EXPECT_EQ(lines.get(),
              (Expected{"DIAG 2 a() text 1", "DIAG 3 a() text 1", "COMM 3 a() text 1", "COMM 3 a() text 2"}));
}

TEST_F(Folding_target_test, TextsWithoutAPlaceAreComparedWhole) {
    for (std::string const text : {"one", "one", "two", "two", "two"})
        sut.write(LogLevel::kInfo, "LOG", text);
    sut.flush();

    EXPECT_EQ(lines.get(),
              (Expected{"LOG 4 one", "LOG 4 1 more like it", "LOG 4 two", "LOG 4 2 more like it"}));
}

TEST_F(Folding_target_test, FlushTellsTheCountAndReachesTheTarget) {
    sut.write(LogLevel::kError, "DIAG", "text");
    sut.write(LogLevel::kError, "DIAG", "text");

    sut.flush();

    EXPECT_EQ(lines.get(), (Expected{"DIAG 2 text", "DIAG 2 1 more like it"}));
    EXPECT_EQ(lines.flushes, 1);
}

TEST_F(Folding_target_test, AfterItsCountTheNextMessageIsPassedOnWhole) {
    sut.write(LogLevel::kError, "DIAG", "text");
    sut.write(LogLevel::kError, "DIAG", "text");
    sut.flush();

    sut.write(LogLevel::kError, "DIAG", "text");

    EXPECT_EQ(lines.get(), (Expected{"DIAG 2 text", "DIAG 2 1 more like it", "DIAG 2 text"}));
}

TEST_F(Folding_target_test, TheCountComesByItselfOnePauseAfterTheFirst) {
    Folding_target& quick = kept<Folding_target>(lines, std::chrono::milliseconds(100));
    // Given a row of two; the machine may be so busy that a pause lies between them
    std::size_t before = 0;
    do {
        before = lines.get().size();
        ASSERT_LT(before, 1000U);
        quick.write(LogLevel::kError, "DIAG", "text");
        quick.write(LogLevel::kError, "DIAG", "text");
    } while (lines.get().size() == before + 2 && lines.get().back() == "DIAG 2 text");
    // Then
    ASSERT_TRUE(lines.await(before + 2));
    EXPECT_EQ(lines.get()[before + 1], "DIAG 2 1 more like it");
}

TEST_F(Folding_target_test, ARepeatAfterThePauseIsPassedOnWhole) {
    Folding_target& none = kept<Folding_target>(lines, std::chrono::milliseconds(0));
    none.write(LogLevel::kError, "DIAG", "text");
    none.write(LogLevel::kError, "DIAG", "text");

    EXPECT_EQ(lines.get(), (Expected{"DIAG 2 text", "DIAG 2 text"}));
}

TEST_F(Folding_target_test, NothingIsLostOrCountedTwiceOnThreads) {
    Folding_target& quick = kept<Folding_target>(lines, std::chrono::milliseconds(1));
    constexpr int THREADS = 4;
    constexpr int EACH = 2000;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < EACH; ++i) quick.write(LogLevel::kInfo, "DIAG", "the same");
        });
    for (std::thread& thread : threads) thread.join();
    quick.flush();

    long sum = 0;
    for (std::string const& line : lines.get()) {
        std::string const text = line.substr(7);
        sum += text == "the same" ? 1 : std::stol(text);
    }
    EXPECT_EQ(sum, THREADS * EACH);
}

}  // namespace
}  // namespace ara::log
