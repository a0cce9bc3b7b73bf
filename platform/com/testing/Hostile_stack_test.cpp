// What no honest peer sends, against whole runtimes: nothing breaks, nothing stays, and honest peers don't
// notice.
#include <gtest/gtest.h>

#include <fstream>

#include "platform/com/testing/Fake_peer.h"
#include "platform/com/testing/Hostile_frames.h"
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

/// In kB: "VmHWM" is the most memory that was in use, "VmPeak" the most that was asked for.
long memory([[maybe_unused]] std::string const& name) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return 0;  // a sanitizer's own
#else
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == name + ":") {
            long size = 0;
            status >> size;
            return size;
        }
    ADD_FAILURE() << "no " << name;
    return 0;
#endif
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

    /// An honest newcomer finds, calls, and hears the field.
    void exchange() {
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

    Fake_peer m_hostile{m_clock, m_network, HOSTILE};
    std::unique_ptr<Fake_service> m_tcpService = std::make_unique<Fake_service>(*m_server, OVER_TCP);
    std::unique_ptr<Fake_service> m_udpService = std::make_unique<Fake_service>(*m_server, OVER_UDP);
    std::unique_ptr<Fake_client> m_tcp = std::make_unique<Fake_client>(*m_client, OVER_TCP);
    std::unique_ptr<Fake_client> m_udp = std::make_unique<Fake_client>(*m_client, OVER_UDP);
    long m_mostInUse = 0;
    long m_mostAskedFor = 0;
};

TEST_F(Hostile_stack_test, CallsOnAStream) {
    auto const connections = counters().connections.load();
    std::size_t count = 0;
    for (Hostile_frame const& frame : hostileCalls(FAKE_TCP_ID)) {
        SCOPED_TRACE(frame.name);
        auto const stream = m_hostile.connect({Transport::tcp, {SERVER, FAKE_PORT}});
        stream->send(frame.bytes);
        m_clock.settle();
        EXPECT_LE(stream->stream().size(), 64U);
        stream->close();
        m_clock.settle();
        afterwards(++count);
        if (HasFailure()) return;
    }
    EXPECT_TRUE(eventually([&] { return counters().connections == connections; }));
    std::cout << count << " frames\n";
}

TEST_F(Hostile_stack_test, CallsAsDatagrams) {
    std::size_t count = 0;
    auto const socket = m_hostile.bind({HOSTILE, 1000});
    for (Hostile_frame const& frame : hostileCalls(FAKE_UDP_ID)) {
        SCOPED_TRACE(frame.name);
        socket->send(frame.bytes, {SERVER, FAKE_PORT});
        m_clock.settle();
        EXPECT_LE(socket->take().size(), 1U);
        afterwards(++count);
        if (HasFailure()) return;
    }
    std::cout << count << " frames\n";
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
    std::cout << count << " frames\n";
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
