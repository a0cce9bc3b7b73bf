// The life of a server and what it makes of messages in each state of its request.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/did/Servers.h"
#include "servers/did/test/Vehicle.h"

namespace did_test {
namespace {

using ara::log::LogLevel;
using testing::ElementsAre;
using testing::HasSubstr;
using namespace zvg::val;
namespace services = zvg::val::diag_ara::services;

constexpr LogLevel INFO = LogLevel::kInfo;

class Server : public Vehicle, public testing::WithParamInterface<Identifier> {
protected:
    Identifier const& id = GetParam();
    Bytes const good = response(id.number, id.sample);

    static constexpr char const* RECEIVED = "Server::handleMsg Received diagnostic response";
    static constexpr char const* UNEXPECTED =
        "Server::handleMsg diagnostic response received but no request is send";
};
INSTANTIATE_TEST_SUITE_P(All, Server, testing::ValuesIn(identifiers()), [](auto const& info) {
    return info.param.interface.substr(info.param.interface.find("d_"), 6);
});

TEST_P(Server, ResponseBeforeAnyReadIsDroppedUndecoded) {
    linesOf(id);
    EXPECT_EQ(respond(id, good), eValError);
    EXPECT_THAT(linesOf(id), ElementsAre(Line{DETAIL, "handleMsg", RECEIVED},
                                         Line{LogLevel::kError, "handleMsg", UNEXPECTED}));
    // And changes nothing: a Read is answered as ever.
    auto const reader = probe(id);
    auto const read = reader->read();
    EXPECT_EQ(respond(id, good), eValOk);
    EXPECT_EQ(hex(read->data), hex(id.sample));
}

TEST_P(Server, SecondResponseToOneReadIsDropped) {
    auto const reader = probe(id);
    auto const read = reader->read();
    EXPECT_EQ(respond(id, good), eValOk);
    EXPECT_EQ(respond(id, good), eValError);
    EXPECT_THAT(linesOf(id), testing::Contains(Line{LogLevel::kError, "handleMsg", UNEXPECTED}));
}

TEST_P(Server, DropsEveryResponseAfterACancelUntilTheNextRead) {
    auto const reader = probe(id);
    auto const canceled = reader->read();
    reader->cancel();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(respond(id, good), eValError);
    auto const next = reader->read();
    EXPECT_EQ(respond(id, good), eValOk);
    EXPECT_EQ(hex(next->data), hex(id.sample));
}

TEST_P(Server, IgnoresOtherMessagesInEveryState) {
    auto const reader = probe(id);
    auto const ignored = [&](int msgId) {
        linesOf(id);
        EXPECT_EQ(respond(id, good, msgId), eValNotSupported);
        EXPECT_THAT(linesOf(id),
                    ElementsAre(Line{INFO, "handleMsg", "<msgId> " + std::to_string(msgId) + " ignored."}));
    };
    // Idle
    ignored(2351);
    // Awaiting
    auto const first = reader->read();
    ignored(2349);
    ignored(-1);
    ignored(RESPONSE + 0x10000);
    EXPECT_EQ(respond(id, good), eValOk);
    EXPECT_EQ(hex(first->data), hex(id.sample));
    // Canceled
    auto const second = reader->read();
    reader->cancel();
    ignored(666);
    EXPECT_EQ(respond(id, good), eValError);
    EXPECT_THAT(linesOf(id),
                testing::Contains(testing::Field(&Line::text, HasSubstr("request is canceled"))));
}

TEST_P(Server, TellsItsLife) {
    // Given
    auto server = makeServer(id.number);
    linesOf("");
    // When
    server->init("17");
    std::string const source = id.logName + "::methods::Server<17>::";
    EXPECT_THAT(linesOf(source), ElementsAre(Line{DETAIL, "init", ""}));
    unregisterJava();
    server->start();
    EXPECT_THAT(linesOf(source),
                ElementsAre(Line{DETAIL, "start", ""}, Line{DETAIL, "start", "OfferService()"}));
    server.reset();
    // Then
    EXPECT_THAT(linesOf(source), ElementsAre(Line{DETAIL, "~BaseMethodServer", ""},
                                             Line{DETAIL, "~BaseMethodServer", "StopOfferService()"}));
}

TEST_P(Server, TakesCallsSideBySide) {
    auto server = makeServer(id.number);
    log.clear();
    server->init("1");
    int parallel = 0;
    for (ara::log::Message const& message : log.messages()) {
        if (message.text.find("Service_skeleton_constructed") == std::string::npos) continue;
        EXPECT_THAT(message.text, HasSubstr("\"parallel\""));
        ++parallel;
    }
    EXPECT_EQ(parallel, 1);
}

TEST_P(Server, WithoutInitOffersNothingAndEndsQuietly) {
    auto server = makeServer(id.number);
    linesOf("");
    server->start();
    server.reset();
    // Without init it has no name, so the lines begin with their number.
    std::vector<Line> const lines = linesOf("");
    EXPECT_THAT(lines,
                testing::IsSupersetOf({Line{DETAIL, "start", ""}, Line{DETAIL, "~BaseMethodServer", ""}}));
    EXPECT_THAT(lines,
                testing::Not(testing::Contains(testing::Field(&Line::text, HasSubstr("OfferService")))));
}

TEST_P(Server, ThatWasNeverStartedWithdrawsItsOfferAllTheSame) {
    auto server = makeServer(id.number);
    server->init("3");
    linesOf("");
    server.reset();
    EXPECT_THAT(linesOf(id.logName + "::methods::Server<3>::"),
                ElementsAre(Line{DETAIL, "~BaseMethodServer", ""},
                            Line{DETAIL, "~BaseMethodServer", "StopOfferService()"}));
}

TEST_P(Server, IsReachedAtInstanceOneOnceRegistered) {
    auto const cancel = call(id, CANCEL);
    ASSERT_TRUE(cancel->await());
    EXPECT_EQ(cancel->returnCode(), 0);
    unregisterJava();
    auto const late = call(id, CANCEL);
    ASSERT_TRUE(late->await());
    EXPECT_NE(late->returnCode(), 0);
}

TEST_P(Server, DestroyedWithAReadPendingBreaksItsPromise) {
    auto server = makeServer(id.number);
    server->init("0");
    auto const reader = makeProbe(id.number, server.get());
    auto const read = reader->read();
    EXPECT_FALSE(read->done);
    server.reset();
    EXPECT_TRUE(read->broken);
}

TEST_P(Server, InitEndsAReadOfTheTimeBefore) {
    auto server = makeServer(id.number);
    server->init("0");
    auto const reader = makeProbe(id.number, server.get());
    auto const read = reader->read();
    server->init("1");
    EXPECT_TRUE(read->broken);
    EXPECT_EQ(deliver(*server, RESPONSE, good), eValError);
}

// A service that the platform doesn't know.
using KnownRead = zvg::services::diag::d_b047::Read;

struct UnknownService;
struct UnknownSkeleton {
    explicit UnknownSkeleton(std::string const& instanceId) {
        throw ac::com::Invalid_argument_exception("no instance " + instanceId);
    }
    void OfferService() {}
    void StopOfferService() {}
    void* m_server = nullptr;
};
struct UnknownService : services::BaseMethodServer<UnknownService, UnknownSkeleton, KnownRead::Output, void> {
    UnknownService() : BaseMethodServer(0x1234, "unknown") {}
    eValStatus unpackDiagnosticsresponse(unsigned short, unsigned char*) override { return eValOk; }
};

class UnknownToThePlatform : public Vehicle {};

TEST_F(UnknownToThePlatform, InitTellsTheIncidentAndPassesTheExceptionOn) {
    // Given
    UnknownService server;
    log.clear();
    // When
    EXPECT_THROW(server.init("0"), ac::com::Invalid_argument_exception);
    // Then
    std::vector<std::string> incidents;
    for (ara::log::Message const& message : log.messages()) {
        if (message.text.find("Service_instantiation_error") != std::string::npos)
            incidents.push_back(message.text);
    }
    ASSERT_EQ(incidents.size(), 1U);
    EXPECT_THAT(incidents[0], HasSubstr(R"("2_string":"1")"));
    EXPECT_THAT(incidents[0], HasSubstr("no instance 1"));
    // And nothing is offered.
    server.start();
}

// A service whose decoder looks at the flags.
struct WatchedService;
struct WatchingSkeleton {
    explicit WatchingSkeleton(std::string const&) {}
    void OfferService() {}
    void StopOfferService() {}
    services::BaseMethodServer<WatchedService, WatchingSkeleton, KnownRead::Output, void>* m_server = nullptr;

    /// A Read, up to where it asks Java.
    void read() { m_server->awaitResponse(m_server->beginRead().first); }
    bool pending() const { return m_server->m_requestPending; }
    bool received() const { return m_server->m_responseReceived; }
};
struct WatchedService
    : services::BaseMethodServer<WatchedService, WatchingSkeleton, KnownRead::Output, void> {
    WatchedService() : BaseMethodServer(0x1234, "watched") {}
    eValStatus unpackDiagnosticsresponse(unsigned short, unsigned char*) override {
        decoder();
        return eValRefused;
    }
    WatchingSkeleton& skeleton() { return *m_skeleton; }
    std::function<void()> decoder;
};

class Watched : public Vehicle {
protected:
    void SetUp() override {
        Vehicle::SetUp();
        server.init("0");
    }
    WatchedService server;
    Bytes const any = Bytes(10);
};

TEST_F(Watched, FlagsChangeAfterTheDecoderHasReturned) {
    WatchingSkeleton& operations = server.skeleton();
    server.decoder = [&] {
        EXPECT_TRUE(operations.pending());
        EXPECT_FALSE(operations.received());
    };
    operations.read();
    EXPECT_EQ(deliver(server, RESPONSE, any), eValRefused);
    EXPECT_FALSE(operations.pending());
    EXPECT_TRUE(operations.received());
}

TEST_F(Watched, ReadThatBeginsInTheDecoderAwaitsItsOwnResponse) {
    // Given a client that reads again as soon as its reply has come
    WatchingSkeleton& operations = server.skeleton();
    operations.read();
    server.decoder = [&] { operations.read(); };
    EXPECT_EQ(deliver(server, RESPONSE, any), eValRefused);
    EXPECT_TRUE(operations.pending());
    // When
    server.decoder = [] {};
    EXPECT_EQ(deliver(server, RESPONSE, any), eValRefused);
    // Then
    EXPECT_FALSE(operations.pending());
    EXPECT_EQ(deliver(server, RESPONSE, any), eValError);
}

}  // namespace
}  // namespace did_test
