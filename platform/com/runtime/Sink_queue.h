#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <variant>

#include <eb/com/runtime/Client_port.h>

#include "platform/com/runtime/Answers.h"
#include "platform/com/runtime/Counters.h"

namespace eb::com::runtime {

/// What one sink has yet to hear, in the order in which it happened, handed over one notice at a time on the
/// thread of Answers. A sink that doesn't keep up costs a bounded number of notices and bytes: the oldest
/// samples are missed, and of states that came and went the oldest.
///
/// Owned by its subscription and by the table of subscriptions. Any thread.
class Sink_queue : public std::enable_shared_from_this<Sink_queue> {
public:
    Sink_queue(std::shared_ptr<Answers> answers, std::weak_ptr<Event_sink> sink, std::size_t mostBytes)
        : m_answers(std::move(answers)), m_sink(std::move(sink)), m_mostBytes(mostBytes) {}

    void sample(Serialized_payload const& payload) { add(payload); }
    void eventState(Event_state state) { add(state); }
    void serviceState(Client::Service_state state) { add(state); }

    /// No call of the sink is begun afterwards; one that has begun may still run.
    void end();

private:
    using Notice = std::variant<Serialized_payload, Event_state, Client::Service_state>;
    void add(Notice notice);
    void dropOldest(bool sample);
    void run();

    std::shared_ptr<Answers> const m_answers;
    std::weak_ptr<Event_sink> const m_sink;
    std::size_t const m_mostBytes;
    std::mutex m_mutex;
    std::deque<Notice> m_notices;  // guarded by m_mutex
    std::size_t m_samples = 0;     // guarded by m_mutex: how many of m_notices are samples
    std::size_t m_bytes = 0;       // guarded by m_mutex: of these samples
    bool m_posted = false;         // guarded by m_mutex: a run is on its way
    bool m_ended = false;          // guarded by m_mutex
    Counted m_counted{counters().subscriptions};
};

}  // namespace eb::com::runtime
