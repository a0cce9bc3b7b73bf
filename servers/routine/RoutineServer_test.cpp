// What the servers of the routines make of calls and of responses, between their clients, over the real
// runtime, and Java.
#include <algorithm>

#include "servers/routine/test/ServerTest.h"

namespace routine_test {
namespace {

using ara::log::LogLevel;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using namespace zvg::val;

class Server : public ServerTest {};
INSTANTIATE_TEST_SUITE_P(All, Server, testing::ValuesIn(routines()),
                         [](auto const& info) { return info.param.name; });

TEST_P(Server, EachMethodAsksJavaWithTheNextTransaction) {
    std::uint32_t transaction = 0;
    for (int round = 0; round < 2; ++round) {
        for (Method const method : METHODS) {
            auto const made = call(sut, method);
            Ids const asked = awaitRequest(transaction + 1);
            EXPECT_EQ(asked, ids(transaction, method));
            EXPECT_FALSE(made->answered());
            write(response(asked, 1, 2));
            expectReply(made, method == REQUEST_RESULTS ? "12" : "");
            ++transaction;
        }
    }
}

TEST_P(Server, RequestIsThirteenBytesWithoutData) {
    call(sut, STOP);
    awaitRequest(1);
    std::vector<fake::Message> const messages = jvm.messages();
    auto const message = std::find_if(messages.begin(), messages.end(),
                                      [](fake::Message const& one) { return one.id == REQUEST; });
    ASSERT_NE(message, messages.end());
    EXPECT_EQ(message->bytes,
              (Bytes{static_cast<std::uint8_t>(sut.id), static_cast<std::uint8_t>(sut.id >> 8U), 0, 0, 0, 0,
                     0, 0, 0, 0, 0, 0, 2}));
}

TEST_P(Server, TellsWhatItDoes) {
    linesOf("");
    auto const made = call(sut, STOP);
    Ids const asked = awaitRequest(1);
    EXPECT_EQ(respond(sut, response(asked, 1, 2)), eValOk);
    expectReply(made, "");
    EXPECT_THAT(
        linesOf(sut),
        ElementsAre(
            Line{DETAIL, "sendJavaRoutineRequest",
                 "Created response handler for request: .routineId = " + std::to_string(sut.id) +
                     ", .transactionId = 0, .length = 0, .controlParameter = 2, .controlData = {}!"},
            Line{DETAIL, "handleMsg", "<msgId> 'DIAGMGR_JAVA_ROUTINE_RESP' received"},
            Line{INFO, "handleJavaRoutineResponse", "Processing response: " + responseText(asked, 1, 2)}));
}

TEST_P(Server, MetaInformationChangesNothing) {
    // A map of one pair of texts: "a" and "b" with byte order mark and terminator.
    Bytes const meta{0, 0, 0, 18, 0, 0, 0, 5, 0xEF, 0xBB, 0xBF, 'a', 0, 0, 0, 0, 5, 0xEF, 0xBB, 0xBF, 'b', 0};
    std::uint32_t transaction = 0;
    for (Method const method : METHODS) {
        auto const made = call(sut, method, meta);
        EXPECT_EQ(awaitRequest(transaction + 1), ids(transaction, method));
        write(response(ids(transaction, method)));
        expectReply(made, method == REQUEST_RESULTS ? "00" : "");
        ++transaction;
    }
}

TEST_P(Server, ResponseOfAnotherRoutineTransactionOrOperationIsRefused) {
    auto const made = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    linesOf("");
    for (Ids const& foreign : {Ids{sut.id == 308 ? 309U : 308U, asked.transaction, asked.control},
                               Ids{asked.routine, asked.transaction + 1, asked.control},
                               Ids{asked.routine, asked.transaction, control(START)}}) {
        EXPECT_EQ(respond(sut, response(foreign, 1, 1)), eValRefused);
        EXPECT_THAT(linesOf(sut),
                    ElementsAre(Line{DETAIL, "handleMsg", "<msgId> 'DIAGMGR_JAVA_ROUTINE_RESP' received"},
                                Line{INFO, "handleJavaRoutineResponse",
                                     "Ignoring response: " + responseText(foreign, 1, 1)}));
    }
    EXPECT_EQ(respond(sut, response(asked, 2, 1)), eValOk);
    expectReply(made, "21");
}

TEST_P(Server, ResponseWithoutARequestIsRefused) {
    EXPECT_EQ(respond(sut, response(ids(0, START))), eValRefused);
}

TEST_P(Server, SecondResponseIsRefused) {
    auto const made = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    EXPECT_EQ(respond(sut, response(asked, 1, 1)), eValOk);
    EXPECT_EQ(respond(sut, response(asked, 2, 2)), eValRefused);
    expectReply(made, "11");
    EXPECT_EQ(respond(sut, response(asked, 2, 2)), eValRefused);
}

TEST_P(Server, UnreadableResponseLeavesTheRequestWaiting) {
    auto const made = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    Bytes const good = response(asked, 1, 2, {1, 2, 3});
    Bytes truncated(good.begin(), good.end() - 1);
    Bytes trailing = good;
    trailing.push_back(0);
    Bytes const badRoutine = response({1, asked.transaction, asked.control});
    Bytes const badControl = response({asked.routine, asked.transaction, 5});
    Bytes const badStatus = response(asked, 15, 0);
    Bytes const badResult = response(asked, 0, 3);
    Bytes const tooLong = response(asked, 0, 0, Bytes(4084));
    for (Bytes const& bad :
         {truncated, trailing, badRoutine, badControl, badStatus, badResult, tooLong, Bytes{}}) {
        linesOf("");
        EXPECT_EQ(respond(sut, bad), eValBadMessage);
        EXPECT_THAT(linesOf(sut),
                    ElementsAre(Line{DETAIL, "handleMsg", "<msgId> 'DIAGMGR_JAVA_ROUTINE_RESP' received"},
                                Line{LogLevel::kError, "handleJavaRoutineResponse", "Unpack error."}));
    }
    EXPECT_EQ(respond(sut, good), eValOk);
    expectReply(made, "12");
}

TEST_P(Server, LongestResponseIsRead) {
    auto const made = call(sut, REQUEST_RESULTS);
    EXPECT_EQ(respond(sut, response(awaitRequest(1), 1, 2, Bytes(4083, 0xAB))), eValOk);
    expectReply(made, "12");
}

TEST_P(Server, RepliesWithStatusAndResultInOneByte) {
    struct Outcome {
        std::uint8_t status;
        std::uint32_t result;
        std::string reply;
    };
    std::vector<Outcome> outcomes{{16, 0, "20"}, {17, 1, "20"}, {18, 2, "20"}, {19, 2, "20"}};
    for (std::uint8_t status = 0; status < 6; ++status) {
        for (std::uint8_t result = 0; result < 3; ++result) {
            outcomes.push_back({status, result, hex({static_cast<std::uint8_t>(status * 16 + result)})});
        }
    }
    EXPECT_EQ(outcomes.back().reply, "52");
    std::size_t count = 0;
    for (Outcome const& outcome : outcomes) {
        auto const made = call(sut, REQUEST_RESULTS);
        Ids const asked = awaitRequest(++count);
        EXPECT_EQ(respond(sut, response(asked, outcome.status, outcome.result)), eValOk);
        expectReply(made, outcome.reply);
    }
}

TEST_P(Server, VoidMethodsSucceedWhateverTheStatus) {
    std::size_t count = 0;
    for (Method const method : {START, STOP, CANCEL}) {
        auto const made = call(sut, method);
        EXPECT_EQ(respond(sut, response(awaitRequest(++count), 19, 2)), eValOk);
        expectReply(made, "");
    }
}

TEST_P(Server, IgnoresOtherMessages) {
    auto const made = call(sut, REQUEST_RESULTS);
    Bytes const good = response(awaitRequest(1), 1, 1);
    for (int const msgId : {665, 667, 2350, 0, -1, RESPONSE + 0x10000}) {
        linesOf("");
        EXPECT_EQ(respond(sut, good, msgId), eValNotSupported);
        EXPECT_THAT(linesOf(sut),
                    ElementsAre(Line{INFO, "handleMsg", "<msgId> " + std::to_string(msgId) + " ignored."}));
    }
    EXPECT_EQ(respond(sut, good), eValOk);
    expectReply(made, "11");
}

TEST_P(Server, AnswersOutOfOrderReachTheirOwnRequests) {
    auto const calls = fill();
    auto const asked = requests();
    for (std::size_t i = asked.size(); i-- > 0;) {
        write(response(asked[i], static_cast<std::uint8_t>(asked[i].transaction % 6),
                       asked[i].transaction % 3));
    }
    std::vector<std::string> expected;
    std::vector<std::string> replies;
    for (std::size_t i = 0; i < IN_FLIGHT; ++i) {
        expected.push_back(hex({static_cast<std::uint8_t>(i % 6 * 16 + i % 3)}));
        ASSERT_TRUE(calls[i]->await());
        replies.push_back(hex(calls[i]->payload()));
    }
    EXPECT_THAT(replies, testing::UnorderedElementsAreArray(expected)) << "calls are taken side by side";
}

TEST_P(Server, CancelLeavesTheOtherRequestsAlone) {
    auto const started = call(sut, START);
    Ids const start = awaitRequest(1);
    auto const canceled = call(sut, CANCEL);
    EXPECT_EQ(awaitRequest(2), ids(1, CANCEL));
    write(response(ids(1, CANCEL)));
    expectReply(canceled, "");
    EXPECT_FALSE(started->answered());
    EXPECT_EQ(respond(sut, response(start)), eValOk);
    expectReply(started, "");
}

TEST_P(Server, EleventhRequestInFlightIsNotSent) {
    // Given
    auto const calls = fill();
    for (Method const method : METHODS) {
        linesOf("");
        // When
        auto const refused = call(sut, method);
        // Then
        expectReply(refused, failure(method));
        auto const transaction =
            IN_FLIGHT + static_cast<std::size_t>(std::find(std::begin(METHODS), std::end(METHODS), method) -
                                                 std::begin(METHODS));
        EXPECT_THAT(linesOf(sut), Contains(Line{LogLevel::kError, "sendJavaRoutineRequest",
                                                "Too many response handlers, cancel response handler " +
                                                    std::to_string(transaction) + "!"}));
        // And it was never in the list.
        EXPECT_EQ(respond(sut, response(ids(static_cast<std::uint32_t>(transaction), method))), eValRefused);
    }
    EXPECT_EQ(requests().size(), IN_FLIGHT);
    for (auto const& one : calls) EXPECT_FALSE(one->answered());
}

TEST_P(Server, AnsweredRequestMakesRoomForTheNext) {
    auto const calls = fill();
    EXPECT_EQ(respond(sut, response(requests()[4])), eValOk);
    // The reply is out a moment before its handler's thread has ended: until then there is no room.
    ASSERT_TRUE(eventually([&] {
        auto const next = call(sut, START);
        return eventually([&] { return next->answered() || requests().size() > IN_FLIGHT; }) &&
               requests().size() > IN_FLIGHT;
    }));
    EXPECT_EQ(requests().back().control, control(START));
}

TEST_P(Server, RequestsThatTimedOutMakeRoomForTheNext) {
    // Given as many as there is room for
    waitMilliseconds = 1;
    for (auto const& [method, one] : fillWithAll()) expectReply(one, failure(method));
    EXPECT_THAT(linesOf(sut.name + "::"), Contains(Field(&Line::text, HasSubstr(") timed out!"))));
    // When they are not pending any more, then the next is sent
    EXPECT_TRUE(eventually([&] {
        call(sut, START)->await();
        return requests().size() > IN_FLIGHT;
    }));
}

TEST_P(Server, ResponseAfterTheTimeOutDoesNoHarm) {
    // Given
    waitMilliseconds = 1;
    auto const late = call(sut, REQUEST_RESULTS);
    Ids const asked = awaitRequest(1);
    expectReply(late, "20");
    waitMilliseconds = 0;
    // When it comes while the handler has not been collected yet: it is taken, once, and goes nowhere.
    EXPECT_EQ(respond(sut, response(asked, 1, 1)), eValOk);
    EXPECT_EQ(respond(sut, response(asked, 1, 1)), eValRefused);
    // When it comes after the next request has collected it
    ASSERT_TRUE(eventually([&] {
        auto const handled = respond(sut, response(asked, 1, 1));
        call(sut, START);
        return handled == eValRefused;
    }));
    // Then
    EXPECT_EQ(late->answers(), 1);
    EXPECT_EQ(hex(late->payload()), "20");
}

TEST_P(Server, RequestThatCanNotBeSentIsCancelled) {
    std::uint32_t transaction = 0;
    for (Method const method : METHODS) {
        // Given
        jvm.failAlways("NewByteArray");
        linesOf("");
        // When
        auto const made = call(sut, method);
        // Then
        expectReply(made, failure(method));
        EXPECT_TRUE(eventually([&, lines = std::vector<Line>{}]() mutable {
            auto const more = linesOf(sut.name + "::");
            lines.insert(lines.end(), more.begin(), more.end());
            return std::any_of(lines.begin(), lines.end(), [](Line const& line) {
                return line.level == LogLevel::kError && line.text.find(") cancelled!") != std::string::npos;
            });
        }));
        jvm.failNothing();
        EXPECT_EQ(respond(sut, response(ids(transaction, method))), eValRefused);
        ++transaction;
    }
    // And the ids of those are spent.
    call(sut, START);
    EXPECT_EQ(awaitRequest(1), ids(transaction, START));
}

TEST_P(Server, FailedSendIsTold) {
    jvm.failAlways("NewByteArray");
    linesOf("");
    auto const made = call(sut, START);
    ASSERT_TRUE(made->await());
    EXPECT_THAT(linesOf(sut), Contains(Line{LogLevel::kError, "sendJavaRoutineRequest",
                                            "Sending to Java failed, cancel response handler 0!"}));
}

TEST_P(Server, ResponseInsideTheListenersCallFindsItsHandler) {
    // The quickest Java there is: the answer is in before the request has been sent.
    onRequest = [this](Ids const& asked) { EXPECT_EQ(respond(sut, response(asked, 3, 1)), eValOk); };
    expectReply(call(sut, REQUEST_RESULTS), "31");
    expectReply(call(sut, START), "");
}

}  // namespace
}  // namespace routine_test
