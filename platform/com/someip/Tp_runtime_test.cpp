// Messages longer than a datagram between whole runtimes and raw sockets, over the operating system's
// network.
#include <gtest/gtest.h>

#include <algorithm>

#include "binding/adapter/Platform_adapter.h"
#include "platform/com/deployment/Manifest.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/someip/Tp_assembler.h"
#include "platform/com/testing/Event_services.h"
#include "platform/com/testing/Segments.h"
#include "platform/com/testing/Server_test.h"

namespace eb::com::runtime::someip {
namespace {

using namespace testing;

constexpr std::size_t MEBIBYTE = 1U << 20U;

class Tp_runtime_test : public Server_test {
protected:
    ~Tp_runtime_test() override {
        m_port.reset();
        m_client->end();
        m_runtime.reset();
        EXPECT_EQ(counters().reassemblies, 0);
    }
    /// Where the system keeps too little for a thread that comes late, segments are lost, and their call with
    /// them.
    Call_result patiently(Method method, Bytes const& bytes) {
        std::optional<Call_result> result;
        for (int attempt = 0; attempt < 5 && (!result || result->outcome == Call_outcome::cancelled);
             ++attempt) {
            auto const box = std::make_shared<Mailbox<Call_result>>();
            ac::com::cpp_binding::adapter::call(*m_port, method, payloadOf(bytes),
                                                [box](Call_result const& answer) { box->put(answer); });
            result = box->take();
        }
        return result.value();
    }
    /// Reads a message that comes in segments, one in each datagram.
    static std::optional<Bytes> readSegmented(Raw_socket& peer, std::vector<std::size_t>* sizes = nullptr) {
        Tp_assembler assembler(MEBIBYTE);
        for (;;) {
            auto const frame = peer.read();
            if (!frame || !isSegment(frame->header)) return {};
            if (sizes != nullptr) sizes->push_back(frame->payload.bytes().size());
            auto const segment =
                readSegment(frame->header, frame->payload.bytes().data(), frame->payload.bytes().size());
            if (!segment) return {};
            if (auto whole = assembler.take(*segment, {}, {})) return whole;
        }
    }

    std::shared_ptr<Process_runtime> m_client = std::make_shared<Process_runtime>(
        parseManifest(manifest(m_address, R"({"call_limit_ms": 5000})"), "test"));
    std::shared_ptr<Client_port> m_port = m_client->connect(m_client->deploymentOf({"test::Udp"}, {"1"}));
};

TEST_F(Tp_runtime_test, CallsAndRepliesUpToTheBoundPass) {
    for (std::size_t const size : {UNSEGMENTED_BYTES, UNSEGMENTED_BYTES + 1, std::size_t{4'000},
                                   std::size_t{60'000}, std::size_t{65'492}, MEBIBYTE - 1, MEBIBYTE}) {
        SCOPED_TRACE(size);
        Bytes const payload = pattern(size);
        auto const result = patiently(ECHO, payload);
        EXPECT_EQ(result.outcome, Call_outcome::answered) << result.detail;
        EXPECT_TRUE(result.payload.bytes() == payload);
    }
}

TEST_F(Tp_runtime_test, UpTo1400BytesAreOneDatagramAndMoreAreSegments) {
    Raw_socket peer(udp());
    peer.send(frame(request(UDP_SERVICE, wire(BIG)), {0x05, 0x78}));
    EXPECT_EQ(peer.read()->payload.bytes().size(), 1400U);

    peer.send(frame(request(UDP_SERVICE, wire(BIG), 2), {0x05, 0x79}));
    std::vector<std::size_t> sizes;
    auto const whole = readSegmented(peer, &sizes);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{TP_HEADER_BYTES + 1392, TP_HEADER_BYTES + 9}));
    ASSERT_TRUE(whole);
    EXPECT_EQ(*whole, frame(answerTo(request(UDP_SERVICE, wire(BIG), 2), E_OK), Bytes(1401, 0x5A)));
}

TEST_F(Tp_runtime_test, LongestReplyArrivesAndOneByteMoreIsAnError) {
    Raw_socket peer(udp());
    peer.send(frame(request(UDP_SERVICE, wire(BIG)), {0x00, 0x10, 0x00, 0x01}));
    EXPECT_EQ(peer.read()->header.code, E_NOT_OK);
    EXPECT_EQ(patiently(BIG, {0x00, 0x10, 0x00, 0x00}).payload.bytes().size(), MEBIBYTE);
}

TEST_F(Tp_runtime_test, SegmentsInReverseOrderAreAnswered) {
    Raw_socket peer(udp());
    Bytes const payload = pattern(4'000);
    auto segments = segmentsOf(request(UDP_SERVICE, wire(ECHO)), payload);
    std::reverse(segments.begin(), segments.end());
    for (Bytes const& segment : segments) peer.send(segment);
    EXPECT_EQ(readSegmented(peer), frame(answerTo(request(UDP_SERVICE, wire(ECHO)), E_OK), payload));
}

TEST_F(Tp_runtime_test, SegmentsAndWholeMessagesOfOneDatagramAreAllTaken) {
    Raw_socket peer(udp());
    Bytes merged = frame(request(UDP_SERVICE, wire(ECHO), 1), {1});
    for (Bytes const& part : segmentsOf(request(UDP_SERVICE, wire(ECHO), 2), Bytes(100, 2), 64))
        merged.insert(merged.end(), part.begin(), part.end());
    Bytes const last = frame(request(UDP_SERVICE, wire(ECHO), 3), {3});
    merged.insert(merged.end(), last.begin(), last.end());
    peer.send(merged);
    for (std::uint16_t session = 1; session <= 3; ++session) EXPECT_EQ(peer.read()->header.session, session);
}

TEST_F(Tp_runtime_test, FireAndForgetInSegmentsIsTakenAndNotAnswered) {
    Raw_socket peer(udp());
    Header header = request(UDP_SERVICE, wire(HOLD));
    header.type = static_cast<std::uint8_t>(Message_type::requestNoReturn);
    for (Bytes const& segment : segmentsOf(header, pattern(4'000))) peer.send(segment);
    EXPECT_TRUE(eventually([this] { return m_udpService.held() == 1; }));
    expectEcho(peer, UDP_SERVICE);
    m_udpService.takeHeld();
}

TEST_F(Tp_runtime_test, RequestInSegmentsIsRefusedByTheTableOnceItIsWhole) {
    Raw_socket peer(udp());
    Header unknownService = request(0x4711, 1);
    Header unknownMethod = request(UDP_SERVICE, 0x99);
    Header wrongVersion = request(UDP_SERVICE, wire(ECHO));
    wrongVersion.interfaceVersion = 3;
    for (auto const& [header, code] : {std::pair{unknownService, E_UNKNOWN_SERVICE},
                                       {unknownMethod, E_UNKNOWN_METHOD},
                                       {wrongVersion, E_WRONG_INTERFACE_VERSION}}) {
        for (Bytes const& segment : segmentsOf(header, pattern(3'000))) peer.send(segment);
        EXPECT_EQ(peer.read()->header, answerTo(header, code));
        expectEcho(peer, UDP_SERVICE);
    }
}

TEST_F(Tp_runtime_test, SegmentOfAnotherProtocolVersionIsRefusedAsAnyMessageIs) {
    Raw_socket peer(udp());
    Header header = request(UDP_SERVICE, wire(ECHO));
    header.protocolVersion = 2;
    peer.send(segmentsOf(header, pattern(3'000)).front());
    EXPECT_EQ(peer.read()->header.code, E_WRONG_PROTOCOL_VERSION);
    expectEcho(peer, UDP_SERVICE);
}

TEST_F(Tp_runtime_test, SegmentsOnAStreamAreAWrongMessageType) {
    Raw_socket peer(tcp());
    for (Bytes const& segment : segmentsOf(request(TCP_SERVICE, wire(ECHO)), pattern(3'000))) {
        peer.send(segment);
        EXPECT_EQ(peer.read()->header.code, E_WRONG_MESSAGE_TYPE);
    }
    expectEcho(peer, TCP_SERVICE);
}

TEST_F(Tp_runtime_test, SegmentLongerThanItsDatagramIsDroppedAndCounted) {
    Raw_socket peer(udp());
    auto const lost = counters().lostSegmented.load();
    Bytes segment = segmentsOf(request(UDP_SERVICE, wire(ECHO)), Bytes(100)).front();
    segment.pop_back();
    peer.send(segment);
    expectEcho(peer, UDP_SERVICE);
    EXPECT_EQ(counters().lostSegmented - lost, 1);
}

TEST_F(Tp_runtime_test, ShortAnswersToOthersOvertakeALongOne) {
    Raw_socket slow(udp());
    Raw_socket quick(udp());
    slow.send(frame(request(UDP_SERVICE, wire(BIG)), {0x00, 0x10, 0x00, 0x00}));
    ASSERT_EQ(slow.read()->header.type, 0xA0) << "it has begun";
    for (int count = 0; count < 5; ++count) expectEcho(quick, UDP_SERVICE);
}

/// Events of a publisher with a subscriber that has nothing but a socket.
TEST(Tp_events_test, EventsUpToTheBoundArriveInTheirOrder) {
    Address const address = freeAddress();
    auto const server = std::make_shared<Process_runtime>(parseManifest(eventManifest(address), "test"));
    auto const client = std::make_shared<Process_runtime>(parseManifest(eventManifest(address), "test"));
    auto const& row = server->deploymentOf({"test::Udp"}, {"1"});
    auto const service = std::make_shared<Provided_service>(server, row);
    server->offer(service);
    Raw_socket peer({Transport::udp, address});
    Mailbox<Subscribe_result> subscribed;
    server->post([&] {
        subscribed.put(server->eventgroups().subscribe(row, 1, {Transport::udp, peer.local()}));
    });
    ASSERT_EQ(subscribed.take(), Subscribe_result::accepted);

    std::vector<std::size_t> const sizes = {4'000, 60'000, 100, MEBIBYTE, 10};
    for (std::size_t const size : sizes) service->send(TICK, payloadOf(pattern(size)));

    Tp_assembler assembler(MEBIBYTE);
    std::uint16_t session = 0;
    for (std::size_t const size : sizes) {
        Header const expected{UDP_EVENTS, 0x8002, 0, ++session, 1, 2, 0x02, 0};
        std::optional<Bytes> whole;
        while (!whole) {
            auto const frame = peer.read();
            ASSERT_TRUE(frame) << size;
            if (!isSegment(frame->header)) {
                whole = testing::frame(frame->header, frame->payload.bytes());
                break;
            }
            whole = assembler.take(
                *readSegment(frame->header, frame->payload.bytes().data(), frame->payload.bytes().size()), {},
                {});
        }
        EXPECT_TRUE(*whole == frame(expected, pattern(size))) << size;
    }
    server->withdraw(service);
    server->end();
    client->end();
}

}  // namespace
}  // namespace eb::com::runtime::someip
