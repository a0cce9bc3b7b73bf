// The product's own components, registered while another process holds a port that they offer at.

#include <cstdlib>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/Connector.h"
#include "tests/support/DiagLog.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::string address() {
    return std::getenv("ARA_COM_ADDRESS");
}

/// A stranger that listens at a port of this process's address.
class Stranger {
public:
    explicit Stranger(unsigned short port) {
        sockaddr_in at{};
        at.sin_family = AF_INET;
        at.sin_port = htons(port);
        inet_pton(AF_INET, address().c_str(), &at.sin_addr);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&at), sizeof at), 0);
        EXPECT_EQ(listen(m_socket, 1), 0);
    }
    ~Stranger() { close(m_socket); }
    Stranger(Stranger const&) = delete;
    Stranger& operator=(Stranger const&) = delete;

private:
    int m_socket = socket(AF_INET, SOCK_STREAM, 0);
};

class BusyPort : public testing::TestWithParam<unsigned short> {};

TEST_P(BusyPort, FailsRegisterUntilItIsFree) {
    // Given
    test::DiagLog log;
    fake::Jvm jvm;
    fake::Connector java(jvm);
    {
        Stranger const stranger(GetParam());
        for (int attempt = 0; attempt < 2; ++attempt) {
            log.clear();
            // When
            EXPECT_EQ(java.registerListener(), -1);
            // Then
            EXPECT_FALSE(jvm.takeException());
            EXPECT_EQ(jvm.globalRefs(), 0U);
            EXPECT_THAT(log.errors(),
                        ElementsAre(AllOf(StartsWith("register: ended by an exception: "),
                                          HasSubstr(address() + ":" + std::to_string(GetParam())),
                                          HasSubstr("Address already in use"))));
        }
    }
    // And when the stranger has gone
    EXPECT_EQ(java.registerListener(), 0);
    EXPECT_EQ(jvm.globalRefs(), 2U);
    EXPECT_EQ(java.write(2350, {0x47, 0xB0}), 0);
    EXPECT_EQ(java.unregister(), 0);
    EXPECT_EQ(jvm.globalRefs(), 0U);
}

// The first monitor's, the last monitor's, and the one that all data identifiers share.
INSTANTIATE_TEST_SUITE_P(OfTheVehicle, BusyPort, testing::Values(30511, 30513, 30509));

}  // namespace
