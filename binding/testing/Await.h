#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "tests/support/Patience.h"

namespace binding_testing {

using test::PATIENCE;

/// A door that threads wait at until it is opened. Waiting is bounded; false tells that it stayed shut.
class Gate {
public:
    void open() {
        std::lock_guard const lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    bool wait() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, PATIENCE, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;  // guarded by m_mutex
};

}  // namespace binding_testing
