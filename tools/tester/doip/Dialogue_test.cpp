// Requests and responses in time: sessions, P2 and P2*, several testers.
#include <algorithm>
#include <atomic>
#include <future>

#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

class DialogueTest : public DoipTest {
protected:
    /// Data identifier 0x017D is answered, with HELD, once goOn is set.
    void holdRead() {
        identifier("017d").script = {FakePort::answered(0, Message(8))};
        identifier("017d").onCall = [this] { goOn.get_future().wait(); };
    }
    static constexpr char const* HELD = "62 01 7D 00 00 00 00 00 00 00 00";
    std::promise<void> goOn;
};

TEST_F(DialogueTest, FunctionalRequestsHideTheRefusalsOfThoseWhoWerentMeant) {
    settings.timing.p2 = milliseconds(60'000);  // behind a 0x78 they aren't hidden
    start();
    Client client = activeClient();
    std::uint64_t hidden = 0;
    for (char const* request : {"27 01", "19 03", "22 12 34", "31 01 06 87"}) {
        ++hidden;
        client.request(bytes(request), FUNCTIONAL);
        EXPECT_EQ(read16(client.receive(), 2), 0x8002) << request;
    }
    for (int const code : {0x11, 0x12, 0x31, 0x7E, 0x7F}) {  // the vehicle's own
        identifier("b047").script = {FakePort::answered(2, {static_cast<unsigned char>(code)})};
        client.request(bytes("22 B0 47"), FUNCTIONAL);
        EXPECT_EQ(read16(client.receive(), 2), 0x8002);
        ++hidden;
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (gateway->statistics().suppressed != hidden && std::chrono::steady_clock::now() < end) continue;
        EXPECT_EQ(gateway->statistics().suppressed, hidden) << code;
    }
    identifier("b047").script = {FakePort::answered(2, {0x26})};
    EXPECT_EQ(client.ask("22 B0 47", FUNCTIONAL), "7F 22 26");
    EXPECT_EQ(client.ask("3E", FUNCTIONAL), "7F 3E 13");
    EXPECT_EQ(client.ask("31 03 06 87", FUNCTIONAL), "7F 31 24");
}

TEST_F(DialogueTest, SuppressedPositiveResponseIsntSent) {
    settings.timing.p2 = milliseconds(60'000);
    settings.timing.s3 = milliseconds(60'000);
    start();
    Client client = activeClient();
    client.request(bytes("3E 80"));
    client.request(bytes("10 83"));
    EXPECT_EQ(client.ask("19 82"), "7F 19 13");  // a negative one is
    routine("0687").script = {FakePort::answered(0)};
    EXPECT_EQ(client.ask("31 01 06 87"), "71 01 06 87");  // and the session has changed
    EXPECT_EQ(gateway->stop().suppressed, 2U);
}

TEST_F(DialogueTest, LongReadIsToldToBePendingUntilItIsAnswered) {
    settings.timing = {milliseconds(20), milliseconds(100), milliseconds(60'000)};
    holdRead();
    start();
    Client client = activeClient();
    client.request(bytes("22 01 7D"));
    EXPECT_EQ(client.response(), "7F 22 78");
    EXPECT_EQ(client.response(), "7F 22 78");
    goOn.set_value();
    std::string last = client.response();
    while (last == "7F 22 78") last = client.response();
    EXPECT_EQ(last, HELD);
    Statistics const& counted = gateway->stop();
    EXPECT_EQ(counted.p2.count(), 1U);
    EXPECT_GE(counted.pending, 2U);
    EXPECT_EQ(counted.p2Star.count(), counted.pending);
}

TEST_F(DialogueTest, ALostReadIsRepeatedAfterALittleMoreThanItsAnswersTake) {
    // Given attempts that may take much longer than this test waits, and an identifier that answers at once
    settings.timing.p2 = milliseconds(60'000);
    makeVehicle({milliseconds(3'600'000), milliseconds(0), 2});
    identifier("017d").script = {FakePort::answered(0, Message(8)), std::nullopt,
                                 FakePort::answered(0, Message(8))};
    start();
    Client client = activeClient();
    EXPECT_EQ(client.ask("22 01 7D"), HELD);
    // When an answer is lost, then the second attempt's comes
    EXPECT_EQ(client.ask("22 01 7D"), HELD);
}

TEST_F(DialogueTest, SilentIdentifierHoldsUpNobodyElse) {
    settings.timing.p2 = milliseconds(60'000);
    makeVehicle({milliseconds(3'600'000), milliseconds(0), 2});
    std::promise<void> second;
    std::atomic<int> calls{0};
    identifier("b047").script = {FakePort::answered(2, {0x26})};
    identifier("b047").onCall = [&] {
        if (++calls == 3) second.set_value();
    };
    identifier("017d").script = {FakePort::answered(0, Message(8))};
    start();
    Client waits = activeClient(0x0E80);
    EXPECT_EQ(waits.ask("22 B0 47"), "7F 22 26");
    // Given an identifier that answered and is silent now
    waits.request(bytes("22 B0 47"));
    ASSERT_EQ(second.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    // When
    Client other = activeClient(0x0E81);
    other.send(bytes("02 FD 80 01 00 00 00 07 0E 81 10 01 22 01 7D"));
    // Then
    EXPECT_EQ(other.response(), HELD);
    stop.request_stop();
}

TEST_F(DialogueTest, PendingResponseIsFollowedByOneThatWouldHaveBeenSilent) {
    settings.timing = {milliseconds(20), milliseconds(60'000), milliseconds(5000)};
    settings.anySession = true;
    routine("0687").script = {FakePort::answered(0)};
    routine("0687").onCall = [this] { EXPECT_TRUE(told("requestCorrectlyReceived")); };
    start();
    Client client = activeClient();
    EXPECT_EQ(client.ask("31 81 06 87"), "7F 31 78");
    EXPECT_EQ(client.response(), "71 01 06 87");
    identifier("b047").script = {FakePort::answered(2, {0x31})};
    identifier("b047").onCall = [this] {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (gateway->statistics().pending != 2 && std::chrono::steady_clock::now() < end) continue;
    };
    EXPECT_EQ(client.ask("22 B0 47", FUNCTIONAL), "7F 22 78");
    EXPECT_EQ(client.response(), "7F 22 31");
}

TEST_F(DialogueTest, SecondRequestIsRefusedWhileOneIsUnderWayAndPresenceIsTaken) {
    settings.timing.p2 = milliseconds(60'000);
    holdRead();
    start();
    Client client = activeClient();
    client.request(bytes("22 01 7D"));
    client.request(bytes("3E 80"), FUNCTIONAL);
    EXPECT_EQ(client.ask("3E 00"), "7F 3E 21");
    EXPECT_EQ(client.ask("10 03"), "7F 10 21");
    goOn.set_value();
    EXPECT_EQ(client.response(), HELD);
}

TEST_F(DialogueTest, TestersWaitForOneAnothersReadsButNotForTheirRoutines) {
    settings.timing.p2 = milliseconds(60'000);
    settings.anySession = true;
    identifier("017d").script = {FakePort::answered(0, Message(8)), FakePort::answered(0, Message(8))};
    std::atomic<bool> first{true};
    identifier("017d").onCall = [&] {
        if (first.exchange(false)) goOn.get_future().wait();
    };
    routine("0687").script = {FakePort::answered(0)};
    start();
    Client reads = activeClient(0x0E80);
    reads.request(bytes("22 01 7D"));
    EXPECT_TRUE(told("ReadDataByIdentifier 0x017D"));
    Client other = connect();
    Message activation = bytes("02 FD 00 05 00 00 00 07 0E 81 00 00 00 00 00");
    other.send(activation);
    other.receive();
    other.send(bytes("02 FD 80 01 00 00 00 08 0E 81 10 01 31 01 06 87"));
    EXPECT_EQ(other.response(), "71 01 06 87");
    other.send(bytes("02 FD 80 01 00 00 00 07 0E 81 10 01 22 01 7D"));
    goOn.set_value();
    EXPECT_EQ(other.response(), HELD);
    EXPECT_EQ(reads.response(), HELD);
}

TEST_F(DialogueTest, TooManyWaitingReadsAreRefused) {
    settings.transport.sockets = 255;
    settings.timing.p2 = milliseconds(60'000);
    auto const opened = goOn.get_future().share();
    identifier("017d").onCall = [opened] { opened.wait(); };
    for (std::size_t each = 0; each < Lanes::LIMIT; ++each)
        identifier("017d").script.push_back(FakePort::answered(0, Message(8)));
    start();
    std::vector<Client> clients;
    auto const read = [](std::uint16_t tester) {
        Message payload;
        append16(payload, tester);
        append(payload, bytes("10 01 22 01 7D"));
        return frame(VERSION_2012, Type::diagnostic, payload);
    };
    for (std::uint16_t each = 0; each <= Lanes::LIMIT; ++each) {
        auto const tester = static_cast<std::uint16_t>(0x0E00 + each);
        clients.push_back(activeClient(tester));
        clients.back().send(read(tester));
        EXPECT_EQ(read16(clients.back().receive(), 2), 0x8002);
    }
    EXPECT_EQ(clients.back().response(), "7F 22 21");
    clients.pop_back();
    goOn.set_value();
    for (auto& each : clients) EXPECT_EQ(each.response(), HELD);
}

TEST_F(DialogueTest, SessionFallsBackWithoutRequestsAndEachConnectionHasItsOwn) {
    settings.timing.s3 = milliseconds(100);
    start();
    Client client = activeClient();
    EXPECT_EQ(client.ask("10 03"), "50 03 00 32 01 F4");
    EXPECT_TRUE(told("S3 is over"));
    EXPECT_EQ(client.ask("31 01 06 87"), "7F 31 7E");
    EXPECT_EQ(client.ask("31 02 06 87"), "7F 31 7E");
}

TEST_F(DialogueTest, SessionDoesntEndDuringARequest) {
    settings.timing.p2 = milliseconds(60'000);
    settings.timing.s3 = milliseconds(100);
    holdRead();
    start();
    Client client = activeClient();
    // Both at once, so that S3 can't be over in between
    client.send(
        bytes("02 FD 80 01 00 00 00 06 0E 80 10 01 10 03 02 FD 80 01 00 00 00 07 0E 80 10 01 22 01 7D"));
    EXPECT_EQ(client.response(), "50 03 EA 60 01 F4");
    // When the S3 of another tester, who came later, is over
    Client other = activeClient(0x0E81);
    other.send(bytes("02 FD 80 01 00 00 00 06 0E 81 10 01 10 03"));
    EXPECT_TRUE(told("S3 is over"));
    {
        std::lock_guard const lock(mutex);
        auto const isEnd = [](std::string const& line) {
            return line.find("S3 is over") != std::string::npos;
        };
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isEnd), 1);
    }
    goOn.set_value();
    EXPECT_EQ(client.response(), HELD);
}

TEST_F(DialogueTest, TesterThatGoesDuringItsReadLeavesTheNextOneWhole) {
    settings.timing.p2 = milliseconds(60'000);
    std::promise<void> called;
    identifier("017d").script = {FakePort::answered(0, Message(8)), FakePort::answered(0, Message(8, 1))};
    std::atomic<bool> first{true};
    identifier("017d").onCall = [&] {
        if (!first.exchange(false)) return;
        called.set_value();
        goOn.get_future().wait();
    };
    start();
    {
        Client goes = activeClient();
        goes.request(bytes("22 01 7D"));
        called.get_future().wait();
    }
    EXPECT_TRUE(told("closed: "));
    Client stays = activeClient();
    stays.request(bytes("22 01 7D"));
    goOn.set_value();
    EXPECT_EQ(stays.response(), "62 01 7D 01 01 01 01 01 01 01 01");
}

TEST_F(DialogueTest, NumbersAreToldWhileItRuns) {
    start();
    Client client = activeClient();
    EXPECT_EQ(client.ask("3E 00"), "7E 00");
    EXPECT_EQ(client.ask("22 12 34"), "7F 22 31");
    Statistics const counted = gateway->statistics();
    EXPECT_EQ(counted.connections, 1U);
    EXPECT_EQ(counted.requests, 2U);
    EXPECT_EQ(counted.positive, 1U);
    EXPECT_EQ(counted.negative, 1U);
    EXPECT_EQ(counted.p2.count(), 2U);
    EXPECT_EQ(client.ask("3E 00"), "7E 00");
    EXPECT_EQ(gateway->stop().requests, 3U);
    EXPECT_EQ(gateway->statistics().requests, 3U);
}

}  // namespace
}  // namespace tester::doip
