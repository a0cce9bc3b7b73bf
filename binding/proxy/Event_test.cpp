// What a subscription brings, and to whom.
#include <algorithm>
#include <memory>

#include "binding/testing/Event_test.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

TEST_F(Event_test, NothingIsSubscribedBeforeSubscribe) {
    hear(sut->dataValuesHash, heard);
    EXPECT_EQ(port->subscribers(), 0U);
    EXPECT_THAT(update(), IsEmpty());
    EXPECT_FALSE(sut->dataValuesHash.update());
    sut->dataValuesHash.unsubscribe();
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

TEST_F(Event_test, SamplesAreInTheCacheBeforeTheFirstIsPassedOn) {
    sut->dataValuesHash.subscribe(5);
    port->send(hashBytes(1));
    port->send(hashBytes(2));
    std::vector<Numbers> seen;
    EXPECT_TRUE(sut->dataValuesHash.update([&](Value const&) {
        seen.push_back(cached());
        return true;
    }));
    EXPECT_THAT(seen, ElementsAre(Numbers{1, 2}, Numbers{1, 2}));
}

TEST_F(Event_test, SamplesThatTheFunctionRejectsAreInTheCacheToo) {
    sut->dataValuesHash.subscribe(5);
    for (std::uint32_t i = 1; i <= 4; ++i) {
        port->send(hashBytes(i));
    }
    int passedOn = 0;
    EXPECT_TRUE(sut->dataValuesHash.update(
        [&](Value const& value) { return ++passedOn, *value.at(0).name_space % 2 == 0; }));
    EXPECT_EQ(passedOn, 4);
    EXPECT_THAT(cached(), ElementsAre(1, 2, 3, 4));
    port->send(hashBytes(5));
    EXPECT_TRUE(sut->dataValuesHash.update([](Value const&) { return false; }));
    EXPECT_THAT(cached(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Event_test, NewestPolicyKeepsWhatOneUpdateBrought) {
    sut->dataValuesHash.subscribe(5, Event_cache_update_policy::newest_n);
    port->send(hashBytes(1));
    EXPECT_TRUE(sut->dataValuesHash.update());
    port->send(hashBytes(2));
    EXPECT_TRUE(sut->dataValuesHash.update());
    EXPECT_THAT(cached(), ElementsAre(2));
}

TEST_F(Event_test, WhatTheFunctionOfAnUpdateThrowsReachesTheCallerAndHarmsNothing) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    expectThrow<std::runtime_error>(
        [&] { sut->dataValuesHash.update([](Value const&) -> bool { throw std::runtime_error("filter"); }); },
        "filter");
    EXPECT_THAT(cached(), ElementsAre(1));
    port->send(hashBytes(2));
    EXPECT_THAT(update(), ElementsAre(2));
}

TEST_F(Event_test, SamplesAreNoLongerPassedOnOnceTheSubscriptionHasEnded) {
    sut->dataValuesHash.subscribe(2);
    port->send(hashBytes(1));
    port->send(hashBytes(2));
    int passedOn = 0;
    EXPECT_TRUE(sut->dataValuesHash.update([&](Value const&) {
        ++passedOn;
        sut->dataValuesHash.unsubscribe();
        return true;
    }));
    EXPECT_EQ(passedOn, 1);
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

TEST_F(Event_test, HeldSampleIsDeliveredOnceToEachSubscriberThoughTheLastOneLeft) {
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(3);
    port->send(hashBytes(1));
    port->send(hashBytes(2));
    EXPECT_TRUE(heard.endsWith(2));
    sut->dataValuesHash.unsubscribe();
    heard.clear();

    sut->dataValuesHash.subscribe(3);
    EXPECT_EQ(port->subscriptions(), 2U);
    EXPECT_TRUE(heard.endsWith(2));
    port->send(hashBytes(3));
    EXPECT_TRUE(heard.endsWith(3));
    EXPECT_THAT(heard.numbers(), ElementsAre(2, 3));
}

TEST_F(Event_test, WithoutASubscriberOnlyTheNewestSampleIsKept) {
    sut->dataValuesHash.subscribe(100);
    std::vector<std::weak_ptr<Value const>> samples;
    for (std::uint32_t i = 1; i <= 100; ++i) {
        port->send(hashBytes(i));
    }
    EXPECT_TRUE(sut->dataValuesHash.update());
    for (auto const& sample : sut->dataValuesHash.cachedSamples()) {
        samples.push_back(sample);
    }
    ASSERT_EQ(samples.size(), 100U);
    sut->dataValuesHash.unsubscribe();
    EXPECT_EQ(std::ranges::count_if(samples, [](auto const& sample) { return !sample.expired(); }), 1);
    EXPECT_FALSE(samples.back().expired());
    sut->dataValuesHash.subscribe(100);
    EXPECT_THAT(update(), ElementsAre(100));
}

TEST_F(Event_test, UnsubscribeEmptiesTheCacheAndLeavesSamplesToTheirOwners) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(9));
    EXPECT_TRUE(sut->dataValuesHash.update());
    auto const kept = sut->dataValuesHash.cachedSamples().at(0);
    EXPECT_EQ(kept.use_count(), 3);  // the test, the cache, the event
    sut->dataValuesHash.unsubscribe();
    EXPECT_THAT(cached(), IsEmpty());
    EXPECT_EQ(kept.use_count(), 2);
    EXPECT_EQ(kept->at(0).name_space, 9U);
    EXPECT_EQ(port->subscribers(), 0U);
    EXPECT_EQ(sut->dataValuesHash.subscriptionState(), Subscription_state::kNotSubscribed);
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
    EXPECT_TRUE(nextHeard.endsWith(1));
    sut.reset();
    found->send(hashBytes(2));
    EXPECT_TRUE(nextHeard.endsWith(2));
    EXPECT_THAT(nextHeard.numbers(), ElementsAre(1, 2));
}

TEST_F(Event_test, EventStaysWithItsSampleWhenItsLastProxyGoesAndLetsGoOfThePort) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(7));
    EXPECT_GT(port.use_count(), 1);
    sut.reset();
    EXPECT_EQ(port.use_count(), 1);

    auto const found = std::make_shared<Fake_port>();
    sut = proxyOver(found);
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    EXPECT_TRUE(heard.endsWith(7));
    found->send(hashBytes(8));
    EXPECT_TRUE(heard.endsWith(8));
    EXPECT_THAT(heard.numbers(), ElementsAre(7, 8));
    EXPECT_EQ(port->subscriptions(), 1U);
    EXPECT_EQ(found->subscriptions(), 1U);
}

TEST_F(Event_test, EventOfAnInstanceThatWasLostIsBoundToThePortOfTheNextProxy) {
    sut->dataValuesHash.subscribe(1);
    for (std::uint32_t life = 1; life <= 3; ++life) {
        sut.reset();
        auto const found = std::make_shared<Fake_port>();
        sut = proxyOver(found);
        sut->dataValuesHash.subscribe(1);
        found->send(hashBytes(life));
        EXPECT_THAT(update(), ElementsAre(life));
        sut.reset();
        EXPECT_EQ(found.use_count(), 1);
        sut = proxyOver(port);
    }
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

struct Idler : Stranger {
    void on_event_sample() override {}
};

TEST_F(Event_test, NoMoreIsKeptThanTheLargestCacheHolds) {
    ac::com::cpp_binding::proxy::Event<DiagnosticDataDistribution::dataValuesHash::Notify> event(0, HANDLE,
                                                                                                 port);
    Idler idler;
    event.join(2);
    event.internal_subscribe(&idler, false);
    for (std::uint32_t i = 1; i <= 100; ++i) {
        port->send(hashBytes(i));
    }
    std::uint64_t position = 0;
    EXPECT_EQ(event.take(position, 100).size(), 2U);
    EXPECT_EQ(position, 100U);
    event.internal_unsubscribe(&idler);
    event.leave();
}

TEST_F(Event_test, RoomOfASubscriberStaysWhenAnotherLeaves) {
    ac::com::cpp_binding::proxy::Event<DiagnosticDataDistribution::dataValuesHash::Notify> event(0, HANDLE,
                                                                                                 port);
    Idler idler;
    event.internal_subscribe(&idler, false);
    event.join(1);
    event.join(5);
    event.leave();
    for (std::uint32_t i = 1; i <= 9; ++i) {
        port->send(hashBytes(i));
    }
    std::uint64_t position = 0;
    EXPECT_EQ(event.take(position, 100).size(), 5U);
    event.internal_unsubscribe(&idler);
}

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
