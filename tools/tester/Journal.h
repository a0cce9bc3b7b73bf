#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <stop_token>
#include <utility>

namespace tester {

/// Passes things that happen on any thread to the one that prints them, with the time at which they
/// happened. Bounded: what finds it full is dropped and counted, since those threads must not wait.
template <class Thing>
class Journal {
public:
    struct Entry {
        std::chrono::system_clock::time_point time;
        Thing thing;
    };

    void add(Thing thing) {
        std::lock_guard const lock(m_mutex);
        if (m_entries.size() < LIMIT)
            m_entries.push_back({std::chrono::system_clock::now(), std::move(thing)});
        else
            ++m_dropped;
        m_changed.notify_all();
    }

    /// All that has come; waits for the first of them, at most `limit`, and not after a request for stop.
    std::deque<Entry> take(std::chrono::milliseconds limit, std::stop_token const& stop) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, stop, limit, [this] { return !m_entries.empty(); });
        return std::exchange(m_entries, {});
    }

    /// How many were dropped since the last time.
    std::size_t takeDropped() {
        std::lock_guard const lock(m_mutex);
        return std::exchange(m_dropped, 0);
    }

    static constexpr std::size_t LIMIT = 10'000;

private:
    std::mutex m_mutex;
    std::condition_variable_any m_changed;
    std::deque<Entry> m_entries;  // guarded by m_mutex
    std::size_t m_dropped = 0;    // guarded by m_mutex
};

}  // namespace tester
