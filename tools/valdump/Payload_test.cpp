// Every message of the catalogue, and one family with every kind of field.

#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "codec/oracle/Compare.h"
#include "codec/oracle/Random.h"
#include "tools/valdump/Json.h"

namespace valdump {

namespace {

std::vector<Message const*> allMessages() {
    std::vector<Message const*> all;
    for (auto const* family : oracle::allFamilies()) {
        for (Message const& each : family->messages) all.push_back(&each);
    }
    return all;
}

/// A payload of random values: a good one, or what a broken sender might send.
std::vector<unsigned char> randomPayload(Message const& message, oracle::Random& random,
                                         oracle::Flaws flaws) {
    oracle::RecordMemory record(*message.record);
    oracle::randomise(*message.record, record.get(), random, flaws);
    return oracle::rawPayload(*message.record, record.get());
}

std::string encodingRefusal(char const* message, char const* json) {
    try {
        encode(oracle::messageNamed(message), readJson(json));
    } catch (BadInput const& error) {
        return error.what();
    }
    return "accepted";
}

}  // namespace

TEST(EveryMessage, GoesToJsonAndBackWithTheSameBytes) {
    std::uint64_t const seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    oracle::Random random(seed);
    for (Message const* message : allMessages()) {
        for (int round = 0; round < 4; ++round) {
            auto const bytes = randomPayload(*message, random, oracle::Flaws::NONE);
            Payload const payload = readPayload(*message, bytes);
            ASSERT_FALSE(payload.failure) << message->name << ": " << payload.failure->text;
            std::string const text = toJson(*message, bytes, payload).dump();
            Json const document = Json::parse(text);
            if (round == 0) {
                ASSERT_EQ(readJson(text), document) << message->name;
            }
            ASSERT_EQ(plainHex(encode(*message, document)), plainHex(bytes)) << message->name;
            ASSERT_EQ(plainHex(encode(*message, document["fields"])), plainHex(bytes)) << message->name;
        }
    }
}

TEST(EveryMessage, IsRefusedWhereAndAsTheCodecRefusesIt) {
    std::uint64_t const seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    oracle::Random random(seed);
    std::map<int, int> seen;
    for (Message const* message : allMessages()) {
        for (int round = 0; round < 6; ++round) {
            auto bytes = randomPayload(*message, random, oracle::Flaws::RARE);
            std::size_t const whole = bytes.size();
            if (round % 3 == 1) bytes.resize(oracle::below(random, whole + 1));
            if (round % 3 == 2) bytes.resize(whole + 1 + oracle::below(random, 3));
            Payload payload;
            ASSERT_NO_THROW(payload = readPayload(*message, bytes));  // it throws when the two differ
            if (!payload.failure) continue;
            ++seen[payload.failure->code];
            ASSERT_LE(payload.failure->offset, bytes.size());
            ASSERT_NO_THROW(toJson(*message, bytes, payload));
        }
    }
    for (int const code : {eUnpackTruncated, eUnpackTrailingBytes, eUnpackArrayTooLong, eUnpackBadEnum}) {
        EXPECT_GT(seen[code], 0) << code;
    }
}

TEST(EveryMessage, ShowsEachByteOfAPayloadOnce) {
    oracle::Random random(4711);
    for (Message const* message : allMessages()) {
        auto const bytes = randomPayload(*message, random, oracle::Flaws::NONE);
        std::string shown;
        Json const document = toJson(*message, bytes, readPayload(*message, bytes));
        for (Json const& row : document["layout"]) {
            ASSERT_EQ(row["offset"].get<std::size_t>(), shown.size() / 2) << message->name;
            shown += row["raw"].get<std::string>();
        }
        ASSERT_EQ(shown, plainHex(bytes)) << message->name;
    }
}

TEST(Fields, AreNumbersNamesAndText) {
    Message const& message = oracle::messageNamed("ValSampleScalarsInd");
    oracle::RecordMemory record = oracle::validRecord(*message.record, 0);
    auto const bytes = oracle::rawPayload(*message.record, record.get());
    Json const document = toJson(message, bytes, readPayload(message, bytes));
    Json const& fields = document["fields"];
    EXPECT_EQ(fields["reason"], 0xFFFF);
    EXPECT_EQ(fields["tide"], 100);
    EXPECT_EQ(fields["depth"], 0);
    std::map<std::string, Json> rows;
    for (Json const& row : document["layout"]) rows[row["field"]] = row;
    EXPECT_EQ(rows["reason"]["name"], "SAMPLE_REASON_DARK");
    EXPECT_EQ(rows["open"]["comment"], "the door, not the window");
    EXPECT_FALSE(rows["level"].contains("name"));
}

TEST(Fields, OfAnEnumerationMayBeGivenByName) {
    Message const& message = oracle::messageNamed("ValSampleScalarsInd");
    oracle::RecordMemory record = oracle::validRecord(*message.record, 0);
    auto const bytes = oracle::rawPayload(*message.record, record.get());
    Json fields = toJson(message, bytes, readPayload(message, bytes))["fields"];
    fields["cause"] = "SAMPLE_CAUSE_WORST";
    fields["signed_8"] = INT64_MIN;
    fields["byte_8"] = UINT64_MAX;
    auto const encoded = encode(message, fields);
    Json const again = toJson(message, encoded, readPayload(message, encoded))["fields"];
    EXPECT_EQ(again["cause"], -23);
    EXPECT_EQ(again["signed_8"], INT64_MIN);
    EXPECT_EQ(again["byte_8"], UINT64_MAX);
}

TEST(Fields, OfABoolKeepTheirByte) {
    Message const& message = oracle::messageNamed("ValSampleScalarsInd");
    oracle::RecordMemory record = oracle::validRecord(*message.record, 0);
    auto bytes = oracle::rawPayload(*message.record, record.get());
    for (unsigned char const byte : std::vector<unsigned char>{0, 1, 2, 255}) {
        bytes[30] = byte;  // behind the eight integers
        Json const fields = toJson(message, bytes, readPayload(message, bytes))["fields"];
        EXPECT_EQ(fields["open"], byte > 1 ? Json(byte) : Json(byte == 1));
        EXPECT_EQ(encode(message, fields), bytes);
    }
}

TEST(Encoding, TakesCountsFromTheArrays) {
    auto const bytes = encode(oracle::messageNamed("ValDiagnosticsresponseInd"), Json::parse(R"({
        "requestId": 381, "totalLength": 2, "offset": 0, "length": 2, "data": "11 22"})"));
    EXPECT_EQ(plainHex(bytes), "7d0102000000020002001122");
}

TEST(Encoding, TakesOneNameInSeveralObjects) {
    Json const twice = readJson(R"([{"x": 1, "y": {"x": 2}}, {"x": 3}, [[{"x": 4}]]])");
    EXPECT_EQ(twice.dump(), R"([{"x":1,"y":{"x":2}},{"x":3},[[{"x":4}]]])");
}

TEST(Encoding, IsRefusedWithTheField) {
    auto const response = [](char const* json) { return encodingRefusal("ValDiagnosticsresponseInd", json); };
    EXPECT_EQ(response(R"({"fields": null, "layout": []})"),
              "the JSON tells of a payload that was refused: its `fields` are null");
    EXPECT_EQ(response(("{\"requestId\": \"" + std::string(100, 'x') + "\"}").c_str()),
              "`requestId` is \"" + std::string(59, 'x') + " ..., not an integer");
    EXPECT_EQ(response(R"({"requestId": 1, "requestId": 1})"), "`requestId` stands twice in one object");
    EXPECT_EQ(response(R"({"requestId": 1e400})"), "no JSON: number overflow parsing '1e400'");
    EXPECT_THAT(response("{\n7d"), testing::StartsWith("no JSON: parse error at line 2, column 1: "));
    EXPECT_EQ(
        response(("{\"requestId\": " + std::string(1'000'000, '[') + "1" + std::string(1'000'000, ']') + "}")
                     .c_str()),
        "the JSON is nested deeper than any record");
    EXPECT_EQ(response("[]"), "`VALDiagnosticsResponse_t` is not an object");
    EXPECT_EQ(response(R"({"requestId": 65536})"), "`requestId` is 65536, outside of 0 to 65535");
    EXPECT_EQ(response(R"({"requestId": -1})"), "`requestId` is -1, outside of 0 to 65535");
    EXPECT_EQ(response(R"({"requestId": 1.5})"), "`requestId` is 1.5, not an integer");
    EXPECT_EQ(response(R"({"requestId": "1"})"), "`requestId` is \"1\", not an integer");
    EXPECT_EQ(response(R"({"requestid": 1})"), "`requestid` is no field of VALDiagnosticsResponse_t");
    EXPECT_EQ(response(R"({"requestId": 1})"),
              "`totalLength` is missing; VALDiagnosticsResponse_t needs every field but its counts");
    std::string const start = R"({"requestId": 1, "totalLength": 1, "offset": 0, "length": 1, )";
    EXPECT_EQ(response((start + R"("dataLength": 3, "data": "1122"})").c_str()),
              "`dataLength` is 3, and `data` has 2 elements; it may be left out");
    EXPECT_EQ(response((start + R"("data": "1"})").c_str()),
              "`data` is no hex: '1' at line 1, column 1 has an odd number of hex digits; a byte has two");
    EXPECT_EQ(response((start + R"("data": [17]})").c_str()), "`data` is not a string of hex digits");
    EXPECT_EQ(response((start + "\"data\": \"" + std::string(8168, '0') + "\"}").c_str()),
              "`data` has 4084 elements and holds at most 4083: ePackArrayTooLong (6)");
    EXPECT_EQ(encodingRefusal("ValCdxClientConstructorInd",
                              R"({"clientId": 1, "offered": [{"dataType": "41"}, {}]})"),
              "`offered[1].dataType` is missing; VALOfferedDataType_t needs every field but its counts");
    EXPECT_EQ(encodingRefusal("DiagmgrSetEvent", R"({"event": "010203"})"),
              "`event` has 3 bytes in place of 4");
    EXPECT_EQ(encodingRefusal("ValDiagmgrJavaSetDtcStatusInd", R"({"dtc_id": 1, "status": 4})"),
              "`status` is 4, and tVALDTCStatus accepts 0 to 3: ePackBadEnum (9)");
    EXPECT_EQ(
        encodingRefusal("ValDiagmgrJavaSetDtcStatusInd", R"({"dtc_id": 9223372036854775808, "status": 1})"),
        "`dtc_id` is 9223372036854775808, outside of -9223372036854775808 to 9223372036854775807");
}

}  // namespace valdump
