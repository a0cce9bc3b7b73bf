#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// Counts the calls of all connections of a runtime that were taken and have not begun. Shared by the
/// runtime's endpoints and their connections. Any thread.
class Backlog {
public:
    explicit Backlog(Limits const& limits) : m_maxCalls(limits.queuedCalls), m_maxBytes(limits.queuedBytes) {}

    bool isFull() const noexcept { return m_calls >= m_maxCalls || m_bytes >= m_maxBytes; }

private:
    friend class Call_source;
    std::size_t const m_maxCalls;
    std::size_t const m_maxBytes;
    std::atomic<std::size_t> m_calls{0};
    std::atomic<std::size_t> m_bytes{0};
};

/// Where calls come from: one connection, or this process. Its address is the name by which dispatchers let
/// sources take turns. Owned by the connection and by each of its calls.
///
/// With a full backlog a source may still take a call when none of its own waits: no connection is locked
/// out by what others have sent, and the backlog exceeds its bound by one call for each connection at most.
class Call_source {
public:
    /// A source that no backlog bounds.
    Call_source() = default;
    /// `room` is called on the thread on which a call begins or is dropped; see awaitRoom.
    Call_source(std::shared_ptr<Backlog> backlog, std::function<void()> room)
        : m_backlog(std::move(backlog)), m_room(std::move(room)) {}
    Call_source(Call_source const&) = delete;
    Call_source& operator=(Call_source const&) = delete;

    void taken(std::size_t bytes) noexcept;
    /// A call that was taken has begun, or never will. Any thread.
    void left(std::size_t bytes);

    bool mayTake() const noexcept { return !m_backlog || m_waiting == 0 || !m_backlog->isFull(); }
    /// Calls `room` once, when the next call of this source leaves. A caller asks mayTake again afterwards:
    /// that call may have left in between.
    void awaitRoom() noexcept { m_awaitsRoom = true; }

private:
    std::shared_ptr<Backlog> const m_backlog;
    std::function<void()> const m_room;
    std::atomic<std::size_t> m_waiting{0};  // calls that were taken and have not begun
    // Sequentially consistent together with m_waiting: either the call that leaves sees the wish, or who
    // wishes sees that it left.
    std::atomic<bool> m_awaitsRoom{false};
};

}  // namespace eb::com::runtime
