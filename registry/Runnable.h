#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/ValStatus.h"

namespace zvg::val::diag_ara::services {

/// Base of every component: its life and the threads that belong to it.
///
/// Owned by the registry from one `register` to the next `unregister`. The calls come in the order
/// constructor, init, start, any number of handleMsg, destroy, destructor, all under the bridge's state lock;
/// the destructor, too, so nothing in it may wait for a message from Java. A component must have emptied its
/// thread list before this base's destructor runs: a thread that is still joinable there ends the process.
class Runnable {
public:
    Runnable() = default;
    virtual ~Runnable() = default;
    Runnable(Runnable const&) = delete;
    Runnable& operator=(Runnable const&) = delete;

    /// `name` tells the generations apart: "0" for the components of the first `register`, then "1", ...
    virtual void init(std::string name) = 0;

    /// Everything is up when it returns; it must not send.
    virtual void start() = 0;

    /// Takes one message from Java, on the Java thread. `data` is valid during the call only. Answers
    /// eValNotSupported unless overridden.
    virtual eValStatus handleMsg(int msgId, unsigned short length, unsigned char* data);

    bool processed() const noexcept { return m_processed; }

    /// Whether the component is to end. A query: it stops nothing. Any thread.
    bool stop() const noexcept { return m_stop; }

    /// Asks the component's threads to end, and joins none of them.
    void destroy() noexcept { m_stop = true; }

    /// Takes over a thread.
    void addThread(std::thread thread);

    /// Starts a thread and lists it before `body` begins, so that even the quickest body can end with
    /// removeThisThread. Throws std::system_error, and lists nothing, if no thread can be had.
    void startThread(std::function<void()> body);

    /// The last act of a thread that nobody is going to join: detaches it and takes it off the list. Of a
    /// thread that isn't listed, nothing. The component may be gone when it returns.
    void removeThisThread();

    /// Joins every listed thread. The lock isn't held meanwhile, so they may call removeThisThread.
    void joinAndRemoveAllthreads();

protected:
    std::atomic<bool> m_processed{false};

private:
    std::atomic<bool> m_stop{false};  // set once, never cleared
    std::mutex m_threadMutex;
    std::vector<std::thread> m_threads;  // guarded by m_threadMutex
};

static_assert(sizeof(std::atomic<bool>) == 1 && std::atomic<bool>::is_always_lock_free,
              "the flags are one byte");

}  // namespace zvg::val::diag_ara::services
