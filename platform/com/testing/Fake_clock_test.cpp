#include "platform/com/testing/Fake_clock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

namespace eb::com::runtime::testing {
namespace {

using std::chrono::milliseconds;

class Fake_clock_test : public ::testing::Test {
protected:
    ~Fake_clock_test() override {
        m_loop->end({});
        m_other->end({});
    }

    Clock::Timer after(int time, std::string const& name) {
        return m_ofLoop->after(milliseconds(time), [this, name] { note(name); });
    }
    void note(std::string const& name) {
        std::lock_guard lock(m_mutex);
        m_notes.push_back(name + "@" + std::to_string(sut.now().count()));
    }
    std::vector<std::string> notes() {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_notes, {});
    }
    using Notes = std::vector<std::string>;

    std::shared_ptr<Loop> const m_loop = std::make_shared<Loop>();
    std::shared_ptr<Loop> const m_other = std::make_shared<Loop>();
    Fake_clock sut;
    std::unique_ptr<Clock> m_ofLoop = sut.of(m_loop);
    std::unique_ptr<Clock> m_ofOther = sut.of(m_other);
    std::mutex m_mutex;
    Notes m_notes;  // guarded by m_mutex
};

TEST_F(Fake_clock_test, TasksRunAtTheirInstantAndInTheirOrder) {
    auto const late = after(20, "late");
    auto const soon = after(10, "soon");
    auto const same = after(10, "same");

    sut.advance(milliseconds(9));
    EXPECT_EQ(notes(), Notes{});
    sut.advance(milliseconds(1));
    EXPECT_EQ(notes(), (Notes{"soon@10", "same@10"}));
    sut.advance(milliseconds(100));
    EXPECT_EQ(notes(), Notes{"late@20"});
    EXPECT_EQ(sut.now(), milliseconds(110));
}

TEST_F(Fake_clock_test, TaskOfThisInstantRunsWithoutAdvance) {
    auto const now = after(0, "now");
    sut.settle();
    EXPECT_EQ(notes(), Notes{"now@0"});
}

TEST_F(Fake_clock_test, DroppedTimerNeverRuns) {
    auto dropped = after(10, "dropped");
    m_loop->run([&] { dropped.reset(); });
    sut.advance(milliseconds(20));
    EXPECT_EQ(notes(), Notes{});
}

TEST_F(Fake_clock_test, TimerDroppedByAnotherOfTheSameInstantNeverRuns) {
    Clock::Timer second;
    auto const first = m_ofLoop->after(milliseconds(10), [&] { second.reset(); });
    second = after(10, "second");
    sut.advance(milliseconds(10));
    EXPECT_EQ(notes(), Notes{});
}

TEST_F(Fake_clock_test, TaskMayDropItsOwnTimer) {
    Clock::Timer timer;
    timer = m_ofLoop->after(milliseconds(5), [&timer, this, kept = std::string("kept")] {
        timer.reset();
        note(kept);
    });
    sut.advance(milliseconds(5));
    EXPECT_EQ(notes(), Notes{"kept@5"});
}

TEST_F(Fake_clock_test, TaskThatStartsAnotherIsFollowedWithinOneAdvance) {
    std::vector<Clock::Timer> timers;
    std::function<void()> const again = [&] {
        note("tick");
        if (timers.size() < 4) timers.push_back(m_ofLoop->after(milliseconds(10), again));
    };
    m_loop->run([&] { timers.push_back(m_ofLoop->after(milliseconds(10), again)); });
    sut.advance(milliseconds(35));
    EXPECT_EQ(notes(), (Notes{"tick@10", "tick@20", "tick@30"}));
    m_loop->run([&] { timers.clear(); });
}

TEST_F(Fake_clock_test, WhatATaskSetsOffOnAnotherLoopHappensAtTheSameInstant) {
    auto const first = m_ofLoop->after(milliseconds(10), [this] {
        m_other->post([this] { sut.later(m_loop, milliseconds(0), [this] { note("back"); }); });
    });
    auto const next = after(11, "next");
    sut.advance(milliseconds(50));
    EXPECT_EQ(notes(), (Notes{"back@10", "next@11"}));
}

TEST_F(Fake_clock_test, LoopThatHasEndedIsPassedOver) {
    auto const lost = m_ofOther->after(milliseconds(10), [this] { note("lost"); });
    auto const kept = after(10, "kept");
    m_other->end({});
    sut.later(m_other, milliseconds(0), [this] { note("refused"); });
    sut.advance(milliseconds(10));
    EXPECT_EQ(notes(), Notes{"kept@10"});
}

}  // namespace
}  // namespace eb::com::runtime::testing
