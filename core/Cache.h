#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace zvg::val {

/// The last payload that was delivered to Java for each message id, so that a sender can leave out a message
/// that would change nothing. Holds at most one entry an id and forgets none but by `init`.
///
/// One object exists, `Service::m_Cache`, made at library load. Any thread; senders hold the bridge's send
/// lock when they come here, and nothing but Trace's lock is taken below this one.
class Cache {
public:
    Cache();

    /// Forgets everything.
    void init();

    /// Whether the latest payload of `id` has exactly these bytes.
    bool isCached(unsigned short id, unsigned long length, unsigned char* data);

    /// Remembers the payload as the latest of `id`. If memory runs out, the entry stays as it was.
    void addToCache(unsigned short id, unsigned long length, unsigned char* data);

    /// Bytes and entries held at this moment.
    std::uint32_t totalSize();
    std::uint32_t count();

private:
    template <class... Args>
    void out(int level, Args... args);

    std::string m_name;
    std::map<unsigned short, std::vector<unsigned char>> m_entries;  // guarded by m_mutex
    std::uint32_t m_totalSize = 0;                                   // guarded by m_mutex
    std::uint32_t m_count = 0;                                       // guarded by m_mutex
    std::mutex m_mutex;
};

}  // namespace zvg::val
