#pragma once

#include <cstdint>
#include <memory>

#include <ara/log/Logger.h>
#include <eb/com/runtime/Client_port.h>

namespace ac::com::cpp_binding::proxy {

/// What a subscriber is told of its subscription.
enum class Subscription_state : std::uint8_t { kSubscribed, kSubscriptionPending, kNotSubscribed };

/// Hears of one event through Event_base. Called on a runtime thread, one call at a time.
class ARA_API Event_subscriber {
public:
    virtual ~Event_subscriber() = default;

    /// A sample has come.
    virtual void on_event_sample() = 0;
    virtual void on_subscription_state_change(Subscription_state state) = 0;
};

/// One event of one service instance on the client's side: shares a single subscription on the port among all
/// subscribers of this process. The subscription stands from the first subscriber to the last.
///
/// Owned by the binding. Whoever derives calls `close` first thing in his destructor, since samples would
/// otherwise still come for what has gone. Any thread may subscribe and unsubscribe.
class ARA_API Event_base {
public:
    /// `event_id` counts the interface's events from 0 in alphabetical order.
    Event_base(unsigned short event_id, eb::com::runtime::Service_info info,
               std::shared_ptr<eb::com::runtime::Client_port> port);
    virtual ~Event_base();
    Event_base(Event_base const&) = delete;
    Event_base& operator=(Event_base const&) = delete;

    /// Adds a subscriber; it is told of samples and state changes from then on, and of the present state
    /// before this returns, on the calling thread, if `tell_state`. A subscriber that is there already isn't
    /// added again. What the port throws leaves no subscriber behind.
    void internal_subscribe(Event_subscriber* subscriber, bool tell_state);

    /// Removes a subscriber. No call of it runs or starts afterwards: it waits for one that is running,
    /// unless it is called from inside it. So no lock that the subscriber takes may be held here.
    void internal_unsubscribe(Event_subscriber* subscriber);

    /// Calls each subscriber's sample notice.
    void notify_all_subscribers();

    /// The runtime's own notices; the binding may call them to pass on what it knows.
    void event_state_changed(eb::com::runtime::Event_state state);
    void service_state_changed(eb::com::runtime::Client::Service_state state);

    /// Moves the subscription to another port of the same instance, as when the instance was lost and found
    /// again. Subscribers stay.
    void rebind(std::shared_ptr<eb::com::runtime::Client_port> port);

    Subscription_state subscription_state() const noexcept;

    /// Ends the subscription. No event_updated runs or starts afterwards, unless called from inside it.
    void close() noexcept;

protected:
    /// A sample came, before any subscriber hears of it; has to call notify_all_subscribers to tell them.
    virtual void event_updated(eb::com::runtime::Serialized_payload payload) = 0;

private:
    struct Core;
    std::shared_ptr<Core> m_core;
};

}  // namespace ac::com::cpp_binding::proxy
