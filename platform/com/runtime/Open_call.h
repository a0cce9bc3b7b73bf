#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include <eb/com/runtime/Client_port.h>

#include "platform/com/runtime/Answers.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Loop.h"

namespace eb::com::runtime {

class Call_registry;

/// A call that a client made, whichever carrier has it.
///
///     open --finish, by whoever comes first--> ended (the answer is on its way to the user)
///
/// Owned by the registry until it ends, and by the user as long as he likes. Any thread, but for `onEnd` and
/// `timer`. The user's functions run on the thread of the answers.
class Open_call : public Method_call, public std::enable_shared_from_this<Open_call> {
    std::shared_ptr<Call_registry> const m_registry;  // first: the timer needs its loop to the end

public:
    Open_call(std::shared_ptr<Call_registry> registry, void const* port, Client_port::Reply reply)
        : m_registry(std::move(registry)), m_port(port), m_reply(std::move(reply)) {}

    void cancel() override { finish({Call_outcome::cancelled, 0, {}, "cancelled"}); }
    void on_failure(std::function<void(Call_result const&)> failed) override;
    void finish(Call_result result);
    bool ended() const noexcept { return m_ended; }

    // For the carrier, on the io thread.
    Clock::Timer timer;           ///< of the limit
    std::function<void()> onEnd;  ///< what the carrier has to tidy up

private:
    friend class Call_registry;
    void const* const m_port;
    // Guarded by the registry's mutex:
    Client_port::Reply m_reply;
    std::function<void(Call_result const&)> m_failed;
    std::optional<Call_result> m_failure;  // until somebody wants to know
    std::atomic<bool> m_ended{false};      // set under the registry's mutex
    Counted m_counted{counters().calls};
};

/// The open calls of a runtime, so that none outlives its port or the runtime. Any thread.
class Call_registry : public std::enable_shared_from_this<Call_registry> {
public:
    Call_registry(std::shared_ptr<Loop> loop, std::shared_ptr<Answers> answers)
        : m_loop(std::move(loop)), m_answers(std::move(answers)) {}

    /// Null once `endAll` was called for all ports.
    std::shared_ptr<Open_call> add(void const* port, Client_port::Reply reply);

    /// Cancels the calls of a port; null means every port, and takes no more.
    void endAll(void const* port, std::string const& detail);

private:
    friend class Open_call;

    std::shared_ptr<Loop> const m_loop;
    std::shared_ptr<Answers> const m_answers;
    std::mutex m_mutex;
    bool m_ended = false;                                                // guarded by m_mutex
    std::unordered_map<Open_call*, std::shared_ptr<Open_call>> m_calls;  // guarded by m_mutex
};

}  // namespace eb::com::runtime
