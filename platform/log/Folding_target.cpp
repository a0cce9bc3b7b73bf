#include "platform/log/Folding_target.h"

#include <pthread.h>

#include <csignal>
#include <thread>

namespace ara::log {
namespace {

/// What a text says, without the place in the program that it may begin with.
std::string_view withoutPlace(std::string_view text) {
    constexpr std::string_view END_OF_PLACE = "() ";
    std::size_t const end = text.find(END_OF_PLACE);
    return end == std::string_view::npos ? text : text.substr(end + END_OF_PLACE.size());
}

}  // namespace

Folding_target::Folding_target(Target& target, std::chrono::milliseconds pause)
    : m_target(target), m_pause(pause) {}

void Folding_target::write(LogLevel level, std::string_view context, std::string_view text) {
    std::string_view const said = withoutPlace(text);
    std::lock_guard const lock(m_mutex);
    auto const now = std::chrono::steady_clock::now();
    if (level == m_level && now < m_began + m_pause && context == m_context && said == m_text) {
        if (++m_more != 1) return;
        if (!m_started) {
            std::thread([this] { run(); }).detach();
            m_started = true;
        }
        m_folded.notify_one();
        return;
    }
    endRow();
    m_level = level;
    m_context = context;
    m_text = said;
    m_began = now;
    m_target.write(level, context, text);
}

void Folding_target::flush() {
    {
        std::lock_guard const lock(m_mutex);
        endRow();
    }
    m_target.flush();
}

void Folding_target::endRow() {
    if (m_more != 0) m_target.write(m_level, m_context, std::to_string(m_more) + " more like it");
    m_more = 0;
    m_level = LogLevel::kOff;
}

void Folding_target::run() {
    // The application's own threads handle signals.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    pthread_setname_np(pthread_self(), "ara_log_fold");

    std::unique_lock lock(m_mutex);
    for (;;) {
        m_folded.wait(lock, [this] { return m_more != 0; });
        auto const due = m_began + m_pause;
        if (std::chrono::steady_clock::now() < due)
            m_folded.wait_until(lock, due);  // a row that ended meanwhile has begun anew
        else
            endRow();
    }
}

}  // namespace ara::log
