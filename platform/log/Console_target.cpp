#include "platform/log/Console_target.h"

#include <poll.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "platform/log/Line.h"

namespace ara::log {
namespace {

bool wantsColours(int descriptor) {
    return ::isatty(descriptor) == 1 && std::getenv("NO_COLOR") == nullptr;
}

bool isRegularFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        ssize_t const written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd ready{descriptor, POLLOUT, 0};
            ::poll(&ready, 1, 1000);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

Console_target& Console_target::standardError() {
    static Console_target& target = *new Console_target(STDERR_FILENO);
    return target;
}

Console_target::Console_target(int descriptor)
    : m_descriptor(descriptor), m_coloured(wantsColours(descriptor)), m_direct(isRegularFile(descriptor)) {}

void Console_target::write(LogLevel level, std::string_view context, std::string_view text) {
    std::string line = formatLine(level, context, text, m_coloured);
    if (m_direct) {
        writeAll(m_descriptor, line);
        return;
    }
    std::lock_guard lock(m_mutex);
    if (!m_started) {
        std::thread([this] { run(); }).detach();
        m_started = true;
    }
    if (m_untold != 0 && m_bytes < QUEUE_BYTES / 2) {
        std::string const told = std::to_string(m_untold) + " lines lost: nobody reads this log";
        m_untold = 0;
        m_lines.push_back(formatLine(LogLevel::kWarn, "LOG", told, m_coloured));
        m_bytes += m_lines.back().size();
    }
    if (m_bytes + line.size() > QUEUE_BYTES || m_untold != 0) {
        ++m_dropped;
        ++m_untold;
        return;
    }
    m_bytes += line.size();
    m_lines.push_back(std::move(line));
    m_filled.notify_one();
}

void Console_target::flush() {
    std::unique_lock lock(m_mutex);
    m_emptied.wait_for(lock, FLUSH_LIMIT, [this] { return m_bytes == 0; });
}

std::size_t Console_target::dropped() const {
    std::lock_guard lock(m_mutex);
    return m_dropped;
}

void Console_target::run() {
    // With every signal blocked the application's own threads handle them, and a reader that has gone shows
    // as an error of write instead of a signal that ends the process.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    pthread_setname_np(pthread_self(), "ara_log");

    std::unique_lock lock(m_mutex);
    for (;;) {
        m_filled.wait(lock, [this] { return !m_lines.empty(); });
        std::string const line = std::move(m_lines.front());
        m_lines.pop_front();
        lock.unlock();
        writeAll(m_descriptor, line);
        lock.lock();
        m_bytes -= line.size();
        if (m_bytes == 0) m_emptied.notify_all();
    }
}

}  // namespace ara::log
