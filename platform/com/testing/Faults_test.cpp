// Calls between runtimes over a bad network: services are where the manifest says.
#include <gtest/gtest.h>

#include "platform/com/testing/Stack_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;

constexpr int CALLS = 100;

class Faults_test : public Stack_test {
protected:
    Faults_test() : Stack_test({}) {}

    static Bytes number(int call) {
        return {static_cast<std::uint8_t>(call >> 8), static_cast<std::uint8_t>(call)};
    }
    /// Every call has ended once, each with its own bytes if it was answered; how many were.
    static int answered(Fake_client& client, int calls) {
        EXPECT_TRUE(eventually([&] { return client.ended() == static_cast<std::size_t>(calls); }))
            << client.ended() << " calls of " << calls << " ended";
        int answers = 0;
        for (int call = 0; call < calls; ++call) {
            auto const results = client.results(call);
            EXPECT_EQ(results.size(), 1U) << "call " << call;
            if (results.empty() || results[0].outcome != Call_outcome::answered) continue;
            EXPECT_EQ(results[0].payload.bytes(), number(call));
            ++answers;
        }
        return answers;
    }
};

TEST_F(Faults_test, DuplicatedAndReorderedDatagramsAnswerEachCallOnce) {
    Fake_service const service(*m_server, OVER_UDP);
    Fake_client client(*m_client, OVER_UDP);
    Faults faults;
    faults.duplicate = 0.3;
    faults.reorder = 0.3;
    faults.delayTo = milliseconds(50);
    m_network.set(faults);
    for (int call = 0; call < CALLS; ++call) client.call(FAKE_ECHO, number(call));
    m_clock.advance(milliseconds(200));
    EXPECT_EQ(answered(client, CALLS), CALLS);
    EXPECT_GE(service.echoes(), CALLS) << "a datagram that comes twice is a second request";
}

TEST_F(Faults_test, EveryCallEndsOnceWhateverShareOfTheDatagramsIsLost) {
    Fake_service const service(*m_server, OVER_UDP);
    for (double const loss : {0.0, 0.01, 0.1, 0.3}) {
        SCOPED_TRACE(loss);
        Fake_client client(*m_client, OVER_UDP);
        Faults faults;
        faults.drop = loss;
        m_network.set(faults);
        for (int call = 0; call < CALLS; ++call) client.call(FAKE_ECHO, number(call));
        m_clock.advance(Limits{}.callLimit);
        int const answers = answered(client, CALLS);
        // Both ways have to be free of loss; five and more standard deviations.
        EXPECT_GE(answers, loss == 0.3 ? 23 : loss == 0.1 ? 57 : loss == 0.01 ? 90 : CALLS);
        std::cout << "loss " << loss << ": " << answers << " of " << CALLS << " answered\n";
    }
}

TEST_F(Faults_test, DelayOfTwoSecondsAndPiecesOfOneByteLoseNoCallOverTcp) {
    Fake_service const service(*m_server, OVER_TCP);
    Fake_client client(*m_client, OVER_TCP);
    ASSERT_TRUE(client.echoes()) << "connecting alone may take longer than its limit";
    Faults faults;
    faults.delayTo = milliseconds(2000);
    faults.pieceBytes = 1;
    m_network.set(faults);
    Fake_client patient(*m_client, OVER_TCP);
    for (int call = 0; call < CALLS; ++call) patient.call(FAKE_ECHO, number(call));
    m_clock.advance(milliseconds(4000));  // two to ask, two to answer
    EXPECT_EQ(answered(patient, CALLS), CALLS);
    EXPECT_EQ(service.echoes(), CALLS + 1);
}

TEST_F(Faults_test, DisconnectInTheMiddleOfACallIsATransportErrorAndTheNextCallWorks) {
    Fake_service service(*m_server, OVER_TCP);
    Fake_client client(*m_client, OVER_TCP);
    for (int round = 0; round < 20; ++round) {
        int const call = client.call(FAKE_HOLD);
        m_clock.settle();
        ASSERT_EQ(service.held(), static_cast<std::size_t>(round + 1));
        m_network.disconnect();
        ASSERT_TRUE(eventually([&] { return !client.results(call).empty(); }));
        EXPECT_EQ(client.results(call).at(0).outcome, Call_outcome::transport);
        m_clock.settle();
        EXPECT_TRUE(client.echoes());
    }
    service.answer();
    EXPECT_EQ(m_network.streams(), 1U);
}

TEST_F(Faults_test, PartitionDelaysACallOnAStandingConnection) {
    Fake_service service(*m_server, OVER_TCP);
    Fake_client client(*m_client, OVER_TCP);
    ASSERT_TRUE(client.echoes());
    m_network.partition(SERVER, CLIENT);
    int const call = client.call(FAKE_ECHO, {1});
    m_clock.advance(milliseconds(5000));
    EXPECT_TRUE(client.results(call).empty());
    m_network.heal();
    EXPECT_TRUE(eventually([&] { return !client.results(call).empty(); }));
    EXPECT_EQ(client.results(call).at(0).outcome, Call_outcome::answered);
    EXPECT_TRUE(client.echoes());
}

TEST_F(Faults_test, ConnectingAcrossAPartitionEndsAtItsLimitAndWorksOnceItIsHealed) {
    Fake_service const service(*m_server, OVER_TCP);
    Fake_client client(*m_client, OVER_TCP);
    Fake_client other(*m_other, OVER_TCP);
    m_network.partition(SERVER, CLIENT);
    int const call = client.call(FAKE_ECHO, {1});
    m_clock.advance(Limits{}.connectLimit - milliseconds(1));
    EXPECT_TRUE(client.results(call).empty());
    m_clock.advance(milliseconds(1));
    ASSERT_TRUE(eventually([&] { return !client.results(call).empty(); }));
    EXPECT_EQ(client.results(call).at(0).outcome, Call_outcome::not_available);
    EXPECT_TRUE(other.echoes()) << "others aren't cut off";

    m_network.heal();
    EXPECT_TRUE(client.echoes());
}

TEST_F(Faults_test, PeerThatNeverReadsLosesItsConnectionAndOthersDoNotNotice) {
    Fake_service const service(*m_server, OVER_TCP);
    Fake_client deaf(*m_client, OVER_TCP);
    Fake_client client(*m_other, OVER_TCP);
    ASSERT_TRUE(deaf.echoes());
    auto const dropped = counters().dropped.load();
    m_network.stall(CLIENT);
    int calls = 0;
    // Each answer is 100 KB; four megabytes may wait.
    while (counters().dropped == dropped && calls < 60) {
        deaf.call(FAKE_ECHO, Bytes(100'000));
        ++calls;
        m_clock.settle();
        ASSERT_TRUE(client.echoes());
    }
    EXPECT_EQ(counters().dropped, dropped + 1);
    EXPECT_GE(calls, 40);
    m_network.stall(CLIENT, false);
    ASSERT_TRUE(eventually([&] { return deaf.ended() == static_cast<std::size_t>(calls) + 1; }));
    EXPECT_TRUE(deaf.echoes());
}

}  // namespace
}  // namespace eb::com::runtime
