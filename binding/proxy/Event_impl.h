#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "binding/proxy/Event.h"
#include "binding/proxy/Event_impl_base.h"
#include "binding/proxy/Proxy_base.h"

namespace ac::com::cpp_binding::proxy {

/// One proxy's view of an event of type E::Value. All proxies of one instance share the Event behind it.
template <class E>
class Event_impl final : public Event_impl_base {
public:
    using Value = typename E::Value;

    explicit Event_impl(std::shared_ptr<Event<E>> event) : Event_impl_base(std::move(event)) {}

    /// The view of a new proxy.
    static std::shared_ptr<Event_impl> make(Proxy_base& proxy, unsigned short event_id) {
        auto impl = std::make_shared<Event_impl>(event_of(proxy, event_id));
        proxy.on_abort([weak = std::weak_ptr(impl)] {
            if (auto const present = weak.lock()) {
                present->stop_relying();
            }
        });
        return impl;
    }

    bool update(std::function<bool(Value const&)> const& pass_on) {
        if (!pass_on) {
            return Event_impl_base::update({});
        }
        return Event_impl_base::update(
            [&](Sample const& sample) { return pass_on(*static_cast<Value const*>(sample.get())); });
    }

    std::vector<std::shared_ptr<Value const>> cached_samples() const {
        std::vector<std::shared_ptr<Value const>> values;
        for (Sample const& sample : Event_impl_base::cached_samples()) {
            values.push_back(std::static_pointer_cast<Value const>(sample));
        }
        return values;
    }

private:
    friend struct Event_access;  // for tests: forgets events, as a new process would have none

    static std::shared_ptr<Event<E>> event_of(Proxy_base& proxy, unsigned short event_id) {
        std::shared_ptr<Event<E>> event;
        {
            std::lock_guard const lock(m_evt_inst_mutex);
            Event_ptr<E>& place = m_event_instances[proxy.handle().instance];
            event = place.lock();
            if (!event) {
                event = std::make_shared<Event<E>>(event_id, proxy.handle(), proxy.port());
                place = Event_ptr<E>(event);
            }
        }
        event->enter(proxy.port());
        return event;
    }

    // Never destroyed: proxies of static duration, and threads that are never joined, may still use them
    // while the process ends. There is one event for each instance of the deployment that a proxy was made
    // for.
    static inline std::mutex& m_evt_inst_mutex = *new std::mutex;
    static inline auto& m_event_instances =
        *new std::map<eb::com::runtime::Instance_id, Event_ptr<E>>;  // guarded by m_evt_inst_mutex
};

}  // namespace ac::com::cpp_binding::proxy
