// Whose version goes on the wire: the program's, which ports are made with, or the manifest's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ac/com/cpp_binding/proxy/Rport.h>

#include "platform/com/testing/Await.h"
#include "platform/com/testing/Echo_service.h"
#include "platform/com/testing/Raw_socket.h"
#include "platform/log/Memory_target.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using ac::com::cpp_binding::proxy::Rport;
using ara::log::LogLevel;

class Version_test : public ::testing::Test {
protected:
    /// The manifest of the echo services, with or without their version in it.
    std::string manifestWith(std::string const& version) const {
        std::string text = manifest(m_address);
        std::string const known = R"("version": {"major": 2, "minor": 0},)";
        return text.replace(text.find(known), known.size(), version);
    }

    /// The return code of a request whose header has that interface version.
    int answerTo(std::uint8_t interfaceVersion) const {
        someip::Header header = request(0x1001, 2);
        header.interfaceVersion = interfaceVersion;
        Raw_socket peer({Transport::tcp, m_address});
        peer.send(frame(header, {1}));
        auto const answer = peer.read();
        return answer ? answer->header.code : -1;
    }

    /// Lines of the runtime at level 3.
    std::vector<std::string> warnings() const {
        std::vector<std::string> lines;
        for (auto const& message : m_log.messages("ACOM"))
            if (message.level == LogLevel::kWarn) lines.push_back(message.text);
        return lines;
    }

    Address const m_address = freeAddress();
    ara::log::Capture m_log;
};

TEST_F(Version_test, WithoutAVersionInTheManifestThePortsDescriptionGoesOnTheWire) {
    // Given a manifest without versions
    auto const runtime = makeRuntime(manifestWith(""));
    // When a service is offered by a port of version 2.0
    Echo_service const service("test::Tcp");
    // Then 2 is the interface version of its messages
    EXPECT_EQ(answerTo(2), someip::E_OK);
    EXPECT_EQ(answerTo(1), someip::E_WRONG_INTERFACE_VERSION);
    EXPECT_THAT(warnings(), ::testing::IsEmpty());
}

TEST_F(Version_test, AManifestsVersionOverridesThePortsAndThatIsReportedOnce) {
    // Given a manifest that says another version than the program
    auto const runtime = makeRuntime(manifestWith(R"("version": {"major": 3, "minor": 7},)"));
    // When several ports are made with the program's
    Echo_service const service("test::Tcp");
    Rport const client({{"test::Tcp"}, {"1"}}, {0x20000});
    // Then the manifest's goes on the wire, and one line says so
    EXPECT_EQ(answerTo(3), someip::E_OK);
    EXPECT_EQ(answerTo(2), someip::E_WRONG_INTERFACE_VERSION);
    EXPECT_THAT(warnings(), ::testing::ElementsAre(::testing::AllOf(
                                ::testing::HasSubstr(": test::Tcp, instance 1: has version 3.7"),
                                ::testing::HasSubstr("where the program has 2.0"))));
}

TEST_F(Version_test, AManifestOfTheSameVersionIsReportedNowhere) {
    auto const runtime = makeRuntime(manifest(m_address));
    Echo_service const service("test::Tcp");
    Rport const client({{"test::Tcp"}, {"1"}}, {0x20000});
    EXPECT_EQ(answerTo(2), someip::E_OK);
    EXPECT_THAT(warnings(), ::testing::IsEmpty());
}

TEST_F(Version_test, HighHalfOfADescriptionIsTheMajorVersionAndLowHalfTheMinor) {
    Service_version const open;
    EXPECT_TRUE(open.settle({0x30001}));
    EXPECT_EQ(open.text(), "3.1");
    EXPECT_FALSE(open.settle({0x30002})) << "the first port's holds";
    EXPECT_EQ(open.text(), "3.1");
    EXPECT_FALSE(Service_version(2, 0).settle({0x30001}));
}

}  // namespace
}  // namespace eb::com::runtime
