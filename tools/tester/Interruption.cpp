#include "tools/tester/Interruption.h"

#include <unistd.h>

namespace tester {

Interruption::Interruption() {
    sigemptyset(&m_signals);
    sigaddset(&m_signals, SIGINT);
    sigaddset(&m_signals, SIGTERM);
    sigaddset(&m_signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    m_thread = std::thread([this] { wait(); });
}

Interruption::~Interruption() {
    m_ending = true;
    pthread_kill(m_thread.native_handle(), SIGTERM);
    m_thread.join();
}

void Interruption::wait() {
    while (true) {
        int signal = 0;
        sigwait(&m_signals, &signal);
        if (m_ending) return;
        if (signal == SIGUSR1) {
            ++m_inquiries;
            continue;
        }
        if (m_signal != 0) _exit(128 + signal);
        m_signal = signal;
        m_stop.request_stop();
    }
}

}  // namespace tester
