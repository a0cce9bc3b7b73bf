#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <ara/log/Logger.h>

#include "platform/log/Target.h"

namespace ara::log {

/// The state of logging in this process: the chosen target, the threshold and the contexts. Made by the first
/// use, from ARA_LOG_TARGET and ARA_LOG_LEVEL, and never destroyed. Any thread.
class Log_core {
public:
    static Log_core& instance();

    bool enabled(LogLevel level) const noexcept {
        return level != LogLevel::kOff && level <= m_threshold.load(std::memory_order_relaxed);
    }
    void write(LogLevel level, std::string_view context, std::string_view text) {
        m_target.load(std::memory_order_acquire)->write(level, context, text);
    }
    void flush() { m_target.load(std::memory_order_acquire)->flush(); }

    /// Sends everything from now on to another target, which has to live for ever.
    void use(Target& target, LogLevel threshold);
    Target& target() const noexcept { return *m_target.load(); }
    LogLevel threshold() const noexcept { return m_threshold.load(); }

private:
    Log_core();

    std::atomic<Target*> m_target;
    std::atomic<LogLevel> m_threshold{LogLevel::kWarn};

    friend ARA_API Logger* CreateLogger(std::string contextId, std::string description);
    std::mutex m_mutex;
    std::map<std::string, std::unique_ptr<Logger>> m_loggers;  // guarded by m_mutex; only grows
};

/// "off", "fatal", ... as in ARA_LOG_LEVEL and in every line.
char const* name(LogLevel level) noexcept;

}  // namespace ara::log
