#pragma once

#include <atomic>
#include <cstdint>

#include <ara/log/Logger.h>

namespace eb::com::runtime {

/// What lives in the runtimes of this process right now. Tests assert that it returns to zero.
struct Counters {
    std::atomic<std::int64_t> sessions{0};       ///< calls taken by a server and not forgotten
    std::atomic<std::int64_t> calls{0};          ///< calls made by a client and not ended
    std::atomic<std::int64_t> connections{0};    ///< accepted by a server
    std::atomic<std::int64_t> links{0};          ///< a client's, connected or connecting
    std::atomic<std::int64_t> subscriptions{0};  ///< sinks of a client's events
    std::atomic<std::int64_t> subscribers{0};    ///< other processes at eventgroups of a server
    std::atomic<std::int64_t> reassemblies{0};   ///< messages of which some segments are still to come

    // Ever:
    std::atomic<std::int64_t> dropped{0};        ///< connections that a server ended itself
    std::atomic<std::int64_t> missedSamples{0};  ///< that a sink or the network was too slow for
    std::atomic<std::int64_t> lostSegmented{
        0};  ///< messages in segments, and single segments, that were dropped
};

ARA_API Counters& counters() noexcept;

/// Counts itself as long as it lives.
class Counted {
public:
    explicit Counted(std::atomic<std::int64_t>& counter) noexcept : m_counter(counter) { ++m_counter; }
    ~Counted() { --m_counter; }
    Counted(Counted const&) = delete;
    Counted& operator=(Counted const&) = delete;

private:
    std::atomic<std::int64_t>& m_counter;
};

}  // namespace eb::com::runtime
