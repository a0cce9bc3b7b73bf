// The generated descriptions against what is written by hand, and the ways to find them.

#include "codec/oracle/Expected.h"
#include "codec/oracle/Catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace oracle {

namespace {

using namespace codec::describe;
using Kind = Enumeration::Kind;

void expectAlike(const expected::EnumSet& wanted, const Enumeration& set) {
    SCOPED_TRACE(wanted.name);
    EXPECT_EQ(set.name, wanted.name);
    EXPECT_EQ(set.wireBits, wanted.bits);
    EXPECT_EQ(set.isSigned, wanted.isSigned);
    EXPECT_EQ(set.kind, wanted.any ? Kind::ANY : wanted.mask != 0 ? Kind::MASK : Kind::RANGES);
    EXPECT_EQ(set.mask, wanted.mask);
    std::vector<std::pair<std::int64_t, std::int64_t>> ranges;
    for (const auto& [first, last] : set.ranges) ranges.emplace_back(first, last);
    EXPECT_EQ(ranges, wanted.ranges);
}

void expectAlike(const expected::Field& wanted, const Field& field, const Record& record) {
    SCOPED_TRACE(std::string(record.name) + "." + wanted.name);
    EXPECT_EQ(field.name, wanted.name);
    EXPECT_EQ(field.kind, wanted.kind);
    EXPECT_EQ(field.wireBits, 8 * wanted.wireBytes);
    EXPECT_EQ(field.memberOffset, wanted.offset);
    EXPECT_EQ(field.memberBytes, wanted.memberBytes);
    EXPECT_EQ(field.isArray, wanted.isArray);
    EXPECT_EQ(field.capacity, wanted.capacity);
    if (wanted.count == nullptr) {
        EXPECT_EQ(field.countField, Field::NO_COUNT);
    } else {
        ASSERT_LT(field.countField, record.fields.size());
        EXPECT_EQ(record.fields[field.countField].name, wanted.count);
    }
    ASSERT_EQ(field.enumeration == nullptr, wanted.set == nullptr);
    if (wanted.set != nullptr) expectAlike(*wanted.set, *field.enumeration);
    ASSERT_EQ(field.record == nullptr, wanted.record == nullptr);
    if (wanted.record != nullptr) {
        EXPECT_EQ(field.record->name, wanted.record->name);
    }
}

void expectAlike(const expected::Record& wanted, const Record& record) {
    EXPECT_EQ(record.name, wanted.name);
    EXPECT_EQ(record.bytes, wanted.bytes);
    EXPECT_EQ(record.toString != nullptr, wanted.hasText) << wanted.name;
    ASSERT_EQ(record.fields.size(), wanted.fields.size()) << wanted.name;
    for (std::size_t i = 0; i < wanted.fields.size(); ++i) {
        expectAlike(wanted.fields[i], record.fields[i], record);
    }
}

class Descriptions : public testing::TestWithParam<const expected::Family*> {};

TEST_P(Descriptions, SayWhatIsWrittenByHand) {
    for (const expected::Record* wanted : GetParam()->records) {
        expectAlike(*wanted, recordNamed(wanted->name));
    }
    for (const expected::Message& wanted : GetParam()->messages) {
        const Message& message = messageNamed(wanted.name);
        EXPECT_EQ(message.id, wanted.id) << wanted.name;
        EXPECT_EQ(message.payload, wanted.payload) << wanted.name;
        EXPECT_EQ(message.record, &recordNamed(wanted.record->name)) << wanted.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, Descriptions,
                         testing::Values(&expected::diagmgr(), &expected::diagnostics(),
                                         &expected::sample()));

TEST(DescriptionOfTheGoldenFamily, SaysNothingBeyond) {
    const Family& family = *allFamilies().back();
    EXPECT_EQ(family.name, "sample");
    EXPECT_EQ(family.records.size(), expected::sample().records.size());
    EXPECT_EQ(family.messages.size(), expected::sample().messages.size());
}

TEST(DescriptionOfTheGoldenFamily, CarriesCommentsSizesAndAssumptions) {
    const Record& arrays = recordNamed("VALSampleArrays_t");
    EXPECT_EQ(arrays.family, "sample");
    EXPECT_EQ(arrays.comment, "The counts stand in front and in another order than the arrays.");
    EXPECT_TRUE(arrays.assumed);
    EXPECT_EQ(arrays.smallestPayload, 15u);
    EXPECT_EQ(arrays.largestPayload,
              15u + 255 + 4 * 2 + 256 * 4 + 300 + 16 * 5 + 3 * 255 + 2 * 2 + 2 * 4 + 2 * 4 + 2);
    EXPECT_EQ(arrays.alignment, 8u);
    const Record& scalars = recordNamed("VALSampleScalars_t");
    EXPECT_FALSE(scalars.assumed);
    EXPECT_FALSE(scalars.assumedNames);
    EXPECT_FALSE(recordNamed("tSampleTokends").assumed);
    EXPECT_TRUE(recordNamed("tSampleTokends").assumedNames);
    EXPECT_EQ(scalars.smallestPayload, scalars.largestPayload);
    EXPECT_EQ(fieldNamed(scalars, "open").comment, "the door, not the window");
    const Enumeration& reason = *fieldNamed(scalars, "reason").enumeration;
    EXPECT_EQ(reason.comment, "Why it stopped. in the order in which they were found");
    ASSERT_EQ(reason.names.size(), 3u);
    EXPECT_EQ(reason.names[1].name, "SAMPLE_REASON_COLD");
    EXPECT_EQ(reason.names[1].value, 256);
    EXPECT_EQ(messageNamed("SampleHolder").comment, "twice a second");
    EXPECT_EQ(messageNamed("ValSampleArraysInd").comment, "");
}

TEST(Catalogue, AscendsAndEachIsFound) {
    EXPECT_TRUE(std::ranges::is_sorted(messages(), std::ranges::less_equal{}, &Message::id));
    EXPECT_TRUE(std::ranges::is_sorted(records(), std::ranges::less_equal{}, &Record::name));
    EXPECT_TRUE(std::ranges::is_sorted(enumerations(), std::ranges::less_equal{}, &Enumeration::name));
    EXPECT_FALSE(enumerations().empty());
    for (const Message& each : messages()) {
        EXPECT_EQ(findMessage(each.id), &each);
        EXPECT_EQ(findMessage(each.name), &each);
    }
    for (const Record* each : records()) EXPECT_EQ(findRecord(each->name), each);
}

TEST(Catalogue, SaysWhatItHasNot) {
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{0, 600, 65535})
        EXPECT_EQ(findMessage(id), nullptr) << id;
    for (const char* name : {"", "A", "VALNull", "VALNull_tt", "zzz"}) {
        EXPECT_EQ(findMessage(name), nullptr) << name;
        EXPECT_EQ(findRecord(name), nullptr) << name;
    }
}

}  // namespace

}  // namespace oracle
