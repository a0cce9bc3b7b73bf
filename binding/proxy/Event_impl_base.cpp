#include "binding/proxy/Event_impl_base.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <ac/com/Deadline_guard.h>

#include "binding/incident/Dlt.h"
#include "binding/incident/incidents.h"
#include "binding/proxy/Callout.h"
#include "binding/task/Shared_pool.h"

namespace ac::com::cpp_binding::proxy {

namespace incidents = log::incidents;

/// Ends the running of a handler, however it ends, and lets those go on who wait for that.
class Event_impl_base::Running_handler {
public:
    Running_handler(Event_impl_base& event, bool posted_by_samples) noexcept
        : m_event(event), m_posted_by_samples(posted_by_samples) {}
    ~Running_handler() {
        std::lock_guard const lock(m_event.m_mutex);
        m_event.m_handler_thread = {};
        if (m_posted_by_samples) {
            m_event.m_handler_posted = false;
        }
        m_event.m_handler_ended.notify_all();
    }
    Running_handler(Running_handler const&) = delete;
    Running_handler& operator=(Running_handler const&) = delete;

private:
    Event_impl_base& m_event;
    bool const m_posted_by_samples;
};

Event_impl_base::Event_impl_base(std::shared_ptr<Event_samples> event)
    : m_record(event->record()), m_event(std::move(event)), m_strand(shared_pool()) {}

void Event_impl_base::subscribe(std::size_t cache_size, Event_cache_update_policy policy) {
    std::vector<Sample> cache(cache_size);
    std::lock_guard const changing(m_change_mutex);
    {
        std::lock_guard const lock(m_mutex);
        m_cache.swap(cache);
        m_policy = policy;
        if (m_subscribed) {
            m_event->make_room(cache_size);
            return;
        }
    }
    m_event->join(cache_size);
    try {
        m_event->internal_subscribe(this, true);
    } catch (...) {
        m_event->leave();
        throw;
    }
    {
        std::lock_guard const lock(m_mutex);
        m_taken = m_noticed = m_event->position_for_latecomer();
        m_subscribed = true;
    }
    on_event_sample();
}

void Event_impl_base::unsubscribe() {
    if (end_subscription()) {
        await_handler();
    }
}

bool Event_impl_base::end_subscription() {
    if (!is_subscribed()) {
        return false;  // also while another thread's unsubscribe waits for notices
    }
    std::vector<Sample> released;
    // Held while a notice that is running is waited for: notices take m_mutex alone, and run no user's
    // function.
    std::lock_guard const changing(m_change_mutex);
    {
        std::lock_guard const lock(m_mutex);
        if (!std::exchange(m_subscribed, false)) {
            return false;
        }
        ++m_life;
        m_cache.swap(released);
        m_taken = m_noticed = 0;
    }
    m_event->internal_unsubscribe(this);
    m_event->leave();
    m_state = Subscription_state::kNotSubscribed;
    return true;
}

bool Event_impl_base::is_subscribed() const {
    std::lock_guard const lock(m_mutex);
    return m_subscribed;
}

void Event_impl_base::close() noexcept {
    end_subscription();
    await_handler();
    stop_relying();
    std::shared_ptr<Event_samples> event;
    Shared_function<void()> receive_handler;
    Shared_function<void(Subscription_state)> state_handler;
    {
        std::lock_guard const changing(m_change_mutex);
        std::lock_guard const lock(m_mutex);
        event.swap(m_event);
        receive_handler.swap(m_receive_handler);
        state_handler.swap(m_state_handler);
    }
    if (event) {
        event->exit();
    }
}

void Event_impl_base::stop_relying() noexcept {
    std::shared_ptr<Event_samples> event;
    {
        std::lock_guard const lock(m_mutex);
        event = m_event;
    }
    if (event && m_relying.exchange(false)) {
        event->stop_relying();
    }
}

void Event_impl_base::set_receive_handler(std::function<void()> handler) {
    replace(m_receive_handler, std::move(handler));
    on_event_sample();
}

void Event_impl_base::set_state_handler(State_handler handler) {
    replace(m_state_handler, std::move(handler));
}

template <class Function>
void Event_impl_base::replace(Shared_function<Function>& handler, std::function<Function> by) {
    Shared_function<Function> shared =
        by ? std::make_shared<std::function<Function> const>(std::move(by)) : nullptr;
    std::lock_guard const lock(m_mutex);
    handler.swap(shared);
}

bool Event_impl_base::update(std::function<bool(Sample const&)> const& pass_on) {
    if (!is_subscribed()) {
        return false;
    }
    log::binding_log().trace([&] { return incidents::Event_cache_update{m_record}; });
    std::vector<Sample> received;
    std::uint64_t life = 0;
    bool took_any = false;
    {
        std::lock_guard const lock(m_mutex);
        if (!m_subscribed) {
            return false;
        }
        received = m_event->take(m_taken, m_cache.size());
        took_any = detail::copy_samples_to_cache(received, m_policy, m_cache);
        life = m_life;
    }
    for (Sample const& sample : received) {
        if (!pass_on || !is_life(life)) {
            break;
        }
        pass_on(sample);
    }
    return took_any;
}

bool Event_impl_base::is_life(std::uint64_t life) const {
    std::lock_guard const lock(m_mutex);
    return life == m_life;
}

std::vector<Sample> Event_impl_base::cached_samples() const {
    std::lock_guard const lock(m_mutex);
    return {m_cache.begin(), std::find(m_cache.begin(), m_cache.end(), nullptr)};
}

void Event_impl_base::on_event_sample() {
    std::lock_guard const lock(m_mutex);
    if (!m_subscribed || !m_receive_handler || m_handler_posted) {
        return;
    }
    std::uint64_t const count = m_event->count();
    if (count == m_taken || count == m_noticed) {
        return;
    }
    m_strand.post([self = shared_from_this(), life = m_life] {
        self->call_receive_handler(life);
        self->on_event_sample();  // of those that came meanwhile
    });
    m_handler_posted = true;
}

void Event_impl_base::on_subscription_state_change(Subscription_state state) {
    m_state = state;
    std::lock_guard const lock(m_mutex);
    if (m_state_handler) {
        m_strand.post(
            [self = shared_from_this(), life = m_life, state] { self->call_state_handler(life, state); });
    }
}

void Event_impl_base::call_receive_handler(std::uint64_t life) {
    Running_handler const running(*this, true);
    Shared_function<void()> handler;
    {
        std::lock_guard const lock(m_mutex);
        if (life != m_life || !m_receive_handler) {
            return;
        }
        handler = m_receive_handler;
        m_noticed = m_event->count();
        m_handler_thread = std::this_thread::get_id();
    }
    log::binding_log().trace([&] { return incidents::Event_receive_handler{m_record}; });
    call_out<incidents::Event_receive_handler_exception, incidents::Event_receive_handler_performance>(
        *handler);
}

void Event_impl_base::call_state_handler(std::uint64_t life, Subscription_state state) {
    Running_handler const running(*this, false);
    Shared_function<void(Subscription_state)> handler;
    {
        std::lock_guard const lock(m_mutex);
        if (life != m_life || !m_state_handler) {
            return;
        }
        handler = m_state_handler;
        m_handler_thread = std::this_thread::get_id();
    }
    call_out<incidents::Event_state_handler_exception, incidents::Event_state_handler_performance>(
        [&] { (*handler)(state); });
}

template <class Exception, class Performance, class Callout>
void Event_impl_base::call_out(Callout const& callout) const {
    Deadline_guard const guard(EVENT_HANDLER_LIMIT, [this](unsigned long time) {
        log::binding_log().trace([&] { return Performance{{m_record, time}}; });
    });
    apply_callout_with_on_exception(callout, [this](std::exception_ptr const& thrown) {
        log::binding_log().trace([&] { return Exception{m_record}; },
                                 [&] { return log::Failure_text{to_string(thrown)}; });
    });
}

void Event_impl_base::await_handler() {
    std::unique_lock lock(m_mutex);
    m_handler_ended.wait(lock, [this] {
        return m_handler_thread == std::thread::id() || m_handler_thread == std::this_thread::get_id();
    });
}

}  // namespace ac::com::cpp_binding::proxy
