#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

namespace eb::com::runtime {

/// Tells the time to everything that has limits; tests put a clock of their own here. Used on the io thread.
class Clock {
public:
    /// Dropping it takes the task back.
    using Timer = std::shared_ptr<void>;

    virtual ~Clock() = default;
    /// Time since a moment that stays the same; never goes back.
    virtual std::chrono::milliseconds now() const = 0;
    virtual Timer after(std::chrono::milliseconds time, std::function<void()> task) = 0;
    /// A pause from `least` to `most`, both included, by chance.
    virtual std::chrono::milliseconds between(std::chrono::milliseconds least,
                                              std::chrono::milliseconds most) = 0;
};

/// The runtime's one io thread. All sockets, links, endpoints and tables of the runtime belong to it; other
/// threads hand it tasks. Nothing that runs on it blocks, and no user's code ever does run on it, apart from
/// Method_processor::post. An exception out of a task is logged and ends the task alone.
///
/// Owned by the runtime and by everything that has to post to it, so that a late reply finds it; after `end`
/// it takes tasks no more and drops them.
class Loop {
public:
    Loop();
    ~Loop();
    Loop(Loop const&) = delete;
    Loop& operator=(Loop const&) = delete;

    /// Runs the task later on the io thread. False if the loop has ended, and the task is dropped. Any
    /// thread.
    bool post(std::function<void()> task);

    /// Runs the task on the io thread and waits for it; what it throws is thrown here. False if the loop has
    /// ended. Any thread but the io thread.
    bool run(std::function<void()> task);

    /// Runs what was posted before, then `last`, and ends the thread. Idempotent. Any thread; on the io
    /// thread itself it doesn't wait.
    void end(std::function<void()> last);

    /// For sockets. io thread.
    asio::io_context& context() noexcept { return m_context; }

private:
    void work();

    asio::io_context m_context{1};
    std::mutex m_mutex;
    bool m_ended = false;  // guarded by m_mutex
    asio::executor_work_guard<asio::io_context::executor_type> m_guard;
    std::thread m_thread;
};

/// The real clock.
class Loop_clock : public Clock {
public:
    explicit Loop_clock(Loop& loop) : m_loop(loop) {}
    std::chrono::milliseconds now() const override;
    Timer after(std::chrono::milliseconds time, std::function<void()> task) override;
    std::chrono::milliseconds between(std::chrono::milliseconds least,
                                      std::chrono::milliseconds most) override;

private:
    Loop& m_loop;
    std::minstd_rand m_dice{std::random_device{}()};
};

/// Blocks every signal on the calling thread, so that only the application's own threads are interrupted, and
/// names the thread for debuggers.
void setUpRuntimeThread(char const* name);

}  // namespace eb::com::runtime
