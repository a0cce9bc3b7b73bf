// Events inside one process, through the public ports.
#include <gtest/gtest.h>

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/proxy/Event_base.h>
#include <ac/com/cpp_binding/proxy/Rport.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

#include "platform/com/runtime/Counters.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Event_services.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using ac::com::cpp_binding::proxy::Rport;
using ac::com::cpp_binding::skeleton::Pport;

/// The service isn't offered at first.
class Local_events_test : public ::testing::Test {
protected:
    explicit Local_events_test(std::string const& limits = "{}")
        : m_runtime(makeRuntime(eventManifest(freeAddress(), limits))) {}
    ~Local_events_test() override {
        m_subscriptions.clear();
        m_service.reset();
        m_client.reset();
        m_runtime.reset();
        EXPECT_TRUE(eventually([] { return counters().subscriptions == 0; })) << "a subscription is kept";
    }

    std::shared_ptr<Recorder> subscribe(Event event) {
        auto sink = std::make_shared<Recorder>();
        m_subscriptions.push_back(m_client->client_port()->subscribe(event, sink));
        return sink;
    }
    void send(Event event, Bytes const& bytes) { m_service->send_event(event, payloadOf(bytes)); }

    std::unique_ptr<ac::com::runtime::Component_singleton> m_runtime;
    std::unique_ptr<Pport> m_service = std::make_unique<Pport>(Service_id{"test::Tcp"}, Instance_id{"1"},
                                                               Service_interface_description{0x20000});
    std::unique_ptr<Rport> m_client =
        std::make_unique<Rport>(Service_handle{{"test::Tcp"}, {"1"}}, Service_interface_description{0x20000});
    std::vector<std::shared_ptr<Service_finder::Subscription_handle>> m_subscriptions;
};

TEST_F(Local_events_test, EventReachesItsSubscribersWithoutASocket) {
    m_service->start_offer();
    auto const one = subscribe(TICK);
    auto const other = subscribe(TICK);
    auto const elsewhere = subscribe(OTHER);
    EXPECT_TRUE(one->hears({"available", "subscribed"}));
    EXPECT_TRUE(other->hears({"available", "subscribed"}));
    EXPECT_TRUE(elsewhere->hears({"available", "subscribed"}));
    send(TICK, {1, 2});
    send(TICK, {});
    send(OTHER, {3});
    EXPECT_TRUE(one->hears({"1 2", ""}));
    EXPECT_TRUE(other->hears({"1 2", ""}));
    EXPECT_TRUE(elsewhere->hears({"3"}));
    EXPECT_EQ(counters().links, 0);
    EXPECT_EQ(counters().subscriptions, 3);
}

TEST_F(Local_events_test, EventThatNobodyHeardIsGone) {
    m_service->start_offer();
    send(TICK, {1});
    auto const late = subscribe(TICK);
    EXPECT_TRUE(late->hears({"available", "subscribed"}));
    send(TICK, {2});
    EXPECT_TRUE(late->hears({"2"}));
}

TEST_F(Local_events_test, FieldsValueIsTheFirstSampleOfALateSubscriber) {
    m_service->start_offer();
    send(FIELD, {1});
    send(FIELD, {2});
    auto const late = subscribe(FIELD);
    EXPECT_TRUE(late->hears({"available", "subscribed", "2"}));
    send(FIELD, {3});
    EXPECT_TRUE(late->hears({"3"}));
}

TEST_F(Local_events_test, FieldsValueIsKeptBeforeTheOfferAndWithoutOne) {
    send(FIELD, {1});
    m_service->start_offer();
    auto const early = subscribe(FIELD);
    EXPECT_TRUE(early->hears({"available", "subscribed", "1"}));
    m_service->stop_offer();
    EXPECT_TRUE(early->hears({"unavailable", "not subscribed"}));
    send(FIELD, {2});
    send(TICK, {9});
    m_service->start_offer();
    EXPECT_TRUE(early->hears({"available", "subscribed", "2"}));
}

TEST_F(Local_events_test, WithdrawnServiceIsUnavailableUntilItIsOfferedAgain) {
    m_service->start_offer();
    auto const sink = subscribe(TICK);
    m_service->stop_offer();
    EXPECT_TRUE(sink->hears({"available", "subscribed", "unavailable", "not subscribed"}));
    auto const late = subscribe(TICK);
    EXPECT_TRUE(late->hears({"unavailable", "not subscribed"}));
    m_service->start_offer();
    send(TICK, {4});
    EXPECT_TRUE(sink->hears({"available", "subscribed", "4"}));
    EXPECT_TRUE(late->hears({"available", "subscribed", "4"}));
}

TEST_F(Local_events_test, NothingIsHeardAfterTheHandleHasGone) {
    m_service->start_offer();
    auto const sink = subscribe(TICK);
    auto const stays = subscribe(TICK);
    EXPECT_TRUE(sink->hears({"available", "subscribed"}));
    m_subscriptions.front().reset();
    send(TICK, {1});
    EXPECT_TRUE(stays->hears({"available", "subscribed", "1"}));
    EXPECT_TRUE(sink->notices().empty());
}

TEST_F(Local_events_test, SubscriptionOutlivesItsPort) {
    m_service->start_offer();
    auto const sink = subscribe(TICK);
    m_client.reset();
    send(TICK, {1});
    EXPECT_TRUE(sink->hears({"available", "subscribed", "1"}));
}

TEST_F(Local_events_test, SamplesOfOnePublisherKeepTheirOrder) {
    m_service->start_offer();
    auto const sink = subscribe(TICK);
    EXPECT_TRUE(sink->hears({"available", "subscribed"}));
    Recorder::Notices expected;
    for (int count = 0; count < 200; ++count) {
        send(TICK, {static_cast<std::uint8_t>(count)});
        expected.push_back(std::to_string(count));
    }
    EXPECT_TRUE(sink->hears(expected));
}

TEST_F(Local_events_test, EventThatTheDeploymentDoesNotHaveIsRefused) {
    for (auto const& attempt : {std::function<void()>([this] { send(static_cast<Event>(3), {}); }),
                                std::function<void()>([this] { subscribe(static_cast<Event>(3)); })}) {
        try {
            attempt();
            FAIL();
        } catch (ac::com::Invalid_argument_exception const& exception) {
            EXPECT_NE(std::string(exception.what()).find("test::Tcp has no event 3"), std::string::npos)
                << exception.what();
        }
    }
}

TEST_F(Local_events_test, AfterTheRuntimeNothingIsSentAndSubscribingIsRefused) {
    m_service->start_offer();
    auto const sink = subscribe(TICK);
    EXPECT_TRUE(sink->hears({"available", "subscribed"}));
    m_runtime.reset();
    EXPECT_NO_THROW(send(TICK, {1}));
    EXPECT_THROW(subscribe(TICK), ac::com::Infrastructure_exception);
    EXPECT_TRUE(sink->notices().empty());
}

TEST_F(Local_events_test, SinkMayUnsubscribeAndSendFromInsideANotice) {
    struct Brief : Event_sink {
        void event_updated(Serialized_payload) override {
            handle.reset();
            service->send_event(OTHER, payloadOf({7}));
        }
        void event_state_changed(Event_state) override {}
        void service_state_changed(Client::Service_state) override {}
        std::shared_ptr<Service_finder::Subscription_handle> handle;
        Pport* service = nullptr;
    };
    m_service->start_offer();
    auto const other = subscribe(OTHER);
    auto const brief = std::make_shared<Brief>();
    brief->service = m_service.get();
    brief->handle = m_client->client_port()->subscribe(TICK, brief);
    send(TICK, {1});
    EXPECT_TRUE(other->hears({"available", "subscribed", "7"}));
}

TEST_F(Local_events_test, EventBaseCarriesSamplesAndStates) {
    namespace proxy = ac::com::cpp_binding::proxy;
    struct Numbers : proxy::Event_base {
        using Event_base::Event_base;
        ~Numbers() override { close(); }
        void event_updated(Serialized_payload payload) override {
            last = payload.bytes().at(0);
            notify_all_subscribers();
        }
        std::atomic<int> last{0};
    };
    struct Subscriber : proxy::Event_subscriber {
        void on_event_sample() override { ++samples; }
        void on_subscription_state_change(proxy::Subscription_state state) override { last.put(state); }
        std::atomic<int> samples{0};
        Mailbox<proxy::Subscription_state> last;
    };
    m_service->start_offer();
    Numbers event(TICK, {{"test::Tcp"}, {"1"}}, m_client->client_port());
    Subscriber subscriber;
    event.internal_subscribe(&subscriber, false);
    EXPECT_EQ(subscriber.last.take(), proxy::Subscription_state::kSubscribed);
    send(TICK, {5});
    EXPECT_TRUE(eventually([&] { return subscriber.samples == 1; }));
    EXPECT_EQ(event.last, 5);
    m_service->stop_offer();
    EXPECT_EQ(subscriber.last.take(), proxy::Subscription_state::kNotSubscribed);
    event.internal_unsubscribe(&subscriber);
}

TEST_F(Local_events_test, SearchHearsOfOffersOfThisProcessAndTheirEnd) {
    auto const box = std::make_shared<Mailbox<std::size_t>>();
    auto const search = ac::com::runtime::Component_singleton::get_service_finder().subscribe(
        {"test::Tcp"}, {"*"}, [box](std::vector<Service_handle> const& found) { box->put(found.size()); });
    EXPECT_EQ(box->take(), 1U) << "the deployment's word";
    m_service->start_offer();
    m_service->stop_offer();
    EXPECT_EQ(box->take(), 0U);
    m_service->start_offer();
    EXPECT_EQ(box->take(), 1U);
}

class Local_events_limits_test : public Local_events_test {
protected:
    Local_events_limits_test() : Local_events_test(R"({"message_bytes": 1000, "send_queue_bytes": 2000})") {}
};

TEST_F(Local_events_limits_test, EventBeyondTheBoundOfAMessageIsDropped) {
    m_service->start_offer();
    auto const sink = subscribe(FIELD);
    send(FIELD, Bytes(1001));
    send(FIELD, {1});
    EXPECT_TRUE(sink->hears({"available", "subscribed", "1"}));
}

TEST_F(Local_events_limits_test, PublisherThatIsTooQuickLosesTheOldestSamplesButNoFieldsValue) {
    auto const missed = counters().missedSamples.load();
    Mailbox<bool> release;
    // The io thread stands still meanwhile, as it never does.
    auto const runtime = currentRuntime();
    runtime->post([&] { release.take(); });
    send(FIELD, {7});
    for (int count = 0; count < 100; ++count) send(TICK, Bytes(900, static_cast<std::uint8_t>(count)));
    EXPECT_EQ(counters().missedSamples - missed, 101 - 2);
    release.put(true);
    m_service->start_offer();
    auto const sink = subscribe(FIELD);
    EXPECT_TRUE(sink->hears({"available", "subscribed", "7"}));
}

}  // namespace
}  // namespace eb::com::runtime
