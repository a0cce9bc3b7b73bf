// Random records and payloads, shaped by the records' tables. The seed is printed with every failure.

#include "codec/oracle/Random.h"
#include "codec/oracle/Compare.h"
#include "codec/oracle/RangeErrors.h"

#include <gtest/gtest.h>

namespace oracle {

class RandomRecords : public testing::TestWithParam<const Family*> {};

TEST_P(RandomRecords, ArePackedAndUnpackedAsByTheOracle) {
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    takeRangeErrors();
    for (const Record* table : GetParam()->records) {
        for (int round = 0; round < 100; ++round) {
            RecordMemory record(*table);
            randomise(*table, record.get(), random, Flaws::RARE);
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

TEST_P(RandomRecords, SurviveTheWayThereAndBack) {
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    for (const Record* table : GetParam()->records) {
        for (int round = 0; round < 100; ++round) {
            RecordMemory record(*table);
            randomise(*table, record.get(), random, Flaws::NONE);
            std::vector<unsigned char> payload(table->packedSize(nullptr, record.get()));
            const sQlet1Mod4MessageHdr header{0, 0, static_cast<unsigned>(payload.size())};
            unsigned cursor = 0;
            ASSERT_EQ(table->pack(&header, payload.data(), &cursor, record.get()), ePackOk) << table->name;
            ASSERT_EQ(cursor, payload.size()) << table->name;

            RecordMemory other(*table);
            cursor = 0;
            ASSERT_EQ(table->unpack(&header, payload.data(), &cursor, other.get()), eUnpackOk) << table->name;
            std::vector<unsigned char> again(payload.size());
            cursor = 0;
            ASSERT_EQ(table->pack(&header, again.data(), &cursor, other.get()), ePackOk) << table->name;
            ASSERT_EQ(again, payload) << table->name;
        }
    }
}

TEST_P(RandomRecords, AreTruncatedWhereverTheyAreCut) {
    constexpr std::uint32_t EDGE = 64;
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    for (const Record* table : GetParam()->records) {
        RecordMemory record(*table);
        randomise(*table, record.get(), random, Flaws::NONE);
        const std::vector<unsigned char> payload = rawPayload(*table, record.get());
        const auto size = static_cast<std::uint32_t>(payload.size());
        for (std::uint32_t bound = 0; bound < size;) {
            const sQlet1Mod4MessageHdr header{0, 0, bound};
            unsigned cursor = 0;
            RecordMemory destination(*table);
            ASSERT_EQ(table->unpack(&header, payload.data(), &cursor, destination.get()), eUnpackTruncated)
                << table->name << " " << bound;
            ASSERT_TRUE(unpacksAlike(*table, payload, bound));
            bound += size < 600 || bound < EDGE || bound + EDGE >= size
                         ? 1
                         : static_cast<std::uint32_t>(
                               std::min<std::uint64_t>(size - EDGE - bound, 1 + below(random, 97)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codec, RandomRecords, testing::ValuesIn(allFamilies()),
                         [](const auto& info) { return std::string(info.param->name); });

}  // namespace oracle
