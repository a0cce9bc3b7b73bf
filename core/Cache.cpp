#include "core/Cache.h"

#include <cstring>

#include "core/Trace.h"

namespace zvg::val {

Cache::Cache() : m_name("Cache::") {}

void Cache::init() {
    std::lock_guard const lock(m_mutex);
    m_entries.clear();
    m_totalSize = 0;
    m_count = 0;
    out(level::INFO, TRACE_HERE, "Cache initialized");
}

bool Cache::isCached(unsigned short id, unsigned long length, unsigned char* data) {
    std::lock_guard const lock(m_mutex);
    auto const entry = m_entries.find(id);
    if (entry == m_entries.end() || entry->second.size() != length) return false;
    return length == 0 || std::memcmp(entry->second.data(), data, length) == 0;
}

void Cache::addToCache(unsigned short id, unsigned long length, unsigned char* data) {
    std::lock_guard const lock(m_mutex);
    std::vector<unsigned char> payload(data, data + length);
    // Nothing below fails but the insertion, and that leaves everything as it was.
    auto const [entry, added] = m_entries.try_emplace(id);
    if (added) ++m_count;
    m_totalSize -= static_cast<std::uint32_t>(entry->second.size());
    entry->second.swap(payload);
    m_totalSize += static_cast<std::uint32_t>(length);
}

std::uint32_t Cache::totalSize() {
    std::lock_guard const lock(m_mutex);
    return m_totalSize;
}

std::uint32_t Cache::count() {
    std::lock_guard const lock(m_mutex);
    return m_count;
}

template <class... Args>
void Cache::out(int level, Args... args) {
    Trace::out(level, m_name.c_str(), args...);
}

}  // namespace zvg::val
