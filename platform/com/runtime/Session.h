#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

#include "platform/com/runtime/Call_source.h"
#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Loop.h"

namespace eb::com::runtime {

/// One call that the server's side has taken from a carrier. Owned by the copies of its reply function and by
/// the call on its way, so that it ends with the last of them, whether it was answered or not. Any thread.
class Session {
public:
    /// A call with that many bytes, which waits until `begin`. `answer` is called at most once, on the
    /// replying thread; `ended` is posted to the io thread by the destructor.
    Session(std::shared_ptr<Loop> loop, std::shared_ptr<Call_source> source, std::size_t bytes,
            ac::com::cpp_binding::skeleton::Reply_function answer, std::function<void()> ended);
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    Call_source const& source() const noexcept { return *m_source; }

    /// The call waits no longer. The destructor says so for one that never began.
    void begin();

    /// Only the first reply has an effect.
    void reply(std::uint8_t code, Serialized_payload payload);

    static ac::com::cpp_binding::skeleton::Reply_function replyOf(std::shared_ptr<Session> session);

private:
    std::shared_ptr<Loop> const m_loop;
    std::shared_ptr<Call_source> const m_source;
    std::size_t const m_bytes;
    ac::com::cpp_binding::skeleton::Reply_function const m_answer;
    std::function<void()> m_ended;
    std::atomic<bool> m_begun{false};
    std::atomic<bool> m_answered{false};
    Counted m_counted{counters().sessions};
};

}  // namespace eb::com::runtime
