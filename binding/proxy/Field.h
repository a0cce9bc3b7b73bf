#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "binding/proxy/Event_impl.h"
#include "binding/proxy/Method.h"

namespace ara::com::internal::proxy {

using ac::com::cpp_binding::proxy::Event_cache_update_policy;
using ac::com::cpp_binding::proxy::Subscription_state;

/// An event of a generated proxy.
///
///     event.setReceiveHandler([&] { event.update([](auto const& value) { use(value); return true; }); });
///     event.subscribe(1, Event_cache_update_policy::last_n);
///
/// Any thread may call anything, from inside the handlers too. Handlers run on the shared pool, one at a
/// time, without any lock; what one throws is logged, and so is one that takes longer than 500 ms.
/// Destruction ends the subscription as `unsubscribe` does, also from inside a handler.
template <class E>
class Event {
public:
    using Value = typename E::Value;

    /// `event_id` counts the interface's events from 0 in alphabetical order.
    Event(ac::com::cpp_binding::proxy::Proxy_base& proxy, unsigned short event_id)
        : m_binding(ac::com::cpp_binding::proxy::Event_impl<E>::make(proxy, event_id)) {}
    ~Event() { m_binding->close(); }
    Event(Event const&) = delete;
    Event& operator=(Event const&) = delete;

    /// Subscribes with a cache of that many samples, which takes its room at once. The newest sample that
    /// this process has of the instance is delivered once, also one from before an earlier subscription's
    /// end; a field's present value may follow. While subscribed it changes size and policy of the cache,
    /// which is emptied, and nothing else. Does not block. Throws what Client_port::subscribe throws.
    void subscribe(std::size_t cacheSize,
                   Event_cache_update_policy policy = Event_cache_update_policy::last_n) {
        m_binding->subscribe(cacheSize, policy);
    }

    /// Ends the subscription and empties the cache. No handler runs or starts afterwards: it waits for one
    /// that is running, unless it is called from inside. Without a subscription it returns at once, whatever
    /// runs. The handlers stay for the next subscription.
    void unsubscribe() { m_binding->unsubscribe(); }

    /// Takes the samples that came since the last update, at most as many as the cache holds, the newest, to
    /// the cache, and then passes each to the function, oldest first, until the subscription ends. What the
    /// function returns changes nothing: the cache has the sample. Returns whether it took any; false while
    /// not subscribed. What the function throws is thrown.
    bool update(std::function<bool(Value const&)> const& passOn = {}) { return m_binding->update(passOn); }

    /// What the cache holds, oldest first. The samples live on as long as somebody has them.
    std::vector<std::shared_ptr<Value const>> cachedSamples() const { return m_binding->cached_samples(); }

    /// The function that is told of new samples; it calls `update`. Several samples may be told of at once.
    /// An empty function takes the handler away; one that is running is not waited for.
    void setReceiveHandler(std::function<void()> handler) {
        m_binding->set_receive_handler(std::move(handler));
    }

    /// The function that is told when the subscription is acknowledged, lost, and acknowledged again.
    void setSubscriptionStateHandler(std::function<void(Subscription_state)> handler) {
        m_binding->set_state_handler(std::move(handler));
    }

    Subscription_state subscriptionState() const noexcept { return m_binding->subscription_state(); }

private:
    std::shared_ptr<ac::com::cpp_binding::proxy::Event_impl<E>> m_binding;
};

/// A field of a generated proxy: the event of its changes, and a getter.
template <class F>
class Field : public Event<typename F::Notify> {
public:
    Field(ac::com::cpp_binding::proxy::Proxy_base& proxy, unsigned short notify_id, unsigned short get_id)
        : Event<typename F::Notify>(proxy, notify_id), m_getter(proxy, get_id) {}

    /// Asks the service for the present value.
    eb::com::Future<typename F::Value> get() { return m_getter(); }

private:
    ac::com::cpp_binding::proxy::Method_impl<typename F::Get, true> m_getter;
};

}  // namespace ara::com::internal::proxy
