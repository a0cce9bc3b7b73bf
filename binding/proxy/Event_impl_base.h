#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <ac/com/Strand.h>

#include "binding/incident/Records.h"
#include "binding/proxy/Event_cache.h"
#include "binding/proxy/Event_samples.h"

namespace ac::com::cpp_binding::proxy {

/// The untyped half of one proxy's view of an event: the subscription, the cache, and the user's handlers.
///
///                  subscribe                        sample, handler set
///   not subscribed ---------> subscribed, no handler ------------------> handler posted or running
///        ^  ^                     |        ^                                  |            |
///        |  |    unsubscribe      |        '------- handler has returned -----'            |
///        |  '---------------------'           (posted again if samples came meanwhile)     |
///        '------------------------------ unsubscribe: waits for it, unless from inside ----'
///
/// Owned by the proxy's event, which closes it; tasks on their way to the strand share it. Handlers run on a
/// strand of the shared pool, one at a time. Any thread may call anything, the handlers too; no handler runs
/// and no sample is passed on with a lock held.
class Event_impl_base : public Event_subscriber, public std::enable_shared_from_this<Event_impl_base> {
public:
    using State_handler = std::function<void(Subscription_state)>;

    explicit Event_impl_base(std::shared_ptr<Event_samples> event);

    void subscribe(std::size_t cache_size, Event_cache_update_policy policy);
    void unsubscribe();
    void set_receive_handler(std::function<void()> handler);
    void set_state_handler(State_handler handler);
    Subscription_state subscription_state() const noexcept { return m_state.load(); }

    /// As unsubscribe, for good: lets go of the event as well.
    void close() noexcept;
    /// Its proxy was aborted: another may take the event to its own port.
    void stop_relying() noexcept;

    void on_event_sample() override;
    void on_subscription_state_change(Subscription_state state) override;

protected:
    bool update(std::function<bool(Sample const&)> const& pass_on);
    std::vector<Sample> cached_samples() const;

private:
    template <class Function>
    using Shared_function = std::shared_ptr<std::function<Function> const>;
    class Running_handler;

    void call_receive_handler(std::uint64_t life);
    void call_state_handler(std::uint64_t life, Subscription_state state);
    bool end_subscription();
    bool is_subscribed() const;
    bool is_life(std::uint64_t life) const;
    void await_handler();
    template <class Function>
    void replace(Shared_function<Function>& handler, std::function<Function> by);
    template <class Exception, class Performance, class Callout>
    void call_out(Callout const& callout) const;

    log::Instance_record const m_record;
    std::mutex m_change_mutex;  // one subscribe or unsubscribe at a time; taken before m_mutex
    mutable std::mutex m_mutex;
    std::shared_ptr<Event_samples> m_event;     // guarded by both; null after close
    bool m_subscribed = false;                  // guarded by m_mutex
    std::uint64_t m_life = 0;                   // guarded by m_mutex; ended subscriptions
    Event_cache_update_policy m_policy{};       // guarded by m_mutex
    std::vector<Sample> m_cache;                // guarded by m_mutex
    std::uint64_t m_taken = 0;                  // guarded by m_mutex; last sample an update took
    std::uint64_t m_noticed = 0;                // guarded by m_mutex; last one a handler was told of
    bool m_handler_posted = false;              // guarded by m_mutex; or running
    std::thread::id m_handler_thread;           // guarded by m_mutex; inside a user's handler
    Shared_function<void()> m_receive_handler;  // guarded by m_mutex
    Shared_function<void(Subscription_state)> m_state_handler;  // guarded by m_mutex
    std::condition_variable m_handler_ended;
    std::atomic<Subscription_state> m_state{Subscription_state::kNotSubscribed};
    std::atomic<bool> m_relying{true};
    Strand m_strand;
};

}  // namespace ac::com::cpp_binding::proxy
