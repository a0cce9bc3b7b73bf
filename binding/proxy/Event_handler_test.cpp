// When handlers run, and when they don't any more.
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "binding/testing/Event_test.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

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

TEST_F(Event_test, SampleThatCameBeforeTheHandlerIsToldOf) {
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(7));
    hear(sut->dataValuesHash, heard);
    EXPECT_TRUE(heard.endsWith(7));
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
    sut->dataValuesHash.setReceiveHandler([] { binding_testing::overrunHandlerLimit(); });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    std::string const name = "Event_receive_handler_performance";
    EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
    EXPECT_THAT(incidentsOf(log, name).at(0), testing::HasSubstr(WHO + R"(,"5_time":)"));
    EXPECT_GE(binding_testing::timeOf(incidentsOf(log, name).at(0)), 501U);
}

TEST_F(Event_test, HandlerThatHangsIsReportedWhileItHangs) {
    Capture const log;
    std::string const name = "Event_receive_handler_performance";
    std::atomic<bool> reported{false};
    sut->dataValuesHash.setReceiveHandler([&] {
        EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
        reported = true;
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(eventually([&] { return reported.load(); }));
    EXPECT_GE(binding_testing::timeOf(incidentsOf(log, name).at(0)), 1000U);
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

TEST_F(Event_test, SecondUnsubscribeReturnsAtOnceThoughTheHandlerRuns) {
    Gate inside, returned;
    auto const go = std::make_shared<Gate>();  // the handler may end after the test
    sut->dataValuesHash.setReceiveHandler([&inside, go, &event = sut->dataValuesHash] {
        event.unsubscribe();
        inside.open();
        EXPECT_TRUE(go->wait());
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(inside.wait());
    std::thread client([&] {
        sut->dataValuesHash.unsubscribe();
        returned.open();
    });
    EXPECT_TRUE(returned.wait());
    go->open();
    client.join();
}

TEST_F(Event_test, SecondUnsubscribeReturnsAtOnceThoughTheFirstStillWaits) {
    Gate inside, go, returned;
    sut->dataValuesHash.setReceiveHandler([&] {
        inside.open();
        EXPECT_TRUE(go.wait());
    });
    sut->dataValuesHash.subscribe(1);
    port->send(hashBytes(1));
    EXPECT_TRUE(inside.wait());
    std::thread first([&] { sut->dataValuesHash.unsubscribe(); });
    EXPECT_TRUE(eventually([&] { return port->subscribers() == 0; }));
    std::thread second([&] {
        sut->dataValuesHash.unsubscribe();
        returned.open();
    });
    EXPECT_TRUE(returned.wait());
    go.open();
    first.join();
    second.join();
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
    sut->dataValuesHash.setSubscriptionStateHandler([&](Subscription_state) {
        EXPECT_EQ(calls, 0);  // the strand has passed the handler of the first subscription
        drained.open();
    });
    sut->dataValuesHash.subscribe(1);
    EXPECT_TRUE(drained.wait());
    EXPECT_TRUE(eventually([&] { return calls == 1; }));  // for the sample that is held
    port->send(hashBytes(2));
    EXPECT_TRUE(eventually([&] { return calls == 2; }));
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

TEST_F(Event_test, StateHandlerThatTakesTooLongIsToldByAnIncidentOfItsOwn) {
    Capture const log;
    std::string const name = "Event_state_handler_performance";
    sut->dataValuesHash.setSubscriptionStateHandler([&](Subscription_state) {
        EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
    });
    sut->dataValuesHash.subscribe(1);
    EXPECT_TRUE(eventually([&] { return !incidentsOf(log, name).empty(); }));
    EXPECT_THAT(incidentsOf(log, name).at(0), testing::HasSubstr(WHO + R"(,"5_time":)"));
    EXPECT_GE(binding_testing::timeOf(incidentsOf(log, name).at(0)), 1000U);
    sut.reset();
    EXPECT_THAT(incidentsOf(log, "Event_receive_handler_performance"), IsEmpty());
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

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
