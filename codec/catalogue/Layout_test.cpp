// What is agreed about the fields of particular records, most of whose field lists are our own choice.

#include "codec/codec.h"
#include "codec/describe/Description.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <set>

namespace codec::describe {

namespace {

const Record& recordOf(std::string_view name) {
    const Record* const found = findRecord(name);
    if (found == nullptr) throw std::out_of_range("no record " + std::string(name));
    return *found;
}

bool isFlat(const Record& record) {
    return std::ranges::none_of(record.fields, [](const Field& each) { return each.record != nullptr; });
}

std::set<std::string> recordsWith(bool (*holds)(const Field&)) {
    std::set<std::string> names;
    for (const Record* each : records()) {
        if (std::ranges::any_of(each->fields, holds)) names.insert(std::string(each->name));
    }
    return names;
}

}  // namespace

TEST(Layout, TheLongestFieldListsComeInTheirOrder) {
    const char* const ORDER[] = {"tDiagCoding",
                                 "tModemctrlInitialStateRespds",
                                 "VALVehiclePositionExtended_t",
                                 "VALCanNMState_t",
                                 "VALServiceListItem_t",
                                 "VALFunctionOnDemandReport_t",
                                 "VALTripStatisticsData_t",
                                 "VALUserElement_t"};
    std::size_t fewest = SIZE_MAX;
    for (const char* name : ORDER) {
        EXPECT_LE(recordOf(name).fields.size(), fewest) << name;
        fewest = recordOf(name).fields.size();
    }
    EXPECT_EQ(recordOf("tDiagCoding").fields.size(), 58u);
    for (const Record* each : records()) {
        if (std::ranges::find(ORDER, each->name) != std::end(ORDER)) continue;
        EXPECT_LT(each->fields.size(), fewest) << each->name;
    }
}

TEST(Layout, TheLargestRecordsOfOneSizeHave4096And88And76Bytes) {
    std::vector<std::pair<std::uint64_t, std::string>> fixed;
    for (const Record* each : records()) {
        if (each->smallestPayload == each->largestPayload && isFlat(*each))
            fixed.emplace_back(each->largestPayload, each->name);
    }
    std::ranges::sort(fixed, std::greater());
    ASSERT_GT(fixed.size(), 3u);
    EXPECT_EQ(fixed[0], std::pair(std::uint64_t{4096}, std::string("tDiagmgrPutDatasetRespds")));
    EXPECT_EQ(fixed[1], std::pair(std::uint64_t{88}, std::string("tModemctrlRadioNetworkProviderIndds")));
    EXPECT_EQ(fixed[2], std::pair(std::uint64_t{76}, std::string("VALVehiclePositionExtended_t")));
    EXPECT_LT(fixed[3].first, 76u) << fixed[3].second;
}

TEST(Layout, OfRecordsThatHoldOthersOneIsAsLargeAndOfOneSize) {
    for (const Record* each : records()) {
        if (each->smallestPayload != each->largestPayload || isFlat(*each)) continue;
        EXPECT_EQ(each->largestPayload >= 76, each->name == "VALTripStatisticsData_t") << each->name;
    }
}

TEST(Layout, TheCodingTakesOneByteAField) {
    const Record& coding = recordOf("tDiagCoding");
    for (const Field& each : coding.fields) EXPECT_EQ(each.wireBits, 8u) << each.name;
    EXPECT_EQ(coding.largestPayload, 58u);
}

TEST(Layout, AReportOfFunctionsHasNineCountedByteArrays) {
    EXPECT_EQ(std::ranges::count_if(recordOf("VALFunctionOnDemandReport_t").fields,
                                    [](const Field& each) {
                                        return each.countField != Field::NO_COUNT && each.wireBits == 8 &&
                                               each.kind == Field::Kind::UNSIGNED;
                                    }),
              9);
}

TEST(Layout, ATripsStatisticsAreAByteAndTwentyFiveStatefulValues) {
    const Record& trip = recordOf("VALTripStatisticsData_t");
    ASSERT_EQ(trip.fields.size(), 26u);
    EXPECT_EQ(trip.fields[0].kind, Field::Kind::UNSIGNED);
    EXPECT_EQ(trip.fields[0].wireBits, 8u);
    EXPECT_FALSE(trip.fields[0].isArray);
    for (const Field& each : trip.fields.subspan(1)) {
        ASSERT_NE(each.record, nullptr) << each.name;
        EXPECT_EQ(each.record->name, "VALStatefulInt64_t") << each.name;
        EXPECT_FALSE(each.isArray) << each.name;
    }
    EXPECT_EQ(trip.largestPayload, 226u);
}

TEST(Layout, AStatefulRecordIsAValueAndOneByteOfState) {
    std::size_t records_seen = 0;
    for (const Record* each : records()) {
        if (!each->name.starts_with("VALStateful")) continue;
        ++records_seen;
        ASSERT_EQ(each->fields.size(), 2u) << each->name;
        const Field& value = each->fields[0];
        const Field& state = each->fields[1];
        EXPECT_EQ(value.name, "value") << each->name;
        EXPECT_EQ(state.name, "state") << each->name;
        EXPECT_EQ(state.wireBits, 8u) << each->name;
        EXPECT_FALSE(state.isArray) << each->name;
    }
    EXPECT_GE(records_seen, 8u);
}

TEST(Layout, AScalarRecordsValueIsWhatItsNameSays) {
    struct Scalar {
        std::string_view name;
        Field::Kind kind;
        unsigned bits;
    };
    const Scalar SCALARS[] = {
        {"Bool", Field::Kind::BOOL, 8},        {"Int8", Field::Kind::SIGNED, 8},
        {"UInt8", Field::Kind::UNSIGNED, 8},   {"Int16", Field::Kind::SIGNED, 16},
        {"UInt16", Field::Kind::UNSIGNED, 16}, {"Int32", Field::Kind::SIGNED, 32},
        {"UInt32", Field::Kind::UNSIGNED, 32}, {"Int64", Field::Kind::SIGNED, 64},
    };
    std::size_t records_seen = 0;
    for (const auto& [name, kind, bits] : SCALARS) {
        for (const std::string prefix : {"VAL", "VALStateful"}) {
            const Record* const record = findRecord(prefix + std::string(name) + "_t");
            if (record == nullptr) continue;
            ++records_seen;
            EXPECT_EQ(record->fields.size(), prefix == "VAL" ? 1u : 2u) << record->name;
            EXPECT_EQ(record->fields[0].name, "value") << record->name;
            EXPECT_EQ(record->fields[0].kind, kind) << record->name;
            EXPECT_EQ(record->fields[0].wireBits, bits) << record->name;
            EXPECT_EQ(record->smallestPayload, bits / 8 + record->fields.size() - 1) << record->name;
        }
    }
    // Two that messages don't carry as they are: 16 and 32 signed bits come with a state.
    EXPECT_EQ(records_seen, 14u);
}

TEST(Layout, ACaimanStringIsCountedIn64BitsAndSentIn4Bytes) {
    const Record& string = recordOf("tCaimanString");
    ASSERT_EQ(string.fields.size(), 2u);
    EXPECT_EQ(string.fields[0].memberBytes, 8u);
    EXPECT_EQ(string.fields[0].wireBits, 32u);
    EXPECT_EQ(string.fields[1].wireBits, 8u);
    EXPECT_EQ(string.fields[1].capacity, 256u);

    auto record = std::make_unique<tCaimanString>();
    record->length = 256;
    unsigned char buffer[300] = {};
    sQlet1Mod4MessageHdr header{0, 0, sizeof buffer};
    unsigned cursor = 0;
    EXPECT_EQ(PacktCaimanString(&header, buffer, &cursor, record.get()), ePackOk);
    EXPECT_EQ(cursor, 260u);
    EXPECT_EQ(buffer[1], 1);
    // The count is judged as it stands in memory: cut to four bytes it would be 1.
    cursor = 0;
    record->length = 0x100000001;
    EXPECT_EQ(PacktCaimanString(&header, buffer, &cursor, record.get()), ePackArrayTooLong);
    EXPECT_EQ(cursor, 4u);
    cursor = 0;
    record->length = 257;
    EXPECT_EQ(PacktCaimanString(&header, buffer, &cursor, record.get()), ePackArrayTooLong);
}

TEST(Layout, TwoRecordsHaveArraysOfWiderIntegers) {
    EXPECT_EQ(recordsWith([](const Field& each) {
                  return each.isArray && each.kind != Field::Kind::ENUM && each.wireBits == 16;
              }),
              std::set<std::string>{"VALObdcStatusRequest_t"});
    EXPECT_EQ(recordsWith([](const Field& each) {
                  return each.isArray && each.kind != Field::Kind::ENUM && each.wireBits == 32;
              }),
              std::set<std::string>{"VALFilterParameters_t"});
    EXPECT_TRUE(recordsWith([](const Field& each) { return each.isArray && each.wireBits == 64; }).empty());
}

TEST(Layout, TheEmptyPayloadTakesAByte) {
    EXPECT_EQ(recordOf("VALNull_t").smallestPayload, 1u);
    EXPECT_EQ(recordOf("VALNull_t").largestPayload, 1u);
    EXPECT_EQ(PackedSizeOfVALNull_t(nullptr, nullptr), 1u);
}

TEST(Layout, TheLargestArraysHaveTheirMaxima) {
    std::set<std::size_t, std::greater<>> maxima;
    for (const Record* each : records()) {
        for (const Field& field : each->fields) {
            if (field.countField != Field::NO_COUNT) maxima.insert(field.capacity);
        }
    }
    const std::vector<std::size_t> largest(maxima.begin(), std::next(maxima.begin(), 4));
    EXPECT_EQ(largest, (std::vector<std::size_t>{4092, 4084, 4083, 4032}));
    for (const std::size_t common : {4u, 16u, 18u, 32u, 130u, 512u})
        EXPECT_TRUE(maxima.contains(common)) << common;
}

template <class Type>
class OfferedTypes : public testing::Test {};
using Holders = testing::Types<VALCdxClientConstruct_t, VALCdxMasterControl_t>;
TYPED_TEST_SUITE(OfferedTypes, Holders);

template <class Type>
constexpr std::string_view NAME = "VALCdxClientConstruct_t";
template <>
constexpr std::string_view NAME<VALCdxMasterControl_t> = "VALCdxMasterControl_t";

TYPED_TEST(OfferedTypes, AreAtMostFiftyOf254BytesEach) {
    // Given the largest such record: all elements full
    const Record& table = recordOf(NAME<TypeParam>);
    auto record = std::make_unique<TypeParam>();
    record->offeredCount = 50;
    for (VALOfferedDataType_t& each : record->offered) each.dataTypeLength = 254;
    std::vector<unsigned char> buffer(table.largestPayload);
    sQlet1Mod4MessageHdr header{0, 0, static_cast<unsigned>(buffer.size())};
    unsigned cursor = 0;
    EXPECT_EQ(table.pack(&header, buffer.data(), &cursor, record.get()), ePackOk);
    EXPECT_EQ(cursor, table.largestPayload);
    EXPECT_EQ(cursor, table.smallestPayload + 50 * 255u);

    // When the last element counts 255, then it is refused in both directions, after 49 whole ones.
    record->offered[49].dataTypeLength = 255;
    cursor = 0;
    EXPECT_EQ(table.pack(&header, buffer.data(), &cursor, record.get()), ePackArrayTooLong);
    EXPECT_EQ(cursor, table.smallestPayload + 49 * 255u + 1);
    cursor = 0;
    EXPECT_EQ(table.unpack(&header, buffer.data(), &cursor, record.get()), eUnpackArrayTooLong);
    EXPECT_EQ(record->offered[49].dataTypeLength, 255);

    // And a 51st element is refused before the first one.
    record->offeredCount = 51;
    cursor = 0;
    EXPECT_EQ(table.pack(&header, buffer.data(), &cursor, record.get()), ePackArrayTooLong);
    EXPECT_EQ(cursor, table.smallestPayload);
}

}  // namespace codec::describe
