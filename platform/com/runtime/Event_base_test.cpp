// Event_base on a port that the test plays.
#include <ac/com/cpp_binding/proxy/Event_base.h>

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <ac/com/Exceptions.h>

#include "platform/com/testing/Await.h"

namespace ac::com::cpp_binding::proxy {
namespace {

using eb::com::runtime::Client;
using eb::com::runtime::Client_port;
using eb::com::runtime::Event_sink;
using eb::com::runtime::Event_state;
using eb::com::runtime::Method_call;
using eb::com::runtime::Serialized_payload;
using eb::com::runtime::Service_finder;
using eb::com::runtime::testing::eventually;
using eb::com::runtime::testing::Mailbox;

/// Keeps the sink that was subscribed, and counts.
class Port : public Client_port {
public:
    eb::com::Future<std::shared_ptr<Method_call>> call(unsigned short, Serialized_payload, Reply) override {
        return {};
    }
    std::string endpoint() const override { return {}; }

    std::shared_ptr<Service_finder::Subscription_handle> subscribe(
        unsigned short event, std::weak_ptr<Event_sink> newSink) override {
        if (refuses) throw ac::com::Infrastructure_exception("ended");
        sink = std::move(newSink);
        lastEvent = event;
        ++subscribed;
        return std::make_shared<Handle>(*this);
    }

    bool refuses = false;
    std::weak_ptr<Event_sink> sink;
    unsigned short lastEvent = 0xFFFF;
    int subscribed = 0;
    std::atomic<int> open{0};

private:
    struct Handle : Service_finder::Subscription_handle {
        explicit Handle(Port& newPort) : port(newPort) { ++port.open; }
        ~Handle() override { --port.open; }
        Port& port;
    };
};

class Subscriber : public Event_subscriber {
public:
    void on_event_sample() override {
        ++samples;
        if (whenSampled) whenSampled();
    }
    void on_subscription_state_change(Subscription_state state) override { states.push_back(state); }

    std::atomic<int> samples{0};
    std::function<void()> whenSampled;
    std::vector<Subscription_state> states;
};

class Event : public Event_base {
public:
    Event(std::shared_ptr<Client_port> port) : Event_base(3, {{"test::Events"}, {"1"}}, std::move(port)) {}
    ~Event() override { close(); }
    void event_updated(Serialized_payload) override {
        ++updates;
        if (whenUpdated) whenUpdated();
        notify_all_subscribers();
    }
    using Event_base::close;

    std::atomic<int> updates{0};
    std::function<void()> whenUpdated;
};

using States = std::vector<Subscription_state>;
constexpr auto SUBSCRIBED = Subscription_state::kSubscribed;
constexpr auto PENDING = Subscription_state::kSubscriptionPending;
constexpr auto NOT_SUBSCRIBED = Subscription_state::kNotSubscribed;

class Event_base_test : public ::testing::Test {
protected:
    std::shared_ptr<Event_sink> sink() const { return m_port->sink.lock(); }
    void sample() const { sink()->event_updated({}); }

    std::shared_ptr<Port> const m_port = std::make_shared<Port>();
    std::unique_ptr<Event> m_event = std::make_unique<Event>(m_port);
    Subscriber m_one;
    Subscriber m_other;
};

TEST_F(Event_base_test, SubscriptionStandsFromTheFirstSubscriberToTheLast) {
    EXPECT_EQ(m_port->open, 0);
    m_event->internal_subscribe(&m_one, false);
    m_event->internal_subscribe(&m_other, false);
    m_event->internal_subscribe(&m_other, false);
    EXPECT_EQ(m_port->subscribed, 1);
    EXPECT_EQ(m_port->lastEvent, 3);
    sample();
    EXPECT_EQ(m_one.samples, 1);
    EXPECT_EQ(m_other.samples, 1) << "is subscribed once";

    m_event->internal_unsubscribe(&m_one);
    EXPECT_EQ(m_port->open, 1);
    m_event->internal_unsubscribe(&m_other);
    EXPECT_EQ(m_port->open, 0);
    m_event->internal_unsubscribe(&m_other);
    m_event->internal_subscribe(&m_one, false);
    EXPECT_EQ(m_port->subscribed, 2);
}

TEST_F(Event_base_test, StateIsToldAtOnceToWhoWantsIt) {
    m_event->internal_subscribe(&m_one, true);
    EXPECT_EQ(m_one.states, States{NOT_SUBSCRIBED});
    sink()->event_state_changed(Event_state::subscribed);
    m_event->internal_subscribe(&m_other, true);
    EXPECT_EQ(m_other.states, States{SUBSCRIBED});
    Subscriber silent;
    m_event->internal_subscribe(&silent, false);
    EXPECT_TRUE(silent.states.empty());
    m_event->internal_unsubscribe(&silent);
}

TEST_F(Event_base_test, ChangesOfStateAreToldOnce) {
    m_event->internal_subscribe(&m_one, false);
    for (Event_state const state : {Event_state::pending, Event_state::pending, Event_state::subscribed})
        sink()->event_state_changed(state);
    EXPECT_EQ(m_event->subscription_state(), SUBSCRIBED);
    sink()->service_state_changed(Client::Service_state::available);
    sink()->service_state_changed(Client::Service_state::unavailable);
    sink()->event_state_changed(Event_state::not_subscribed);
    EXPECT_EQ(m_one.states, (States{PENDING, SUBSCRIBED, NOT_SUBSCRIBED}));
}

TEST_F(Event_base_test, BindingMayPassOnStatesItself) {
    m_event->internal_subscribe(&m_one, false);
    m_event->event_state_changed(Event_state::subscribed);
    m_event->service_state_changed(Client::Service_state::available);
    m_event->service_state_changed(Client::Service_state::unavailable);
    EXPECT_EQ(m_one.states, (States{SUBSCRIBED, NOT_SUBSCRIBED}));
}

TEST_F(Event_base_test, LastUnsubscribeLeavesTheStateNotSubscribed) {
    m_event->internal_subscribe(&m_one, false);
    sink()->event_state_changed(Event_state::subscribed);
    m_event->internal_unsubscribe(&m_one);
    EXPECT_EQ(m_event->subscription_state(), NOT_SUBSCRIBED);
}

TEST_F(Event_base_test, SubscriberMayLeaveFromInsideItsNotice) {
    m_event->internal_subscribe(&m_one, false);
    m_event->internal_subscribe(&m_other, false);
    m_one.whenSampled = [this] { m_event->internal_unsubscribe(&m_one); };
    sample();
    sample();
    EXPECT_EQ(m_one.samples, 1);
    EXPECT_EQ(m_other.samples, 2);
}

TEST_F(Event_base_test, SubscriberMayRemoveAnotherBeforeItsTurn) {
    m_event->internal_subscribe(&m_one, false);
    m_event->internal_subscribe(&m_other, false);
    m_one.whenSampled = [this] { m_event->internal_unsubscribe(&m_other); };
    sample();
    EXPECT_EQ(m_other.samples, 0);
}

TEST_F(Event_base_test, SubscriberMayComeFromInsideANoticeAndHearsTheNextSample) {
    m_event->internal_subscribe(&m_one, false);
    m_one.whenSampled = [this] { m_event->internal_subscribe(&m_other, true); };
    sample();
    EXPECT_EQ(m_other.samples, 0);
    sample();
    EXPECT_EQ(m_other.samples, 1);
}

TEST_F(Event_base_test, UnsubscribeWaitsForARunningNotice) {
    Mailbox<bool> entered;
    Mailbox<bool> release;
    std::atomic<bool> over{false};
    std::atomic<bool> unsubscribed{false};
    m_event->internal_subscribe(&m_one, false);
    m_one.whenSampled = [&] {
        entered.put(true);
        release.take();
        over = true;
    };
    auto const present = sink();
    std::thread runtime([&] { present->event_updated({}); });
    ASSERT_TRUE(entered.take());

    std::thread leaving([&] {
        m_event->internal_unsubscribe(&m_one);
        EXPECT_TRUE(over);
        unsubscribed = true;
    });
    EXPECT_TRUE(eventually([this] { return m_port->open == 0; })) << "it is waiting now";
    EXPECT_FALSE(unsubscribed);
    release.put(true);
    runtime.join();
    leaving.join();
    EXPECT_EQ(m_one.samples, 1);
}

TEST_F(Event_base_test, UnsubscribeDoesNotWaitForTheNoticeOfAnother) {
    Mailbox<bool> entered;
    Mailbox<bool> release;
    m_event->internal_subscribe(&m_one, false);
    m_event->internal_subscribe(&m_other, false);
    m_one.whenSampled = [&] {
        entered.put(true);
        release.take();
    };
    auto const present = sink();
    std::thread runtime([&] { present->event_updated({}); });
    ASSERT_TRUE(entered.take());
    m_event->internal_unsubscribe(&m_other);
    release.put(true);
    runtime.join();
    EXPECT_EQ(m_other.samples, 0);
}

TEST_F(Event_base_test, CloseWaitsForARunningUpdateAndLetsNoneThrough) {
    Mailbox<bool> entered;
    Mailbox<bool> release;
    std::atomic<bool> over{false};
    m_event->internal_subscribe(&m_one, false);
    m_event->whenUpdated = [&] {
        entered.put(true);
        release.take();
        over = true;
    };
    auto const present = sink();
    std::thread runtime([&] {
        present->event_updated({});
        present->event_updated({});
    });
    ASSERT_TRUE(entered.take());
    std::thread closing([&] {
        m_event->close();
        EXPECT_TRUE(over);
    });
    release.put(true);
    closing.join();
    runtime.join();
    EXPECT_LE(m_event->updates, 2);
    int const before = m_event->updates;
    present->event_updated({});
    present->event_state_changed(Event_state::subscribed);
    EXPECT_EQ(m_event->updates, before);
    EXPECT_EQ(m_port->open, 0);
    m_event->internal_subscribe(&m_other, true);
    EXPECT_EQ(m_port->open, 0) << "a closed event subscribes no more";
}

TEST_F(Event_base_test, EventMayEndInsideItsOwnUpdateAndInsideANotice) {
    m_event->internal_subscribe(&m_one, false);
    m_one.whenSampled = [this] { m_event.reset(); };
    m_event->internal_subscribe(&m_other, false);
    auto const present = sink();
    // The derived object is gone when its update returns, so the update must end with the notice.
    present->event_updated({});
    EXPECT_EQ(m_one.samples, 1);
    EXPECT_EQ(m_other.samples, 0);
    EXPECT_EQ(m_port->open, 0);
    present->event_updated({});
    EXPECT_EQ(m_one.samples, 1);
}

TEST_F(Event_base_test, RebindMovesTheSubscriptionAndDropsWhatTheOldPortStillSays) {
    m_event->internal_subscribe(&m_one, false);
    auto const oldSink = sink();
    oldSink->event_state_changed(Event_state::subscribed);
    auto const port = std::make_shared<Port>();
    m_event->rebind(port);
    EXPECT_EQ(m_port->open, 0);
    EXPECT_EQ(port->open, 1);
    oldSink->event_updated({});
    oldSink->event_state_changed(Event_state::not_subscribed);
    oldSink->service_state_changed(Client::Service_state::unavailable);
    EXPECT_EQ(m_one.samples, 0);
    EXPECT_EQ(m_event->subscription_state(), SUBSCRIBED) << "until the new port says otherwise";
    port->sink.lock()->event_state_changed(Event_state::pending);
    port->sink.lock()->event_updated({});
    EXPECT_EQ(m_one.samples, 1);
    EXPECT_EQ(m_one.states, (States{SUBSCRIBED, PENDING}));
    m_event->internal_unsubscribe(&m_one);
    EXPECT_EQ(port->open, 0);
}

TEST_F(Event_base_test, RebindWithoutSubscribersWaitsForTheFirst) {
    auto const port = std::make_shared<Port>();
    m_event->rebind(port);
    EXPECT_EQ(port->subscribed, 0);
    m_event->internal_subscribe(&m_one, false);
    EXPECT_EQ(port->subscribed, 1);
    EXPECT_EQ(m_port->subscribed, 0);
    m_event.reset();
}

TEST_F(Event_base_test, PortThatRefusesLeavesNoSubscriber) {
    m_port->refuses = true;
    EXPECT_THROW(m_event->internal_subscribe(&m_one, true), ac::com::Infrastructure_exception);
    EXPECT_TRUE(m_one.states.empty());
    m_port->refuses = false;
    m_event->internal_subscribe(&m_other, false);
    sample();
    EXPECT_EQ(m_one.samples, 0);
    EXPECT_EQ(m_other.samples, 1);
}

TEST_F(Event_base_test, ExceptionOfOneSubscriberHarmsNoOther) {
    m_event->internal_subscribe(&m_one, false);
    m_event->internal_subscribe(&m_other, false);
    m_one.whenSampled = [] { throw std::runtime_error("out of a subscriber"); };
    sample();
    m_one.whenSampled = [] { throw 1; };
    sample();
    EXPECT_EQ(m_other.samples, 2);
    m_event->internal_unsubscribe(&m_one);
}

TEST_F(Event_base_test, SubscribersComeAndGoWhileSamplesArrive) {
    std::atomic<bool> stop{false};
    m_event->internal_subscribe(&m_other, false);
    auto const present = sink();
    std::thread runtime([&] {
        while (!stop) present->event_updated({});
    });
    for (int count = 0; count < 2000; ++count) {
        Subscriber brief;
        m_event->internal_subscribe(&brief, true);
        m_event->internal_unsubscribe(&brief);
    }
    stop = true;
    runtime.join();
    m_event.reset();
}

}  // namespace
}  // namespace ac::com::cpp_binding::proxy
