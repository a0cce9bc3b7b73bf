#include <ac/com/cpp_binding/proxy/Event_base.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/com/runtime/Log.h"

namespace ac::com::cpp_binding::proxy {
namespace {

using eb::com::runtime::Event_state;
using Service_state = eb::com::runtime::Client::Service_state;

Subscription_state toSubscriptionState(Event_state state) {
    switch (state) {
        case Event_state::subscribed:
            return Subscription_state::kSubscribed;
        case Event_state::pending:
            return Subscription_state::kSubscriptionPending;
        case Event_state::not_subscribed:
            break;
    }
    return Subscription_state::kNotSubscribed;
}

/// Lets one thread at a time through, and that one again from inside. Its user's mutex guards it.
class Turn {
public:
    bool isMine() const { return m_depth != 0 && m_thread == std::this_thread::get_id(); }
    bool isFree() const { return m_depth == 0 || isMine(); }
    void enter() {
        m_thread = std::this_thread::get_id();
        ++m_depth;
    }
    void leave() { --m_depth; }

private:
    std::thread::id m_thread;
    unsigned m_depth = 0;
};

}  // namespace

/// What outlives the event while notices are on their way.
///
///     idle --first subscriber--> listening (a Feed is subscribed on the port) --last one gone--> idle
///     any --close--> closed
///
/// A notice from a Feed that is not the present one comes too late and is dropped. Users' functions run
/// without a lock, in a Turn: the owner's for event_updated, a subscriber's own for its notices.
struct Event_base::Core : std::enable_shared_from_this<Core> {
    using Notice = std::function<void(Event_subscriber&)>;
    struct Feed;
    class Visit;
    struct Subscriber {
        explicit Subscriber(Event_subscriber* newUser) : user(newUser) {}

        Event_subscriber* const user;
        Turn turn;             // guarded by mutex
        bool removed = false;  // guarded by mutex
    };

    Core(Event_base* newOwner, std::shared_ptr<eb::com::runtime::Client_port> newPort,
         unsigned short newEventId, eb::com::runtime::Service_info newInfo)
        : eventId(newEventId), info(std::move(newInfo)), owner(newOwner), port(std::move(newPort)) {}

    void add(Event_subscriber* user, bool tellState);
    void remove(Event_subscriber* user);
    void move(std::shared_ptr<eb::com::runtime::Client_port> newPort);
    void close();
    void update(Feed const* from, eb::com::runtime::Serialized_payload payload);
    void change(Feed const* from, Subscription_state next);
    void tellAll(Notice const& notice);

    unsigned short const eventId;
    eb::com::runtime::Service_info const info;
    std::atomic<Subscription_state> state{Subscription_state::kNotSubscribed};  // written under mutex

    std::mutex connection;  // taken before mutex; held while the port is told, which calls nobody back
    std::mutex mutex;
    std::condition_variable turned;                        // a turn has ended
    Event_base* const owner;                               // not used once closed
    Turn ownersTurn;                                       // guarded by mutex
    bool closed = false;                                   // guarded by mutex
    std::vector<std::shared_ptr<Subscriber>> subscribers;  // guarded by mutex
    std::shared_ptr<Feed> feed;                            // guarded by mutex
    std::shared_ptr<eb::com::runtime::Client_port> port;   // guarded by connection
    std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle>
        subscription;  // guarded by connection

private:
    void listen();
    void stopListening();
    bool isLate(Feed const* from) const { return closed || (from != nullptr && from != feed.get()); }
    void tell(Subscriber& subscriber, Notice const& notice);
};

/// Holds a turn of the core while it lives, unless `mayEnter` refuses.
class Event_base::Core::Visit {
public:
    template <class May_enter>
    Visit(Core& core, Turn& turn, May_enter mayEnter) : m_core(core), m_turn(turn) {
        std::unique_lock lock(m_core.mutex);
        m_core.turned.wait(lock, [this] { return m_turn.isFree(); });
        m_entered = mayEnter();
        if (m_entered) m_turn.enter();
    }
    ~Visit() {
        if (!m_entered) return;
        std::lock_guard lock(m_core.mutex);
        m_turn.leave();
        m_core.turned.notify_all();
    }
    Visit(Visit const&) = delete;
    Visit& operator=(Visit const&) = delete;

    explicit operator bool() const noexcept { return m_entered; }

private:
    Core& m_core;
    Turn& m_turn;
    bool m_entered = false;
};

/// One subscription on one port.
struct Event_base::Core::Feed : eb::com::runtime::Event_sink {
    explicit Feed(std::weak_ptr<Core> newCore) : core(std::move(newCore)) {}

    void event_updated(eb::com::runtime::Serialized_payload payload) override {
        if (auto const present = core.lock()) present->update(this, std::move(payload));
    }
    void event_state_changed(Event_state state) override {
        if (auto const present = core.lock()) present->change(this, toSubscriptionState(state));
    }
    void service_state_changed(Service_state state) override {
        auto const present = core.lock();
        if (present && state == Service_state::unavailable)
            present->change(this, Subscription_state::kNotSubscribed);
    }

    std::weak_ptr<Core> const core;
};

void Event_base::Core::add(Event_subscriber* user, bool tellState) {
    std::shared_ptr<Subscriber> subscriber;
    {
        std::lock_guard connecting(connection);
        {
            std::lock_guard lock(mutex);
            if (closed) return;
            auto const known = std::find_if(subscribers.begin(), subscribers.end(),
                                            [&](auto const& one) { return one->user == user; });
            subscriber = known != subscribers.end()
                             ? *known
                             : subscribers.emplace_back(std::make_shared<Subscriber>(user));
        }
        try {
            if (!subscription) listen();
        } catch (...) {
            std::lock_guard lock(mutex);
            std::erase(subscribers, subscriber);
            throw;
        }
    }
    if (tellState)
        tell(*subscriber, [this](Event_subscriber& told) { told.on_subscription_state_change(state); });
}

void Event_base::Core::remove(Event_subscriber* user) {
    std::shared_ptr<Subscriber> subscriber;
    {
        std::lock_guard connecting(connection);
        std::unique_lock lock(mutex);
        auto const known = std::find_if(subscribers.begin(), subscribers.end(),
                                        [&](auto const& one) { return one->user == user; });
        if (known == subscribers.end()) return;
        subscriber = *known;
        subscriber->removed = true;
        subscribers.erase(known);
        bool const wasLast = subscribers.empty();
        if (wasLast) state = Subscription_state::kNotSubscribed;
        lock.unlock();
        if (wasLast) stopListening();
    }
    std::unique_lock lock(mutex);
    turned.wait(lock, [&] { return subscriber->turn.isFree(); });
}

void Event_base::Core::move(std::shared_ptr<eb::com::runtime::Client_port> newPort) {
    std::lock_guard connecting(connection);
    port.swap(newPort);
    if (!subscription) return;
    stopListening();
    listen();  // and the state stays what it is until the new port tells its own
}

void Event_base::Core::close() {
    {
        std::unique_lock lock(mutex);
        closed = true;
        turned.wait(lock, [this] { return ownersTurn.isFree(); });
    }
    std::lock_guard connecting(connection);
    if (subscription) stopListening();
}

/// Under `connection`.
void Event_base::Core::listen() {
    auto const next = std::make_shared<Feed>(weak_from_this());
    {
        std::lock_guard lock(mutex);
        feed = next;
    }
    subscription = port->subscribe(eventId, next);
}

/// Under `connection`.
void Event_base::Core::stopListening() {
    std::shared_ptr<Feed> last;
    {
        std::lock_guard lock(mutex);
        last.swap(feed);
    }
    subscription.reset();
}

void Event_base::Core::update(Feed const* from, eb::com::runtime::Serialized_payload payload) {
    Visit const visit(*this, ownersTurn, [&] { return !isLate(from); });
    if (visit) owner->event_updated(std::move(payload));
}

void Event_base::Core::change(Feed const* from, Subscription_state next) {
    {
        std::lock_guard lock(mutex);
        if (isLate(from) || state.exchange(next) == next) return;
    }
    tellAll([next](Event_subscriber& told) { told.on_subscription_state_change(next); });
}

void Event_base::Core::tellAll(Notice const& notice) {
    std::vector<std::shared_ptr<Subscriber>> present;
    {
        std::lock_guard lock(mutex);
        present = subscribers;
    }
    for (auto const& subscriber : present) tell(*subscriber, notice);
}

void Event_base::Core::tell(Subscriber& subscriber, Notice const& notice) {
    Visit const visit(*this, subscriber.turn, [&] { return !closed && !subscriber.removed; });
    if (!visit) return;
    try {
        notice(*subscriber.user);
    } catch (std::exception const& exception) {
        eb::com::runtime::log(ara::log::LogLevel::kError,
                              std::string("exception out of an event's subscriber: ") + exception.what());
    } catch (...) {
        eb::com::runtime::log(ara::log::LogLevel::kError, "unknown exception out of an event's subscriber");
    }
}

Event_base::Event_base(unsigned short event_id, eb::com::runtime::Service_info info,
                       std::shared_ptr<eb::com::runtime::Client_port> port)
    : m_core(std::make_shared<Core>(this, std::move(port), event_id, std::move(info))) {}

Event_base::~Event_base() {
    close();
}

// Each keeps the core by itself: a subscriber may end the event from inside.

void Event_base::internal_subscribe(Event_subscriber* subscriber, bool tell_state) {
    auto const core = m_core;
    core->add(subscriber, tell_state);
}

void Event_base::internal_unsubscribe(Event_subscriber* subscriber) {
    auto const core = m_core;
    core->remove(subscriber);
}

void Event_base::notify_all_subscribers() {
    auto const core = m_core;
    core->tellAll([](Event_subscriber& told) { told.on_event_sample(); });
}

void Event_base::event_state_changed(Event_state state) {
    auto const core = m_core;
    core->change(nullptr, toSubscriptionState(state));
}

void Event_base::service_state_changed(Service_state state) {
    auto const core = m_core;
    if (state == Service_state::unavailable) core->change(nullptr, Subscription_state::kNotSubscribed);
}

void Event_base::rebind(std::shared_ptr<eb::com::runtime::Client_port> port) {
    auto const core = m_core;
    core->move(std::move(port));
}

Subscription_state Event_base::subscription_state() const noexcept {
    return m_core->state;
}

void Event_base::close() noexcept {
    m_core->close();
}

}  // namespace ac::com::cpp_binding::proxy
