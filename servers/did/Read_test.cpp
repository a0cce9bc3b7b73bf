// Whole reads: a client of the platform, the server, Java's answer, and the bytes of the reply.
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/did/test/Vehicle.h"

namespace did_test {
namespace {

using testing::ElementsAre;

constexpr int OK = 0;

class WholeRead : public Vehicle, public testing::WithParamInterface<Identifier> {
protected:
    Identifier const& id = GetParam();
};
INSTANTIATE_TEST_SUITE_P(All, WholeRead, testing::ValuesIn(identifiers()), [](auto const& info) {
    return info.param.interface.substr(info.param.interface.find("d_"), 6);
});

TEST_P(WholeRead, AsksJavaAndRepliesWithItsData) {
    // Given
    auto const read = call(id, READ);
    // When Java is asked, by the number alone
    ASSERT_TRUE(awaitRequests(1));
    Bytes const request{static_cast<std::uint8_t>(id.number), static_cast<std::uint8_t>(id.number >> 8U)};
    EXPECT_THAT(jvm.messages(), ElementsAre(fake::Message{REQUEST, request}));
    EXPECT_FALSE(read->answered());
    write(response(id.number, id.sample));
    // Then
    ASSERT_TRUE(read->await());
    EXPECT_EQ(read->returnCode(), OK);
    EXPECT_EQ(hex(read->payload()), hex(id.reply(id.sample)));
}

TEST_P(WholeRead, CanBeDoneAgain) {
    for (std::size_t round = 1; round <= 3; ++round) {
        auto const read = call(id, READ);
        ASSERT_TRUE(awaitRequests(round));
        write(response(id.number, id.sample));
        ASSERT_TRUE(read->await());
        EXPECT_EQ(hex(read->payload()), hex(id.reply(id.sample)));
    }
}

TEST_P(WholeRead, IsAnsweredWithZerosByCancel) {
    // Given
    auto const read = call(id, READ);
    ASSERT_TRUE(awaitRequests(1));
    // When
    auto const cancel = call(id, CANCEL);
    // Then both are positive, and Java hears nothing of it
    ASSERT_TRUE(cancel->await());
    ASSERT_TRUE(read->await());
    EXPECT_EQ(cancel->returnCode(), OK);
    EXPECT_EQ(cancel->payload(), Bytes{});
    EXPECT_EQ(read->returnCode(), OK);
    EXPECT_EQ(hex(read->payload()), hex(id.zeros()));
    EXPECT_EQ(jvm.messages().size(), 1U);
}

TEST_P(WholeRead, IsAnsweredWithZerosIfJavaThrows) {
    jvm.onMessage([](fake::Message const&) { throw fake::JavaException{"java/lang/Error", "no"}; });
    auto const read = call(id, READ);
    ASSERT_TRUE(read->await());
    EXPECT_EQ(read->returnCode(), OK);
    EXPECT_EQ(hex(read->payload()), hex(id.zeros()));
}

TEST_P(WholeRead, WithAnotherIdentifiersResponseIsNeverAnswered) {
    // Given
    auto const lost = call(id, READ);
    ASSERT_TRUE(awaitRequests(1));
    std::uint16_t const other = id.number == 0x54DF ? 0x54DE : 0x54DF;
    // When
    write(response(other, pattern(10)));
    // Then, not even after the next has gone all the way
    auto const next = call(id, READ);
    ASSERT_TRUE(awaitRequests(2));
    write(response(id.number, id.sample));
    ASSERT_TRUE(next->await());
    EXPECT_EQ(hex(next->payload()), hex(id.reply(id.sample)));
    EXPECT_FALSE(lost->answered());
}

class Read : public Vehicle {
protected:
    Identifier const& id = identifier(0xB047);
    Bytes const good = response(id.number, id.sample);
};

TEST_F(Read, OfTheLastClientPackageHasExactlyTheseBytes) {
    auto const read = call(id, READ);
    ASSERT_TRUE(awaitRequests(1));
    write(response(0xB047, Bytes(42, 0xAB)));
    ASSERT_TRUE(read->await());
    std::string const ab20(40, ' ');
    std::string expected = "00000014";
    for (int i = 0; i < 20; ++i) expected += "ab";
    expected += "00000014";
    for (int i = 0; i < 20; ++i) expected += "ab";
    expected += "00000002abab";
    EXPECT_EQ(hex(read->payload()), expected);
    EXPECT_EQ(read->payload().size(), 54U);
}

TEST_F(Read, OfTheVersionInfoHasBigEndianNumbersWithoutLengths) {
    auto const read = call(identifier(0x017D), READ);
    ASSERT_TRUE(awaitRequests(1));
    write(response(0x017D, {1, 2, 3, 4, 5, 6, 7, 8}));
    ASSERT_TRUE(read->await());
    EXPECT_EQ(hex(read->payload()), "0102030405060708");
}

TEST_F(Read, OfTheAssociationsKeepsTheTwoBytesOfTheCount) {
    auto const read = call(identifier(0x488B), READ);
    ASSERT_TRUE(awaitRequests(1));
    write(response(0x488B, {0, 2, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    ASSERT_TRUE(read->await());
    EXPECT_EQ(hex(read->payload()), "0000000200020000000a0102030405060708090a");
}

TEST_F(Read, LooksAtNothingInTheRequestMap) {
    // Given a map with one entry, "a" to "b"
    Bytes const text{0, 0, 0, 5, 0xEF, 0xBB, 0xBF, 'a', 0};
    Bytes map{0, 0, 0, 18};
    map.insert(map.end(), text.begin(), text.end());
    map.insert(map.end(), text.begin(), text.end());
    map[map.size() - 2] = 'b';
    // When
    auto const read = call(id, READ, map);
    ASSERT_TRUE(awaitRequests(1));
    write(good);
    // Then
    ASSERT_TRUE(read->await());
    EXPECT_EQ(hex(read->payload()), hex(id.reply(id.sample)));
}

TEST_F(Read, WhoseRequestMapCanNotBeReadNeverReachesJava) {
    auto const read = call(id, READ, {0, 0, 0, 9, 1});
    ASSERT_TRUE(read->await());
    EXPECT_EQ(read->returnCode(), 0x80);
    EXPECT_TRUE(jvm.messages().empty());
}

TEST_F(Read, IssuedFromInsideTheReplyOfAnotherIsAnswered) {
    // Given a client that reads again from the callback that brings its reply
    std::promise<std::shared_ptr<Call>> again;
    auto const first = call(id, READ, {0, 0, 0, 0}, [&] { again.set_value(call(id, READ)); });
    ASSERT_TRUE(awaitRequests(1));
    // When
    write(good);
    auto const second = again.get_future().get();
    ASSERT_TRUE(awaitRequests(2));
    write(good);
    // Then
    ASSERT_TRUE(second->await());
    EXPECT_EQ(second->returnCode(), OK);
    EXPECT_EQ(hex(second->payload()), hex(id.reply(id.sample)));
    EXPECT_EQ(first->answers(), 1);
    EXPECT_EQ(second->answers(), 1);
}

TEST_F(Read, ThatOverlapsAnotherTakesItsPlace) {
    // Given
    auto const older = call(id, READ);
    ASSERT_TRUE(awaitRequests(1));
    auto const newer = call(id, READ);
    ASSERT_TRUE(awaitRequests(2));
    // When the answer to the first request comes
    write(good);
    // Then the second has it
    ASSERT_TRUE(newer->await());
    EXPECT_EQ(hex(newer->payload()), hex(id.reply(id.sample)));
    write(good);
    auto const marker = call(id, CANCEL);
    ASSERT_TRUE(marker->await());
    EXPECT_FALSE(older->answered());
    EXPECT_EQ(newer->answers(), 1);
}

TEST_F(Read, OfTwoIdentifiersAtOnceEndsTheOneThatWasNotAnswered) {
    // Given
    Identifier const& other = identifier(0x15FE);
    auto const mine = call(id, READ);
    auto const theirs = call(other, READ);
    ASSERT_TRUE(awaitRequests(2));
    // When Java answers one, then the other
    write(good);
    write(response(other.number, other.sample));
    // Then only the first has a reply
    ASSERT_TRUE(mine->await());
    auto const marker = call(other, CANCEL);
    ASSERT_TRUE(marker->await());
    EXPECT_FALSE(theirs->answered());
}

TEST_F(Read, PendingAtUnregisterEndsWithoutReplyAndWithoutHarm) {
    auto const read = call(id, READ);
    ASSERT_TRUE(awaitRequests(1));
    unregisterJava();
    EXPECT_NE(read->returnCode(), OK);
    // And the next generation works.
    registerJava();
    auto const next = call(id, READ);
    ASSERT_TRUE(awaitRequests(2));
    write(good);
    ASSERT_TRUE(next->await());
    EXPECT_EQ(hex(next->payload()), hex(id.reply(id.sample)));
}

TEST_F(Read, UnregisterWaitsForAReadThatIsWithJava) {
    // Given a listener that takes its time
    std::promise<void> entered;
    std::promise<void> leave;
    jvm.onMessage([&, gate = leave.get_future().share()](fake::Message const&) {
        entered.set_value();
        gate.wait();
    });
    auto const read = call(id, READ);
    entered.get_future().wait();
    // When
    auto unregistered = std::async(std::launch::async, [&] { return java.unregister(); });
    leave.set_value();
    // Then
    EXPECT_EQ(unregistered.get(), 0);
    EXPECT_NE(read->returnCode(), OK);
}

}  // namespace
}  // namespace did_test
