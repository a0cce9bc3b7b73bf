// What a client makes of the lists of offers, with a proxy that only counts.
#include "client/BaseListener.h"

#include "client/test/ClientTest.h"

namespace client_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using zvg::val::diag_ara::services::BaseListener;

struct Nobody {
    static constexpr std::string_view NAME = "zvg::nobody::Offers_this";
};
using Handle = ac::com::cpp_binding::proxy::Proxy_impl<Nobody>::Handle_type;

/// What was done to proxies, in order.
std::vector<std::string> done;

struct CountingProxy {
    using Service_type = Nobody;
    using Handle_type = Handle;

    explicit CountingProxy(Handle const& handle) : instance(handle.service_handle().instance.value) {
        if (instance == "broken") throw std::runtime_error("no such instance");
        done.push_back("made " + instance);
    }
    ~CountingProxy() { done.push_back("destroyed " + instance); }
    CountingProxy(CountingProxy const&) = delete;
    CountingProxy& operator=(CountingProxy const&) = delete;
    void abort() const { done.push_back("aborted " + instance); }

    std::string instance;
};

class Counting : public BaseListener<CountingProxy, Handle, Counting> {
public:
    explicit Counting(bool serviceUnset = false)
        : BaseListener("A_required_port", tVALNetworkServicesDiagAra{1}, serviceUnset) {
        init("");
    }
    ~Counting() override { stopFindService(); }
    void init(std::string) override { m_name = "Counting::"; }
    void run() override { done.push_back(proxy() ? "run " + proxy()->instance : "run without a proxy"); }
    static void endSubscriptions(CountingProxy& proxy) { done.push_back("unsubscribed " + proxy.instance); }

    using BaseListener::proxy;
    using BaseListener::serviceAvailabilityCallback;
    using BaseListener::stopFindService;
};

class BaseListenerTest : public ClientTest {
protected:
    BaseListenerTest() { done.clear(); }

    /// Registers Java and forgets what that left behind.
    void bringUpBridge() {
        registerJava();
        ASSERT_TRUE(awaitLine("Service still unavailable"));
        log.clear();
    }

    static std::vector<Handle> offers(std::vector<std::string> const& instances) {
        std::vector<Handle> handles;
        for (auto const& instance : instances)
            handles.emplace_back(eb::com::runtime::Service_handle{{std::string(Nobody::NAME)}, {instance}});
        return handles;
    }

    std::size_t availabilityChanges() { return messages(AVAILABILITY).size(); }
};

TEST_F(BaseListenerTest, OfferMakesTheProxyTellsJavaAndThenRuns) {
    bringUpBridge();
    Counting sut;
    bool toldBeforeRun = false;
    jvm.onMessage([&](fake::Message const&) { toldBeforeRun = done == std::vector<std::string>{"made 1"}; });
    sut.serviceAvailabilityCallback(offers({"1"}));
    EXPECT_THAT(done, ElementsAre("made 1", "run 1"));
    EXPECT_THAT(messages(AVAILABILITY), ElementsAre(u32(1)));
    EXPECT_TRUE(toldBeforeRun);
    EXPECT_THAT(texts(), ElementsAre("", "Registering service handler"));
    for (auto const& line : log.lines()) {
        EXPECT_EQ(line.prefix, "Counting::");
        EXPECT_EQ(line.function, "serviceAvailabilityCallback");
        EXPECT_EQ(line.level, 4);
    }
}

TEST_F(BaseListenerTest, OfTwoOffersTheFirstIsTaken) {
    bringUpBridge();
    Counting sut;
    sut.serviceAvailabilityCallback(offers({"7", "8"}));
    EXPECT_THAT(done, ElementsAre("made 7", "run 7"));
}

TEST_F(BaseListenerTest, FurtherOffersWhileBoundChangeNothing) {
    bringUpBridge();
    Counting sut;
    sut.serviceAvailabilityCallback(offers({"7"}));
    log.clear();
    done.clear();
    sut.serviceAvailabilityCallback(offers({"7"}));
    sut.serviceAvailabilityCallback(offers({"8"}));
    sut.serviceAvailabilityCallback(offers({"8", "7"}));
    EXPECT_THAT(done, IsEmpty());
    EXPECT_EQ(sut.proxy()->instance, "7");
    EXPECT_EQ(availabilityChanges(), 1U);
    EXPECT_EQ(count("Service handler already registered"), 3U);
}

TEST_F(BaseListenerTest, EmptyListBeforeAnyOfferLeavesAvailabilityAlone) {
    bringUpBridge();
    Counting sut;
    sut.serviceAvailabilityCallback({});
    EXPECT_THAT(texts(), ElementsAre("", "Service still unavailable"));
    EXPECT_THAT(done, IsEmpty());
    EXPECT_EQ(availabilityChanges(), 0U);
}

TEST_F(BaseListenerTest, LossEndsWhatIsOpenAndLetsGoOfTheProxy) {
    bringUpBridge();
    Counting sut;
    sut.serviceAvailabilityCallback(offers({"1"}));
    done.clear();
    log.clear();
    sut.serviceAvailabilityCallback({});
    EXPECT_THAT(done, ElementsAre("aborted 1", "unsubscribed 1", "destroyed 1"));
    EXPECT_EQ(sut.proxy(), nullptr);
    EXPECT_EQ(line("Service lost").level, 4);
}

TEST_F(BaseListenerTest, ProxyLivesUntilItsLastUserIsThrough) {
    bringUpBridge();
    Counting sut;
    sut.serviceAvailabilityCallback(offers({"1"}));
    auto share = sut.proxy();
    done.clear();
    sut.serviceAvailabilityCallback({});
    EXPECT_THAT(done, ElementsAre("aborted 1", "unsubscribed 1"));
    sut.serviceAvailabilityCallback(offers({"2"}));
    share.reset();
    EXPECT_THAT(done, ElementsAre("aborted 1", "unsubscribed 1", "made 2", "run 2", "destroyed 1"));
}

// The empty set has no form on the wire, so Java hears of each find and of no loss.
TEST_F(BaseListenerTest, JavaHearsOfEachFindAndOfNoLoss) {
    bringUpBridge();
    Counting sut;
    for (std::size_t times = 1; times <= 3; ++times) {
        sut.serviceAvailabilityCallback(offers({"1"}));
        EXPECT_EQ(availabilityChanges(), times);
        log.clear();
        sut.serviceAvailabilityCallback({});
        EXPECT_EQ(availabilityChanges(), times);
        EXPECT_EQ(count("Pack failed!"), 1U);
        EXPECT_EQ(count("enum rangecheck failure for enumeration tVALNetworkServicesDiagAra value0"), 1U);
        EXPECT_EQ(count("Failed to send VAL_NETWORK_SERVICE_DIAG_ARA_STATUS_IND."), 1U);
    }
    EXPECT_THAT(done, testing::Contains("run 1").Times(3));
}

TEST_F(BaseListenerTest, WithoutAServiceNumberAvailabilityIsNotTold) {
    bringUpBridge();
    Counting sut(true);
    sut.serviceAvailabilityCallback(offers({"1"}));
    sut.serviceAvailabilityCallback({});
    EXPECT_THAT(done, ElementsAre("made 1", "run 1", "aborted 1", "unsubscribed 1", "destroyed 1"));
    EXPECT_EQ(availabilityChanges(), 0U);
    EXPECT_THAT(log.errors(), ElementsAre("Error Service not set can not call serviceAvailable.",
                                          "Error Service not set can not call serviceAvailable."));
    for (auto const& one : log.lines()) EXPECT_EQ(one.function, "serviceAvailabilityCallback") << one.text;
}

TEST_F(BaseListenerTest, InstanceThatNoProxyCanBeMadeForIsNotAvailable) {
    bringUpBridge();
    Counting sut;
    EXPECT_THROW(sut.serviceAvailabilityCallback(offers({"broken"})), std::runtime_error);
    EXPECT_EQ(sut.proxy(), nullptr);
    EXPECT_EQ(availabilityChanges(), 0U);
    sut.serviceAvailabilityCallback(offers({"1"}));
    EXPECT_THAT(done, ElementsAre("made 1", "run 1"));
}

TEST_F(BaseListenerTest, StartResetsAvailabilityAndTellsTheSearch) {
    bringUpBridge();
    Counting found;
    found.serviceAvailabilityCallback(offers({"1"}));
    log.clear();
    Counting sut;  // has found nothing yet, so only its start can empty the set
    sut.start();
    ASSERT_TRUE(awaitLine("Service still unavailable")) << "no process offers it";
    sut.stopFindService();  // from here on the lists are this thread's again
    sut.serviceAvailabilityCallback(offers({"1"}));
    EXPECT_EQ(availabilityChanges(), 2U) << "the set was emptied: found again is news";
    auto const lines = log.lines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0].function, "start");
    EXPECT_EQ(lines[0].text, "");
    EXPECT_EQ(line("StartFindService called with instanceId: A_required_port").function, "start");
}

TEST_F(BaseListenerTest, SearchIsToldByItsNumberFromStartToStop) {
    bringUpBridge();
    {
        Counting sut;
        sut.start();
        ASSERT_TRUE(awaitLine("Service still unavailable"));
    }
    std::vector<std::string> told;
    for (auto const& message : log.raw().messages()) {
        bool const ours = message.text.find("zvg::nobody::Offers_this") != std::string::npos;
        if (ours && message.text.find("\"Find_service_st") != std::string::npos) {
            told.push_back(message.text);
            EXPECT_EQ(message.level, ara::log::LogLevel::kInfo);
            EXPECT_THAT(message.text, testing::HasSubstr(R"("2_string":"*")"));
        }
    }
    ASSERT_EQ(told.size(), 2U);
    EXPECT_THAT(told[0], testing::HasSubstr("Find_service_start"));
    EXPECT_THAT(told[1], testing::HasSubstr("Find_service_stop"));
    auto const number = [](std::string const& text) { return text.substr(text.find("\"2_data\"")); };
    EXPECT_EQ(number(told[0]), number(told[1]));
    EXPECT_EQ(line("StopFindService").function, "stopFindService");
    EXPECT_EQ(line("StopFindService").level, 4);
}

}  // namespace
}  // namespace client_test
