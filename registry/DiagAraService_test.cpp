#include "registry/DiagAraService.h"

#include <thread>

#include "tests/support/BridgeTest.h"
#include "tests/support/Connector.h"

namespace {

using fake::Message;
using testing::ElementsAre;
using testing::IsEmpty;
using zvg::val::eValError;
using zvg::val::eValNotReady;
using zvg::val::eValOk;
using zvg::val::diag_ara::DiagAraService;

constexpr auto DATA_DISTRIBUTION = static_cast<tVALNetworkServicesDiagAra>(1);
Message const FOUND{2943, {1, 0, 0, 0}};

class AvailabilityTest : public testing::Test {
protected:
    AvailabilityTest() {
        components.reset();
        service->resetServiceAvailability();
    }
    void TearDown() override {
        java.unregister();
        EXPECT_THAT(jvm.violations(), IsEmpty());
    }
    void bringUp() {
        ASSERT_EQ(java.registerListener(), 0);
        log.clear();
    }

    test::DiagLog log;
    fake::Jvm jvm;
    fake::Connector java{jvm};
    test::Components& components = test::Components::instance();
    DiagAraService* service = DiagAraService::getInstance();
};

TEST_F(AvailabilityTest, ThereIsOneObject) {
    DiagAraService* other = nullptr;
    std::thread([&] { other = DiagAraService::getInstance(); }).join();
    EXPECT_EQ(service, other);
}

TEST_F(AvailabilityTest, SettingABitTwiceSendsOneMessage) {
    bringUp();
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, true), eValOk);
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, true), eValNotReady);
    EXPECT_THAT(jvm.messages(), ElementsAre(FOUND));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AvailabilityTest, ClearingABitThatIsNotSetSendsNothing) {
    bringUp();
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, false), eValNotReady);
    EXPECT_THAT(jvm.messages(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AvailabilityTest, EmptySetHasNoFormOnTheWireAndStays) {
    bringUp();
    service->setServiceAvailability(DATA_DISTRIBUTION, true);
    jvm.forgetCalls();

    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, false), eValError);

    EXPECT_THAT(jvm.messages(), IsEmpty());
    EXPECT_THAT(log.errors(),
                ElementsAre("enum rangecheck failure for enumeration tVALNetworkServicesDiagAra value0",
                            "Pack failed!"));
    EXPECT_EQ(
        log.story().back(),
        "4 DiagAraService::setServiceAvailability() Failed to send VAL_NETWORK_SERVICE_DIAG_ARA_STATUS_IND.");
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, false), eValNotReady)
        << "the set is empty already";
}

TEST_F(AvailabilityTest, JavaIsToldAgainWhenTheServiceComesBack) {
    bringUp();
    service->setServiceAvailability(DATA_DISTRIBUTION, true);
    service->setServiceAvailability(DATA_DISTRIBUTION, false);
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, true), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(FOUND, FOUND));
}

TEST_F(AvailabilityTest, SetRequestChangesNothingOnlyIfEveryBitIsSet) {
    bringUp();
    service->setServiceAvailability(DATA_DISTRIBUTION, true);
    auto const both = static_cast<tVALNetworkServicesDiagAra>(3);
    EXPECT_EQ(service->setServiceAvailability(both, true), eValError) << "changed, and 3 can't be packed";
    EXPECT_EQ(service->setServiceAvailability(both, true), eValNotReady);
}

TEST_F(AvailabilityTest, ClearRequestChangesNothingOnlyIfNoBitIsSet) {
    bringUp();
    service->setServiceAvailability(DATA_DISTRIBUTION, true);
    EXPECT_EQ(service->setServiceAvailability(static_cast<tVALNetworkServicesDiagAra>(2), false),
              eValNotReady);
    EXPECT_EQ(service->setServiceAvailability(static_cast<tVALNetworkServicesDiagAra>(3), false), eValError)
        << "changed, and 0 can't be packed";
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, false), eValNotReady);
}

TEST_F(AvailabilityTest, ChangeBeforeRegisterIsLoggedAndCarriedAlongLater) {
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, true), eValNotReady);
    EXPECT_THAT(log.infos(), ElementsAre("initialisation in progress message is not send",
                                         "Failed to send VAL_NETWORK_SERVICE_DIAG_ARA_STATUS_IND."));
    bringUp();
    EXPECT_THAT(jvm.messages(), IsEmpty()) << "register doesn't send it by itself";
    // The next change, that another service has gone, takes the bit along.
    service->setServiceAvailability(static_cast<tVALNetworkServicesDiagAra>(2), true);
    EXPECT_EQ(service->setServiceAvailability(static_cast<tVALNetworkServicesDiagAra>(2), false), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(FOUND));
}

TEST_F(AvailabilityTest, ResetSendsNothing) {
    bringUp();
    service->setServiceAvailability(DATA_DISTRIBUTION, true);
    jvm.forgetCalls();
    service->resetServiceAvailability();
    EXPECT_THAT(jvm.messages(), IsEmpty());
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, false), eValNotReady);
}

TEST_F(AvailabilityTest, TheSameSetIsSentAgainAfterAReset) {
    bringUp();
    service->setServiceAvailability(DATA_DISTRIBUTION, true);
    service->resetServiceAvailability();
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, true), eValOk);
    EXPECT_EQ(service->sendServiceAvailability(), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(FOUND, FOUND, FOUND));
}

TEST_F(AvailabilityTest, UnregisterEmptiesTheSetInSilence) {
    bringUp();
    service->setServiceAvailability(DATA_DISTRIBUTION, true);
    ASSERT_EQ(java.unregister(), 0);
    bringUp();
    jvm.forgetCalls();
    EXPECT_EQ(service->setServiceAvailability(DATA_DISTRIBUTION, true), eValOk);
    EXPECT_THAT(jvm.messages(), ElementsAre(FOUND));
}

TEST_F(AvailabilityTest, ChangesOfManyThreadsAreNotLost) {
    constexpr unsigned BITS = 8;
    std::vector<std::thread> threads;
    for (unsigned bit = 0; bit < BITS; ++bit) {
        threads.emplace_back([this, bit] {
            auto const own = static_cast<tVALNetworkServicesDiagAra>(1U << bit);
            for (int i = 0; i < 200; ++i) {
                service->setServiceAvailability(own, true);
                service->setServiceAvailability(own, false);
            }
            service->setServiceAvailability(own, true);
        });
    }
    for (auto& thread : threads) thread.join();
    auto const all = static_cast<tVALNetworkServicesDiagAra>((1U << BITS) - 1);
    EXPECT_EQ(service->setServiceAvailability(all, true), eValNotReady);
    log.clear();
}

}  // namespace
