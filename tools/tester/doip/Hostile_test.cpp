// What no tester of sound mind sends: the gateway refuses it, keeps to its bounds, and answers the next one.
#include <string>
#include <vector>

#include "tests/support/Allocations.h"
#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

using test::Allocations;

constexpr std::size_t MESSAGE_BOUND = HEADER_SIZE + PAYLOAD_MOST;

/// A frame and what comes back: a header negative acknowledgement, or the first bytes of another frame.
struct HostileFrame {
    std::string name;
    Message bytes;
    Message answer;       ///< empty if none comes
    bool closes;          ///< the connection, in both cases by the gateway
    bool active = false;  ///< sent behind a routing activation
};

Message header(std::uint8_t version, std::uint8_t inverse, std::uint16_t type, std::uint32_t length) {
    Message all{version, inverse};
    append16(all, type);
    append32(all, length);
    return all;
}

Message nack(HeaderNack code) {
    return frame(VERSION_2012, Type::headerNack, Message{static_cast<unsigned char>(code)});
}

void addPatterns(std::vector<HostileFrame>& all) {
    for (unsigned version = 0; version < 256; ++version) {
        auto const byte = static_cast<std::uint8_t>(version);
        if (version == VERSION_2012 || version == VERSION_2019) continue;
        all.push_back({"version " + hexByte(byte), header(byte, std::uint8_t(~byte), 0x0005, 7),
                       nack(HeaderNack::incorrectPattern), true});
    }
    for (unsigned bit = 0; bit < 8; ++bit) {
        all.push_back({"inverse with bit " + std::to_string(bit) + " wrong",
                       header(0x02, std::uint8_t(0xFD ^ 1U << bit), 0x8001, 6),
                       nack(HeaderNack::incorrectPattern), true});
    }
    all.push_back({"inverse equal to version", header(0x02, 0x02, 0x0005, 7),
                   nack(HeaderNack::incorrectPattern), true});
    all.push_back({"text of another protocol",
                   Message{'G', 'E', 'T', ' ', '/', ' ', 'H', 'T', 'T', 'P', '/', '1'},
                   nack(HeaderNack::incorrectPattern), true});
}

void addTypes(std::vector<HostileFrame>& all) {
    for (unsigned type : {0x0001U, 0x0002U, 0x0003U, 0x0004U, 0x0006U, 0x0009U, 0x00FFU, 0x0100U,
                          0x3FFFU, 0x4000U, 0x4001U, 0x4002U, 0x4003U, 0x4004U, 0x4005U, 0x7FFFU,
                          0x8000U, 0x8002U, 0x8003U, 0x8004U, 0x9000U, 0xEFFFU, 0xF000U, 0xFFFFU}) {
        for (std::uint32_t const length : {0U, 5U}) {
            all.push_back({"type " + hexNumber(type) + " of " + std::to_string(length) + " bytes",
                           header(0x02, 0xFD, static_cast<std::uint16_t>(type), length) + Message(length),
                           nack(HeaderNack::unknownType), false});
        }
    }
}

void addLengths(std::vector<HostileFrame>& all) {
    auto const add = [&all](std::uint16_t type, std::uint32_t length, HeaderNack code, bool closes) {
        all.push_back({typeName(type) + " of " + std::to_string(length) + " bytes",
                       header(0x02, 0xFD, type, length), nack(code), closes});
    };
    for (std::uint32_t length : {0U, 1U, 2U, 6U, 8U, 9U, 10U, 12U, 255U, 4096U, 65'536U})
        add(0x0005, length, HeaderNack::invalidLength, true);
    for (std::uint32_t length : {1U, 2U, 65'536U}) add(0x0007, length, HeaderNack::invalidLength, true);
    for (std::uint32_t length : {0U, 1U, 3U, 4U}) add(0x0008, length, HeaderNack::invalidLength, true);
    for (std::uint32_t length : {0U, 1U, 2U, 3U, 4U}) add(0x8001, length, HeaderNack::invalidLength, true);
    for (Type const type : {Type::activation, Type::aliveCheck, Type::aliveCheckAnswer, Type::diagnostic}) {
        for (std::uint32_t length : {65'537U, 1U << 24U, 0x7FFF'FFFFU, 0x8000'0000U, 0xFFFF'FFFFU})
            add(static_cast<std::uint16_t>(type), length, HeaderNack::tooLarge, false);
    }
}

void addParts(std::vector<HostileFrame>& all) {
    Message const activation = bytes("02 FD 00 05 00 00 00 07 0E 90 00 00 00 00 00");
    for (std::size_t size = 1; size < activation.size(); ++size) {
        all.push_back({"activation cut to " + counted(size, "byte"),
                       {activation.begin(), activation.begin() + std::ptrdiff_t(size)},
                       {},
                       false});
    }
    all.push_back({"60 kilobytes promised, none sent", header(0x02, 0xFD, 0x8001, 60'000), {}, false});
}

void addActivations(std::vector<HostileFrame>& all) {
    auto const add = [&all](std::string const& name, std::uint16_t tester, unsigned type, Activation code) {
        Message payload;
        append16(payload, tester);
        payload.push_back(static_cast<unsigned char>(type));
        append32(payload, 0xDEADBEEF);
        Message answer;
        append16(answer, tester);
        append(answer, Message{0x10, 0x01, static_cast<unsigned char>(code), 0, 0, 0, 0});
        all.push_back({name, frame(VERSION_2012, Type::activation, payload),
                       frame(VERSION_2012, Type::activationAnswer, answer), true});
    };
    for (unsigned tester : {0x0000U, 0x0001U, 0x0DFFU, 0x0F00U, 0x0F80U, 0x1000U, 0x1001U, 0xE400U, 0xFFFFU})
        add("activation of " + hexNumber(tester), static_cast<std::uint16_t>(tester), 0,
            Activation::unknownSource);
    for (unsigned type : {0x02U, 0x0FU, 0x10U, 0x7FU, 0x80U, 0xDFU, 0xE0U, 0xE1U, 0xFFU})
        add("activation of type " + hexByte(static_cast<unsigned char>(type)), 0x0E90, type,
            Activation::unsupportedType);
}

void addDiagnostics(std::vector<HostileFrame>& all) {
    auto const add = [&all](std::string const& name, std::string const& addresses, Message const& uds,
                            unsigned char code, bool active) {
        Message const ends = bytes(addresses);
        Message const answer{ends[2], ends[3], ends[0], ends[1], code};
        all.push_back({name, frame(VERSION_2012, Type::diagnostic, ends + uds),
                       frame(VERSION_2012, Type::diagnosticNack, answer), code == 0x02, active});
    };
    for (char const* addresses : {"0E 80 10 01", "0E 90 10 01", "00 00 00 00", "10 01 10 01", "FF FF FF FF"})
        add(std::string("message before activation, ") + addresses, addresses, {0x3E, 0x00}, 0x02, false);
    for (char const* source : {"0E 80", "0E 91", "00 00", "10 01", "E4 00"})
        add(std::string("message of another source, ") + source, source + std::string(" 10 01"), {0x3E}, 0x02,
            true);
    for (char const* target : {"00 00", "0E 90", "10 00", "10 02", "E3 FF", "E4 01", "FF FF"})
        add(std::string("message to another target, ") + target, std::string("0E 90 ") + target, {0x3E, 0},
            0x03, true);
    for (std::size_t const size : {4096U, 8192U, 65'532U})
        add("request of " + std::to_string(size) + " bytes", "0E 90 10 01", Message(size, 0x22), 0x04, true);
}

std::vector<HostileFrame> hostileFrames() {
    std::vector<HostileFrame> all;
    addPatterns(all);
    addTypes(all);
    addLengths(all);
    addParts(all);
    addActivations(all);
    addDiagnostics(all);
    return all;
}

class HostileTest : public DoipTest {
protected:
    void quiet() {
        if (!vehicle) makeVehicle();
        gateway.emplace(settings, *vehicle, [](Happening const&) {});
    }
};

TEST_F(HostileTest, EachFrameIsRefusedAndTheNextRequestAnswered) {
    quiet();
    auto const frames = hostileFrames();
    ASSERT_GE(frames.size(), 300U);
    Client good = activeClient();
    Allocations::largest = 0;
    for (auto const& each : frames) {
        SCOPED_TRACE(each.name);
        {
            Client hostile = each.active ? activeClient(0x0E90) : connect();
            hostile.send(each.bytes);
            bool const answered = !each.answer.empty();
            if (!answered) hostile.end();
            EXPECT_EQ(hex(hostile.receive()), hex(each.answer));
            if (answered && each.closes) {
                EXPECT_TRUE(hostile.receive().empty());
            }
        }
        EXPECT_EQ(good.ask("3E 00"), "7E 00");
    }
    EXPECT_GE(Allocations::largest, 65'532U);  // of the longest request that is taken
    EXPECT_LE(Allocations::largest, MESSAGE_BOUND);
}

TEST_F(HostileTest, RefusedPayloadIsSkippedHoweverItComesAndTheNextFrameIsAnswered) {
    quiet();
    Client client = connect();
    Allocations::largest = 0;
    constexpr std::uint32_t LENGTH = 3'000'000;
    client.send(header(0x02, 0xFD, 0x8001, LENGTH));
    EXPECT_EQ(client.receive(), nack(HeaderNack::tooLarge));
    Message const part(50'000, 0xFF);
    for (std::uint32_t sent = 0; sent < LENGTH; sent += 50'000) client.send(part);
    EXPECT_LE(Allocations::largest, MESSAGE_BOUND);
    EXPECT_EQ(client.activate(), 0x10);
}

TEST_F(HostileTest, StoreThatIsEmptyIsToldAndFillsUpAgain) {
    settings.transport.store = 100'000;
    quiet();
    Client holds = connect();
    holds.send(header(0x02, 0xFD, 0x8001, 60'000) + Message(100));
    // Nothing tells when the first has its part: a second one asks until it is refused.
    std::optional<Client> asks;
    Message answer;
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (answer != nack(HeaderNack::outOfMemory) && std::chrono::steady_clock::now() < end) {
        asks.emplace(connect());
        asks->send(header(0x02, 0xFD, 0x8001, 60'000) + Message(60'000));
        answer = asks->receive();
    }
    EXPECT_EQ(hex(answer), hex(nack(HeaderNack::outOfMemory)));
    EXPECT_EQ(asks->activate(), 0x10);  // its payload was skipped
    holds.end();
    EXPECT_TRUE(holds.receive().empty());
    Client next = connect();
    next.send(header(0x02, 0xFD, 0x8001, 60'000) + Message(60'000));
    EXPECT_EQ(read16(next.receive(), 2), 0x8003);
}

TEST_F(HostileTest, TwoHundredConnectionsKeepNobodyOut) {
    // Given connections that would stay for a minute, far more than may wait
    settings.transport.waitingMost = 16;
    quiet();
    Client early = activeClient(0x0E00);
    std::vector<Client> many;
    for (int each = 0; each < 200; ++each) many.push_back(connect());
    // When
    Client late = activeClient(0x0E01);
    // Then it is served, the oldest have given way, and who was active still is
    late.send(bytes("02 FD 80 01 00 00 00 06 0E 01 10 01 3E 00"));
    EXPECT_EQ(late.response(), "7E 00");
    std::size_t const gone = many.size() - settings.transport.waitingMost + 1;
    for (std::size_t each = 0; each < gone; ++each) EXPECT_TRUE(many[each].receive().empty()) << each;
    EXPECT_EQ(many[gone].activate(0x0E02), 0x10) << "the oldest that was left";
    early.send(bytes("02 FD 80 01 00 00 00 06 0E 00 10 01 3E 00"));
    EXPECT_EQ(early.response(), "7E 00");
}

TEST_F(HostileTest, PeerThatNeverReadsHoldsNobodyUpAndMakesNothingGrow) {
    quiet();
    Client good = activeClient();
    Client deaf = activeClient(0x0E90);
    Allocations::largest = 0;
    // More requests than the queue and both sockets' buffers can hold responses of; then the deaf one blocks.
    Message const request = bytes("02 FD 80 01 00 00 00 06 0E 90 10 01 19 0A");
    Message many;
    many.reserve(60'000);
    while (many.size() + request.size() < 60'000) append(many, request);
    std::thread sends([&] {
        for (int each = 0; each < 2'000; ++each) deaf.send(many);
    });
    std::ptrdiff_t const before = Allocations::in_use;
    std::ptrdiff_t grown = 0;
    for (int each = 0; each < 5'000; ++each) {
        ASSERT_EQ(good.ask("3E 00"), "7E 00");
        grown = std::max(grown, Allocations::in_use - before);
    }
    EXPECT_LE(Allocations::largest, MESSAGE_BOUND);
    // A queue of 64 KiB of small frames, with what is to be told of each, and no more.
    EXPECT_LE(grown, 8'000'000);
    gateway.reset();
    sends.join();
}

TEST_F(HostileTest, DatagramsOfAllKindsAreSurvived) {
    quiet();
    Allocations::largest = 0;
    for (unsigned type : {0x0000U, 0x0001U, 0x0002U, 0x0003U, 0x0004U, 0x0005U, 0x4001U, 0x4003U, 0x8001U}) {
        for (std::uint32_t length : {0U, 1U, 6U, 17U, 1'000U, 65'537U, 0xFFFF'FFFFU}) {
            for (std::size_t sent : {0U, 5U, 6U, 17U, 60'000U}) {
                datagram(header(0x02, 0xFD, static_cast<std::uint16_t>(type), length) + Message(sent));
            }
        }
    }
    EXPECT_LE(Allocations::largest, MESSAGE_BOUND);
    EXPECT_EQ(activeClient().ask("3E 00"), "7E 00");
}

}  // namespace
}  // namespace tester::doip
