#include "platform/com/local/Local_carrier.h"

#include <atomic>
#include <string>
#include <utility>

#include "platform/com/runtime/Log.h"
#include "platform/com/someip/Frame.h"

namespace eb::com::runtime {

/// One call that a service of this process has. Ends with the last copy of its reply function. Any thread.
class Local_carrier::Session {
public:
    Session(std::shared_ptr<Local_carrier> const& carrier, std::shared_ptr<Open_call> call)
        : m_loop(carrier->m_loop),
          m_carrier(carrier),
          m_call(std::move(call)),
          m_messageBytes(carrier->m_limits.messageBytes) {}
    ~Session() {
        try {
            m_loop->post([weak = m_carrier] {
                if (auto const carrier = weak.lock()) carrier->sessionEnded();
            });
        } catch (...) {
            log(ara::log::LogLevel::kError, "no memory to end a call");
        }
    }
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    void reply(std::uint8_t code, Serialized_payload payload) {
        if (m_answered.exchange(true)) return;
        if (payload.bytes().size() > m_messageBytes) {
            log(ara::log::LogLevel::kError, "a reply of " + std::to_string(payload.bytes().size()) +
                                                " bytes is too long for its carrier");
            code = someip::E_NOT_OK;
            payload = {};
        }
        m_call->finish({Call_outcome::answered, code, std::move(payload), {}});
    }

private:
    std::shared_ptr<Loop> const m_loop;
    std::weak_ptr<Local_carrier> const m_carrier;
    std::shared_ptr<Open_call> const m_call;
    std::size_t const m_messageBytes;
    std::atomic<bool> m_answered{false};
    Counted m_counted{counters().sessions};
};

void Local_carrier::send(std::shared_ptr<Open_call> const& call,
                         std::shared_ptr<Provided_service> const& service, unsigned short method,
                         Serialized_payload const& request) {
    std::size_t const bytes = request.bytes().size();
    if (bytes > m_limits.messageBytes || m_waitingBytes + bytes > m_limits.sendQueueBytes) {
        std::string const reason = bytes > m_limits.messageBytes ? "is too long" : "finds the queue full";
        return call->finish({Call_outcome::transport,
                             0,
                             {},
                             "local: a request of " + std::to_string(bytes) + " bytes " + reason});
    }
    Waiting waiting{call, service, method, request};
    if (m_calls < m_limits.outstandingCalls) return deliver(waiting);
    m_waitingBytes += bytes + someip::HEADER_BYTES;
    m_waiting.push_back(std::move(waiting));
}

void Local_carrier::deliver(Waiting const& waiting) {
    auto const service = waiting.service.lock();
    if (waiting.call->ended()) return;
    if (!service)
        return waiting.call->finish({Call_outcome::not_available, 0, {}, "local: the service has gone"});
    ++m_calls;
    auto const session = std::make_shared<Session>(shared_from_this(), waiting.call);
    service->deliver(
        waiting.method,
        [session](std::uint8_t code, Serialized_payload payload) {
            session->reply(code, std::move(payload));
        },
        waiting.request, session);
}

void Local_carrier::sessionEnded() {
    --m_calls;
    while (m_calls < m_limits.outstandingCalls && !m_waiting.empty()) {
        Waiting const waiting = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_waitingBytes -= waiting.request.bytes().size() + someip::HEADER_BYTES;
        deliver(waiting);
    }
}

}  // namespace eb::com::runtime
