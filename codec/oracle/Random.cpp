#include "codec/oracle/Random.h"

#include <algorithm>

namespace oracle {

namespace {

/** Mostly good values: a record of nonsense fails at its first field and shows nothing. */
std::uint64_t randomValue(const Field& field, Random& random, Flaws flaws) {
    const bool isFlawed = flaws == Flaws::RARE && below(random, 30) == 0;
    if (field.kind == Field::Kind::BOOL) return isFlawed ? random() : below(random, 2);
    if (field.kind != Field::Kind::ENUM || isFlawed) return random();
    const Enumeration& set = *field.enumeration;
    if (set.kind == Enumeration::Kind::ANY) return random();
    if (set.kind == Enumeration::Kind::MASK) return random() & set.mask;
    const auto& [first, last] = set.ranges[below(random, set.ranges.size())];
    return static_cast<std::uint64_t>(first) + below(random, static_cast<std::uint64_t>(last - first) + 1);
}

std::uint64_t randomCount(const Field& array, Random& random, Flaws flaws) {
    const std::uint64_t few = below(random, std::min<std::uint64_t>(5, array.capacity + 1));
    const std::uint64_t any = below(random, array.capacity + 1);
    const std::uint64_t edge = array.capacity + (flaws == Flaws::RARE ? below(random, 2) : 0);
    const std::uint64_t choice = below(random, 6);
    return choice == 0 ? any : choice == 1 ? edge : few;
}

void randomiseElements(const Field& field, std::uint64_t count, void* record, Random& random, Flaws flaws) {
    auto* const member = static_cast<unsigned char*>(record) + field.memberOffset;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (field.kind == Field::Kind::RECORD) {
            randomise(*field.record, member + i * field.elementBytes(), random, flaws);
        } else {
            store(field, record, randomValue(field, random, flaws), i);
        }
    }
}

}  // namespace

std::uint64_t below(Random& random, std::uint64_t limit) {
    return random() % limit;
}

void randomise(const Record& table, void* record, Random& random, Flaws flaws) {
    // Counts are fields as well: arrays come after all of them.
    for (const Field& field : table.fields) {
        if (field.countField == Field::NO_COUNT)
            randomiseElements(field, field.capacity, record, random, flaws);
    }
    for (const Field& field : table.fields) {
        const Field* const counting = countOf(table, field);
        if (counting == nullptr) continue;
        const std::uint64_t count = randomCount(field, random, flaws);
        store(*counting, record, count);
        randomiseElements(field, std::min<std::uint64_t>(count, field.capacity), record, random, flaws);
    }
}

}  // namespace oracle
