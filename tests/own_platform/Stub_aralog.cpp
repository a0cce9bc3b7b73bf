// A log that takes lines and forgets them.
#include <ara/log/Logger.h>

#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace ara::log {

Logger::Logger(std::string contextId, std::string description)
    : m_contextId(std::move(contextId)), m_description(std::move(description)) {}

bool Logger::IsLogEnabled(LogLevel) const noexcept {
    return true;
}

Logger* CreateLogger(std::string contextId, std::string description) {
    static std::mutex mutex;
    static auto& loggers = *new std::map<std::string, Logger>;
    std::lock_guard const lock(mutex);
    auto const known = loggers.find(contextId);
    return known != loggers.end()
               ? &known->second
               : &loggers.emplace(contextId, Logger(contextId, std::move(description))).first->second;
}

LogStream::LogStream(LogLevel level, Logger& logger) : m_level(level), m_logger(logger) {}

LogStream::~LogStream() {
    static_cast<void>(m_level);
    static_cast<void>(m_logger);
}

LogStream& LogStream::operator<<(char const* text) {
    m_text += text != nullptr ? text : "";
    return *this;
}

}  // namespace ara::log
