#include "client/AdaptionHashStore.h"

#include <algorithm>

namespace zvg::val::diag_ara::services {

bool AdaptionHashStore::hasAdaptionId(unsigned int adaptionId) const {
    std::lock_guard const lock(m_mutex);
    return find(adaptionId) != nullptr;
}

void AdaptionHashStore::removeAdaptionId(unsigned int adaptionId) {
    std::lock_guard const lock(m_mutex);
    std::erase_if(m_hashes, [adaptionId](Entry const& entry) { return entry.adaptionId == adaptionId; });
}

std::uint64_t AdaptionHashStore::createHash(std::vector<unsigned char> const& value) {
    std::uint64_t hash = 0;
    // By 31, though the word has 64 bits: no rotation, and what the stored hashes have been made with.
    for (unsigned char const byte : value) hash = byte ^ (hash >> 31U) ^ (hash << 1U);
    return hash;
}

bool AdaptionHashStore::hasAdaptionIdWithSameHash(unsigned int adaptionId,
                                                  std::vector<unsigned char> const& value) const {
    std::uint64_t const hash = createHash(value);
    std::lock_guard const lock(m_mutex);
    Entry const* const entry = find(adaptionId);
    return entry != nullptr && entry->hash == hash;
}

void AdaptionHashStore::updateAdaptionId(unsigned int adaptionId, std::vector<unsigned char> const& value) {
    std::uint64_t const hash = createHash(value);
    std::lock_guard const lock(m_mutex);
    for (Entry& entry : m_hashes) {
        if (entry.adaptionId == adaptionId) entry.hash = hash;
    }
}

void AdaptionHashStore::addAdaptionId(unsigned int adaptionId, std::vector<unsigned char> const& value) {
    std::uint64_t const hash = createHash(value);
    std::lock_guard const lock(m_mutex);
    m_hashes.push_back({adaptionId, hash});
}

void AdaptionHashStore::addOrUpdateAdaptionIdIfNeeded(unsigned int adaptionId,
                                                      std::vector<unsigned char> const& value) {
    std::uint64_t const hash = createHash(value);
    std::lock_guard const lock(m_mutex);
    if (Entry const* const entry = find(adaptionId)) {
        m_hashes[static_cast<std::size_t>(entry - m_hashes.data())].hash = hash;
    } else {
        m_hashes.push_back({adaptionId, hash});
    }
}

AdaptionHashStore::Entry const* AdaptionHashStore::find(unsigned int adaptionId) const {
    auto const entry = std::find_if(m_hashes.begin(), m_hashes.end(), [adaptionId](Entry const& candidate) {
        return candidate.adaptionId == adaptionId;
    });
    return entry == m_hashes.end() ? nullptr : &*entry;
}

}  // namespace zvg::val::diag_ara::services
