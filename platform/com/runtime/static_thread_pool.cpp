#include <ac/com/static_thread_pool.h>

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "platform/com/runtime/Log.h"
#include "platform/com/runtime/Run_task.h"

namespace ac::com {
namespace runtime {
namespace {

void log_failure(char const* what) noexcept {
    try {
        eb::com::runtime::log(ara::log::LogLevel::kError,
                              std::string("A task of the thread pool ended with an exception: ") + what);
    } catch (...) {  // without memory for a line there is nobody to tell
    }
}

}  // namespace

void run_task(std::function<void()>&& task) noexcept {
    try {
        std::exchange(task, nullptr)();
    } catch (std::exception const& failure) {
        log_failure(failure.what());
    } catch (...) {
        log_failure("not a std::exception");
    }
}

}  // namespace runtime

static_thread_pool::static_thread_pool(std::size_t threads) {
    try {
        m_threads.reserve(std::max<std::size_t>(threads, 1));
        while (m_threads.size() < std::max<std::size_t>(threads, 1)) {
            m_threads.emplace_back([this] { work(); });
        }
    } catch (...) {
        stop();
        throw;
    }
}

static_thread_pool::~static_thread_pool() {
    stop();
}

void static_thread_pool::stop() noexcept {
    {
        std::lock_guard const lock(m_mutex);
        m_poolState = 2;
        m_wake.notify_all();
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    std::deque<std::function<void()>> dropped;
    {
        std::lock_guard const lock(m_mutex);
        dropped.swap(m_queue);
    }
    while (!dropped.empty()) {
        dropped.pop_front();
        sub_outstanding_work();
    }
    std::unique_lock lock(m_mutex);
    m_wake.wait(lock, [this] { return m_outstanding == 0; });
}

void static_thread_pool::sub_outstanding_work() noexcept {
    // Under the lock, since a pool that stops may end as soon as it sees that nothing is outstanding.
    std::lock_guard const lock(m_mutex);
    if (--m_outstanding == 0 && m_poolState == 2) {
        m_wake.notify_all();
    }
}

std::size_t static_thread_pool::num_threads() const noexcept {
    return m_threads.size();
}

void static_thread_pool::work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_poolState == 2 || !m_queue.empty(); });
        if (m_poolState == 2) {
            return;
        }
        std::function<void()> task = std::move(m_queue.front());
        m_queue.pop_front();
        lock.unlock();
        runtime::run_task(std::move(task));
        sub_outstanding_work();
        lock.lock();
    }
}

}  // namespace ac::com
