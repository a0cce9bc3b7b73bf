#include "tools/tester/CommandLineTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/tester/Payloads.h"

namespace tester {
namespace {

using eb::com::runtime::Call_outcome;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A table whose times, which differ from run to run, are replaced together with the blanks before them.
std::string withoutTimes(std::string table) {
    std::size_t end = 0;
    while ((end = table.find("  ok\n", end)) != std::string::npos) {
        std::size_t const column = table.find_last_not_of("0123456789.", end - 1);
        std::size_t const begin = table.find_last_not_of(' ', column) + 1;
        table.replace(begin, end - begin, "  TIME");
        end = begin + 10;
    }
    return table;
}

TEST_F(CommandLineTest, TableHasARowForEachIdentifierInTheOrderAsked) {
    port("b047").script = {FakePort::answered(0, timeLastClientPackage())};
    port("017d").script = {FakePort::answered(0, {1, 2, 3, 4, 5, 6, 7, 8})};
    EXPECT_EQ(run({"read", "0x017D", "AuthenticTimeLastClientPackage"}), 0);
    // The time differs from run to run; everything else is fixed.
    std::string const table = withoutTimes(out.str());
    EXPECT_EQ(table,
              "id      interface                       raw                          length  "
              "value                                                   ms  outcome\n"
              "0x017D  FunctionOnDemandVersionInfo     01 02 03 04 05 06 07 08         8 B  "
              "1 | 2 | 3 | 1029 | 6 | 1800  TIME  ok\n"
              "0xB047  AuthenticTimeLastClientPackage  00 00 00 14 ... 00 02 00 02    54 B  "
              "\"2026-11-21T08:15:30Z\" | 20 x 00 | 00 02  TIME  ok\n"
              "2/2 data identifiers read\n");
    EXPECT_EQ(err.str(), "");
}

TEST_F(CommandLineTest, OneIdentifierIsToldInFull) {
    port("117c").script = {
        FakePort::answered(0, withLength({2}) + withLength(Payload(20, 'a') + Payload(20, 1)))};
    EXPECT_EQ(run({"read", "117c"}), 0);
    EXPECT_THAT(out.str(), StartsWith("0x117C  DataIdentifier_FoDSomeipDataBusServiceNotAvailable\n"
                                      "service   zvg::services::diag::d_117c::"
                                      "DataIdentifier_FoDSomeipDataBusServiceNotAvailable, instance 1\n"
                                      "endpoint  tcp 127.0.0.1:1\n"
                                      "answer    0x00 E_OK, 49 bytes in "));
    EXPECT_THAT(out.str(),
                EndsWith(" ms, 1 attempt\n"
                         "\n"
                         "0000  00 00 00 01 02 00 00 00  28 61 61 61 61 61 61 61  |........(aaaaaaa|\n"
                         "0010  61 61 61 61 61 61 61 61  61 61 61 61 61 01 01 01  |aaaaaaaaaaaaa...|\n"
                         "0020  01 01 01 01 01 01 01 01  01 01 01 01 01 01 01 01  |................|\n"
                         "0030  01                                                |.|\n"
                         "\n"
                         "field     type         length  value\n"
                         "1         array<1>        1 B  02\n"
                         "2         bytes          40 B  2 entries of 20 B\n"
                         "  [0]     entry          20 B  61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 "
                         "61 61 61 61  |aaaaaaaaaaaaaaaaaaaa|\n"
                         "  [1]     entry          20 B  01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 "
                         "01 01 01 01  |....................|\n"));
}

TEST_F(CommandLineTest, JsonIsOneDocument) {
    port("b047").script = {FakePort::answered(0, timeLastClientPackage())};
    EXPECT_EQ(run({"read", "b047", "15fe", "--json"}), 1);
    auto const document = nlohmann::json::parse(out.str());
    EXPECT_EQ(document["command"], "read");
    EXPECT_EQ(document["timeout_ms"], 20);
    EXPECT_EQ(document["ok"], 1);
    EXPECT_EQ(document["failed"], 1);
    EXPECT_EQ(document["exit_code"], 1);
    EXPECT_EQ(document["results"][0]["outcome"], "ok");
    EXPECT_EQ(document["results"][1]["outcome"], "not_found");
    EXPECT_EQ(err.str(), "");
}

TEST_F(CommandLineTest, RawIsALineOfDigitsForEach) {
    port("017d").script = {FakePort::answered(0, {1, 2, 3, 4, 5, 6, 7, 8})};
    port("b047").script = {FakePort::answered(2, {0x13})};
    port("54df").script = {FakePort::answered(0, {1, 2})};
    EXPECT_EQ(run({"--raw", "read", "b047", "017d", "54df"}), 1);
    // An error's payload is no reply; a payload that can't be read still is its bytes
    EXPECT_EQ(out.str(), "\n0102030405060708\n0102\n");
    EXPECT_THAT(err.str(), StartsWith("tester: 0xB047: UDSServiceFailed with UDS code 0x13"));
    EXPECT_THAT(err.str(), HasSubstr("\ntester: 0x54DF: field 1 (bytes) at byte 0: expected a length field"));
}

TEST_F(CommandLineTest, ReadAllReadsFourteenOneAfterAnother) {
    // Given that each call notes its identifier
    std::vector<std::string> order;
    std::vector<std::string> expected;
    for (auto const& identifier : dataIdentifiers()) {
        auto const id = hexNumber(identifier.number);
        port(id.c_str()).script = {FakePort::answered(0x01)};
        port(id.c_str()).onCall = [&order, id] { order.push_back(id); };
        expected.push_back(id);
    }
    EXPECT_EQ(run({"read", "all"}), 1);
    EXPECT_EQ(order, expected);
    EXPECT_THAT(out.str(), EndsWith("\n0/14 data identifiers read\n"));
}

TEST_F(CommandLineTest, TimeOutIsToldWithWhatWasTried) {
    port("54df");
    EXPECT_EQ(run({"read", "54df", "54df"}), 1);
    EXPECT_THAT(out.str(), ContainsRegex("TIME-OUT after 2 attempts +-  time_out\n"));
    EXPECT_THAT(
        out.str(),
        HasSubstr(
            "\n        attempt 1: no answer within 20 ms; attempt 2, 250 ms later: no answer within 20 ms "
            "(tcp 127.0.0.1:1, service zvg::services::diag::d_54df::"
            "DataIdentifier_ParameterList)\n"));
}

TEST_F(CommandLineTest, SecondAttemptThatIsAnsweredIsGoodAndTold) {
    port("54df").script = {std::nullopt, FakePort::answered(0, withLength({}))};
    EXPECT_EQ(run({"read", "54df"}), 0);
    EXPECT_THAT(out.str(),
                HasSubstr("2 attempts\nnote      answered at attempt 2 (attempt 1: no answer within 20 ms; "
                          "repeated after 250 ms)\n"));
}

TEST_F(CommandLineTest, CancelCallsTheOtherMethod) {
    port("b047").script = {FakePort::answered(0)};
    EXPECT_EQ(run({"cancel", "b047"}), 0);
    EXPECT_THAT(port("b047").methods, ElementsAre(METHOD_CANCEL));
    EXPECT_THAT(out.str(), EndsWith("\n1/1 data identifiers cancelled\n"));
}

TEST_F(CommandLineTest, ListNamesWhoElseOffersAService) {
    port("b047");
    FakeServices::others = {
        {dataIdentifiers().find("b047")->service, {"127.0.0.2:30490 (tcp 127.0.0.2:30509)"}}};
    run({"list"});
    FakeServices::others.clear();
    EXPECT_THAT(
        out.str(),
        HasSubstr("\n        also offered by 127.0.0.2:30490 (tcp 127.0.0.2:30509), which isn't used\n"));
}

TEST_F(CommandLineTest, NobodyThereIsACodeOfItsOwn) {
    EXPECT_EQ(run({"read", "all"}), 3);
    EXPECT_EQ(run({"list"}), 3);
    port("b047").script = {FakePort::failed(Call_outcome::not_available, "127.0.0.1:1: connection refused")};
    EXPECT_EQ(run({"read", "b047"}), 3);
    EXPECT_THAT(out.str(),
                HasSubstr("FAILED    attempt 1: 127.0.0.1:1: connection refused (tcp 127.0.0.1:1, service "));
}

TEST_F(CommandLineTest, InterruptionEndsBetweenIdentifiersToo) {
    port("b047").script = {FakePort::answered(0x01)};
    port("b047").onCall = [this] { stop.request_stop(); };
    EXPECT_EQ(run({"read", "all"}), 130);
    EXPECT_THAT(out.str(), Not(HasSubstr("0x15FE")));
}

TEST_F(CommandLineTest, ColoursAreForTerminalsOnly) {
    port("b047").script = {FakePort::answered(0x01), FakePort::answered(0x01), FakePort::answered(0x01)};
    run({"read", "b047"});
    EXPECT_THAT(out.str(), Not(HasSubstr("\033[")));
    run({"read", "b047", "--color", "always"});
    EXPECT_THAT(out.str(), HasSubstr("\033[31m"));
    out.str("");
    environment.outIsTerminal = true;
    run({"read", "b047", "--color", "never"});
    EXPECT_THAT(out.str(), Not(HasSubstr("\033[")));
}

TEST_F(CommandLineTest, NoColorIsHonouredOnATerminal) {
    environment.outIsTerminal = true;
    setenv("NO_COLOR", "1", 1);
    run({"read", "b047"});
    EXPECT_THAT(out.str(), Not(HasSubstr("\033[")));
    unsetenv("NO_COLOR");
    run({"read", "b047"});
    EXPECT_THAT(out.str(), HasSubstr("\033["));
}

TEST_F(CommandLineTest, LongWaitShowsProgressOnATerminalAndWipesIt) {
    ImpatientUser const user(*this);
    port("b047");
    EXPECT_EQ(runBare({"tester", "read", "b047", "--timeout", "60000"}), 130);
    EXPECT_THAT(user.str(), StartsWith("\r\033[K0xB047: waiting for an answer, "));
    EXPECT_THAT(user.str(), HasSubstr(" s of 60.0 s, attempt 1 of 2"));
    EXPECT_THAT(user.str(), EndsWith("\r\033[K"));
}

TEST_F(CommandLineTest, VerboseTellsEachStepOnTheErrorStream) {
    port("b047").script = {FakePort::answered(0x01)};
    run({"read", "b047", "--verbose", "--raw"});
    EXPECT_THAT(err.str(), StartsWith("tester: 0xB047 read: zvg::services::diag::d_b047::"
                                      "DataIdentifier_AuthenticTimeLastClientPackage at tcp 127.0.0.1:1\n"));
}

struct Usage {
    char const* name;
    std::vector<char const*> arguments;
    char const* says;
};

class WrongUsage : public CommandLineTest, public testing::WithParamInterface<Usage> {};

TEST_P(WrongUsage, IsRefusedWithTwoAndSaysWhy) {
    std::vector<char const*> arguments{"tester"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    EXPECT_EQ(runBare(arguments), 2);
    EXPECT_THAT(err.str(), HasSubstr(GetParam().says));
    EXPECT_EQ(out.str(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Each, WrongUsage,
    testing::Values(Usage{"Nothing", {}, "subcommand is required"},
                    Usage{"UnknownCommand", {"write", "b047"}, "write"},
                    Usage{"NoIdentifier", {"read"}, "ID is required"},
                    Usage{"UnknownNumber", {"read", "b048"}, "0xB047  AuthenticTimeLastClientPackage"},
                    Usage{"Decimal", {"read", "45127"}, "numbers are hexadecimal: do you mean 0xB047?"},
                    Usage{"UnknownName", {"cancel", "Speed"}, "0x54DF  ParameterList"},
                    Usage{"TimeoutOfZero", {"read", "all", "--timeout", "0"}, "--timeout"},
                    Usage{"TimeoutOfWords", {"read", "all", "--timeout", "long"}, "--timeout"},
                    Usage{"TwoForms", {"read", "all", "--json", "--raw"}, "excludes"},
                    Usage{"NoManifest", {"read", "all", "--manifest", "/nowhere.json"}, "/nowhere.json"},
                    Usage{"NoAddress", {"read", "all", "--address", "localhost"}, "--address"},
                    Usage{"NoColour", {"read", "all", "--color", "blue"}, "--color"},
                    Usage{"ListRaw", {"list", "--raw"}, "list has no raw form"}),
    [](auto const& each) { return std::string(each.param.name); });

TEST_F(CommandLineTest, HelpDocumentsExamplesAndExitCodes) {
    EXPECT_EQ(runBare({"tester", "--help"}), 0);
    for (char const* part : {"read", "cancel", "list", "routine", "dtc", "--json", "--wait",
                             "Examples:", "Exit codes:", "130"}) {
        EXPECT_THAT(out.str(), HasSubstr(part));
    }
}

TEST_F(CommandLineTest, VersionIsTold) {
    EXPECT_EQ(runBare({"tester", "--version"}), 0);
    EXPECT_THAT(out.str(), StartsWith("tester 0."));
}

TEST_F(CommandLineTest, FailureOfTheRuntimeIsOneLine) {
    environment.services = []() -> std::unique_ptr<Services> { throw std::runtime_error("no threads left"); };
    EXPECT_EQ(run({"read", "all"}), 1);
    EXPECT_EQ(err.str(), "tester: no threads left\n");
}

}  // namespace
}  // namespace tester
