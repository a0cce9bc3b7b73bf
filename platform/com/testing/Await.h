#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace eb::com::runtime::testing {

/// More than anything here may take on a loaded machine.
constexpr std::chrono::seconds PATIENCE{45};

/// Whether the condition becomes true within PATIENCE.
inline bool eventually(std::function<bool()> const& condition) {
    auto const deadline = std::chrono::steady_clock::now() + PATIENCE;
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock lock(mutex);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        never.wait_for(lock, std::chrono::milliseconds(1));
    }
    return true;
}

/// A place for one value that another thread will put there.
template <class Value>
class Mailbox {
public:
    void put(Value value) {
        std::lock_guard lock(m_mutex);
        m_value = std::move(value);
        ++m_count;
        m_changed.notify_all();
    }
    /// The value put last; nothing after PATIENCE.
    std::optional<Value> take() {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, PATIENCE, [this] { return m_value.has_value(); });
        return std::exchange(m_value, std::nullopt);
    }
    int count() {
        std::lock_guard lock(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<Value> m_value;  // guarded by m_mutex
    int m_count = 0;               // guarded by m_mutex
};

}  // namespace eb::com::runtime::testing
