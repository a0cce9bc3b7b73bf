// The gateway at its sockets, on services that a test commands.
#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

using testing::Contains;
using testing::HasSubstr;

constexpr std::uint16_t FUNCTIONAL = 0xE400;

class GatewayTest : public DoipTest {
protected:
    /// Waits for a line for people; the machine may be busy.
    bool told(std::string const& text) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < end) {
            {
                std::lock_guard const lock(mutex);
                for (auto const& line : lines) {
                    if (line.find(text) != std::string::npos) return true;
                }
            }
            std::this_thread::yield();
        }
        return false;
    }
};

TEST_F(GatewayTest, IdentificationIsAnsweredWhoeverAsksForThisVehicle) {
    start();
    std::string const identity =
        "54 45 53 54 45 52 30 30 30 30 30 30 30 30 30 30 31 10 01 02 00 00 00 10 01 02 00 00 00 10 00 00 00";
    struct {
        char const* name;
        char const* request;
        char const* header;
    } const rows[] = {
        {"plain", "02 FD 00 01 00 00 00 00", "02 FD 00 04 00 00 00 21"},
        {"of 2019", "03 FC 00 01 00 00 00 00", "03 FC 00 04 00 00 00 21"},
        {"of any version", "FF 00 00 01 00 00 00 00", "02 FD 00 04 00 00 00 21"},
        {"by EID", "02 FD 00 02 00 00 00 06 02 00 00 00 10 01", "02 FD 00 04 00 00 00 21"},
        {"by VIN", "02 FD 00 03 00 00 00 11 54 45 53 54 45 52 30 30 30 30 30 30 30 30 30 30 31",
         "02 FD 00 04 00 00 00 21"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(hex(datagram(bytes(row.request))), row.header + (' ' + identity));
    }
}

TEST_F(GatewayTest, DatagramsHaveTheirAnswerOrNone) {
    start();
    struct {
        char const* name;
        char const* request;
        char const* answer;
    } const rows[] = {
        {"another EID", "02 FD 00 02 00 00 00 06 02 00 00 00 10 02", ""},
        {"another VIN", "02 FD 00 03 00 00 00 11 54 45 53 54 45 52 30 30 30 30 30 30 30 30 30 30 32", ""},
        {"status", "02 FD 40 01 00 00 00 00", "02 FD 40 02 00 00 00 07 00 08 00 00 01 00 00"},
        {"power mode without a vehicle", "02 FD 40 03 00 00 00 00", "02 FD 40 04 00 00 00 01 00"},
        {"wrong inverse", "02 FC 00 01 00 00 00 00", "02 FD 00 00 00 00 00 01 00"},
        {"any version for status", "FF 00 40 01 00 00 00 00", "02 FD 00 00 00 00 00 01 00"},
        {"unknown type", "03 FC 99 99 00 00 00 00", "03 FC 00 00 00 00 00 01 01"},
        {"TCP's type", "02 FD 80 01 00 00 00 06 0E 80 10 01 3E 00", "02 FD 00 00 00 00 00 01 01"},
        {"too large", "02 FD 00 01 00 01 00 01", "02 FD 00 00 00 00 00 01 02"},
        {"longer than it says", "02 FD 00 01 00 00 00 00 00", "02 FD 00 00 00 00 00 01 04"},
        {"shorter than it says", "02 FD 00 02 00 00 00 06 02 00 00", "02 FD 00 00 00 00 00 01 04"},
        {"identification with a payload", "02 FD 00 01 00 00 00 01 00", "02 FD 00 00 00 00 00 01 04"},
        {"another entity's announcement", "02 FD 00 04 00 00 00 00", ""},
        {"negative acknowledgement", "02 FD 00 00 00 00 00 01 00", ""},
        {"negative acknowledgement of a wrong pattern", "02 02 00 00 00 00 00 01 00", ""},
        {"status answer", "02 FD 40 02 00 00 00 03 00 01 00", ""},
        {"half a header", "02 FD 00", ""},
        {"nothing", "", ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(hex(datagram(bytes(row.request))), row.answer);
    }
}

TEST_F(GatewayTest, StatusCountsActiveSockets) {
    start();
    Client const waiting = connect();
    Client const active = activeClient();
    EXPECT_EQ(hex(datagram(bytes("02 FD 40 01 00 00 00 00"))),
              "02 FD 40 02 00 00 00 07 00 08 01 00 01 00 00");
}

TEST_F(GatewayTest, PowerModeIsReadyWithTheVehiclesMonitors) {
    start();
    for (auto const& [code, sink] : monitors)
        sink->service_state_changed(eb::com::runtime::Client::Service_state::available);
    EXPECT_EQ(hex(datagram(bytes("02 FD 40 03 00 00 00 00"))), "02 FD 40 04 00 00 00 01 01");
}

TEST_F(GatewayTest, ActivationAnswersWithBothAddresses) {
    start();
    Client client = connect();
    client.send(bytes("02 FD 00 05 00 00 00 07 0E 80 00 00 00 00 00"));
    EXPECT_EQ(hex(client.receive()), "02 FD 00 06 00 00 00 09 0E 80 10 01 10 00 00 00 00");
    client.send(bytes("03 FC 00 05 00 00 00 0B 0E 80 00 00 00 00 00 AA BB CC DD"));
    EXPECT_EQ(hex(client.receive()), "03 FC 00 06 00 00 00 09 0E 80 10 01 10 00 00 00 00");
}

TEST_F(GatewayTest, RefusedActivationClosesTheConnection) {
    start();
    struct {
        char const* name;
        std::uint16_t tester;
        unsigned char type;
        int code;
    } const rows[] = {
        {"address below the testers", 0x0DFF, 0x00, 0x00},
        {"address above the testers", 0x0F00, 0x00, 0x00},
        {"the entity's own address", 0x1001, 0x00, 0x00},
        {"unknown address before wrong type", 0x0000, 0xE0, 0x00},
        {"regulated type", 0x0E80, 0x01, 0x06},
        {"central security", 0x0E80, 0xE0, 0x06},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        Client client = connect();
        EXPECT_EQ(client.activate(row.tester, row.type), row.code);
        EXPECT_TRUE(client.receive().empty());
    }
}

TEST_F(GatewayTest, ActiveSocketKeepsItsAddress) {
    start();
    Client client = activeClient();
    EXPECT_EQ(client.activate(0x0E81), 0x02);
    EXPECT_TRUE(client.receive().empty());
}

TEST_F(GatewayTest, SecondSocketOfATesterIsDeniedWhileTheFirstIsAlive) {
    settings.transport.aliveCheck = milliseconds(60'000);
    start();
    Client first = activeClient();
    Client second = connect();
    std::thread alive([&first] {
        EXPECT_EQ(hex(first.receive()), "02 FD 00 07 00 00 00 00");
        first.send(bytes("02 FD 00 08 00 00 00 02 0E 80"));
    });
    EXPECT_EQ(second.activate(), 0x03);
    EXPECT_TRUE(second.receive().empty());
    alive.join();
    EXPECT_EQ(first.ask("3E 00"), "7E 00");
}

TEST_F(GatewayTest, SilentSocketMakesRoomForItsTestersNextOne) {
    settings.transport.aliveCheck = milliseconds(50);
    start();
    Client first = activeClient();
    Client second = connect();
    EXPECT_EQ(second.activate(), 0x10);
    EXPECT_EQ(read16(first.receive(), 2), 0x0007);
    EXPECT_TRUE(first.receive().empty());
    EXPECT_EQ(second.ask("3E 00"), "7E 00");
    EXPECT_TRUE(told("no answer to an alive check"));
}

TEST_F(GatewayTest, AliveAnswerOfAnotherAddressIsNone) {
    settings.transport.aliveCheck = milliseconds(200);
    start();
    Client first = activeClient();
    Client second = connect();
    std::thread answers([&first] {
        first.receive();
        first.send(bytes("02 FD 00 08 00 00 00 02 0E 81"));
    });
    EXPECT_EQ(second.activate(), 0x10);
    answers.join();
    EXPECT_TRUE(first.receive().empty());
}

TEST_F(GatewayTest, FullTableIsAskedAndStaysFullIfAllAreAlive) {
    settings.transport.sockets = 3;
    settings.transport.aliveCheck = milliseconds(60'000);
    start();
    std::vector<Client> active;
    for (std::uint16_t tester = 0x0E00; tester < 0x0E03; ++tester) active.push_back(activeClient(tester));
    Client late = connect();
    std::thread alive([&active] {
        for (std::uint16_t tester = 0; tester < 3; ++tester) {
            active[tester].receive();
            Message answer = bytes("02 FD 00 08 00 00 00 02 0E");
            answer.push_back(static_cast<unsigned char>(tester));
            active[tester].send(answer);
        }
    });
    EXPECT_EQ(late.activate(), 0x01);
    EXPECT_TRUE(late.receive().empty());
    alive.join();
    EXPECT_EQ(hex(datagram(bytes("02 FD 40 01 00 00 00 00"))),
              "02 FD 40 02 00 00 00 07 00 03 03 00 01 00 00");
}

TEST_F(GatewayTest, FullTableMakesRoomWhenOneGoesDuringTheCheck) {
    settings.transport.sockets = 2;
    settings.transport.aliveCheck = milliseconds(60'000);
    start();
    Client first = activeClient(0x0E00);
    Client second = activeClient(0x0E01);
    Client late = connect();
    std::thread goes([&first] {
        first.receive();
        first.end();
    });
    EXPECT_EQ(late.activate(0x0E02), 0x10);
    goes.join();
}

TEST_F(GatewayTest, TesterMayAskWhetherTheGatewayIsAlive) {
    start();
    Client client = activeClient();
    client.send(bytes("02 FD 00 07 00 00 00 00"));
    EXPECT_EQ(hex(client.receive()), "02 FD 00 08 00 00 00 02 10 01");
}

TEST_F(GatewayTest, DiagnosticMessageIsAcknowledgedThenAnswered) {
    start();
    Client client = activeClient();
    client.request(bytes("3E 00"));
    EXPECT_EQ(hex(client.receive()), "02 FD 80 02 00 00 00 05 10 01 0E 80 00");
    EXPECT_EQ(hex(client.receive()), "02 FD 80 01 00 00 00 06 10 01 0E 80 7E 00");
    client.request(bytes("3E 00"), FUNCTIONAL);
    EXPECT_EQ(hex(client.receive()), "02 FD 80 02 00 00 00 05 E4 00 0E 80 00");
    EXPECT_EQ(hex(client.receive()), "02 FD 80 01 00 00 00 06 10 01 0E 80 7E 00");
}

TEST_F(GatewayTest, DiagnosticMessageIsRefusedWithItsReason) {
    start();
    Client unknownTarget = activeClient();
    unknownTarget.request(bytes("3E 00"), 0x1002);
    EXPECT_EQ(hex(unknownTarget.receive()), "02 FD 80 03 00 00 00 05 10 02 0E 80 03");
    unknownTarget.request(bytes("22") + Message(4095));
    EXPECT_EQ(hex(unknownTarget.receive()), "02 FD 80 03 00 00 00 05 10 01 0E 80 04");
    unknownTarget.request(Message(4095, 0x22));
    EXPECT_EQ(unknownTarget.response(), "7F 22 13");

    Client wrongSource = activeClient(0x0E81);
    wrongSource.request(bytes("3E 00"));
    EXPECT_EQ(hex(wrongSource.receive()), "02 FD 80 03 00 00 00 05 10 01 0E 80 02");
    EXPECT_TRUE(wrongSource.receive().empty());

    Client early = connect();
    early.request(bytes("3E 00"));
    EXPECT_EQ(hex(early.receive()), "02 FD 80 03 00 00 00 05 10 01 0E 80 02");
    EXPECT_TRUE(early.receive().empty());
}

TEST_F(GatewayTest, FunctionalRequestsHideTheRefusalsOfThoseWhoWerentMeant) {
    start();
    Client client = activeClient();
    for (char const* request : {"27 01", "19 03", "22 12 34", "31 01 06 87"}) {
        client.request(bytes(request), FUNCTIONAL);
        EXPECT_EQ(read16(client.receive(), 2), 0x8002) << request;
    }
    EXPECT_EQ(client.ask("3E", FUNCTIONAL), "7F 3E 13");
    EXPECT_EQ(client.ask("31 03 06 87", FUNCTIONAL), "7F 31 24");
}

TEST_F(GatewayTest, SuppressedPositiveResponseIsntSent) {
    start();
    Client client = activeClient();
    client.request(bytes("3E 80"));
    client.request(bytes("10 83"));
    EXPECT_EQ(client.ask("19 82"), "7F 19 13");  // a negative one is
    routine("0687").script = {FakePort::answered(0)};
    EXPECT_EQ(client.ask("31 01 06 87"), "71 01 06 87");  // and the session has changed
    EXPECT_EQ(gateway->stop().suppressed, 2U);
}

TEST_F(GatewayTest, LongReadIsToldToBePendingUntilItIsAnswered) {
    settings.timing = {milliseconds(20), milliseconds(100), milliseconds(5000)};
    makeVehicle({milliseconds(1'500), milliseconds(0), 1});
    start();
    Client client = activeClient();
    client.request(bytes("22 B0 47"));
    EXPECT_EQ(client.response(), "7F 22 78");
    EXPECT_EQ(client.response(), "7F 22 78");
    std::string last = client.response();
    while (last == "7F 22 78") last = client.response();
    EXPECT_EQ(last, "7F 22 25");
    Statistics const& counted = gateway->stop();
    EXPECT_EQ(counted.p2.count(), 1U);
    EXPECT_GE(counted.p2Star.count(), 2U);
    EXPECT_GE(counted.pending, 2U);
    EXPECT_EQ(counted.p2Star.count(), counted.pending);
}

TEST_F(GatewayTest, PendingResponseIsFollowedByOneThatWouldHaveBeenSilent) {
    settings.timing = {milliseconds(20), milliseconds(60'000), milliseconds(5000)};
    settings.anySession = true;
    routine("0687").script = {FakePort::answered(0)};
    routine("0687").onCall = [this] { EXPECT_TRUE(told("requestCorrectlyReceived")); };
    start();
    Client client = activeClient();
    EXPECT_EQ(client.ask("31 81 06 87"), "7F 31 78");
    EXPECT_EQ(client.response(), "71 01 06 87");
}

TEST_F(GatewayTest, SecondRequestIsRefusedWhileOneIsUnderWayAndPresenceIsTaken) {
    settings.timing.p2 = milliseconds(60'000);
    std::promise<void> goOn;
    identifier("017d").script = {FakePort::answered(0, Message(8))};
    identifier("017d").onCall = [&goOn] { goOn.get_future().wait(); };
    start();
    Client client = activeClient();
    client.request(bytes("22 01 7D"));
    client.request(bytes("3E 80"), FUNCTIONAL);
    EXPECT_EQ(client.ask("3E 00"), "7F 3E 21");
    EXPECT_EQ(client.ask("10 03"), "7F 10 21");
    goOn.set_value();
    EXPECT_EQ(client.response(), "62 01 7D 00 00 00 00 00 00 00 00");
}

TEST_F(GatewayTest, TestersWaitForOneAnothersReadsButNotForTheirRoutines) {
    settings.timing.p2 = milliseconds(60'000);
    settings.anySession = true;
    std::promise<void> goOn;
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
    EXPECT_EQ(other.response(), "62 01 7D 00 00 00 00 00 00 00 00");
    EXPECT_EQ(reads.response(), "62 01 7D 00 00 00 00 00 00 00 00");
}

TEST_F(GatewayTest, TooManyWaitingReadsAreRefused) {
    settings.transport.sockets = 255;
    settings.timing.p2 = milliseconds(60'000);
    std::promise<void> goOn;
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
    for (auto& each : clients) EXPECT_EQ(each.response(), "62 01 7D 00 00 00 00 00 00 00 00");
}

TEST_F(GatewayTest, SessionFallsBackWithoutRequestsAndEachConnectionHasItsOwn) {
    settings.timing.s3 = milliseconds(100);
    start();
    Client client = activeClient();
    EXPECT_EQ(client.ask("10 03"), "50 03 00 32 01 F4");
    EXPECT_TRUE(told("S3 is over"));
    EXPECT_EQ(client.ask("31 01 06 87"), "7F 31 7E");
    EXPECT_EQ(client.ask("31 02 06 87"), "7F 31 7E");
}

TEST_F(GatewayTest, ConnectionsThatStayInactiveAreClosed) {
    settings.transport.initialInactivity = milliseconds(1'000);
    settings.transport.generalInactivity = milliseconds(100);
    start();
    Client silent = connect();
    EXPECT_TRUE(silent.receive().empty());
    Client halfHeader = connect();
    halfHeader.send(bytes("02 FD 00 05"));
    EXPECT_TRUE(halfHeader.receive().empty());
    Client active = activeClient();
    EXPECT_TRUE(active.receive().empty());
    EXPECT_TRUE(told("no routing activation within 1.0 s"));
    EXPECT_TRUE(told("nothing came or went"));
}

TEST_F(GatewayTest, TesterThatGoesDuringItsReadLeavesTheNextOneWhole) {
    settings.timing.p2 = milliseconds(60'000);
    std::promise<void> goOn;
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

TEST_F(GatewayTest, EndWaitsForNothingThatWasStopped) {
    start();
    Client client = activeClient();
    client.request(bytes("22 B0 47"));  // never answered
    client.receive();
    stop.request_stop();
    gateway.reset();
    EXPECT_TRUE(client.response() == "closed");
}

TEST_F(GatewayTest, AddressInUseIsNamed) {
    start();
    settings.port = gateway->port();
    try {
        Gateway second(settings, *vehicle, [](Happening const&) {});
        FAIL() << "two gateways on one port";
    } catch (std::system_error const& error) {
        EXPECT_THAT(error.what(),
                    HasSubstr(settings.address.to_string() + ':' + std::to_string(settings.port)));
    }
}

TEST_F(GatewayTest, LinesTellConnectionRequestAndResponse) {
    start();
    activeClient().ask("22 12 34");
    EXPECT_TRUE(told("closed"));
    gateway.reset();
    for (char const* text :
         {"connected", "routing activation request", "0x0E80: 0x10 routing activated",
          "0x0E80 to 0x1001: ReadDataByIdentifier 0x1234", "0x31 requestOutOfRange: no such data identifier"})
        EXPECT_THAT(lines, Contains(HasSubstr(text)));
}

}  // namespace
}  // namespace tester::doip
