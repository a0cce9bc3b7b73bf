#pragma once

#include <atomic>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <utility>

#include <ac/com/Strand.h>
#include <eb/com/runtime/Service_finder.h>

namespace ac::com::cpp_binding {

/// A running search for a service. Copies stand for the same search, which runs until the last of them goes
/// or one of them stops it. Each copy is used by one thread at a time.
///
/// A list that was found already still reaches the handler after the last copy has gone. So whoever owns what
/// the handler uses calls `stop` first.
class Find_service_handle {
public:
    /// Set once the search was stopped: its lists on their way to the handler are dropped.
    using Stopped = std::shared_ptr<std::atomic<bool>>;

    Find_service_handle(unsigned number,
                        std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> subscription,
                        std::shared_ptr<Strand> strand, Stopped stopped) noexcept
        : m_number(number),
          m_subscription(std::move(subscription)),
          m_strand(std::move(strand)),
          m_stopped(std::move(stopped)) {}

    /// Tells searches apart in logs; unique in the process, from 1.
    unsigned number() const noexcept { return m_number; }

    /// Where the handler runs, one call at a time. Its `internal_wait` lets no further call begin and waits
    /// for those that were under way, except from inside the handler.
    std::shared_ptr<Strand> const& strand() const noexcept { return m_strand; }

    /// Ends the search. No call of the handler runs or starts afterwards, except the caller's own: called
    /// from inside the handler, that call is the last.
    void stop() {
        *m_stopped = true;
        m_subscription.reset();
        m_strand->internal_wait();
    }

private:
    unsigned m_number;
    std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> m_subscription;
    std::shared_ptr<Strand> m_strand;
    Stopped m_stopped;
};

namespace log {

/// The number of a search, beside the incident of its start, result or end:
///
///     binding_log().trace([&] { return incidents::Find_service_start{{service, instance}}; },
///                         Search_number{handle.number()});
struct Search_number {
    unsigned number;
};
void to_json(nlohmann::json& json, Search_number const& search);

}  // namespace log
}  // namespace ac::com::cpp_binding
