#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/com/runtime/Counters.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Raw_socket.h"

namespace eb::com::runtime::testing {

/// Both echo services on real sockets.
class Server_test : public ::testing::Test {
protected:
    explicit Server_test(std::string const& limits = "{}")
        : m_runtime(makeRuntime(manifest(m_address, limits))) {}
    ~Server_test() override {
        EXPECT_TRUE(eventually([] { return counters().sessions == 0; })) << "a call is kept for ever";
    }

    Endpoint tcp() const { return {Transport::tcp, m_address}; }
    Endpoint udp() const { return {Transport::udp, m_address}; }

    /// Whether the next good call there is answered with its own bytes.
    static void expectEcho(Raw_socket& peer, std::uint16_t service) {
        static std::uint16_t session = 0x4000;
        Bytes const payload = {0x12, 0x34, static_cast<std::uint8_t>(++session & 0xFFU)};
        peer.send(frame(request(service, wire(ECHO), session), payload));
        auto const answer = peer.read();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->header, someip::answerTo(request(service, wire(ECHO), session), someip::E_OK));
        EXPECT_EQ(answer->payload.bytes(), payload);
    }

    Address const m_address = freeAddress();
    std::unique_ptr<ac::com::runtime::Component_singleton> m_runtime;
    Echo_service m_tcpService{"test::Tcp"};
    Echo_service m_udpService{"test::Udp"};
};

}  // namespace eb::com::runtime::testing
