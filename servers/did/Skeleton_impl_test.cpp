// Read and Cancel, and what responses between them do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/did/test/Vehicle.h"

namespace did_test {
namespace {

using ara::log::LogLevel;
using testing::ElementsAre;
using namespace zvg::val;

class Operations : public Vehicle, public testing::WithParamInterface<Identifier> {
protected:
    Identifier const& id = GetParam();
    Bytes const good = response(id.number, id.sample);
    Bytes const zeros = Bytes(id.headSize());
};
INSTANTIATE_TEST_SUITE_P(All, Operations, testing::ValuesIn(identifiers()), [](auto const& info) {
    return info.param.interface.substr(info.param.interface.find("d_"), 6);
});

TEST_P(Operations, ReadTellsWhatItDoes) {
    auto const reader = probe(id);
    linesOf(id);
    auto const outcome = reader->read();
    EXPECT_THAT(linesOf(id),
                ElementsAre(Line{DETAIL, "Read", "Server::Sending Read Diagnosticsrequest "},
                            Line{DETAIL, "Read", "Server::Read Diagnostic Request sent to Java"}));
    EXPECT_FALSE(outcome->done);
}

TEST_P(Operations, ReadThatCanNotBeSentEndsWithZeros) {
    // Given
    auto const reader = probe(id);
    jvm.failAlways("NewByteArray");
    linesOf(id);
    // When
    auto const outcome = reader->read();
    // Then
    EXPECT_TRUE(outcome->done);
    EXPECT_EQ(hex(outcome->data), hex(zeros));
    EXPECT_THAT(linesOf(id),
                ElementsAre(Line{DETAIL, "Read", "Server::Sending Read Diagnosticsrequest "},
                            Line{DETAIL, "Read", "Server::Read Error while sending message to Java"}));
    // And nothing is awaited.
    EXPECT_EQ(respond(id, good), eValError);
    EXPECT_THAT(linesOf(id), testing::Contains(Line{
                                 LogLevel::kError, "handleMsg",
                                 "Server::handleMsg diagnostic response received but no request is send"}));
}

TEST_P(Operations, ResponseThatComesWhileTheRequestIsBeingSentCompletesTheRead) {
    // Given a Java that is so fast that its response overtakes the return of the request
    auto const reader = probe(id);
    eValStatus status = eValError;
    jvm.onMessage([&](fake::Message const&) { status = respond(id, good); });
    // When
    auto const outcome = reader->read();
    // Then
    EXPECT_EQ(status, eValOk);
    EXPECT_TRUE(outcome->done);
    EXPECT_EQ(hex(outcome->data), hex(id.sample));
    // And nothing is awaited any more.
    EXPECT_EQ(respond(id, good), eValError);
}

TEST_P(Operations, CancelOfAReadGivesZerosAndDropsItsLateResponse) {
    // Given
    auto const reader = probe(id);
    auto const read = reader->read();
    linesOf(id);
    // When
    EXPECT_TRUE(reader->cancel());
    // Then
    EXPECT_EQ(hex(read->data), hex(zeros));
    EXPECT_TRUE(read->done);
    EXPECT_THAT(linesOf(id), ElementsAre(Line{DETAIL, "Cancel", "Calling Server::Cancel"}));
    EXPECT_EQ(respond(id, good), eValError);
    EXPECT_THAT(linesOf(id),
                ElementsAre(Line{DETAIL, "handleMsg", "Server::handleMsg Received diagnostic response"},
                            Line{LogLevel::kError, "handleMsg",
                                 "Server::handleMsg diagnostic response received but request is canceled "
                                 "message is ignored"}));
    EXPECT_EQ(hex(read->data), hex(zeros));
}

TEST_P(Operations, ResponseToACanceledReadCompletesTheNext) {
    auto const reader = probe(id);
    auto const first = reader->read();
    reader->cancel();
    auto const second = reader->read();
    EXPECT_FALSE(second->done);
    EXPECT_EQ(respond(id, good), eValOk);
    EXPECT_EQ(hex(second->data), hex(id.sample));
    EXPECT_EQ(hex(first->data), hex(zeros));
}

TEST_P(Operations, SecondCancelOnlyTellsThatThereIsNothing) {
    auto const reader = probe(id);
    auto const read = reader->read();
    reader->cancel();
    linesOf(id);
    EXPECT_TRUE(reader->cancel());
    EXPECT_THAT(linesOf(id), ElementsAre(Line{DETAIL, "Cancel", "Calling Server::Cancel"},
                                         Line{DETAIL, "Cancel",
                                              "Server::Cancel Cancel received but no request in progress"}));
    // Still canceled: the late response is told as such.
    respond(id, good);
    EXPECT_THAT(linesOf(id),
                testing::Contains(testing::Field(&Line::text, testing::HasSubstr("request is canceled"))));
}

TEST_P(Operations, CancelWithoutARequestChangesNothing) {
    auto const reader = probe(id);
    linesOf(id);
    EXPECT_TRUE(reader->cancel());
    EXPECT_THAT(linesOf(id), ElementsAre(Line{DETAIL, "Cancel", "Calling Server::Cancel"},
                                         Line{DETAIL, "Cancel",
                                              "Server::Cancel Cancel received but no request in progress"}));
    auto const read = reader->read();
    EXPECT_EQ(respond(id, good), eValOk);
    EXPECT_EQ(hex(read->data), hex(id.sample));
}

TEST_P(Operations, SecondReadTakesThePlaceOfTheFirst) {
    auto const reader = probe(id);
    auto const older = reader->read();
    auto const newer = reader->read();
    EXPECT_TRUE(older->broken);
    EXPECT_EQ(respond(id, good), eValOk);
    EXPECT_EQ(hex(newer->data), hex(id.sample));
    EXPECT_EQ(respond(id, good), eValError);
}

TEST_P(Operations, WithoutAServerEndAtOnceAndSucceed) {
    // Given
    auto const orphan = makeProbe(id.number, nullptr);
    linesOf("");
    // When
    auto const read = orphan->read();
    EXPECT_TRUE(orphan->cancel());
    // Then
    EXPECT_TRUE(read->done);
    EXPECT_EQ(hex(read->data), hex(zeros));
    EXPECT_THAT(linesOf("Skeleton_impl"), ElementsAre(Line{LogLevel::kError, "Read", "m_server is NULL"},
                                                      Line{LogLevel::kError, "Cancel", "m_server is NULL"}));
    EXPECT_TRUE(jvm.messages().empty());
}

TEST_P(Operations, ReadBeforeTheBridgeIsUpEndsWithZerosAndSendsNothing) {
    // Given a server of our own while nothing is registered
    unregisterJava();
    auto const server = makeServer(id.number);
    server->init("0");
    auto const reader = makeProbe(id.number, server.get());
    std::size_t const sent = jvm.messages().size();
    linesOf("");
    // When
    auto const read = reader->read();
    // Then
    EXPECT_TRUE(read->done);
    EXPECT_EQ(hex(read->data), hex(zeros));
    EXPECT_EQ(jvm.messages().size(), sent);
    EXPECT_THAT(
        linesOf("DiagAraService"),
        testing::Contains(testing::Field(&Line::text, "initialisation in progress message is not send")));
}

}  // namespace
}  // namespace did_test
