#include "platform/com/runtime/Loop.h"

#include <pthread.h>

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <csignal>
#include <future>
#include <utility>

#include "platform/com/runtime/Log.h"

namespace eb::com::runtime {

void setUpRuntimeThread(char const* name) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    pthread_setname_np(pthread_self(), name);
}

Loop::Loop() : m_guard(asio::make_work_guard(m_context)), m_thread([this] { work(); }) {}

Loop::~Loop() {
    end({});
    if (m_thread.joinable()) m_thread.detach();
}

bool Loop::post(std::function<void()> task) {
    std::lock_guard lock(m_mutex);
    if (m_ended) return false;
    asio::post(m_context, std::move(task));
    return true;
}

bool Loop::run(std::function<void()> task) {
    std::packaged_task<void()> wrapped(std::move(task));
    std::future<void> done = wrapped.get_future();
    if (!post([&wrapped] { wrapped(); })) return false;
    done.get();
    return true;
}

void Loop::end(std::function<void()> last) {
    {
        std::lock_guard lock(m_mutex);
        if (m_ended) return;
        m_ended = true;
        asio::post(m_context, [this, last = std::move(last)] {
            if (last) last();
            m_guard.reset();
            m_context.stop();
        });
    }
    if (m_thread.get_id() == std::this_thread::get_id()) return;
    m_thread.join();
    // What closed sockets left behind holds links and through them this loop.
    m_context.restart();
    m_context.poll();
}

void Loop::work() {
    setUpRuntimeThread("ara_com_io");
    while (!m_context.stopped()) {
        try {
            m_context.run();
        } catch (std::exception const& exception) {
            log(ara::log::LogLevel::kError, std::string("io thread: ") + exception.what());
        } catch (...) {
            log(ara::log::LogLevel::kError, "io thread: unknown exception");
        }
    }
}

std::chrono::milliseconds Loop_clock::now() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
}

Clock::Timer Loop_clock::after(std::chrono::milliseconds time, std::function<void()> task) {
    auto const timer = std::make_shared<asio::steady_timer>(m_loop.context(), time);
    timer->async_wait([task = std::move(task)](asio::error_code const& error) {
        if (!error) task();
    });
    return timer;
}

std::chrono::milliseconds Loop_clock::between(std::chrono::milliseconds least,
                                              std::chrono::milliseconds most) {
    return std::chrono::milliseconds(
        std::uniform_int_distribution<std::int64_t>(least.count(), most.count())(m_dice));
}

}  // namespace eb::com::runtime
