#pragma once

#include <deque>
#include <memory>

#include "platform/com/runtime/Loop.h"
#include "platform/com/runtime/Open_call.h"
#include "platform/com/runtime/Provided_service.h"

namespace eb::com::runtime {

/// Carries calls between a client and a service of one process without a socket, in the bounds that a
/// connection has: so many calls outstanding, so many bytes waiting behind them, and messages no longer than
/// elsewhere. Owned by the runtime. io thread.
class Local_carrier : public std::enable_shared_from_this<Local_carrier> {
public:
    Local_carrier(std::shared_ptr<Loop> loop, Limits const& limits)
        : m_loop(std::move(loop)), m_limits(limits) {}

    void send(std::shared_ptr<Open_call> const& call, std::shared_ptr<Provided_service> const& service,
              unsigned short method, Serialized_payload const& request);

private:
    struct Waiting {
        std::shared_ptr<Open_call> call;
        std::weak_ptr<Provided_service> service;
        unsigned short method;
        Serialized_payload request;
    };
    void deliver(Waiting const& waiting);
    void sessionEnded();

    std::shared_ptr<Loop> const m_loop;
    std::shared_ptr<Call_source> const m_source = std::make_shared<Call_source>();
    Limits const& m_limits;
    std::size_t m_calls = 0;
    std::deque<Waiting> m_waiting;
    std::size_t m_waitingBytes = 0;
};

}  // namespace eb::com::runtime
