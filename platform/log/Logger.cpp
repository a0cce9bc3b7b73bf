#include <ara/log/Logger.h>

#include <utility>

#include "platform/log/Log_core.h"

namespace ara::log {

Logger::Logger(std::string contextId, std::string description)
    : m_contextId(std::move(contextId)), m_description(std::move(description)) {}

bool Logger::IsLogEnabled(LogLevel level) const noexcept {
    return Log_core::instance().enabled(level);
}

Logger* CreateLogger(std::string contextId, std::string description) {
    contextId.resize(contextId.size() < 4 ? contextId.size() : 4);
    Log_core& core = Log_core::instance();
    std::lock_guard lock(core.m_mutex);
    std::unique_ptr<Logger>& logger = core.m_loggers[contextId];
    if (!logger) logger.reset(new Logger(std::move(contextId), std::move(description)));
    return logger.get();
}

LogStream::LogStream(LogLevel level, Logger& logger) : m_level(level), m_logger(logger) {}

LogStream::~LogStream() {
    if (!m_logger.IsLogEnabled(m_level)) return;
    try {
        Log_core::instance().write(m_level, m_logger.contextId(), m_text);
    } catch (...) {  // no memory for a message is no reason to end the process
    }
}

LogStream& LogStream::operator<<(char const* text) {
    if (text != nullptr && m_logger.IsLogEnabled(m_level)) m_text += text;
    return *this;
}

}  // namespace ara::log
