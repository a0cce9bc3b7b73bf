// The gateway at its sockets, on services that a test commands.
#include <poll.h>

#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

using testing::Contains;
using testing::HasSubstr;

class GatewayTest : public DoipTest {};

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

TEST_F(GatewayTest, BothActivationTypesThatAreMandatoryAreAccepted) {
    start();
    for (unsigned char const type : std::initializer_list<unsigned char>{0x00, 0x01}) {
        Client client = connect();
        EXPECT_EQ(client.activate(Client::TESTER, type), 0x10) << int{type};
        EXPECT_EQ(client.ask("3E 00"), "7E 00");
    }
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
        {"reserved type", 0x0E80, 0x02, 0x06},
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

TEST_F(GatewayTest, ConnectionThatIsntActivatedIsClosed) {
    settings.transport.initialInactivity = milliseconds(100);
    start();
    Client silent = connect();
    EXPECT_TRUE(silent.receive().empty());
    Client halfHeader = connect();
    halfHeader.send(bytes("02 FD 00 05"));
    EXPECT_TRUE(halfHeader.receive().empty());
    EXPECT_TRUE(told("no routing activation within 0.1 s"));
}

TEST_F(GatewayTest, ActiveConnectionThatStaysSilentIsClosed) {
    settings.transport.generalInactivity = milliseconds(100);
    start();
    Client active = activeClient();
    EXPECT_TRUE(active.receive().empty());
    EXPECT_TRUE(told("nothing came or went for 0.1 s"));
}

TEST_F(GatewayTest, ActivationThatWaitsForAnAliveCheckHasComeInTime) {
    settings.transport.initialInactivity = milliseconds(300);
    settings.transport.aliveCheck = milliseconds(600);
    start();
    Client const first = insistentClient();
    Client second = insistentClient();
    EXPECT_EQ(second.ask("3E 00"), "7E 00");
}

TEST_F(GatewayTest, EndWaitsForNothingThatWasStopped) {
    settings.timing.p2 = milliseconds(60'000);
    start();
    Client client = activeClient();
    client.request(bytes("22 B0 47"));  // never answered
    client.receive();
    stop.request_stop();
    gateway.reset();
    std::string last = client.response();
    if (last == "7F 22 22") last = client.response();  // the read's end may have come first
    EXPECT_EQ(last, "closed");
}

TEST_F(GatewayTest, HeaderNegativeAcknowledgementClosesOrKeepsTheConnection) {
    settings.transport.store = 0;
    start();
    struct {
        char const* name;
        Message frame;
        int code;
        bool closes;
    } const rows[] = {
        {"incorrect pattern", bytes("02 02 00 05 00 00 00 07"), 0x00, true},
        {"unknown payload type", bytes("02 FD 12 34 00 00 00 02 00 00"), 0x01, false},
        {"message too large", bytes("02 FD 80 01 00 01 00 01") + Message(65'537), 0x02, false},
        {"out of memory", bytes("02 FD 80 01 00 00 20 00") + Message(8'192), 0x03, false},
        {"invalid payload length", bytes("02 FD 00 05 00 00 00 08"), 0x04, true},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        for (bool const active : {false, true}) {
            Client client = active ? activeClient() : connect();
            client.send(row.frame);
            EXPECT_EQ(client.receive(),
                      frame(VERSION_2012, Type::headerNack, Message{static_cast<unsigned char>(row.code)}));
            client.send(bytes("02 FD 00 07 00 00 00 00"));
            EXPECT_EQ(hex(client.receive()), row.closes ? "" : "02 FD 00 08 00 00 00 02 10 01");
            client.end();
            EXPECT_TRUE(client.receive().empty());
        }
    }
}

TEST_F(GatewayTest, VehicleIsAnnouncedThreeTimes) {
    asio::io_context context;
    asio::ip::udp::socket listener(context, {settings.address, 0});
    settings.announceTo = listener.local_endpoint();
    start();
    Message received(100);
    for (int each = 0; each < 3; ++each) {
        asio::ip::udp::endpoint sender;
        pollfd waits{listener.native_handle(), POLLIN, 0};
        ASSERT_EQ(poll(&waits, 1, 60'000), 1);
        received.resize(100);
        received.resize(listener.receive_from(asio::buffer(received), sender));
        EXPECT_EQ(sender, asio::ip::udp::endpoint(settings.address, gateway->port()));
        EXPECT_EQ(hex(received),
                  "02 FD 00 04 00 00 00 21 54 45 53 54 45 52 30 30 30 30 30 30 30 30 30 30 31 10 01 02 00 00 "
                  "00 10 01 02 00 00 00 10 00 00 00");
    }
}

TEST_F(GatewayTest, BroadcastsStayInTheNetworkOfTheAddress) {
    using asio::ip::make_address;
    for (char const* loopback : {"127.0.0.1", "127.64.3.2"})
        EXPECT_EQ(broadcastOf(make_address(loopback)), make_address("127.255.255.255")) << loopback;
    for (char const* elsewhere : {"192.168.0.2", "10.0.0.1", "169.254.1.1"})
        EXPECT_EQ(broadcastOf(make_address(elsewhere)), make_address("255.255.255.255")) << elsewhere;
    EXPECT_EQ(broadcastOf(make_address("0.0.0.0")), std::nullopt);
}

TEST_F(GatewayTest, IdentificationByBroadcastIsAnsweredFromTheGatewaysAddress) {
    start();
    asio::io_context context;
    asio::ip::udp::socket tester(context, {settings.address, 0});
    tester.set_option(asio::ip::udp::socket::broadcast(true));
    tester.send_to(asio::buffer(bytes("02 FD 00 01 00 00 00 00")),
                   {asio::ip::make_address("127.255.255.255"), gateway->port()});
    pollfd waits{tester.native_handle(), POLLIN, 0};
    ASSERT_EQ(poll(&waits, 1, 60'000), 1);
    Message answer(100);
    asio::ip::udp::endpoint sender;
    answer.resize(tester.receive_from(asio::buffer(answer), sender));
    EXPECT_EQ(sender, asio::ip::udp::endpoint(settings.address, gateway->port()));
    EXPECT_EQ(read16(answer, 2), 0x0004);
}

TEST_F(GatewayTest, AddressInUseIsNamed) {
    start();
    settings.port = gateway->port();
    try {
        Gateway second(settings, *vehicle, [](Happening const&) {});
        FAIL() << "two gateways on one port";
    } catch (std::system_error const& error) {
        EXPECT_THAT(error.what(),
                    HasSubstr("tcp " + settings.address.to_string() + ':' + std::to_string(settings.port)));
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
