#include "platform/com/runtime/Sink_queue.h"

#include <gtest/gtest.h>

#include "platform/com/testing/Event_services.h"

namespace eb::com::runtime {
namespace {

using namespace testing;

/// A thread for answers that stands still until it is released, so that everything waits in the queue.
class Sink_queue_test : public ::testing::Test {
protected:
    Sink_queue_test() {
        m_answers->post([this] { m_release.take(); });
    }
    void release() { m_release.put(true); }

    Mailbox<bool> m_release;
    std::shared_ptr<Answers> const m_answers = std::make_shared<Answers>();
    std::shared_ptr<Recorder> const m_sink = std::make_shared<Recorder>();
    std::shared_ptr<Sink_queue> const m_queue = std::make_shared<Sink_queue>(m_answers, m_sink, 1000);
};

TEST_F(Sink_queue_test, NoticesComeInTheirOrder) {
    m_queue->serviceState(Client::Service_state::available);
    m_queue->eventState(Event_state::subscribed);
    m_queue->sample(payloadOf({1}));
    m_queue->eventState(Event_state::pending);
    m_queue->sample(payloadOf({2}));
    release();
    EXPECT_TRUE(m_sink->hears({"available", "subscribed", "1", "pending", "2"}));
}

TEST_F(Sink_queue_test, SlowSinkMissesTheOldestSamplesButNoState) {
    auto const missed = counters().missedSamples.load();
    m_queue->eventState(Event_state::subscribed);
    for (int count = 0; count < 300; ++count) m_queue->sample(payloadOf({static_cast<std::uint8_t>(count)}));
    release();
    ASSERT_TRUE(eventually([this] { return m_sink->notices().size() >= 257; }));
    auto const heard = m_sink->notices();
    EXPECT_EQ(heard.size(), 257U);
    EXPECT_EQ(heard[0], "subscribed");
    EXPECT_EQ(heard[1], std::to_string(300 - 256));
    EXPECT_EQ(heard.back(), std::to_string(299 & 0xFF));
    EXPECT_EQ(counters().missedSamples - missed, 300 - 256);
}

TEST_F(Sink_queue_test, BytesThatWaitAreBoundedButTheNewestSampleStays) {
    m_queue->sample(payloadOf(Bytes(600, 1)));
    m_queue->sample(payloadOf(Bytes(600, 2)));
    m_queue->sample(payloadOf(Bytes(1, 3)));
    m_queue->sample(payloadOf(Bytes(5000, 4)));
    release();
    ASSERT_TRUE(eventually([this] { return !m_sink->notices().empty(); }));
    EXPECT_EQ(m_sink->notices().size(), 1U);
    EXPECT_EQ(m_sink->notices()[0].substr(0, 3), "4 4");
}

TEST_F(Sink_queue_test, StatesThatCameAndWentAreBoundedAndTheLastIsTrue) {
    for (int count = 0; count < 1000; ++count)
        m_queue->eventState(count % 2 == 0 ? Event_state::pending : Event_state::not_subscribed);
    m_queue->eventState(Event_state::subscribed);
    release();
    ASSERT_TRUE(eventually([this] {
        auto const heard = m_sink->notices();
        return !heard.empty() && heard.back() == "subscribed";
    }));
    EXPECT_LE(m_sink->notices().size(), 65U);
}

TEST_F(Sink_queue_test, NothingIsBegunAfterTheEnd) {
    m_queue->sample(payloadOf({1}));
    m_queue->end();
    m_queue->sample(payloadOf({2}));
    Mailbox<bool> behind;
    m_answers->post([&] { behind.put(true); });
    release();
    ASSERT_TRUE(behind.take());
    EXPECT_TRUE(m_sink->notices().empty());
}

TEST_F(Sink_queue_test, SinkThatHasGoneIsNotCalled) {
    auto brief = std::make_shared<Recorder>();
    auto const queue = std::make_shared<Sink_queue>(m_answers, brief, 1000);
    queue->sample(payloadOf({1}));
    brief.reset();
    Mailbox<bool> behind;
    m_answers->post([&] { behind.put(true); });
    release();
    EXPECT_TRUE(behind.take());
}

}  // namespace
}  // namespace eb::com::runtime
