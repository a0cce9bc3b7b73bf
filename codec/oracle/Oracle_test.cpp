// The generated codec against the oracle, at the boundaries of every record of every family.

#include "codec/oracle/Compare.h"
#include "codec/oracle/RangeErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

namespace oracle {

class EveryFamily : public testing::TestWithParam<const Family*> {
protected:
    EveryFamily() { takeRangeErrors(); }
    ~EveryFamily() override { takeRangeErrors(); }

    const Family& sut = *GetParam();
};

class Records : public EveryFamily {};
class Texts : public EveryFamily {};
class Messages : public EveryFamily {};

namespace {

void addEdges(const Field& field, std::set<std::uint64_t>& all) {
    if (field.countField == Field::NO_COUNT) return;
    all.insert({field.capacity - 1, field.capacity, field.capacity + 1, 0xFF, 0xFFFF});
}

/** Array sizes worth a look: none, few, and both sides of the limits of every array. */
std::set<std::uint64_t> counts(const Record& table) {
    std::set<std::uint64_t> all = {0, 1, 2};
    for (const Place& place : places(table)) addEdges(*place.field, all);
    for (const Field& field : table.fields) addEdges(field, all);
    return all;
}

/** Buffer sizes for a payload: every one up to its end and beyond; of long ones not every one in the middle.
 */
std::vector<std::uint32_t> bounds(std::uint64_t payload) {
    constexpr std::uint32_t FULL = 300;
    const auto last = static_cast<std::uint32_t>(std::min<std::uint64_t>(payload + 1, 20000));
    const std::uint32_t step = last / 150 + 1;
    std::vector<std::uint32_t> all;
    for (std::uint32_t bound = 0; bound <= last;
         bound += bound < FULL || bound + FULL / 3 > last ? 1 : step) {
        all.push_back(bound);
    }
    return all;
}

}  // namespace

TEST_P(Records, PackAsTheOracleInEveryBufferSizeForEveryCount) {
    for (const Record* table : sut.records) {
        for (const std::uint64_t count : counts(*table)) {
            RecordMemory record = validRecord(*table, count);
            setCounts(*table, record.get(), count);
            for (const std::uint32_t bound : bounds(packedSize(*table, record.get())))
                ASSERT_TRUE(packsAlike(*table, record, bound)) << count;
        }
    }
}

TEST_P(Records, UnpackAsTheOracleFromEveryPrefixForEveryCount) {
    for (const Record* table : sut.records) {
        for (const std::uint64_t count : counts(*table)) {
            RecordMemory record = validRecord(*table, count);
            setCounts(*table, record.get(), count);
            const std::vector<unsigned char> payload = rawPayload(*table, record.get());
            for (const std::uint32_t bound : bounds(payload.size()))
                ASSERT_TRUE(unpacksAlike(*table, payload, bound)) << count;
        }
    }
}

TEST_P(Records, TakeAndRefuseTheSameValuesOfEachEnumeration) {
    for (const Record* table : sut.records) {
        const RecordMemory valid = validRecord(*table, 2);
        for (const Place& place : places(*table)) {
            if (place.field->kind != Field::Kind::ENUM) continue;
            for (const std::uint64_t value : edges(*place.field->enumeration)) {
                RecordMemory record = valid;
                store(*place.field, recordOf(place, record), value, place.field->capacity > 1 ? 1 : 0);
                const std::vector<unsigned char> payload = rawPayload(*table, record.get());
                ASSERT_TRUE(packsAlike(*table, record, sizeOf(payload))) << place.field->name << " " << value;
                ASSERT_TRUE(unpacksAlike(*table, payload, sizeOf(payload)))
                    << place.field->name << " " << value;
            }
        }
    }
}

TEST_P(Records, TakeEveryByteAsABool) {
    for (const Record* table : sut.records) {
        const RecordMemory valid = validRecord(*table, 1);
        for (const Place& place : places(*table)) {
            if (place.field->kind != Field::Kind::BOOL) continue;
            for (std::uint64_t value = 0; value < 256; ++value) {
                RecordMemory record = valid;
                store(*place.field, recordOf(place, record), value);
                const std::vector<unsigned char> payload = rawPayload(*table, record.get());
                ASSERT_TRUE(packsAlike(*table, record, sizeOf(payload))) << place.field->name << " " << value;
                ASSERT_TRUE(unpacksAlike(*table, payload, sizeOf(payload)))
                    << place.field->name << " " << value;
            }
        }
    }
}

TEST_P(Records, NameTheFirstNullArgument) {
    for (const Record* table : sut.records) {
        const RecordMemory source = validRecord(*table, 1);
        RecordMemory destination(*table);
        // A missing argument is told before a missing byte: the last bit is whether there is room.
        for (unsigned present = 0; present < 32; ++present) {
            const sQlet1Mod4MessageHdr header{0, 0, (present & 16) != 0 ? 0x10000u : 0u};
            std::vector<unsigned char> buffer(0x10000);
            unsigned cursor = 0;
            const auto* const aHeader = (present & 1) != 0 ? &header : nullptr;
            auto* const aBuffer = (present & 2) != 0 ? buffer.data() : nullptr;
            auto* const aCursor = (present & 4) != 0 ? &cursor : nullptr;
            const void* const aSource = (present & 8) != 0 ? source.get() : nullptr;
            void* const aDestination = (present & 8) != 0 ? destination.get() : nullptr;
            EXPECT_EQ(table->pack(aHeader, aBuffer, aCursor, aSource),
                      pack(*table, aHeader, aBuffer, aCursor, aSource).code)
                << table->name << " " << present;
            cursor = 0;
            const int expected = unpack(*table, aHeader, aBuffer, aCursor, aDestination).code;
            cursor = 0;
            EXPECT_EQ(table->unpack(aHeader, aBuffer, aCursor, aDestination), expected)
                << table->name << " " << present;
        }
    }
}

TEST_P(Records, HaveTheSizeThatPackingWrites) {
    for (const Record* table : sut.records) {
        for (const std::uint64_t count : counts(*table)) {
            RecordMemory record = validRecord(*table, count);
            EXPECT_EQ(table->packedSize(nullptr, record.get()), packedSize(*table, record.get()))
                << table->name << " " << count;
            // A bad count is measured and not refused, and nothing is read beyond the array.
            setCounts(*table, record.get(), count);
            EXPECT_EQ(table->packedSize(nullptr, record.get()), packedSize(*table, record.get()))
                << table->name << " " << count;
        }
        if (table->smallestPayload == table->largestPayload) {
            EXPECT_EQ(table->packedSize(nullptr, nullptr), table->smallestPayload) << table->name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, Records, testing::ValuesIn(allFamilies()),
                         [](const auto& info) { return std::string(info.param->name); });

TEST_P(Messages, PackAndUnpackAsTheirRecordsDo) {
    for (const Message& message : sut.messages) {
        const Record& table = *message.record;
        for (const std::uint64_t count : counts(table)) {
            RecordMemory record = validRecord(table, count);
            setCounts(table, record.get(), count);
            const std::vector<unsigned char> payload = rawPayload(table, record.get());
            const std::uint32_t size = sizeOf(payload);
            EXPECT_EQ(message.packedSize(nullptr, record.get()), size) << message.name;
            for (const std::uint32_t bound : {0u, 1u, size / 2, size - 1, size, size + 1}) {
                ASSERT_TRUE(packsAlike(message, record, bound)) << count;
                ASSERT_TRUE(unpacksAlike(message, payload, bound)) << count;
            }
        }
    }
}

TEST_P(Messages, CatchANullHeaderOrBufferBeforeTheyTouchTheHeader) {
    for (const Message& message : sut.messages) {
        const RecordMemory record = validRecord(*message.record, 0);
        sQlet1Mod4MessageHdr header{1, 2, 3};
        unsigned char byte = 0;
        EXPECT_EQ(message.pack(nullptr, &byte, 1, record.get()), ePackNoHeader) << message.name;
        EXPECT_EQ(message.pack(nullptr, nullptr, 1, record.get()), ePackNoHeader) << message.name;
        EXPECT_EQ(message.pack(&header, nullptr, 1, record.get()), ePackNoBuffer) << message.name;
        EXPECT_EQ(header.messageId, 2) << message.name;
        EXPECT_EQ(header.length, 3u) << message.name;
    }
}

TEST_P(Messages, KeepTheIdAndNoLengthWithoutARecord) {
    for (const Message& message : sut.messages) {
        sQlet1Mod4MessageHdr header{1, 2, 3};
        unsigned char byte = 0;
        EXPECT_EQ(message.pack(&header, &byte, 1, nullptr), ePackNoRecord) << message.name;
        EXPECT_EQ(header.messageId, message.id) << message.name;
        EXPECT_EQ(header.length, 0u) << message.name;
        EXPECT_EQ(header.reserved, 1) << message.name;
    }
}

TEST_P(Messages, CatchAWrongIdBeforeTheyReadAByte) {
    for (const Message& message : sut.messages) {
        const RecordMemory untouched(*message.record);
        RecordMemory record = untouched;
        const sQlet1Mod4MessageHdr header{1, static_cast<std::uint16_t>(message.id + 1), 0};
        EXPECT_EQ(message.unpack(&header, nullptr, record.get()), eUnpackWrongMessageId) << message.name;
        EXPECT_EQ(message.unpack(nullptr, nullptr, record.get()), eUnpackNoHeader) << message.name;
        EXPECT_TRUE(record == untouched) << message.name;
    }
}

TEST_P(Messages, NameTheFirstNullArgumentOfUnpacking) {
    for (const Message& message : sut.messages) {
        const sQlet1Mod4MessageHdr header{1, message.id, 0};
        const unsigned char byte = 0;
        EXPECT_EQ(message.unpack(&header, nullptr, nullptr), eUnpackNoBuffer) << message.name;
        EXPECT_EQ(message.unpack(&header, &byte, nullptr), eUnpackNoRecord) << message.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, Messages, testing::ValuesIn(allFamilies()),
                         [](const auto& info) { return std::string(info.param->name); });

namespace {

std::string textIn(std::size_t size, const Record& table, const RecordMemory& record) {
    constexpr char UNTOUCHED = 0x5A;
    std::vector<char> buffer(size + 64, UNTOUCHED);
    table.toString(record.get(), buffer.data() + 32, size);
    for (std::size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(buffer[i], UNTOUCHED) << table.name;
        EXPECT_EQ(buffer[buffer.size() - 1 - i], UNTOUCHED) << table.name;
    }
    if (size == 0) return {};
    const std::size_t length = strnlen(buffer.data() + 32, size);
    EXPECT_LT(length, size) << table.name << " not terminated";
    return {buffer.data() + 32, length};
}

std::vector<const Record*> recordsWithText(const Family& family) {
    std::vector<const Record*> all(family.records.begin(), family.records.end());
    std::erase_if(all, [](const Record* each) { return each->toString == nullptr; });
    return all;
}

std::vector<const Family*> familiesWithText() {
    std::vector<const Family*> all = allFamilies();
    std::erase_if(all, [](const Family* each) { return recordsWithText(*each).empty(); });
    return all;
}

}  // namespace

TEST_P(Texts, AreTheOraclesForEveryCount) {
    constexpr std::size_t ROOM = 65536;
    for (const Record* table : recordsWithText(sut)) {
        for (const std::uint64_t count : {0u, 1u, 2u, 3u, 16u, 20u, 21u, 254u, 255u, 4083u, 4084u, 65535u}) {
            RecordMemory record = validRecord(*table, count);
            EXPECT_EQ(textIn(ROOM, *table, record), text(*table, record.get()))
                << table->name << " " << count;
            // A bad count, as a failed unpacking leaves it, shows in the bracket and reads nothing beyond.
            setCounts(*table, record.get(), count);
            EXPECT_EQ(textIn(ROOM, *table, record), text(*table, record.get()))
                << table->name << " " << count;
        }
    }
}

TEST_P(Texts, StayInBuffersOfEverySize) {
    for (const Record* table : recordsWithText(sut)) {
        const RecordMemory record = validRecord(*table, 20);
        const std::string whole = text(*table, record.get());
        const std::vector<Place> all = places(*table);
        // Integers in an array are charged otherwise than they are long, so that not every cut is a prefix.
        const bool cutsAreLengths = std::ranges::none_of(
            all, [](const Place& place) { return place.field->isArray && place.field->wireBits > 8; });
        for (const std::uint32_t size : bounds(whole.size() + 200)) {
            const std::string cut = textIn(size, *table, record);
            if (cutsAreLengths) {
                ASSERT_EQ(cut, whole.substr(0, size == 0 ? 0 : size - 1)) << table->name << " " << size;
            }
        }
    }
}

TEST_P(Texts, AreNothingWithoutABufferAndEmptyWithoutARecord) {
    for (const Record* table : recordsWithText(sut)) {
        const RecordMemory record = validRecord(*table, 1);
        table->toString(record.get(), nullptr, 100);
        char text[2] = {'x', 'y'};
        table->toString(record.get(), text, 0);
        EXPECT_EQ(text[0], 'x') << table->name;
        table->toString(record.get(), text, 1);
        EXPECT_EQ(text[0], '\0') << table->name;
        EXPECT_EQ(text[1], 'y') << table->name;
        text[0] = 'x';
        table->toString(nullptr, text, 1);
        EXPECT_EQ(text[0], '\0') << table->name;
    }
}

TEST_P(Texts, OfMessagesAreTheirRecords) {
    for (const Message& message : sut.messages) {
        ASSERT_EQ(message.toString == nullptr, message.record->toString == nullptr) << message.name;
        if (message.toString == nullptr) continue;
        const RecordMemory record = validRecord(*message.record, 2);
        std::vector<char> text(65536);
        message.toString(record.get(), text.data(), text.size());
        EXPECT_EQ(text.data(), textIn(text.size(), *message.record, record)) << message.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, Texts, testing::ValuesIn(familiesWithText()),
                         [](const auto& info) { return std::string(info.param->name); });

}  // namespace oracle
