// The field of a proxy, over a port whose samples come when the test says so.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <thread>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/testing/Fake_port.h"
#include "binding/testing/Hashes.h"
#include "binding/testing/Incidents.h"
#include "binding/testing/Payload_checks.h"
#include "binding/testing/Runtime.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

using ara::com::internal::proxy::Event_cache_update_policy;
using ara::com::internal::proxy::Subscription_state;
using ara::log::Capture;
using binding_testing::eventually;
using binding_testing::expectThrow;
using binding_testing::Fake_port;
using binding_testing::Gate;
using binding_testing::hashBytes;
using binding_testing::hear;
using binding_testing::Heard;
using binding_testing::incidentsOf;
using eb::com::runtime::Event_state;
using testing::ElementsAre;
using testing::IsEmpty;
using Numbers = std::vector<std::uint32_t>;
using Proxy = proxy::DiagnosticDataDistributionProxy;
using Value = binding_testing::Hash_field::Value;

eb::com::runtime::Service_handle const HANDLE{{std::string(DiagnosticDataDistribution::NAME)}, {"1"}};
std::string const WHO = R"("2_service_id":{"1_id":"Service_id","string":")" +
                        std::string(DiagnosticDataDistribution::NAME) +
                        R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"})";

class Event_test : public testing::Test {
protected:
    std::unique_ptr<Proxy> proxyOver(std::shared_ptr<Fake_port> const& over) const {
        return std::make_unique<Proxy>(Proxy::Handle_type(HANDLE), over);
    }
    /// All that new samples bring, without a handler.
    Numbers update() {
        Numbers numbers;
        sut->dataValuesHash.update([&](Value const& value) {
            numbers.push_back(value.at(0).name_space.value());
            return true;
        });
        return numbers;
    }
    Numbers cached() const {
        Numbers numbers;
        for (auto const& value : sut->dataValuesHash.cachedSamples()) {
            numbers.push_back(value->at(0).name_space.value());
        }
        return numbers;
    }

    binding_testing::Runtime m_runtime;
    std::shared_ptr<Fake_port> const port = std::make_shared<Fake_port>();
    Heard heard;
    std::unique_ptr<Proxy> sut = proxyOver(port);
};

TEST_F(Event_test, SamplesReachTheHandlerAndTheCache) {
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(7));
    EXPECT_TRUE(heard.endsWith(7));
    port->send(hashBytes(8));
    EXPECT_TRUE(heard.endsWith(8));
    EXPECT_THAT(heard.numbers(), ElementsAre(7, 8));
    EXPECT_TRUE(eventually([&] { return cached() == Numbers{8}; }));
}

TEST_F(Event_test, SampleIsToldByItsIncidents) {
    Capture const log;
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(7));
    EXPECT_TRUE(heard.endsWith(7));
    for (std::string const name : {"Event_update_rx", "Event_receive_handler", "Event_cache_update"}) {
        EXPECT_THAT(incidentsOf(log, name),
                    ElementsAre(R"({"1_incident":{"1_id":")" + name + R"(",)" + WHO + "}}"));
    }
}

TEST_F(Event_test, NothingIsSubscribedBeforeSubscribe) {
    hear(sut->dataValuesHash, heard);
    EXPECT_EQ(port->subscribers(), 0U);
    EXPECT_THAT(update(), IsEmpty());
    EXPECT_FALSE(sut->dataValuesHash.update());
    sut->dataValuesHash.unsubscribe();
}

TEST_F(Event_test, SampleThatCameBeforeTheHandlerIsToldOf) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(7));
    hear(sut->dataValuesHash, heard);
    EXPECT_TRUE(heard.endsWith(7));
}

TEST_F(Event_test, OfSamplesThatNobodyTakesTheNewestAreKept) {
    sut->dataValuesHash.subscribe(3);
    for (std::uint32_t i = 1; i <= 1000; ++i) {
        port->send(hashBytes(i));
    }
    EXPECT_THAT(update(), ElementsAre(998, 999, 1000));
    EXPECT_THAT(update(), IsEmpty());
    port->send(hashBytes(1001));
    EXPECT_THAT(update(), ElementsAre(1001));
    EXPECT_THAT(cached(), ElementsAre(999, 1000, 1001));
}

TEST_F(Event_test, SmallCacheTakesNoMoreThanItHoldsBesideALargeOne) {
    auto const other = proxyOver(port);
    other->dataValuesHash.subscribe(10);
    sut->dataValuesHash.subscribe(2);
    for (std::uint32_t i = 1; i <= 20; ++i) {
        port->send(hashBytes(i));
    }
    EXPECT_THAT(update(), ElementsAre(19, 20));
    std::size_t taken = 0;
    other->dataValuesHash.update([&](Value const&) { return ++taken != 0; });
    EXPECT_EQ(taken, 10U);
}

TEST_F(Event_test, CacheWithoutRoomTakesNothing) {
    sut->dataValuesHash.subscribe(0);
    port->send(hashBytes(1));
    EXPECT_FALSE(sut->dataValuesHash.update());
    EXPECT_THAT(cached(), IsEmpty());
}

TEST_F(Event_test, FilterSaysWhatIsCached) {
    sut->dataValuesHash.subscribe(5);
    for (std::uint32_t i = 1; i <= 4; ++i) {
        port->send(hashBytes(i));
    }
    EXPECT_TRUE(
        sut->dataValuesHash.update([](Value const& value) { return *value.at(0).name_space % 2 == 0; }));
    EXPECT_THAT(cached(), ElementsAre(2, 4));
    port->send(hashBytes(5));
    EXPECT_FALSE(sut->dataValuesHash.update([](Value const&) { return false; }));
    EXPECT_THAT(cached(), ElementsAre(2, 4));
}

TEST_F(Event_test, NewestPolicyKeepsWhatOneUpdateBrought) {
    sut->dataValuesHash.subscribe(5, Event_cache_update_policy::newest_n);
    port->send(hashBytes(1));
    EXPECT_TRUE(sut->dataValuesHash.update());
    port->send(hashBytes(2));
    EXPECT_TRUE(sut->dataValuesHash.update());
    EXPECT_THAT(cached(), ElementsAre(2));
}

TEST_F(Event_test, FilterThatThrowsTellsTheCallerAndHarmsNothing) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    expectThrow<std::runtime_error>(
        [&] { sut->dataValuesHash.update([](Value const&) -> bool { throw std::runtime_error("filter"); }); },
        "filter");
    port->send(hashBytes(2));
    EXPECT_THAT(update(), ElementsAre(2));
}

TEST_F(Event_test, FilterMayEndTheSubscription) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_FALSE(sut->dataValuesHash.update([&](Value const&) {
        sut->dataValuesHash.unsubscribe();
        return true;
    }));
    EXPECT_THAT(cached(), IsEmpty());
}

TEST_F(Event_test, SecondSubscribeChangesTheCacheOnly) {
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(heard.endsWith(1));
    sut->dataValuesHash.subscribe(2);
    EXPECT_EQ(port->subscriptions(), 1U);
    EXPECT_THAT(cached(), IsEmpty());
    sut->dataValuesHash.setReceiveHandler({});
    for (std::uint32_t i = 2; i <= 4; ++i) {
        port->send(hashBytes(i));
    }
    EXPECT_THAT(update(), ElementsAre(3, 4));
    EXPECT_THAT(heard.numbers(), ElementsAre(1));  // the held sample isn't told of again
}

TEST_F(Event_test, ProxiesOfOneInstanceShareOneSubscription) {
    auto const other = proxyOver(std::make_shared<Fake_port>());
    Heard otherHeard;
    hear(sut->dataValuesHash, heard);
    hear(other->dataValuesHash, otherHeard);
    sut->dataValuesHash.subscribe(1);
    other->dataValuesHash.subscribe(1);
    EXPECT_EQ(port->subscriptions(), 1U);
    port->send(hashBytes(1));
    EXPECT_TRUE(heard.endsWith(1));
    EXPECT_TRUE(otherHeard.endsWith(1));

    sut->dataValuesHash.unsubscribe();
    port->send(hashBytes(2));
    EXPECT_TRUE(otherHeard.endsWith(2));
    EXPECT_THAT(heard.numbers(), ElementsAre(1));
    other->dataValuesHash.unsubscribe();
    EXPECT_EQ(port->subscribers(), 0U);
}

TEST_F(Event_test, OtherInstancesHaveEventsOfTheirOwn) {
    auto const otherPort = std::make_shared<Fake_port>();
    Proxy other(Proxy::Handle_type({HANDLE.service, {"2"}}), otherPort);
    other.dataValuesHash.subscribe(1);
    EXPECT_EQ(port->subscribers(), 0U);
    EXPECT_EQ(otherPort->subscribers(), 1U);
}

TEST_F(Event_test, LateSubscriberHearsTheFieldsValueOnce) {
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    port->send(hashBytes(2));
    EXPECT_TRUE(heard.endsWith(2));

    auto const late = proxyOver(port);
    Heard lateHeard;
    hear(late->dataValuesHash, lateHeard);
    late->dataValuesHash.subscribe(5);
    EXPECT_TRUE(lateHeard.endsWith(2));
    port->send(hashBytes(3));
    EXPECT_TRUE(lateHeard.endsWith(3));
    EXPECT_THAT(lateHeard.numbers(), ElementsAre(2, 3));
}

TEST_F(Event_test, ValueOfAnEndedSubscriptionIsNotToldOfAgain) {
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(heard.endsWith(1));
    sut->dataValuesHash.unsubscribe();
    sut->dataValuesHash.subscribe(1);
    EXPECT_EQ(port->subscriptions(), 2U);
    port->send(hashBytes(2));
    EXPECT_TRUE(heard.endsWith(2));
    EXPECT_THAT(heard.numbers(), ElementsAre(1, 2));
}

TEST_F(Event_test, UnsubscribeEmptiesTheCacheAndLeavesSamplesToTheirOwners) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(9));
    EXPECT_TRUE(sut->dataValuesHash.update());
    auto const kept = sut->dataValuesHash.cachedSamples().at(0);
    EXPECT_GT(kept.use_count(), 1);
    sut->dataValuesHash.unsubscribe();
    EXPECT_THAT(cached(), IsEmpty());
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(kept->at(0).name_space, 9U);
    EXPECT_EQ(port->subscribers(), 0U);
    EXPECT_EQ(sut->dataValuesHash.subscriptionState(), Subscription_state::kNotSubscribed);
}

TEST_F(Event_test, HandlerIsNotCalledAgainForSamplesThatItLeaves) {
    std::atomic<int> calls{0};
    sut->dataValuesHash.setReceiveHandler([&] { ++calls; });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(eventually([&] { return calls == 1; }));
    port->send(hashBytes(2));
    EXPECT_TRUE(eventually([&] { return calls == 2; }));
    sut->dataValuesHash.unsubscribe();
    EXPECT_EQ(calls, 2);
}

TEST_F(Event_test, SamplesThatComeWhileTheHandlerRunsAreToldOfAfterwards) {
    Gate inside, go;
    std::atomic<int> calls{0};
    sut->dataValuesHash.setReceiveHandler([&] {
        if (++calls == 1) {
            update();
            inside.open();
            EXPECT_TRUE(go.wait());
        } else {
            for (std::uint32_t const number : update()) {
                heard.add(binding_testing::hashes(number));
            }
        }
    });
    sut->dataValuesHash.subscribe(5);
    port->send(hashBytes(1));
    EXPECT_TRUE(inside.wait());
    port->send(hashBytes(2));
    port->send(hashBytes(3));
    EXPECT_EQ(calls, 1);
    go.open();
    EXPECT_TRUE(heard.endsWith(3));
    EXPECT_THAT(heard.numbers(), ElementsAre(2, 3));
    EXPECT_EQ(calls, 2);
}

TEST_F(Event_test, HandlerThatThrowsIsToldAndCalledAgain) {
    Capture const log;
    std::atomic<int> calls{0};
    sut->dataValuesHash.setReceiveHandler([&] {
        if (++calls == 1) {
            throw std::runtime_error("no use for it");
        }
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    std::string const name = "Event_receive_handler_exception";
    EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
    EXPECT_THAT(incidentsOf(log, name),
                ElementsAre(R"({"1_incident":{"1_id":"Event_receive_handler_exception",)" + WHO +
                            R"(},"2_data":{"1_what":"Exception: no use for it"}})"));
    port->send(hashBytes(2));
    EXPECT_TRUE(eventually([&] { return calls == 2; }));
}

TEST_F(Event_test, HandlerThatTakesTooLongIsTold) {
    Capture const log;
    sut->dataValuesHash.setReceiveHandler([] {
        auto const limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(501);
        std::this_thread::sleep_until(limit);
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    std::string const name = "Event_receive_handler_performance";
    EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
    EXPECT_THAT(incidentsOf(log, name).at(0), testing::HasSubstr(WHO + R"(,"5_time":)"));
}

TEST_F(Event_test, SampleThatCanNotBeReadIsToldAndDropped) {
    Capture const log;
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    port->send({0, 0, 0, 9, 1});
    EXPECT_THAT(
        incidentsOf(log, "Event_deserialize_exception"),
        ElementsAre(R"({"1_incident":{"1_id":"Event_deserialize_exception",)" + WHO +
                    R"(},"2_data":{"1_what":"Exception: )" + binding_testing::INVALID_END + R"("}})"));
    port->send(hashBytes(2));
    EXPECT_TRUE(heard.endsWith(2));
    EXPECT_THAT(heard.numbers(), ElementsAre(2));
}

TEST_F(Event_test, UnsubscribeWaitsForTheHandlerThatRuns) {
    Gate inside, go;
    std::atomic<bool> ended{false};
    sut->dataValuesHash.setReceiveHandler([&] {
        inside.open();
        EXPECT_TRUE(go.wait());
        ended = true;
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(inside.wait());
    std::thread client([&] {
        sut->dataValuesHash.unsubscribe();
        EXPECT_TRUE(ended);
    });
    // Samples may go on coming: they wait for nobody.
    EXPECT_TRUE(eventually([&] { return port->subscribers() == 0; }));
    go.open();
    client.join();
}

TEST_F(Event_test, HandlerMayUnsubscribe) {
    std::atomic<int> calls{0};
    std::atomic<bool> ended{false};
    sut->dataValuesHash.setReceiveHandler([&] {
        ++calls;
        sut->dataValuesHash.unsubscribe();
        ended = true;
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(eventually([&] { return ended.load(); }));
    EXPECT_EQ(port->subscribers(), 0U);
    EXPECT_EQ(calls, 1);
}

TEST_F(Event_test, HandlerMaySubscribeAgain) {
    sut->dataValuesHash.setReceiveHandler([&] {
        sut->dataValuesHash.update([&](Value const& value) {
            heard.add(value);
            return true;
        });
        if (heard.numbers().size() == 1) {
            sut->dataValuesHash.unsubscribe();
            sut->dataValuesHash.subscribe(1);
        }
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(eventually([&] { return port->subscriptions() == 2; }));
    EXPECT_TRUE(eventually([&] { return port->subscribers() == 1; }));
    port->send(hashBytes(2));
    EXPECT_TRUE(heard.endsWith(2));
}

TEST_F(Event_test, ProxyMayGoInsideItsHandler) {
    std::atomic<bool> gone{false};
    sut->dataValuesHash.setReceiveHandler([&] {
        sut.reset();
        gone = true;
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(eventually([&] { return gone.load(); }));
    EXPECT_EQ(port->subscribers(), 0U);
}

TEST_F(Event_test, ProxyThatGoesWaitsForItsHandlerEvenIfThatUnsubscribed) {
    Gate inside, go;
    std::atomic<bool> ended{false};
    sut->dataValuesHash.setReceiveHandler([&, &event = sut->dataValuesHash] {
        event.unsubscribe();
        inside.open();
        EXPECT_TRUE(go.wait());
        ended = true;
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(inside.wait());
    std::thread owner([&] {
        sut.reset();
        EXPECT_TRUE(ended);
    });
    go.open();
    owner.join();
}

TEST_F(Event_test, SampleOnItsWayDuringUnsubscribeReachesNobody) {
    Gate inside, go;
    std::atomic<int> calls{0};
    sut->dataValuesHash.setSubscriptionStateHandler([&](Subscription_state) {
        inside.open();  // keeps the strand
        EXPECT_TRUE(go.wait());
    });
    sut->dataValuesHash.setReceiveHandler([&] { ++calls; });
    sut->dataValuesHash.subscribe(1);
    EXPECT_TRUE(inside.wait());
    port->send(hashBytes(1));  // its handler waits behind
    std::thread client([&] { sut->dataValuesHash.unsubscribe(); });
    EXPECT_TRUE(eventually([&] { return port->subscribers() == 0; }));
    go.open();
    client.join();
    Gate drained;
    sut->dataValuesHash.setSubscriptionStateHandler([&](Subscription_state) { drained.open(); });
    sut->dataValuesHash.subscribe(1);
    EXPECT_TRUE(drained.wait());
    EXPECT_EQ(calls, 0);
    port->send(hashBytes(2));
    EXPECT_TRUE(eventually([&] { return calls == 1; }));
}

TEST_F(Event_test, StatesOfTheSubscriptionAreToldInOrder) {
    std::mutex mutex;
    std::vector<Subscription_state> states;
    auto const told = [&] {
        std::lock_guard const lock(mutex);
        return states;
    };
    sut->dataValuesHash.setSubscriptionStateHandler([&](Subscription_state state) {
        std::lock_guard const lock(mutex);
        states.push_back(state);
    });
    sut->dataValuesHash.subscribe(1);
    port->tell(Event_state::pending);
    EXPECT_EQ(sut->dataValuesHash.subscriptionState(), Subscription_state::kSubscriptionPending);
    port->tell(Event_state::subscribed);
    EXPECT_EQ(sut->dataValuesHash.subscriptionState(), Subscription_state::kSubscribed);
    port->tell(Event_state::not_subscribed);
    EXPECT_EQ(sut->dataValuesHash.subscriptionState(), Subscription_state::kNotSubscribed);
    EXPECT_TRUE(eventually([&] { return told().size() == 4; }));
    EXPECT_THAT(told(),
                ElementsAre(Subscription_state::kNotSubscribed, Subscription_state::kSubscriptionPending,
                            Subscription_state::kSubscribed, Subscription_state::kNotSubscribed));
}

TEST_F(Event_test, StateHandlerThatThrowsIsTold) {
    Capture const log;
    sut->dataValuesHash.setSubscriptionStateHandler([](Subscription_state) { throw 7; });
    sut->dataValuesHash.subscribe(1);
    std::string const name = "Event_state_handler_exception";
    EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
    EXPECT_THAT(incidentsOf(log, name),
                ElementsAre(R"({"1_incident":{"1_id":"Event_state_handler_exception",)" + WHO +
                            R"(},"2_data":{"1_what":"Exception: not a std::exception"}})"));
}

TEST_F(Event_test, RefusedSubscriptionMayBeTriedAgain) {
    hear(sut->dataValuesHash, heard);
    port->refuseSubscriptions = true;
    expectThrow<ac::com::Infrastructure_exception>([&] { sut->dataValuesHash.subscribe(1); },
                                                   "said the test");
    port->refuseSubscriptions = false;
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(heard.endsWith(1));
}

TEST_F(Event_test, CacheThatDoesNotFitIntoMemoryIsRefused) {
    EXPECT_THROW(sut->dataValuesHash.subscribe(SIZE_MAX), std::length_error);
    EXPECT_EQ(port->subscribers(), 0U);
    sut->dataValuesHash.subscribe(1);
    EXPECT_EQ(port->subscribers(), 1U);
}

TEST_F(Event_test, NewProxyTakesTheEventFromOneThatWasAborted) {
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(heard.endsWith(1));
    sut->abort();  // the service was lost; somebody still holds the proxy

    auto const found = std::make_shared<Fake_port>();
    auto const next = proxyOver(found);
    EXPECT_EQ(port->subscribers(), 0U);
    EXPECT_EQ(found->subscribers(), 1U);
    Heard nextHeard;
    hear(next->dataValuesHash, nextHeard);
    next->dataValuesHash.subscribe(1);
    sut.reset();
    found->send(hashBytes(2));
    EXPECT_TRUE(nextHeard.endsWith(2));
    EXPECT_THAT(nextHeard.numbers(), ElementsAre(2));  // and no value from before the loss
}

TEST_F(Event_test, EventEndsWithItsLastProxyAndLetsGoOfThePort) {
    std::weak_ptr<Fake_port> const last = port;
    sut->dataValuesHash.subscribe(1);
    long const others = port.use_count();
    EXPECT_GT(others, 1);
    sut.reset();
    EXPECT_EQ(port.use_count(), 1);
    auto const found = std::make_shared<Fake_port>();
    sut = proxyOver(found);
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    found->send(hashBytes(1));
    EXPECT_TRUE(heard.endsWith(1));
    EXPECT_EQ(port->subscriptions(), 1U);
}

/// A subscriber that the binding doesn't know of.
struct Stranger : ac::com::cpp_binding::proxy::Event_subscriber {
    void on_event_sample() override { ADD_FAILURE() << "a sample for nobody"; }
    void on_subscription_state_change(Subscription_state) override {}
};

TEST_F(Event_test, SampleForNobodyIsToldAndDropped) {
    Capture const log;
    ac::com::cpp_binding::proxy::Event<DiagnosticDataDistribution::dataValuesHash::Notify> event(0, HANDLE,
                                                                                                 port);
    Stranger stranger;
    event.internal_subscribe(&stranger, false);
    port->send(hashBytes(1));
    EXPECT_THAT(incidentsOf(log, "Event_update_when_not_subscribed"),
                ElementsAre(R"({"1_incident":{"1_id":"Event_update_when_not_subscribed",)" + WHO + "}}"));
    EXPECT_EQ(event.count(), 0U);
    event.internal_unsubscribe(&stranger);
}

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
