// The generated codec against the oracle, at every boundary of every record.

#include "codec/oracle/Compare.h"
#include "codec/oracle/RangeErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

namespace oracle {

class EveryRecord : public testing::TestWithParam<Subject> {
protected:
    const Subject& sut = GetParam();
    const Record& table = *GetParam().table;

    /** Array sizes worth a look: none, few, and both sides of the limits of every array. */
    std::set<std::uint64_t> counts() const {
        std::set<std::uint64_t> all = {0, 1, 2};
        for (const Place& place : places(table)) addEdges(*place.field, all);
        for (const Field& field : table.fields) addEdges(field, all);
        return all;
    }

private:
    static void addEdges(const Field& field, std::set<std::uint64_t>& all) {
        if (field.count == nullptr) return;
        all.insert({field.capacity - 1, field.capacity, field.capacity + 1, 0xFF, 0xFFFF});
    }
};

TEST_P(EveryRecord, PacksAsTheOracleInEveryBufferSizeForEveryCount) {
    for (const std::uint64_t count : counts()) {
        RecordMemory record = validRecord(table, count);
        setCounts(table, record.get(), count);
        takeRangeErrors();
        const auto size = static_cast<std::uint32_t>(packedSize(table, record.get()));
        const std::uint32_t most = size > 70000 ? 5000 : size + 1;
        for (std::uint32_t bound = 0; bound <= most; ++bound)
            ASSERT_TRUE(packsAlike(sut, record, bound)) << count;
    }
}

TEST_P(EveryRecord, UnpacksAsTheOracleFromEveryPrefixForEveryCount) {
    for (const std::uint64_t count : counts()) {
        RecordMemory record = validRecord(table, count);
        setCounts(table, record.get(), count);
        const std::vector<unsigned char> payload = rawPayload(table, record.get());
        const auto size = static_cast<std::uint32_t>(payload.size());
        const std::uint32_t most = size > 70000 ? 5000 : size + 1;
        for (std::uint32_t bound = 0; bound <= most; ++bound)
            ASSERT_TRUE(unpacksAlike(sut, payload, bound)) << count;
    }
}

class RecordWithEnumerations : public EveryRecord {};
class RecordWithBools : public EveryRecord {};

TEST_P(RecordWithEnumerations, TakesAndRefusesTheSameValuesOfEach) {
    const RecordMemory valid = validRecord(table, 2);
    for (const Place& place : places(table)) {
        if (place.field->kind != Field::Kind::ENUM) continue;
        for (const std::uint64_t value : place.field->set->edges()) {
            const std::uint64_t index = place.field->isArray ? 1 : 0;
            RecordMemory record = valid;
            store(*place.field, recordOf(place, record), value, index);
            const std::vector<unsigned char> payload = rawPayload(table, record.get());
            const auto size = static_cast<std::uint32_t>(payload.size());
            ASSERT_TRUE(packsAlike(sut, record, size)) << place.field->name << " " << value;
            ASSERT_TRUE(unpacksAlike(sut, payload, size)) << place.field->name << " " << value;
        }
    }
}

TEST_P(RecordWithBools, TakesEveryByte) {
    const RecordMemory valid = validRecord(table, 1);
    for (const Place& place : places(table)) {
        if (place.field->kind != Field::Kind::BOOL) continue;
        for (std::uint64_t value = 0; value < 256; ++value) {
            RecordMemory record = valid;
            store(*place.field, recordOf(place, record), value);
            const std::vector<unsigned char> payload = rawPayload(table, record.get());
            ASSERT_TRUE(packsAlike(sut, record, static_cast<std::uint32_t>(payload.size()))) << value;
            ASSERT_TRUE(unpacksAlike(sut, payload, static_cast<std::uint32_t>(payload.size()))) << value;
        }
    }
}

TEST_P(EveryRecord, NamesTheFirstNullArgument) {
    const RecordMemory source = validRecord(table, 1);
    RecordMemory destination(table);
    for (unsigned present = 0; present < 16; ++present) {
        sQlet1Mod4MessageHdr header{0, 0, 0x10000};
        std::vector<unsigned char> buffer(0x10000);
        unsigned cursor = 0;
        auto* const aHeader = (present & 1) != 0 ? &header : nullptr;
        auto* const aBuffer = (present & 2) != 0 ? buffer.data() : nullptr;
        auto* const aCursor = (present & 4) != 0 ? &cursor : nullptr;
        const void* const aSource = (present & 8) != 0 ? source.get() : nullptr;
        void* const aDestination = (present & 8) != 0 ? destination.get() : nullptr;
        EXPECT_EQ(sut.pack(aHeader, aBuffer, aCursor, aSource),
                  pack(table, aHeader, aBuffer, aCursor, aSource).code)
            << present;
        cursor = 0;
        const int expected = unpack(table, aHeader, aBuffer, aCursor, aDestination).code;
        cursor = 0;
        EXPECT_EQ(sut.unpack(aHeader, aBuffer, aCursor, aDestination), expected) << present;
    }
    takeRangeErrors();
}

TEST_P(EveryRecord, HasTheSizeThatPackingWrites) {
    for (const std::uint64_t count : counts()) {
        RecordMemory record = validRecord(table, count);
        EXPECT_EQ(sut.packedSize(record.get()), packedSize(table, record.get())) << count;
        // A bad count is measured and not refused, and nothing is read beyond the array.
        setCounts(table, record.get(), count);
        EXPECT_EQ(sut.packedSize(record.get()), packedSize(table, record.get())) << count;
    }
}

TEST_P(EveryRecord, StaysBelow64KiBInMemory) {
    EXPECT_LT(table.bytes, 65536u);
}

template <class Predicate>
std::vector<Subject> subjectsThat(Predicate predicate) {
    std::vector<Subject> all = subjects();
    std::erase_if(all, [&](const Subject& each) { return !predicate(each); });
    return all;
}

bool hasKind(const Subject& subject, Field::Kind kind) {
    const std::vector<Place> all = places(*subject.table);
    return std::any_of(all.begin(), all.end(), [&](const Place& place) { return place.field->kind == kind; });
}

std::string nameOf(const testing::TestParamInfo<Subject>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Codec, EveryRecord, testing::ValuesIn(subjects()), nameOf);
INSTANTIATE_TEST_SUITE_P(Codec, RecordWithEnumerations,
                         testing::ValuesIn(subjectsThat([](const Subject& each) {
                             return hasKind(each, Field::Kind::ENUM);
                         })),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Codec, RecordWithBools, testing::ValuesIn(subjectsThat([](const Subject& each) {
                             return hasKind(each, Field::Kind::BOOL);
                         })),
                         nameOf);

class EveryMessage : public testing::TestWithParam<Subject> {
protected:
    const Subject& sut = GetParam();
};

TEST_P(EveryMessage, CatchesANullHeaderOrBufferBeforeItTouchesTheHeader) {
    const RecordMemory record = validRecord(*sut.table, 0);
    sQlet1Mod4MessageHdr header{1, 2, 3};
    unsigned char byte = 0;
    EXPECT_EQ(sut.packMessage(nullptr, &byte, 1, record.get()), ePackNoHeader);
    EXPECT_EQ(sut.packMessage(nullptr, nullptr, 1, record.get()), ePackNoHeader);
    EXPECT_EQ(sut.packMessage(&header, nullptr, 1, record.get()), ePackNoBuffer);
    EXPECT_EQ(header.messageId, 2);
    EXPECT_EQ(header.length, 3u);
}

TEST_P(EveryMessage, KeepsTheIdAndNoLengthWithoutARecord) {
    sQlet1Mod4MessageHdr header{1, 2, 3};
    unsigned char byte = 0;
    EXPECT_EQ(sut.packMessage(&header, &byte, 1, nullptr), ePackNoRecord);
    EXPECT_EQ(header.messageId, sut.id);
    EXPECT_EQ(header.length, 0u);
    EXPECT_EQ(header.reserved, 1);
}

TEST_P(EveryMessage, CatchesAWrongIdBeforeItReadsAByte) {
    const RecordMemory untouched(*sut.table);
    RecordMemory record = untouched;
    sQlet1Mod4MessageHdr header{1, static_cast<std::uint16_t>(sut.id + 1), 0};
    EXPECT_EQ(sut.unpackMessage(&header, nullptr, record.get()), eUnpackWrongMessageId);
    EXPECT_EQ(sut.unpackMessage(nullptr, nullptr, record.get()), eUnpackNoHeader);
    EXPECT_TRUE(record == untouched);
}

TEST_P(EveryMessage, NamesTheFirstNullArgumentOfUnpacking) {
    sQlet1Mod4MessageHdr header{1, sut.id, 0};
    const unsigned char byte = 0;
    EXPECT_EQ(sut.unpackMessage(&header, nullptr, nullptr), eUnpackNoBuffer);
    EXPECT_EQ(sut.unpackMessage(&header, &byte, nullptr), eUnpackNoRecord);
}

INSTANTIATE_TEST_SUITE_P(Codec, EveryMessage, testing::ValuesIn(subjectsThat([](const Subject& each) {
                             return each.message != nullptr;
                         })),
                         nameOf);

class EveryText : public testing::TestWithParam<Subject> {
protected:
    const Subject& sut = GetParam();
    const Record& table = *GetParam().table;

    std::string textIn(std::size_t size, const RecordMemory& record) {
        constexpr char UNTOUCHED = 0x5A;
        std::vector<char> buffer(size + 64, UNTOUCHED);
        sut.toString(record.get(), buffer.data() + 32, size);
        for (std::size_t i = 0; i < 32; ++i) {
            EXPECT_EQ(buffer[i], UNTOUCHED);
            EXPECT_EQ(buffer[buffer.size() - 1 - i], UNTOUCHED);
        }
        if (size == 0) return {};
        const std::size_t length = strnlen(buffer.data() + 32, size);
        EXPECT_LT(length, size) << "not terminated";
        return {buffer.data() + 32, length};
    }
};

TEST_P(EveryText, IsTheOraclesTextForEveryCount) {
    for (const std::uint64_t count : {0u, 1u, 2u, 3u, 16u, 20u, 21u, 254u, 255u, 4083u, 4084u, 65535u}) {
        RecordMemory record = validRecord(table, count);
        EXPECT_EQ(textIn(65536, record), text(table, record.get())) << count;
        // A bad count, as a failed unpacking leaves it, shows in the bracket and reads nothing beyond.
        setCounts(table, record.get(), count);
        EXPECT_EQ(textIn(65536, record), text(table, record.get())) << count;
    }
}

TEST_P(EveryText, StaysInBuffersOfEverySize) {
    const RecordMemory record = validRecord(table, 20);
    const std::string whole = text(table, record.get());
    const std::vector<Place> all = places(table);
    // Integers in an array are charged otherwise than they are long, so that not every cut is a prefix.
    const bool cutsAreLengths = std::none_of(all.begin(), all.end(), [](const Place& place) {
        return place.field->isArray && place.field->wireBytes > 1;
    });
    for (std::size_t size = 0; size <= whole.size() + 200; ++size) {
        const std::string cut = textIn(size, record);
        if (cutsAreLengths) {
            EXPECT_EQ(cut, whole.substr(0, size == 0 ? 0 : size - 1)) << size;
        }
    }
}

TEST_P(EveryText, WritesNothingWithoutABufferAndAnEmptyStringWithoutARecord) {
    const RecordMemory record = validRecord(table, 1);
    sut.toString(record.get(), nullptr, 100);
    char text[2] = {'x', 'y'};
    sut.toString(record.get(), text, 0);
    EXPECT_EQ(text[0], 'x');
    sut.toString(record.get(), text, 1);
    EXPECT_EQ(text[0], '\0');
    EXPECT_EQ(text[1], 'y');
    text[0] = 'x';
    sut.toString(nullptr, text, 1);
    EXPECT_EQ(text[0], '\0');
}

INSTANTIATE_TEST_SUITE_P(Codec, EveryText, testing::ValuesIn(subjectsThat([](const Subject& each) {
                             return each.toString != nullptr;
                         })),
                         nameOf);

}  // namespace oracle
