// What no honest peer sends, against whole runtimes: nothing breaks, nothing stays, and honest peers don't
// notice.
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "platform/com/someip/Tp_assembler.h"
#include "platform/com/testing/Fake_peer.h"
#include "platform/com/testing/Hostile_frames.h"
#include "platform/com/testing/Segments.h"
#include "platform/com/testing/Stack_test.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t HOSTILE = 0x7F000666;
constexpr Address SD_OF_SERVER{SERVER, FAKE_SD_PORT};
constexpr Address SD_OF_CLIENT{CLIENT, FAKE_SD_PORT};
constexpr std::size_t BATCH = 100;
constexpr int FLOOD = 10'000;
#if defined(DIAG_ARA_SANITIZED_ADDRESS) || defined(DIAG_ARA_SANITIZED_THREAD)
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif
/// How a stream of so many bytes is cut: at every byte, or, where each piece costs twenty times as much, into
/// no more than 512.
constexpr std::size_t pieceOf(std::size_t bytes) {
    return SANITIZED ? (bytes + 511) / 512 : 1;
}

/// In kB: "VmHWM" is the most memory that was in use, "VmPeak" the most that was asked for.
long memory(std::string const& name) {
    if (SANITIZED) return 0;  // a sanitizer's own
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == name + ":") {
            long size = 0;
            status >> size;
            return size;
        }
    ADD_FAILURE() << "no " << name;
    return 0;
}

class Hostile_stack_test : public Stack_test {
protected:
    Hostile_stack_test() : Stack_test({SERVER, CLIENT, OTHER}) {
        m_tcpService->send(FAKE_FIELD, {42});
        m_clock.advance(4 * Discovery{}.cyclic);
        EXPECT_TRUE(m_tcp->echoes());
        EXPECT_TRUE(m_udp->echoes());
        exchange();
        m_mostInUse = memory("VmHWM");
        m_mostAskedFor = memory("VmPeak");
    }
    ~Hostile_stack_test() override {
        m_clock.advance(2 * Discovery{}.ttl);
        m_clock.settle();
        exchange();
        // No length in a frame makes anybody take more memory than a message may have.
        EXPECT_LT(memory("VmHWM") - m_mostInUse, 32L << 10);
        EXPECT_LT(memory("VmPeak") - m_mostAskedFor, 512L << 10);
        m_tcp.reset();
        m_udp.reset();
        m_tcpService.reset();
        m_udpService.reset();
    }

    /// An honest newcomer finds, calls, hears the field, and leaves nothing behind.
    void exchange() {
        visit();
        m_clock.settle();
    }
    void visit() {
        Fake_process newcomer(m_clock, m_network, OTHER + 1, fakeDeployment(OTHER + 1, SERVER, m_everybody));
        Fake_client client(newcomer, OVER_TCP);
        client.finds();
        client.subscribe(FAKE_FIELD);
        m_clock.advance(2 * Discovery{}.cyclic);
        EXPECT_TRUE(client.finds());
        EXPECT_TRUE(client.echoes());
        EXPECT_TRUE(eventually([&] { return client.samples(FAKE_FIELD) == std::vector<Bytes>{{42}}; }));
    }
    void afterwards(std::size_t count) {
        EXPECT_TRUE(m_tcp->echoes());
        EXPECT_TRUE(m_udp->echoes());
        if (count % BATCH == 0) exchange();
    }

    /// All there are; each has a name of its own.
    static std::vector<Hostile_message> hostileMessages(std::uint16_t service) {
        std::vector<Hostile_message> messages = hostileSegments(hostileHeader(service));
        for (Hostile_frame& frame : hostileCalls(service))
            messages.push_back({std::move(frame.name), {std::move(frame.bytes)}});
        std::set<std::string> names;
        for (Hostile_message const& message : messages)
            EXPECT_TRUE(names.insert(message.name).second) << message.name;
        return messages;
    }
    /// Nobody is answered with more than he sent, and good messages in segments pass all the while.
    void showAsDatagrams(Hostile_message const& message) {
        SCOPED_TRACE(message.name);
        for (Bytes const& datagram : message.datagrams) m_socket->send(datagram, {SERVER, FAKE_PORT});
        m_clock.advance(std::chrono::milliseconds(10));  // for an answer in segments
        m_sent += message.inOnePiece().size();
        m_answered += m_socket->stream().size();
        EXPECT_LE(m_answered, m_sent + m_sent / 64);  // an answer may have more segments than the question
        EXPECT_LE(counters().reassemblies, 2 * static_cast<std::int64_t>(someip::Tp_assembler::MESSAGES));
        EXPECT_TRUE(m_udp->echoes(3'000));
        m_clock.advance(std::chrono::milliseconds(1));  // for more segments to leave
    }

    Fake_peer m_hostile{m_clock, m_network, HOSTILE};
    std::shared_ptr<Fake_channel> m_socket = m_hostile.bind({HOSTILE, 999});
    std::size_t m_sent = 64;
    std::size_t m_answered = 0;
    std::unique_ptr<Fake_service> m_tcpService = std::make_unique<Fake_service>(*m_server, OVER_TCP);
    std::unique_ptr<Fake_service> m_udpService = std::make_unique<Fake_service>(*m_server, OVER_UDP);
    std::unique_ptr<Fake_client> m_tcp = std::make_unique<Fake_client>(*m_client, OVER_TCP);
    std::unique_ptr<Fake_client> m_udp = std::make_unique<Fake_client>(*m_client, OVER_UDP);
    long m_mostInUse = 0;
    long m_mostAskedFor = 0;
};

TEST_F(Hostile_stack_test, CallsAndSegmentsOnAStream) {
    auto const connections = counters().connections.load();
    Bytes const good = someip::encode(hostileHeader(FAKE_TCP_ID), {1, 2, 3});
    Faults inPieces;
    std::size_t count = 0;
    for (Hostile_message const& message : hostileMessages(FAKE_TCP_ID)) {
        SCOPED_TRACE(message.name);
        Bytes const hostile = message.inOnePiece();
        inPieces.pieceBytes = pieceOf(hostile.size());
        Bytes merged = good;
        merged.insert(merged.end(), hostile.begin(), hostile.end());
        merged.insert(merged.end(), good.begin(), good.end());
        for (auto const& [bytes, faults] :
             {std::pair(hostile, Faults{}), std::pair(hostile, inPieces), std::pair(merged, Faults{})}) {
            m_network.set(faults);
            auto const stream = m_hostile.connect({Transport::tcp, {SERVER, FAKE_PORT}});
            stream->send(bytes);
            m_clock.settle();
            Bytes const answers = stream->stream();
            EXPECT_LE(answers.size(), bytes.size() + 64);
            if (bytes.size() == merged.size()) {
                EXPECT_GE(answers.size(), good.size()) << "the first is good";
            }
            stream->close();
            m_network.set({});
            EXPECT_TRUE(m_tcp->echoes());
        }
        if (++count % BATCH == 0) exchange();
        if (HasFailure()) return;
    }
    EXPECT_TRUE(eventually([&] { return counters().connections == connections; }));
    EXPECT_GE(count, 2'000U);
    std::cout << count << " named frames over TCP, each at once, in pieces, and between good ones\n";
}

TEST_F(Hostile_stack_test, CallsAndSegmentsAsDatagrams) {
    std::size_t count = 0;
    for (Hostile_message const& message : hostileMessages(FAKE_UDP_ID)) {
        showAsDatagrams(message);
        afterwards(++count);
        if (HasFailure()) return;
    }
    EXPECT_GE(count, 2'000U);
    std::cout << count << " named frames over UDP\n";
}

TEST_F(Hostile_stack_test, CallsCutIntoSegments) {
    std::size_t count = 0;
    for (Hostile_frame const& frame : hostileCalls(FAKE_UDP_ID)) {
        if (frame.bytes.size() < someip::HEADER_BYTES) continue;  // nothing to cut
        showAsDatagrams({frame.name + " in segments",
                         segmentsOf(someip::readHeader(frame.bytes.data()),
                                    {frame.bytes.begin() + someip::HEADER_BYTES, frame.bytes.end()}, 1)});
        afterwards(++count);
        if (HasFailure()) return;
    }
    std::size_t const segmented = hostileSegments(hostileHeader(FAKE_UDP_ID)).size();
    EXPECT_GE(segmented, 500U);
    std::cout << count << " named frames cut into segments, beside " << segmented << " of segments alone\n";
}

/// A server that answers nonsense, where the manifest says that the service is.
class Hostile_server_test : public Stack_test {
protected:
    Hostile_server_test() : Stack_test({}) {}
};

TEST_F(Hostile_server_test, AnswersAndEventsInSegments) {
    Fake_peer server(m_clock, m_network, SERVER);
    auto const socket = server.bind({SERVER, FAKE_PORT});
    Fake_client client(*m_client, OVER_UDP);
    Address from;
    auto const nextRequest = [&] {
        client.catchUp();
        m_clock.settle();
        Fake_channel::Message const request = socket->take().back();
        from = request.from;
        return someip::readHeader(request.bytes.data());
    };
    Bytes const answer = pattern(3'000);
    std::size_t count = 0;
    for (auto const type :
         {someip::Message_type::response, someip::Message_type::error, someip::Message_type::notification}) {
        int open = 0;
        std::vector<Hostile_message> messages;
        for (std::size_t number = 0; number == 0 || number < messages.size(); ++number) {
            if (number % 50 == 0) {  // some of what was sent answers it
                open = client.call(FAKE_HOLD);
                someip::Header header = someip::answerTo(nextRequest(), 0);
                header.type = static_cast<std::uint8_t>(type);
                if (type == someip::Message_type::notification) header.method = 0x8001;
                messages = hostileSegments(header);
            }
            SCOPED_TRACE(messages[number].name);
            for (Bytes const& datagram : messages[number].datagrams) socket->send(datagram, from);
            int const next = client.call(FAKE_ECHO);
            for (Bytes const& segment : segmentsOf(someip::answerTo(nextRequest(), 0), answer))
                socket->send(segment, from);
            auto const result = client.await(next);
            ASSERT_TRUE(result);
            ASSERT_EQ(result->payload.bytes(), answer);
            ASSERT_LE(client.results(open).size(), 1U);
            ++count;
        }
    }
    EXPECT_LE(counters().reassemblies, static_cast<std::int64_t>(someip::Tp_assembler::PEER_MESSAGES));
    m_clock.advance(2 * someip::Tp_assembler::SILENCE);
    EXPECT_EQ(counters().reassemblies, 0);
    std::cout << count << " named frames from a server\n";
}

TEST_F(Hostile_stack_test, DiscoveryMessages) {
    std::size_t count = 0;
    auto const socket = m_hostile.bind({HOSTILE, FAKE_SD_PORT});
    for (Hostile_frame const& frame : hostileDiscovery(FAKE_TCP_ID, {Transport::tcp, {HOSTILE, 1234}})) {
        SCOPED_TRACE(frame.name);
        socket->send(frame.bytes, SD_OF_SERVER);
        socket->send(frame.bytes, SD_OF_CLIENT);
        m_clock.settle();
        afterwards(++count);
        if (HasFailure()) return;
    }
    EXPECT_LE(counters().subscribers, 2);
    std::cout << count << " named discovery messages\n";
}

TEST_F(Hostile_stack_test, FloodOfQuestionsAndOffers) {
    auto const socket = m_hostile.bind({HOSTILE, FAKE_SD_PORT});
    Discovery_words words;
    for (int count = 0; count < FLOOD; ++count) {
        words.type = static_cast<std::uint8_t>(count % 2);
        words.service = count % 4 < 2 ? FAKE_TCP_ID : static_cast<std::uint16_t>(count);
        words.instance = static_cast<std::uint16_t>(count / 4);
        words.endpoint = {Transport::tcp, {HOSTILE, static_cast<std::uint16_t>(count)}};
        words.session = static_cast<std::uint16_t>(count + 1);
        socket->send(words.bytes(), count % 3 == 0 ? SD_OF_CLIENT : SD_OF_SERVER);
        if (count % 100 == 0) m_clock.settle();
    }
    m_clock.settle();
    afterwards(0);
}

TEST_F(Hostile_stack_test, FloodOfSubscriptionsFromManyPeers) {
    auto const before = counters().subscribers.load();
    Discovery_words words;
    words.type = 0x06;
    words.service = FAKE_UDP_ID;
    words.last = 1;
    for (int count = 0; count < FLOOD / 5; ++count) {
        Address const from{HOSTILE, static_cast<std::uint16_t>(1000 + count)};
        auto const socket = m_hostile.bind(from);
        words.endpoint = {Transport::udp, from};
        for (std::uint16_t session = 1; session <= 5; ++session) {
            words.session = session;
            socket->send(words.bytes(), SD_OF_SERVER);
        }
        if (count % 100 == 0) m_clock.settle();
    }
    m_clock.settle();
    EXPECT_GT(counters().subscribers, before);
    EXPECT_LE(counters().subscribers, before + static_cast<std::int64_t>(Limits{}.connections));
    afterwards(0);
    m_clock.advance(2 * Discovery{}.ttl);
    EXPECT_EQ(counters().subscribers, before) << "their time to live is over";
}

}  // namespace
}  // namespace eb::com::runtime
