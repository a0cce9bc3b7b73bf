#pragma once

#include <atomic>
#include <csignal>
#include <stop_token>
#include <thread>

namespace tester {

/// Turns Ctrl-C and a polite kill into a request for stop, and counts how often SIGUSR1 has asked how things
/// stand. Made by `main` before any other thread, so that all of them inherit the blocked signals and only
/// this object's thread takes them. A second Ctrl-C or kill ends the process at once. Destruction joins the
/// thread.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(Interruption const&) = delete;
    Interruption& operator=(Interruption const&) = delete;

    std::stop_token stop() const noexcept { return m_stop.get_token(); }
    /// The signal that came, or 0.
    int signal() const noexcept { return m_signal; }
    /// Grows with each SIGUSR1.
    std::atomic<unsigned> const& inquiries() const noexcept { return m_inquiries; }

private:
    void wait();

    sigset_t m_signals{};
    std::stop_source m_stop;
    std::atomic<int> m_signal{0};
    std::atomic<unsigned> m_inquiries{0};
    std::atomic<bool> m_ending{false};
    std::thread m_thread;  // started last
};

}  // namespace tester
