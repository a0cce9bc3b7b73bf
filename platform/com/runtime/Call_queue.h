#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <optional>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>

#include "platform/com/runtime/Session.h"

namespace eb::com::runtime {

/// A call that was taken and has not begun.
struct Waiting_call {
    ac::com::cpp_binding::skeleton::Method_call_handler const* handler;
    ac::com::cpp_binding::skeleton::Reply_function reply;  // empty for a call that wants no answer
    Serialized_payload payload;
    std::shared_ptr<Session> session;
};

/// The calls that wait for one dispatcher. Those of one source keep their order; sources take turns, so that
/// a call waits for one call of each other source and not for all that others have sent.
/// Guarded by its owner.
class Call_queue {
public:
    void push(Waiting_call call);
    std::optional<Waiting_call> pop();

    /// What came from a source, for the caller to destroy outside its locks.
    std::list<Waiting_call> takeAllOf(Call_source const& source);
    std::list<Waiting_call> takeAll();

    std::size_t size() const noexcept { return m_size; }

private:
    std::map<Call_source const*, std::list<Waiting_call>> m_calls;  // no list is empty
    Call_source const* m_lastServed = nullptr;
    std::size_t m_size = 0;
};

}  // namespace eb::com::runtime
