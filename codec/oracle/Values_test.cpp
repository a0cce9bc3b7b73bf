// One thing at a time in records that are good otherwise: a count, a value, a payload that is a wrapper's.

#include "codec/oracle/Compare.h"
#include "codec/oracle/RangeErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

namespace oracle {

class Values : public testing::TestWithParam<const Family*> {
protected:
    Values() { takeRangeErrors(); }
    ~Values() override { takeRangeErrors(); }

    const Family& sut = *GetParam();
};

TEST_P(Values, EachArraysCountIsJudgedByItself) {
    for (const Record* table : sut.records) {
        for (const Field& array : table->fields) {
            const Field* const counting = countOf(*table, array);
            if (counting == nullptr) continue;
            for (const std::uint64_t count :
                 std::set<std::uint64_t>{0, 1, array.capacity - 1, array.capacity, array.capacity + 1}) {
                RecordMemory record = validRecord(*table, array.capacity);
                setCounts(*table, record.get(), 1);
                store(*counting, record.get(), count);
                const bool isHeld = onWire(*counting, count) == count;  // 256 isn't a byte
                const std::vector<unsigned char> payload = rawPayload(*table, record.get());
                SCOPED_TRACE(std::string(table->name) + "." + std::string(array.name));
                ASSERT_TRUE(packsAlike(*table, record, sizeOf(payload))) << count;
                ASSERT_TRUE(unpacksAlike(*table, payload, sizeOf(payload))) << count;
                if (!isHeld) continue;

                const sQlet1Mod4MessageHdr header{0, 0, sizeOf(payload)};
                unsigned cursor = 0;
                std::vector<unsigned char> buffer(payload.size());
                EXPECT_EQ(table->pack(&header, buffer.data(), &cursor, record.get()),
                          count <= array.capacity ? ePackOk : ePackArrayTooLong)
                    << count;
                cursor = 0;
                EXPECT_EQ(table->unpack(&header, payload.data(), &cursor, record.get()),
                          count <= array.capacity ? eUnpackOk : eUnpackArrayTooLong)
                    << count;
                EXPECT_EQ(load(*counting, record.get()), count);
            }
        }
    }
}

TEST_P(Values, EveryEnumerationTakesItsSetAndLogsTheRest) {
    for (const Enumeration* set : sut.enumerations) {
        std::vector<std::uint64_t> values = edges(*set);
        for (std::uint64_t value = 0; set->wireBits <= 16 && value < std::uint64_t{1} << set->wireBits;
             ++value)
            values.push_back(value);
        const std::uint32_t most = ~std::uint32_t{0} >> (32 - set->wireBits);
        for (const std::uint64_t any : values) {
            const std::uint32_t value = static_cast<std::uint32_t>(any) & most;
            const bool isHeld = holds(*set, value);
            ASSERT_EQ(set->hasValue(value), isHeld) << set->name << " " << value;
            const std::vector<RangeError> told = takeRangeErrors();
            ASSERT_EQ(told.size(), isHeld ? 0u : 1u) << set->name << " " << value;
            if (isHeld) continue;
            ASSERT_EQ(told[0], RangeError(set->name, value));
        }
    }
}

TEST_P(Values, APayloadsOwnFunctionsAddNothingToItsRecords) {
    for (const Message& message : sut.messages) {
        const Record& table = *message.record;
        Record own = table;
        own.pack = message.packPayload;
        own.unpack = message.unpackPayload;
        const RecordMemory record = validRecord(table, 2);
        const std::vector<unsigned char> payload = rawPayload(table, record.get());
        const std::uint32_t size = sizeOf(payload);
        EXPECT_EQ(message.packedSize(nullptr, record.get()), size) << message.name;
        for (const std::uint32_t bound : {0u, 1u, size / 2, size - 1, size, size + 1}) {
            ASSERT_TRUE(packsAlike(own, record, bound)) << message.payload;
            ASSERT_TRUE(unpacksAlike(own, payload, bound)) << message.payload;
        }
    }
}

TEST_P(Values, APayloadsOwnFunctionsNameTheFirstNullArgument) {
    for (const Message& message : sut.messages) {
        RecordMemory record = validRecord(*message.record, 1);
        std::vector<unsigned char> buffer = rawPayload(*message.record, record.get());
        const sQlet1Mod4MessageHdr header{0, message.id, sizeOf(buffer)};
        unsigned cursor = 0;
        EXPECT_EQ(message.packPayload(nullptr, nullptr, nullptr, nullptr), ePackNoHeader) << message.payload;
        EXPECT_EQ(message.packPayload(&header, nullptr, nullptr, nullptr), ePackNoBuffer) << message.payload;
        EXPECT_EQ(message.packPayload(&header, buffer.data(), nullptr, nullptr), ePackNoCursor)
            << message.payload;
        EXPECT_EQ(message.packPayload(&header, buffer.data(), &cursor, nullptr), ePackNoRecord)
            << message.payload;
        EXPECT_EQ(message.unpackPayload(nullptr, nullptr, nullptr, nullptr), eUnpackNoHeader)
            << message.payload;
        EXPECT_EQ(message.unpackPayload(&header, nullptr, nullptr, nullptr), eUnpackNoBuffer)
            << message.payload;
        EXPECT_EQ(message.unpackPayload(&header, buffer.data(), nullptr, nullptr), eUnpackNoCursor)
            << message.payload;
        EXPECT_EQ(message.unpackPayload(&header, buffer.data(), &cursor, nullptr), eUnpackNoRecord)
            << message.payload;
        EXPECT_EQ(cursor, 0u) << message.payload;
    }
}

TEST_P(Values, EveryMessagesCodesAreThoseOfItsEdges) {
    for (const Message& message : sut.messages) {
        const Record& table = *message.record;
        for (const std::uint64_t count : {std::uint64_t{0}, std::uint64_t{2}, std::uint64_t{0xFFFF}}) {
            // A payload that fits, and a byte less and more, given to both directions.
            RecordMemory record = validRecord(table, count);
            std::vector<unsigned char> buffer(message.packedSize(nullptr, record.get()) + 1);
            const std::uint32_t size = sizeOf(buffer) - 1;
            sQlet1Mod4MessageHdr header{0, 0, 0};
            EXPECT_EQ(message.pack(&header, buffer.data(), size - 1, record.get()), ePackBufferTooSmall)
                << message.name;
            EXPECT_EQ(header.messageId, message.id);
            EXPECT_EQ(header.length, 0u) << message.name;
            EXPECT_EQ(message.pack(&header, buffer.data(), size + 1, record.get()), ePackOk) << message.name;
            EXPECT_EQ(header.length, size) << message.name;

            RecordMemory filled(table);
            EXPECT_EQ(message.unpack(&header, buffer.data(), filled.get()), eUnpackOk) << message.name;
            RecordMemory overfilled(table);
            header.length = size + 1;
            EXPECT_EQ(message.unpack(&header, buffer.data(), overfilled.get()), eUnpackTrailingBytes)
                << message.name;
            EXPECT_TRUE(filled == overfilled) << message.name;
            header.length = size - 1;
            EXPECT_EQ(message.unpack(&header, buffer.data(), filled.get()), eUnpackTruncated) << message.name;
            EXPECT_FALSE(filled == RecordMemory(table)) << message.name << ": nothing was unpacked";

            // No other message's functions take it.
            header = {0, static_cast<std::uint16_t>(message.id ^ 1), size};
            RecordMemory untouched(table);
            EXPECT_EQ(message.unpack(&header, buffer.data(), untouched.get()), eUnpackWrongMessageId)
                << message.name;
            EXPECT_TRUE(untouched == RecordMemory(table)) << message.name;
        }
    }
}

TEST_P(Values, TextsEndInEveryBufferAndLeaveWhatFollowsAlone) {
    constexpr std::size_t ALL = 1000, EDGE = 150, STEP = 37, ROOM = 65536, ZONE = 32;
    constexpr char UNTOUCHED = 0x5A;
    std::vector<char> buffer(ROOM + ZONE);
    for (const Record* table : sut.records) {
        if (table->toString == nullptr) continue;
        const RecordMemory record = validRecord(*table, 3);
        const std::size_t full = text(*table, record.get()).size();
        ASSERT_LT(full + 2, ROOM) << table->name;
        for (std::size_t size = 0; size <= full + 1;
             size += full < ALL || size < EDGE || size + EDGE > full ? 1 : STEP) {
            std::fill_n(buffer.begin(), full + 2 + ZONE, UNTOUCHED);
            table->toString(record.get(), buffer.data(), size);
            for (std::size_t i = 0; i < ZONE; ++i)
                ASSERT_EQ(buffer[size + i], UNTOUCHED) << table->name << " " << size;
            if (size == 0) continue;
            const std::size_t length = strnlen(buffer.data(), size);
            ASSERT_LT(length, size) << table->name << " isn't terminated";
            ASSERT_EQ(length == full, size == full + 1) << table->name << " " << size;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, Values, testing::ValuesIn(allFamilies()),
                         [](const auto& info) { return std::string(info.param->name); });

}  // namespace oracle
