#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

namespace tester::doip {

/// Rings once after a while, unless it is set anew, cancelled or destroyed before. Of the thread that runs
/// the context.
class Alarm {
public:
    explicit Alarm(asio::io_context& context) : m_timer(context) {}
    ~Alarm() { cancel(); }
    Alarm(Alarm const&) = delete;
    Alarm& operator=(Alarm const&) = delete;

    void set(std::chrono::steady_clock::duration delay, std::function<void()> ring) {
        unsigned const turn = ++*m_turn;
        m_timer.expires_after(delay);
        m_timer.async_wait([now = m_turn, turn, ring = std::move(ring)](asio::error_code const& error) {
            if (!error && *now == turn) ring();
        });
    }
    void cancel() {
        ++*m_turn;  // a wait that has ended already can't be cancelled any more
        m_timer.cancel();
    }

private:
    asio::steady_timer m_timer;
    std::shared_ptr<unsigned> m_turn = std::make_shared<unsigned>(0);
};

}  // namespace tester::doip
