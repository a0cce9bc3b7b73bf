#include "registry/Diag_Ara_Components.h"

#include <algorithm>
#include <future>
#include <stdexcept>

#include "tests/support/BridgeTest.h"
#include "tests/support/Patience.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using testing::SizeIs;
using zvg::val::Service;
using zvg::val::diag_ara::DiagAraService;
using zvg::val::diag_ara::services::Diag_Ara_Components;
using zvg::val::diag_ara::services::Factory;
using zvg::val::diag_ara::services::RoutingTable;
using zvg::val::diag_ara::services::ServiceTable;

class RegistryTest : public testing::Test {
protected:
    RegistryTest() { seen.reset(); }

    static Factory makes(std::string const& identifier) {
        return [identifier] { return test::Components::make(identifier); };
    }

    test::DiagLog log;
    test::Components& seen = test::Components::instance();
    // Neither table lists its rows in the order of the identifiers.
    ServiceTable services{{"Z", makes("Z")}, {"A", makes("A")}, {"M", makes("M")}};
    RoutingTable msgIds{{"Z", 10}, {"M", 20}, {"A", 10}, {"A", 30}, {"Absent", 40}, {"M", 0xFFFF}};
    Diag_Ara_Components registry{services, msgIds};
};

TEST_F(RegistryTest, MakesAllComponentsThenStartsEachBeforeTheNextIsInitialised) {
    EXPECT_EQ(registry.init(), 0);
    EXPECT_THAT(seen.events(), ElementsAre("A::create", "M::create", "Z::create", "A::init(0)", "A::start",
                                           "M::init(0)", "M::start", "Z::init(0)", "Z::start"));
    registry.destroy();
}

TEST_F(RegistryTest, SaysWhatItMakes) {
    registry.init();
    EXPECT_THAT(log.story(), ElementsAre("4 Components::init() Instantiate all components",
                                         "4 Cache::init() Cache initialized", "4 Components::create() A",
                                         "4 Components::create() M", "4 Components::create() Z"));
    registry.destroy();
}

TEST_F(RegistryTest, EmptiesTheCacheAtInit) {
    unsigned char byte = 1;
    Service::m_Cache.addToCache(2349, 1, &byte);
    registry.init();
    EXPECT_FALSE(Service::m_Cache.isCached(2349, 1, &byte));
    registry.destroy();
}

TEST_F(RegistryTest, RoutesAnIdToItsReceiversInTheOrderOfTheirIdentifiers) {
    registry.init();
    auto const receivers = registry.getReceivers(10);
    ASSERT_THAT(receivers, SizeIs(2));
    seen.forgetEvents();
    receivers[0]->handleMsg(10, 0, nullptr);
    receivers[1]->handleMsg(10, 0, nullptr);
    EXPECT_THAT(seen.events(), ElementsAre("A::handleMsg(10, 0)", "Z::handleMsg(10, 0)"));
    EXPECT_THAT(registry.getReceivers(20), SizeIs(1));
    EXPECT_THAT(registry.getReceivers(30), ElementsAre(receivers[0]));
    EXPECT_EQ(registry.get(10), receivers[0]);
    registry.destroy();
}

TEST_F(RegistryTest, HasNoReceiverForAnIdThatIsNotRouted) {
    registry.init();
    EXPECT_THAT(registry.getReceivers(11), IsEmpty());
    EXPECT_THAT(registry.get(11), IsNull());
    registry.destroy();
}

TEST_F(RegistryTest, HasNoReceiverForARowWithoutComponent) {
    registry.init();
    EXPECT_THAT(registry.getReceivers(40), IsEmpty());
    EXPECT_THAT(registry.get(40), IsNull());
    registry.destroy();
}

TEST_F(RegistryTest, ComparesTheWholeIdForReceiversAndCutsItForGet) {
    registry.init();
    EXPECT_THAT(registry.getReceivers(-1), IsEmpty()) << "although 65535 is routed";
    EXPECT_THAT(registry.getReceivers(65536 + 10), IsEmpty());
    EXPECT_THAT(registry.getReceivers(0xFFFF), SizeIs(1));
    EXPECT_EQ(registry.get(-1), registry.get(0xFFFF));
    EXPECT_EQ(registry.get(65536 + 10), registry.get(10));
    registry.destroy();
}

TEST_F(RegistryTest, CannotMakeAComponentThatIsNotInTheTable) {
    EXPECT_THAT(registry.create("Nobody"), IsNull());
    EXPECT_THAT(log.story(), ElementsAre("4 Components::create() Nobody",
                                         "2 Components::create() No valid identifier found for Nobody"));
    EXPECT_THAT(registry.create("A"), NotNull());
}

TEST_F(RegistryTest, LetsTheErrorOfAnEmptyFactoryOut) {
    services["E"] = nullptr;
    Diag_Ara_Components withEmpty(services, msgIds);
    EXPECT_THROW(withEmpty.create("E"), std::bad_function_call);
    EXPECT_THROW(withEmpty.init(), std::bad_function_call);
    withEmpty.destroy();
}

TEST_F(RegistryTest, StopsEveryComponentBeforeItDestroysTheFirst) {
    registry.init();
    auto* const a = registry.get(30);
    auto* const m = registry.get(20);
    auto* const z = registry.getReceivers(10)[1];
    bool first = true;
    auto const check = [&] {
        bool const allAsked = !std::exchange(first, false) || (a->stop() && m->stop() && z->stop());
        EXPECT_TRUE(allAsked);
    };
    for (auto const* identifier : {"A", "M", "Z"}) seen.behave(identifier, {.destroyed = check});
    seen.forgetEvents();
    log.clear();

    registry.destroy();

    EXPECT_THAT(seen.events(), testing::UnorderedElementsAre("~A", "~M", "~Z"));
    EXPECT_THAT(log.infos(), ElementsAre("A", "M", "Z", "Shutdown finalized"));
    EXPECT_THAT(registry.getReceivers(10), IsEmpty());
    EXPECT_THAT(registry.get(10), IsNull());
}

TEST_F(RegistryTest, EmptiesTheAvailabilityBeforeTheFirstComponentEnds) {
    // Given a service that was found
    constexpr auto FOUND = static_cast<tVALNetworkServicesDiagAra>(1);
    auto* const bridge = DiagAraService::getInstance();
    registry.init();
    bridge->setServiceAvailability(FOUND, true);
    int known = 0;
    auto const check = [&] {
        log.clear();
        bridge->setServiceAvailability(FOUND, false);
        if (!log.lines().empty()) ++known;  // a change is sent, and refused, as the bridge isn't up
    };
    for (auto const* identifier : {"A", "M", "Z"}) seen.behave(identifier, {.destroyed = check});
    // When
    registry.destroy();
    // Then
    EXPECT_EQ(known, 0) << "a component saw it still set as it ended";
}

TEST_F(RegistryTest, AThreadMayWaitForTheStopOfAComponentThatIsAskedLater) {
    registry.init();
    auto* const a = registry.get(30);
    auto* const z = registry.getReceivers(10)[1];
    std::promise<void> done;
    auto const isDone = done.get_future().share();
    seen.behave("Z", {.destroyed = [isDone] { isDone.wait(); }});  // it is looked at till then
    a->startThread([z, &done] {
        while (!z->stop()) std::this_thread::yield();
        done.set_value();
    });
    registry.destroy();
    EXPECT_EQ(isDone.wait_for(test::PATIENCE), std::future_status::ready);
}

TEST_F(RegistryTest, UnroutedComponentsEndBeforeTheRoutedOnes) {
    // The routes hold their components a little longer than the names do.
    ServiceTable both{{"A", makes("A")}, {"B", makes("B")}};
    RoutingTable onlyB{{"B", 10}};
    Diag_Ara_Components sut(both, onlyB);
    sut.init();
    seen.forgetEvents();
    sut.destroy();
    EXPECT_THAT(seen.events(), ElementsAre("~A", "~B"));
}

TEST_F(RegistryTest, RoutesBeforeTheFirstComponentIsInitialised) {
    std::size_t routed = 0;
    seen.behave("A", {.init = [&] { routed = registry.getReceivers(10).size(); }});
    registry.init();
    EXPECT_EQ(routed, 2U);
    registry.destroy();
}

TEST_F(RegistryTest, LogsTheEndWhenTheLastComponentHasEnded) {
    registry.init();
    log.clear();
    std::size_t most = 0;
    for (auto const* identifier : {"A", "M", "Z"})
        seen.behave(identifier, {.destroyed = [&] { most = std::max(most, log.story().size()); }});
    registry.destroy();
    EXPECT_EQ(most, 3U);
    EXPECT_THAT(log.story(),
                ElementsAre("4 Components::destroy() A", "4 Components::destroy() M",
                            "4 Components::destroy() Z", "4 Components::destroy() Shutdown finalized"));
}

TEST_F(RegistryTest, ReceiversAreTheRoutedObjectsAlsoInTheSecondLife) {
    registry.init();
    registry.destroy();
    registry.init();
    EXPECT_THAT(registry.getReceivers(10), SizeIs(2)) << "those of the first life are forgotten";
    EXPECT_EQ(seen.alive(), 3);
    registry.destroy();
    EXPECT_EQ(seen.alive(), 0);
}

TEST_F(RegistryTest, MakesNewObjectsWithTheNextGenerationAfterDestroy) {
    registry.init();
    registry.destroy();
    EXPECT_THAT(seen.events(), testing::IsSupersetOf({"~A", "~M", "~Z"}));
    seen.forgetEvents();
    registry.init();
    EXPECT_THAT(seen.events(), ElementsAre("A::create", "M::create", "Z::create", "A::init(1)", "A::start",
                                           "M::init(1)", "M::start", "Z::init(1)", "Z::start"));
    EXPECT_FALSE(registry.get(10)->stop()) << "a new object, not the stopped one";
    registry.destroy();
}

TEST_F(RegistryTest, FailedInitDoesNotCountAsAGeneration) {
    seen.behave("M", {.start = [] { throw std::runtime_error("no"); }});
    EXPECT_THROW(registry.init(), std::runtime_error);
    registry.destroy();
    seen.reset();
    registry.init();
    EXPECT_THAT(seen.events(), testing::Contains("A::init(0)"));
    registry.destroy();
}

TEST_F(RegistryTest, CopiesTheTables) {
    services.clear();
    msgIds.clear();
    registry.init();
    EXPECT_THAT(registry.getReceivers(10), SizeIs(2));
    registry.destroy();
}

TEST_F(RegistryTest, AsksItsComponentsToStopWhenItGoesWithoutDestroy) {
    {
        Diag_Ara_Components brief(services, msgIds);
        brief.init();
        auto* const z = brief.getReceivers(10)[1];
        seen.behave("Z", {.start = {}, .destroyed = [z] { EXPECT_TRUE(z->stop()); }});
        z->startThread([z] {
            while (!z->stop()) std::this_thread::yield();
        });
    }
    EXPECT_THAT(seen.events(), testing::Contains("~Z"));
}

}  // namespace
