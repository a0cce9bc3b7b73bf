// What the fourteen decoders make of an answer: every row's limits, texts and layout.
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "servers/did/Shapes.h"
#include "servers/did/test/Vehicle.h"

namespace did_test {
namespace {

using ara::log::LogLevel;
using testing::ElementsAre;
using namespace zvg::val;

constexpr int WRONG_LENGTH = 0x13;
constexpr int FAILURE = 0x26;

class Decoder : public Vehicle, public testing::WithParamInterface<Identifier> {
protected:
    Identifier const& id = GetParam();

    std::vector<std::string> textsOf(Identifier const& one) {
        std::vector<std::string> texts;
        for (Line const& line : linesOf(one)) texts.push_back(line.text);
        return texts;
    }
};

std::string byNumber(testing::TestParamInfo<Identifier> const& info) {
    return info.param.interface.substr(info.param.interface.find("d_"), 6);
}
INSTANTIATE_TEST_SUITE_P(All, Decoder, testing::ValuesIn(identifiers()), byNumber);

TEST_P(Decoder, CopiesTheDataOfAGoodResponse) {
    // Given
    auto const reader = probe(id);
    auto const outcome = reader->read();
    EXPECT_FALSE(outcome->done);
    // When
    EXPECT_EQ(respond(id, response(id.number, id.sample)), eValOk);
    // Then
    EXPECT_TRUE(outcome->done);
    EXPECT_EQ(hex(outcome->data), hex(id.sample));
}

TEST_P(Decoder, AnswersPayloadsThatAreTooShortTooLongOrMiscountedWithSeven) {
    Bytes const good = response(id.number, id.sample);
    Bytes shorter(good.begin(), good.end() - 1);
    Bytes longer = good;
    longer.push_back(0);
    Bytes miscounted = good;
    miscounted[8] = 0xF4;  // 4084, one above what a record holds
    miscounted[9] = 0x0F;
    Bytes const header(good.begin(), good.begin() + 9);
    int const truncated = 4;
    int const trailing = 5;
    int const tooLong = 8;
    for (auto const& [payload, code] : {std::pair{shorter, truncated},
                                        {longer, trailing},
                                        {miscounted, tooLong},
                                        {header, truncated},
                                        {Bytes{}, truncated}}) {
        // Given
        auto const reader = probe(id);
        auto const outcome = reader->read();
        linesOf(id);
        // When
        EXPECT_EQ(respond(id, payload), eValBadMessage);
        // Then
        EXPECT_THAT(linesOf(id), testing::Contains(Line{LogLevel::kError, "unpackDiagnosticsresponse",
                                                        "unpacking error=" + std::to_string(code)}));
        EXPECT_EQ(outcome->done, !id.shortShape());
        EXPECT_EQ(outcome->code, id.shortShape() ? std::nullopt : std::optional(FAILURE));
        // And the request is over either way.
        EXPECT_EQ(respond(id, good), eValError);
    }
}

TEST_P(Decoder, RefusesAnotherIdentifiersResponse) {
    // Given
    auto const reader = probe(id);
    auto const outcome = reader->read();
    std::uint16_t const other = id.number == 0x54DF ? 0x54DE : 0x54DF;
    // When
    EXPECT_EQ(respond(id, response(other, id.sample)), eValRefused);
    // Then
    if (id.shortShape()) {
        EXPECT_FALSE(outcome->done);
    } else {
        EXPECT_EQ(outcome->code, WRONG_LENGTH);
    }
}

TEST_P(Decoder, WritesTheRecordAsText) {
    auto const reader = probe(id);
    auto const outcome = reader->read();
    respond(id, response(id.number, id.sample));
    std::string const begin =
        "requestId:" + std::to_string(id.number) +
        ";totalLength:1;offset:2;length:3;dataLength:" + std::to_string(id.sample.size()) + ";data[" +
        std::to_string(id.sample.size()) + "]:";
    EXPECT_THAT(textsOf(id), testing::Contains(testing::StartsWith(begin)));
}

TEST_P(Decoder, SecondCompletionOfAReadIsAnsweredWithNine) {
    // Given a Read that somebody else has completed meanwhile
    auto const reader = probe(id);
    auto const outcome = reader->read();
    reader->completeEarly();
    linesOf(id);
    // When
    EXPECT_EQ(respond(id, response(id.number, id.sample)), eValException);
    // Then
    std::string const text =
        "std::future exception thrown: " +
        std::string(std::future_error(std::future_errc::promise_already_satisfied).what()) +
        " corresponding requestId: " + std::to_string(id.number);
    EXPECT_THAT(linesOf(id), testing::Contains(Line{LogLevel::kError, "unpackDiagnosticsresponse", text}));
    EXPECT_EQ(hex(outcome->data), hex(Bytes(outcome->data.size())));
    EXPECT_EQ(outcome->code, std::nullopt);
}

// The lists: how the count and the data go together.
class List : public Decoder {
protected:
    /// A response whose count says `count` while the list has `bytes` bytes.
    Bytes withCount(std::size_t count, std::size_t bytes) const {
        Bytes data = pattern(head() + bytes);
        std::size_t const last = head() - 1;
        data[last] = static_cast<std::uint8_t>(count);
        if (id.fixed.back() == 2) data[last - 1] = static_cast<std::uint8_t>(count >> 8U);
        return data;
    }
    std::size_t head() const { return id.headSize(); }
    std::string readWith(Bytes const& data) {
        auto const reader = probe(id);
        auto const outcome = reader->read();
        EXPECT_EQ(respond(id, response(id.number, data)), eValOk);
        EXPECT_TRUE(outcome->done);
        return hex(outcome->data);
    }
};

std::vector<Identifier> lists() {
    std::vector<Identifier> some;
    for (Identifier const& id : identifiers()) {
        if (id.entry > 1) some.push_back(id);
    }
    return some;
}
INSTANTIATE_TEST_SUITE_P(All, List, testing::ValuesIn(lists()), byNumber);

TEST_P(List, OfNoEntriesIsEmpty) {
    Bytes const data = withCount(0, id.entry);  // a list that nobody counted
    EXPECT_EQ(readWith(data), hex(Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(head()))));
}

TEST_P(List, EndsWhereItsCountSays) {
    EXPECT_EQ(readWith(withCount(1, 2 * id.entry)), hex(withCount(1, id.entry)));
}

TEST_P(List, GivesZerosForEntriesThatTheDataLacks) {
    Bytes const data = withCount(2, id.entry + 1);
    EXPECT_EQ(readWith(data), hex(resized(data, head() + 2 * id.entry)));
}

TEST_P(List, NeverReachesBeyondTheRecord) {
    std::size_t const most = id.fixed.back() == 2 ? 0xFFFF : 0xFF;
    Bytes const data = withCount(most, id.entry);
    std::size_t const room = 4084;  // from the data's first byte to the end of the record
    EXPECT_EQ(readWith(data), hex(resized(data, std::min(room, head() + most * id.entry))));
}

TEST_P(Decoder, ListOfTheLongestCountHasAsManyBytesAsTheRecord) {
    std::map<std::uint16_t, std::size_t> const longest{{0x488C, 4083}, {0x488B, 4082}, {0x0235, 4040}};
    auto const found = longest.find(id.number);
    if (found == longest.end()) return;
    auto const reader = probe(id);
    auto const outcome = reader->read();
    respond(id, response(id.number, Bytes(id.headSize(), 0xFF)));
    EXPECT_EQ(outcome->data.size() - id.headSize(), found->second);
}

// Lengths and texts, row by row.
constexpr char const* TOO_LARGE = "Length of message is too large. Size of message: ";

struct Refusal {
    std::uint16_t number;
    bool wrongIdentifier;
    std::size_t dataLength;
    std::string text;
    LogLevel level = DETAIL;
};
void PrintTo(Refusal const& row, std::ostream* stream) {
    *stream << std::hex << row.number << std::dec << ' ' << row.dataLength
            << (row.wrongIdentifier ? " foreign" : "");
}

std::string only(std::string const& name) {
    return "Only " + name + " measurement request is supported";
}
std::string tooLarge(int size) {
    return TOO_LARGE + std::to_string(size);
}

std::vector<Refusal> refusals() {
    std::string const b047 = only("VALMEASUREMENT_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE");
    std::string const fe = only("VALMEASUREMENT_AUTHENTIC_TIME_LAST_FAILED_BACKEND_REQUEST");
    std::string const fd = only("VALMEASUREMENT_AUTHENTIC_TIME_LAST_VALID_BACKEND_REQUEST");
    std::string const version = only("VALMEASUREMENT_FUNCTION_ON_DEMAND_VERSION_INFO");
    std::string const versionLength = "The length of the Response data is invalid.";
    std::string const products = only("VALMEASUREMENT_FUNCTION_ON_DEMAND_PRODUCT_LIST");
    std::string const fsids = only("VAL_FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSIOCIATION");
    std::string const missing = "FOD_SOMEIP_DATABUS_SERVICE_NOT_AVAILABLE";
    std::string const odd = "FOD_SOMEIP_DATABUS_SERVICE_IMPLAUSIBLE";
    std::string const error = "FOD_SOMEIP_DATABUS_SERVICE_ERROR_VALUE_RECEIVED";
    std::string const none = " measurement contains no services";
    std::string const val = "VALMEASUREMENT_";
    std::string const state1 = only("VALMEASUREMENT_FOD_MANAGER_EXTENDED_STATE_1");
    std::string const state2 = only("VALMEASUREMENT_FOD_MANAGER_EXTENDED_STATE_2");
    return {
        {0xB047, false, 41, b047},
        {0xB047, false, 43, b047},
        {0xB047, true, 42, b047},
        {0x15FE, false, 73, fe},
        {0x15FE, false, 75, fe},
        {0x15FE, true, 74, fe},
        {0x15FD, false, 73, fd + " (len:73 should be:74)"},
        {0x15FD, false, 75, fd + " (len:75 should be:74)"},
        {0x15FD, true, 74, fd + " (len:74 should be:74)"},
        {0x017D, false, 7, versionLength},
        {0x017D, false, 9, versionLength},
        {0x017D, true, 8, version},
        {0x017D, true, 7, version},
        {0x488C, false, 3202, tooLarge(3202)},
        {0x488C, true, 3202, products},
        {0x488C, true, 65, products},
        {0x488B, false, 4003, tooLarge(4003)},
        {0x488B, true, 4003, fsids},
        {0x488B, true, 12, fsids},
        {0x117C, false, 1282, only(val + missing)},
        {0x117C, true, 61, only(val + missing)},
        {0x117C, true, 1, only(val + missing)},
        {0x117C, false, 1, missing + none, LogLevel::kWarn},
        {0x117C, false, 0, missing + none, LogLevel::kWarn},
        {0x117E, false, 1410, only(val + odd)},
        {0x117E, true, 23, only(val + odd)},
        {0x117E, false, 1, odd + none, LogLevel::kWarn},
        {0x117D, false, 1410, only(val + error)},
        {0x117D, true, 23, only(val + error)},
        {0x117D, false, 1, error + none},
        {0x0235, false, 3145, tooLarge(3145)},
        {0x0235, true, 3145, state1},
        {0x0235, true, 106, state1},
        {0x0234, false, 1502, tooLarge(1502)},
        {0x0234, true, 1502, state2},
        {0x0234, true, 31, state2},
        {0x54DC, true, 10, only("VALMEASUREMENT_PSO_SYNCHRONISATION_FAULT_MEMORY") + " "},
        {0x54DE, true, 10, only("VALMEASUREMENT_PSO_METADATA_SHADOW_COPY") + " "},
        {0x54DF, true, 10, only("VALMEASUREMENT_PSO_PARAMETER_LIST") + " "},
    };
}

class RefusalRow : public Vehicle, public testing::WithParamInterface<Refusal> {};
INSTANTIATE_TEST_SUITE_P(All, RefusalRow, testing::ValuesIn(refusals()));

TEST_P(RefusalRow, IsToldWithItsTextAndLevelAndEndsInStatusThree) {
    // Given
    Refusal const& row = GetParam();
    Identifier const& id = identifier(row.number);
    auto const reader = probe(id);
    auto const outcome = reader->read();
    linesOf(id);
    // When
    std::uint16_t const requestId = row.wrongIdentifier ? 0x1234 : row.number;
    EXPECT_EQ(respond(id, response(requestId, pattern(row.dataLength))), eValRefused);
    // Then its line is the last
    std::vector<Line> const lines = linesOf(id);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().text, row.text);
    EXPECT_EQ(lines.back().level, row.level);
    // And the full shape ends the Read without a reply, the short shape leaves it open.
    EXPECT_EQ(outcome->done, !id.shortShape());
    EXPECT_EQ(outcome->code, id.shortShape() ? std::nullopt : std::optional(WRONG_LENGTH));
}

class AcceptedLength : public Vehicle,
                       public testing::WithParamInterface<std::pair<std::uint16_t, std::size_t>> {};
INSTANTIATE_TEST_SUITE_P(
    All, AcceptedLength,
    testing::Values(std::pair{0xB047, 42}, std::pair{0x15FE, 74}, std::pair{0x15FD, 74}, std::pair{0x017D, 8},
                    std::pair{0x488C, 3201}, std::pair{0x488C, 1}, std::pair{0x488C, 0},
                    std::pair{0x488B, 4002}, std::pair{0x488B, 0}, std::pair{0x117C, 1281},
                    std::pair{0x117C, 2}, std::pair{0x117E, 1409}, std::pair{0x117E, 2},
                    std::pair{0x117D, 1409}, std::pair{0x117D, 2}, std::pair{0x0235, 3144},
                    std::pair{0x0235, 0}, std::pair{0x0234, 1501}, std::pair{0x0234, 0},
                    std::pair{0x54DC, 4083}, std::pair{0x54DC, 0}, std::pair{0x54DE, 4083},
                    std::pair{0x54DE, 0}, std::pair{0x54DF, 4083}, std::pair{0x54DF, 0}));

TEST_P(AcceptedLength, EndsInStatusZero) {
    auto const [number, length] = GetParam();
    Identifier const& id = identifier(number);
    auto const reader = probe(id);
    auto const outcome = reader->read();
    EXPECT_EQ(respond(id, response(id.number, Bytes(length))), eValOk);
    EXPECT_TRUE(outcome->done);
    EXPECT_EQ(outcome->code, std::nullopt);
    // A list without entries has no bytes; data of zeros makes no entries.
    EXPECT_EQ(outcome->data.size(), id.shortShape() ? length : id.headSize());
}

// What is written besides, in order.
class GoodResponse : public Decoder {};
INSTANTIATE_TEST_SUITE_P(All, GoodResponse, testing::ValuesIn(identifiers()), byNumber);

TEST_P(GoodResponse, WritesItsLinesInOrder) {
    // Given
    auto const reader = probe(id);
    auto const outcome = reader->read();
    linesOf(id);
    // When
    respond(id, response(id.number, id.sample));
    // Then
    auto const received = testing::Eq("Server::handleMsg Received diagnostic response");
    auto const record = testing::StartsWith("requestId:" + std::to_string(id.number));
    std::vector<std::string> const lines = textsOf(id);
    std::string const handled = "Received handleUnpackedDiagnosticsresponse";
    std::string const result = "UnpackValDiagnosticsresponseInd err:0";
    switch (id.number) {
        case 0x488B:
            EXPECT_THAT(lines, ElementsAre(received, handled, record, "number of associations: 2", record));
            break;
        case 0x488C:
        case 0x0235:
        case 0x0234:
            EXPECT_THAT(lines, ElementsAre(received, handled, record));
            break;
        case 0x117C:
        case 0x117E:
            EXPECT_THAT(lines,
                        ElementsAre(received, "Received unpackvaldiagnosticsresponse", result, record));
            break;
        case 0x117D:
            EXPECT_THAT(lines, ElementsAre(received, "Received unpackDiagnosticsresponse", result, record));
            break;
        default:
            EXPECT_THAT(lines, ElementsAre(received, record));
    }
}

TEST_P(GoodResponse, IsWrittenAsDetail) {
    auto const reader = probe(id);
    auto const outcome = reader->read();
    linesOf(id);
    respond(id, response(id.number, id.sample));
    for (Line const& line : linesOf(id)) EXPECT_EQ(line.level, DETAIL) << line.text;
}

class FoundByDatabus : public Vehicle, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(All, FoundByDatabus, testing::Values(0x117C, 0x117E, 0x117D));

TEST_P(FoundByDatabus, ResultOfUnpackingIsToldBeforeTheError) {
    Identifier const& id = identifier(static_cast<std::uint16_t>(GetParam()));
    auto const reader = probe(id);
    auto const outcome = reader->read();
    linesOf(id);
    respond(id, {});
    std::vector<Line> const lines = linesOf(id);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2].text, "UnpackValDiagnosticsresponseInd err:4");
    EXPECT_EQ(lines[3], (Line{LogLevel::kError, "unpackDiagnosticsresponse", "unpacking error=4"}));
}

class ShortShapeServer : public Decoder {};
std::vector<Identifier> shortShapes() {
    return {identifier(0x54DC), identifier(0x54DE), identifier(0x54DF)};
}
INSTANTIATE_TEST_SUITE_P(All, ShortShapeServer, testing::ValuesIn(shortShapes()), byNumber);

TEST_P(ShortShapeServer, LeavesTheReadOpenUntilTheNextReplacesIt) {
    // Given a Read whose answer was for another identifier
    auto const reader = probe(id);
    auto const first = reader->read();
    EXPECT_EQ(respond(id, response(0xB047, id.sample)), eValRefused);
    // Then its own answer is late, and a Cancel finds nothing to cancel
    EXPECT_EQ(respond(id, response(id.number, id.sample)), eValError);
    EXPECT_TRUE(reader->cancel());
    EXPECT_FALSE(first->done);
    // And the next Read ends it and is answered.
    auto const second = reader->read();
    EXPECT_TRUE(first->broken);
    EXPECT_EQ(respond(id, response(id.number, id.sample)), eValOk);
    EXPECT_EQ(hex(second->data), hex(id.sample));
}

// A server whose data can't be copied.
template <class Failure>
struct Failing {
    static constexpr diag_ara::services::Row ROW{.requestId = 0x1234, .serviceName = "failing", .checks = {}};
    struct Output {
        std::tuple<> fields() { throw Failure("no memory"); }
    };
    struct Read {
        using Output = Failing::Output;
    };
    struct Skeleton {
        using Meta = std::map<std::string, std::string>;
        Skeleton(std::string const&, unsigned char) {}
        virtual ~Skeleton() = default;
        void OfferService() {}
        void StopOfferService() {}
        virtual eb::com::Future<void> Cancel(Meta const&) = 0;
        virtual eb::com::Future<Output> Read(Meta const&) = 0;
    };
    struct Server : diag_ara::services::FullShape<Server, Skeleton, Read> {
        Server() : diag_ara::services::FullShape<Server, Skeleton, Read>(ROW) {}
    };

    Failing() {
        server.init("0");
        skeleton.m_server = &server;
        future = skeleton.Read({});
    }
    eValStatus respond() { return deliver(server, RESPONSE, response(0x1234, {1})); }

    Server server;
    Skeleton_impl<Skeleton, Server, Output, void> skeleton{"1"};
    eb::com::Future<Output> future;
};

struct NoStandardException {
    explicit NoStandardException(char const*) {}
};

class FailingCopy : public Vehicle {};

TEST_F(FailingCopy, OfTheDataEndsTheReadWithTheUnspecifiedCode) {
    Failing<std::runtime_error> failing;
    EXPECT_EQ(failing.respond(), eValException);
    try {
        failing.future.get();
        FAIL() << "a value";
    } catch (ac::dm::types::UDSResponseCodeType code) {
        EXPECT_EQ(static_cast<int>(code), 0xFF);
    }
}

TEST_F(FailingCopy, WithWhatIsNoStandardExceptionPassesThrough) {
    Failing<NoStandardException> failing;
    EXPECT_THROW(failing.respond(), NoStandardException);
    EXPECT_EQ(failing.future.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
}

}  // namespace
}  // namespace did_test
