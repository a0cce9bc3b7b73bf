#include "tools/tester/Report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tester/Payloads.h"

namespace tester {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr Patience PATIENCE;

Exchange answered(unsigned char returnCode, Payload payload) {
    Exchange exchange;
    exchange.returnCode = returnCode;
    exchange.payload = std::move(payload);
    exchange.endpoint = "tcp 127.0.0.1:30509";
    exchange.elapsedMs = 3.14159;
    exchange.attempts = 1;
    return exchange;
}

Report read(char const* identifier, Exchange exchange) {
    return judge(*dataIdentifiers().find(identifier), Reply::output, std::move(exchange), PATIENCE);
}

TEST(Report, GoodReplyHasItsFields) {
    Report const report = read("b047", answered(0, timeLastClientPackage()));
    EXPECT_EQ(report.outcome, Outcome::ok);
    EXPECT_EQ(report.detail, "");
    EXPECT_EQ(valueText(report.decoded.fields), R"("2026-11-21T08:15:30Z" | 20 x 00 | 00 02)");
}

TEST(Report, CancelledReadAnsweredByZerosIsJustBytes) {
    Report const report = read(
        "b047", answered(0, withLength(Payload(20, 0)) + withLength(Payload(20, 0)) + withLength({0, 0})));
    EXPECT_EQ(report.outcome, Outcome::ok);
    EXPECT_EQ(valueText(report.decoded.fields), "20 x 00 | 20 x 00 | 00 00");
}

TEST(Report, NumbersAreDecimal) {
    Report const report = read("017d", answered(0, {1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(valueText(report.decoded.fields), "1 | 2 | 3 | 1029 | 6 | 1800");
}

TEST(Report, ListIsToldByItsEntries) {
    // Given two entries of five bytes behind their count
    Report const report = read("488b", answered(0, withLength({0, 2}) + withLength(Payload(10, 9))));
    EXPECT_EQ(valueText(report.decoded.fields), "2 entries of 5 B");
    ASSERT_EQ(entries(report.decoded.fields).size(), 2U);
    EXPECT_EQ(entries(report.decoded.fields)[1].size(), 5U);
}

TEST(Report, ListOfOneEntryIsSingular) {
    Report const report = read("117c", answered(0, withLength({1}) + withLength(Payload(20, 7))));
    EXPECT_EQ(valueText(report.decoded.fields), "1 entry of 20 B");
}

TEST(Report, EmptyListIsEmpty) {
    Report const report = read("488c", answered(0, withLength({0}) + withLength({})));
    EXPECT_EQ(valueText(report.decoded.fields), "00 | empty");
    EXPECT_THAT(entries(report.decoded.fields), IsEmpty());
}

TEST(Report, ListThatItsCountDoesNotDivideStaysBytes) {
    Report const report = read("488c", answered(0, withLength({3}) + withLength(Payload(32, 7))));
    EXPECT_EQ(report.outcome, Outcome::ok);
    EXPECT_EQ(valueText(report.decoded.fields), "03 | 07 07 07 ... 07 07 07");
}

TEST(Report, OwnErrorIsToldByItsUdsCode) {
    Report const report = read("b047", answered(2, {0x13}));
    EXPECT_EQ(report.outcome, Outcome::serviceError);
    EXPECT_EQ(report.detail, "UDSServiceFailed with UDS code 0x13 incorrectMessageLengthOrInvalidFormat");
}

TEST(Report, SameCodeWithoutPayloadIsAnUnknownService) {
    Report const report = read("b047", answered(2, {}));
    EXPECT_EQ(report.outcome, Outcome::returnCode);
    EXPECT_EQ(report.detail, "return code 0x02 E_UNKNOWN_SERVICE: the service id is unknown");
}

TEST(Report, ReturnCodeIsToldWithItsMeaning) {
    Report const report = read("b047", answered(0x80, {}));
    EXPECT_EQ(report.outcome, Outcome::returnCode);
    EXPECT_EQ(report.detail, "return code 0x80 the service couldn't deserialize the request");
}

TEST(Report, UndecodablePayloadNamesItsField) {
    Report const report = read("b047", answered(0, withLength(Payload(20, 1)) + withLength(Payload(19, 1))));
    EXPECT_EQ(report.outcome, Outcome::undecodable);
    EXPECT_EQ(report.detail, "field 2 (array<20>) at byte 24: expected length 20, received length 19");
    EXPECT_EQ(report.decoded.fields.size(), 1U);
}

TEST(Report, TimeOutTellsWhatWasTried) {
    Exchange exchange;
    exchange.outcome = Outcome::timeOut;
    exchange.attempts = 2;
    exchange.endpoint = "tcp 127.0.0.1:30509";
    exchange.failures = {"no answer within 2000 ms", "no answer within 2000 ms"};
    Report const report = read("54df", exchange);
    EXPECT_EQ(report.outcome, Outcome::timeOut);
    EXPECT_EQ(report.detail,
              "attempt 1: no answer within 2000 ms; attempt 2, 250 ms later: no answer within 2000 ms (tcp "
              "127.0.0.1:30509, "
              "service zvg::services::diag::d_54df::DataIdentifier_ParameterList)");
}

TEST(Report, AnswerAtTheSecondAttemptSaysSo) {
    Exchange exchange = answered(0, withLength(text("x=1;y=2")));
    exchange.attempts = 2;
    exchange.failures = {"no answer within 2000 ms"};
    Report const report = read("54df", exchange);
    EXPECT_EQ(report.outcome, Outcome::ok);
    EXPECT_EQ(report.detail,
              "answered at attempt 2 (attempt 1: no answer within 2000 ms; repeated after 250 ms)");
}

TEST(Report, CancelExpectsAnEmptyPayload) {
    auto const& identifier = *dataIdentifiers().find("b047");
    EXPECT_EQ(judge(identifier, Reply::nothing, answered(0, {}), PATIENCE).outcome, Outcome::ok);
    Report const report = judge(identifier, Reply::nothing, answered(0, {1}), PATIENCE);
    EXPECT_EQ(report.outcome, Outcome::undecodable);
    EXPECT_EQ(report.detail, "an empty payload expected, received 1 byte");
}

std::vector<std::string> keys(nlohmann::ordered_json const& object) {
    std::vector<std::string> names;
    for (auto const& [key, value] : object.items()) names.push_back(key);
    return names;
}

TEST(ReportJson, GoodReplyIsWhole) {
    auto const json = toJson(read("017d", answered(0, {1, 2, 3, 4, 5, 6, 7, 8})));
    EXPECT_EQ(
        json.dump(),
        R"({"id":"0x017D","interface":"DataIdentifier_FunctionOnDemandVersionInfo",)"
        R"("service":"zvg::services::diag::d_017d::DataIdentifier_FunctionOnDemandVersionInfo",)"
        R"("instance":"1","endpoint":"tcp 127.0.0.1:30509","outcome":"ok","return_code":0,)"
        R"("return_code_meaning":"E_OK: no error","uds_code":null,"uds_code_name":null,"length":8,)"
        R"("raw":"0102030405060708","fields":[)"
        R"({"position":1,"type":"uint8","length":1,"raw":"01","number":1,"text":null,"entries":null},)"
        R"({"position":2,"type":"uint8","length":1,"raw":"02","number":2,"text":null,"entries":null},)"
        R"({"position":3,"type":"uint8","length":1,"raw":"03","number":3,"text":null,"entries":null},)"
        R"({"position":4,"type":"uint16","length":2,"raw":"0405","number":1029,"text":null,"entries":null},)"
        R"({"position":5,"type":"uint8","length":1,"raw":"06","number":6,"text":null,"entries":null},)"
        R"({"position":6,"type":"uint16","length":2,"raw":"0708","number":1800,"text":null,"entries":null}],)"
        R"("ms":3.1,"attempts":1,"detail":null})");
}

TEST(ReportJson, TextAndEntriesHaveTheirKeys) {
    auto const json = toJson(read("117c", answered(0, withLength({2}) + withLength(Payload(40, 'a')))));
    EXPECT_EQ(json["fields"][1]["entries"], 2);
    EXPECT_EQ(json["fields"][1]["text"], std::string(40, 'a'));
    EXPECT_TRUE(json["fields"][0]["entries"].is_null());
}

TEST(ReportJson, KeysAreTheSameForEveryOutcome) {
    auto const good = keys(toJson(read("b047", answered(0, timeLastClientPackage()))));
    Exchange lost;
    lost.outcome = Outcome::timeOut;
    EXPECT_EQ(keys(toJson(read("b047", lost))), good);
    EXPECT_EQ(keys(toJson(read("b047", answered(2, {0x26})))), good);
    EXPECT_EQ(keys(toJson(notFound(*dataIdentifiers().find("b047"), "nowhere"))), good);
}

TEST(ReportJson, ErrorsCarryTheirCodes) {
    auto const json = toJson(read("b047", answered(2, {0x26})));
    EXPECT_EQ(json["outcome"], "service_error");
    EXPECT_EQ(json["return_code"], 2);
    EXPECT_EQ(json["uds_code"], 0x26);
    EXPECT_EQ(json["uds_code_name"], "failurePreventsExecutionOfRequestedAction");
}

TEST(ReportJson, WithoutAnAnswerThereIsNoCodeAndNoPayload) {
    Exchange lost;
    lost.outcome = Outcome::notAvailable;
    lost.failures = {"refused"};
    auto const json = toJson(read("b047", lost));
    EXPECT_EQ(json["outcome"], "not_available");
    for (char const* key : {"return_code", "return_code_meaning", "length", "raw", "ms", "uds_code"}) {
        EXPECT_TRUE(json[key].is_null()) << key;
    }
}

}  // namespace
}  // namespace tester
