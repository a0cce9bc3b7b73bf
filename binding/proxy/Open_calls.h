#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "binding/adapter/Platform_adapter.h"
#include "binding/incident/Records.h"

namespace ac::com::cpp_binding::proxy {

/// The calls of one proxy method that have no answer yet. What ends a call takes its promise out, so that
/// each promise is completed once, whatever comes late or twice; a promise that nobody completes breaks.
///
///   (add) --> open --take--> answered: whoever took the promise completes it
///              |
///              '---abort--> given up: the promise breaks
///
/// Shared by the method and by the answers under way. Any thread; the lock is held for the exchange alone.
class Open_calls {
public:
    using Id = std::uint64_t;

    explicit Open_calls(log::Method_record method) : m_method(std::move(method)) {}

    log::Method_record const& method() const noexcept { return m_method; }

    /// Takes a call's promise in. 0 if the method has been aborted.
    Id add(std::shared_ptr<void> promise);

    /// Joins the runtime's call to it, to be cancelled by `abort`; at once if the method has been aborted. A
    /// call that has ended needs none.
    void under_way(Id id, adapter::Sent_call call);

    /// The promise of a call that ends; null if it has ended before.
    std::shared_ptr<void> take(Id id);

    /// Ends all calls, and takes no further one.
    void abort() noexcept;

    bool aborted() const;
    std::size_t size() const;

private:
    struct Call {
        std::shared_ptr<void> promise;
        adapter::Sent_call sent;  // not valid until it was sent
    };

    log::Method_record const m_method;
    mutable std::mutex m_mutex;
    std::map<Id, Call> m_calls;  // guarded by m_mutex
    Id m_last = 0;               // guarded by m_mutex
    bool m_aborted = false;      // guarded by m_mutex
};

}  // namespace ac::com::cpp_binding::proxy
