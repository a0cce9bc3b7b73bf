// Random records and payloads, shaped by the records' tables. The seed is printed with every failure.

#include "codec/oracle/Compare.h"
#include "codec/oracle/RangeErrors.h"

#include <gtest/gtest.h>

#include <random>

namespace oracle {

namespace {

using Random = std::mt19937_64;

std::uint64_t below(Random& random, std::uint64_t limit) {
    return random() % limit;
}

/** Mostly good values: a record of nonsense fails at its first field and shows nothing. */
std::uint64_t randomValue(const Field& field, Random& random) {
    if (field.kind != Field::Kind::ENUM || below(random, 30) == 0) return random();
    const auto& ranges = field.set->ranges;
    if (ranges.empty()) return random() & (field.set->any ? 0xFF : field.set->mask);
    const auto& [first, last] = ranges[below(random, ranges.size())];
    return first + below(random, last - first + 1);
}

void randomise(const Record& table, void* record, Random& random) {
    for (const Field& field : table.fields) {
        for (std::uint64_t i = 0; i < field.capacity; ++i) {
            if (field.kind == Field::Kind::RECORD) {
                randomise(*field.record,
                          static_cast<unsigned char*>(record) + field.offset + i * field.stride(), random);
            } else {
                store(field, record, randomValue(field, random), i);
            }
        }
    }
    for (const Field& field : table.fields) {
        if (field.count == nullptr) continue;
        const std::uint64_t few = below(random, 5);
        const std::uint64_t any = below(random, field.capacity + 2);
        store(table.field(field.count), record, below(random, 3) != 0 ? few : any);
    }
}

}  // namespace

class RandomRecord : public testing::TestWithParam<Subject> {};

TEST_P(RandomRecord, IsPackedAndUnpackedAsByTheOracle) {
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const Subject& sut = GetParam();
    takeRangeErrors();
    for (int round = 0; round < 300; ++round) {
        RecordMemory record(*sut.table);
        randomise(*sut.table, record.get(), random);
        std::vector<unsigned char> payload = rawPayload(*sut.table, record.get());
        const std::uint64_t size = payload.size();
        const auto bound = static_cast<std::uint32_t>(below(random, 3) == 0 ? below(random, size + 2) : size);
        ASSERT_TRUE(packsAlike(sut, record, bound)) << round;
        ASSERT_TRUE(unpacksAlike(sut, payload, bound)) << round;
        for (std::uint64_t changes = below(random, 4); changes > 0; --changes) {
            payload[below(random, std::min<std::uint64_t>(size, 64))] = static_cast<unsigned char>(random());
        }
        ASSERT_TRUE(unpacksAlike(sut, payload, bound)) << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, RandomRecord, testing::ValuesIn(subjects()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace oracle
