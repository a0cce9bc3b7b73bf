#include <nlohmann/json.hpp>

#include "tools/tester/CommandLineTest.h"

namespace tester {
namespace {

using eb::com::runtime::Call_outcome;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class RoutineCommandsTest : public CommandLineTest {
protected:
    FakePort& routine(char const* name) { return port(*routines().find(name)); }
};

TEST_F(RoutineCommandsTest, EachCommandCallsItsMethodWithAnEmptyMap) {
    struct {
        char const* command;
        unsigned short method;
        std::vector<unsigned char> reply;
    } const commands[] = {{"cancel", 0, {}}, {"results", 1, {0x11}}, {"start", 2, {}}, {"stop", 3, {}}};
    for (auto const& [command, method, reply] : commands) {
        SCOPED_TRACE(command);
        auto& port = routine("0688");
        port.methods.clear();
        port.requests.clear();
        port.script = {FakePort::answered(0, reply)};
        EXPECT_EQ(run({"routine", command, "0x0688"}), 0);
        EXPECT_THAT(port.methods, ElementsAre(method));
        EXPECT_THAT(port.requests, ElementsAre(std::vector<unsigned char>(4, 0)));
    }
}

TEST_F(RoutineCommandsTest, RoutineIsNamedByNumberOrInterface) {
    for (char const* name : {"0x0687", "0687", "687", "r_0687", "RebuildParameters", "rebuildparameters",
                             "RoutineService_RebuildParameters"}) {
        SCOPED_TRACE(name);
        routine("0687").script = {FakePort::answered(0)};
        EXPECT_EQ(run({"routine", "start", name}), 0);
    }
    EXPECT_EQ(run({"routine", "start", "b047"}), 2);
    EXPECT_THAT(err.str(), HasSubstr("'b047' is no routine\nKnown are 'all' and these, by number or name:\n"
                                     "  0x0687  RebuildParameters\n  0x0688  InitializeParameters\n"
                                     "  0x0689  TransferParametersFromATN\n  0x068A  StoreParametersInATN"));
    EXPECT_EQ(run({"routine", "start", "1671"}), 2);
    EXPECT_THAT(err.str(), HasSubstr("numbers are hexadecimal: do you mean 0x0687?"));
}

TEST_F(RoutineCommandsTest, ResultIsToldAsByteThenAsItsHalves) {
    routine("0687").script = {FakePort::answered(0, {0x51})};
    EXPECT_EQ(run({"routine", "results", "0687"}), 0);
    EXPECT_THAT(out.str(), StartsWith("0x0687  RoutineService_RebuildParameters\n"
                                      "service   zvg::services::diag::r_0687::"
                                      "RoutineService_RebuildParameters, instance 1\n"
                                      "endpoint  tcp 127.0.0.1:1\n"
                                      "answer    0x00 E_OK, 1 byte in "));
    EXPECT_THAT(out.str(), EndsWith("\n0000  51                                                |Q|\n"
                                    "\nstatus    5\nresult    1\n"));
}

TEST_F(RoutineCommandsTest, ByteOfEveryFailureIsGoodAndSaysWhatElseItMayMean) {
    routine("0687").script = {FakePort::answered(0, {0x20}), FakePort::answered(0, {0x20})};
    EXPECT_EQ(run({"routine", "results", "0687"}), 0);
    EXPECT_THAT(out.str(), HasSubstr("\nnote      0x20 also stands for every failure: no answer from Java"));
    EXPECT_THAT(out.str(), EndsWith("\nstatus    2\nresult    0\n"));
    out.str("");
    EXPECT_EQ(run({"routine", "results", "0687", "--raw"}), 0);
    EXPECT_EQ(out.str(), "20\n");
    EXPECT_THAT(err.str(), StartsWith("tester: 0x0687: 0x20 also stands for every failure"));
}

TEST_F(RoutineCommandsTest, AllAreAskedOneAfterAnotherAndTabled) {
    std::vector<std::string> order;
    for (auto const& each : routines()) {
        port(each).script = {FakePort::answered(0, {0x12})};
        port(each).onCall = [&order, &each] { order.push_back(each.id); };
    }
    EXPECT_EQ(run({"routine", "results", "all"}), 0);
    EXPECT_THAT(order, ElementsAre("0x0687", "0x0688", "0x0689", "0x068A"));
    EXPECT_THAT(out.str(),
                HasSubstr("\n0x0689  TransferParametersFromATN  12                              1 B  "
                          "status 1, result 2  "));
    EXPECT_THAT(out.str(), EndsWith("\n4/4 routines told their results\n"));
}

TEST_F(RoutineCommandsTest, JsonHasTheKeysOfAReadAndTheTwoHalves) {
    routine("0689").script = {FakePort::answered(0, {0x41})};
    EXPECT_EQ(run({"routine", "results", "0689", "068a", "--json"}), 1);
    auto const document = nlohmann::ordered_json::parse(out.str());
    EXPECT_EQ(document["command"], "routine results");
    auto const& good = document["results"][0];
    EXPECT_EQ(good["raw"], "41");
    EXPECT_EQ(good["status"], 4);
    EXPECT_EQ(good["result"], 1);
    EXPECT_EQ(good["fields"][0]["number"], 0x41);
    auto const& lost = document["results"][1];
    EXPECT_EQ(lost["outcome"], "not_found");
    EXPECT_TRUE(lost["status"].is_null());
    EXPECT_TRUE(lost["result"].is_null());
    std::vector<std::string> keys;
    for (auto const& [key, value] : good.items()) keys.push_back(key);
    EXPECT_THAT(keys, ElementsAre("id", "interface", "service", "instance", "endpoint", "outcome",
                                  "return_code", "return_code_meaning", "uds_code", "uds_code_name", "length",
                                  "raw", "fields", "ms", "attempts", "detail", "status", "result"));
}

TEST_F(RoutineCommandsTest, UnansweredRequestIsNeverRepeated) {
    routine("0687");
    EXPECT_EQ(run({"routine", "start", "0687"}), 1);
    EXPECT_THAT(routine("0687").methods, ElementsAre(METHOD_START));
    EXPECT_THAT(out.str(), HasSubstr("TIME-OUT after 1 attempt "));
    EXPECT_THAT(out.str(), HasSubstr("attempt 1: no answer within 20 ms (tcp 127.0.0.1:1, service "));
}

TEST_F(RoutineCommandsTest, WaitsLongerThanTheServiceWaitsForJava) {
    routine("0687").script = {FakePort::answered(0)};
    EXPECT_EQ(runBare({"tester", "--json", "routine", "stop", "0687"}), 0);
    EXPECT_EQ(nlohmann::json::parse(out.str())["timeout_ms"], 65000);
}

TEST_F(RoutineCommandsTest, LongWaitIsToldOnATerminal) {
    ImpatientUser const user(*this);
    routine("0687");
    EXPECT_EQ(runBare({"tester", "routine", "results", "0687", "--timeout", "60000"}), 130);
    EXPECT_THAT(user.str(), StartsWith("\r\033[K0x0687: waiting for an answer, "));
    EXPECT_THAT(user.str(), HasSubstr(" s of 60.0 s, attempt 1 of 1"));
}

TEST_F(RoutineCommandsTest, ErrorsOfTheServiceAndBadPayloadsFail) {
    routine("0687").script = {FakePort::answered(2, {0x26}), FakePort::answered(0x80),
                              FakePort::answered(0, {}), FakePort::answered(0, {1, 2})};
    for (char const* text : {"UDS code 0x26 failurePreventsExecutionOfRequestedAction", "return code 0x80",
                             "field 1 (uint8) at byte 0: expected 1 byte, received 0",
                             "expected 1 byte, received 2: bytes behind the last field"}) {
        out.str("");
        EXPECT_EQ(run({"routine", "results", "0687"}), 1);
        EXPECT_THAT(out.str(), HasSubstr(text));
    }
    routine("0687").script = {FakePort::answered(0, {7})};
    EXPECT_EQ(run({"routine", "start", "0687"}), 1);
    EXPECT_THAT(out.str(), HasSubstr("an empty payload expected, received 1 byte"));
}

TEST_F(RoutineCommandsTest, NobodyThereIsACodeOfItsOwn) {
    EXPECT_EQ(run({"routine", "start", "all"}), 3);
    routine("0687").script = {
        FakePort::failed(Call_outcome::not_available, "127.0.0.1:1: connection refused")};
    EXPECT_EQ(run({"routine", "results", "0687"}), 3);
}

TEST_F(RoutineCommandsTest, WrongUsageIsRefused) {
    for (std::vector<char const*> const& arguments :
         std::vector<std::vector<char const*>>{{"routine"},
                                               {"routine", "start"},
                                               {"routine", "pause", "0687"},
                                               {"routine", "start", "stop", "0687"}}) {
        SCOPED_TRACE(arguments.back());
        EXPECT_EQ(run(arguments), 2);
    }
    EXPECT_EQ(out.str(), "");
}

TEST_F(RoutineCommandsTest, HelpTellsTheCommandsAndWhatSuccessMeans) {
    EXPECT_EQ(runBare({"tester", "routine", "--help"}), 0);
    for (char const* part :
         {"start", "stop", "results", "cancel", "whatever Java makes of them", "Examples:"}) {
        EXPECT_THAT(out.str(), HasSubstr(part));
    }
}

}  // namespace
}  // namespace tester
