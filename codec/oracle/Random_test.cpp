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
    const Enumeration& set = *field.enumeration;
    if (set.kind == Enumeration::Kind::ANY) return random();
    if (set.kind == Enumeration::Kind::MASK) return random() & set.mask;
    const auto& [first, last] = set.ranges[below(random, set.ranges.size())];
    return static_cast<std::uint64_t>(first) + below(random, static_cast<std::uint64_t>(last - first) + 1);
}

void randomise(const Record& table, void* record, Random& random) {
    for (const Field& field : table.fields) {
        for (std::uint64_t i = 0; i < field.capacity; ++i) {
            if (field.kind == Field::Kind::RECORD) {
                randomise(*field.record,
                          static_cast<unsigned char*>(record) + field.memberOffset + i * field.elementBytes(),
                          random);
            } else {
                store(field, record, randomValue(field, random), i);
            }
        }
    }
    for (const Field& field : table.fields) {
        if (field.countField == Field::NO_COUNT) continue;
        const std::uint64_t few = below(random, 5);
        const std::uint64_t any = below(random, field.capacity + 2);
        store(table.fields[field.countField], record, below(random, 3) != 0 ? few : any);
    }
}

}  // namespace

class RandomRecords : public testing::TestWithParam<const Family*> {};

TEST_P(RandomRecords, ArePackedAndUnpackedAsByTheOracle) {
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    takeRangeErrors();
    for (const Record* table : GetParam()->records) {
        for (int round = 0; round < 100; ++round) {
            RecordMemory record(*table);
            randomise(*table, record.get(), random);
            std::vector<unsigned char> payload = rawPayload(*table, record.get());
            const std::uint64_t size = payload.size();
            const auto bound =
                static_cast<std::uint32_t>(below(random, 3) == 0 ? below(random, size + 2) : size);
            ASSERT_TRUE(packsAlike(*table, record, bound)) << round;
            ASSERT_TRUE(unpacksAlike(*table, payload, bound)) << round;
            for (std::uint64_t changes = below(random, 4); changes > 0; --changes) {
                payload[below(random, std::min<std::uint64_t>(size, 64))] =
                    static_cast<unsigned char>(random());
            }
            ASSERT_TRUE(unpacksAlike(*table, payload, bound)) << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, RandomRecords, testing::ValuesIn(allFamilies()),
                         [](const auto& info) { return std::string(info.param->name); });

}  // namespace oracle
