// The platform's logging interface (ara::log): contexts, levels and one-line streams.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#define ARA_API __attribute__((visibility("default")))

namespace ara::log {

/// Severity of a message, numbered as in DLT: a smaller number is more severe.
enum class LogLevel : std::uint8_t {
    kOff = 0,
    kFatal = 1,
    kError = 2,
    kWarn = 3,
    kInfo = 4,
    kDebug = 5,
    kVerbose = 6
};

/// A logging context. Made by CreateLogger and kept by the runtime to the end of the process, so a
/// pointer to it never dangles. Every operation may be called from any thread.
class ARA_API Logger {
public:
    /// Whether a message of this level would be written anywhere.
    bool IsLogEnabled(LogLevel level) const noexcept;

    /// The context id, at most four characters ("DIAG").
    std::string const& contextId() const noexcept { return m_contextId; }

private:
    friend class LogStream;
    friend ARA_API Logger* CreateLogger(std::string contextId, std::string description);
    Logger(std::string contextId, std::string description);

    std::string m_contextId;
    std::string m_description;
};

/// The logger of a context; a second call with the same id gives the same logger. Never null.
ARA_API Logger* CreateLogger(std::string contextId, std::string description);

/// One message: collects what is streamed into it and sends it on destruction, without ever blocking.
/// Used by one thread.
class ARA_API LogStream {
public:
    LogStream(LogLevel level, Logger& logger);
    ~LogStream();
    LogStream(LogStream const&) = delete;
    LogStream& operator=(LogStream const&) = delete;

    /// Appends a terminated string; null appends nothing.
    LogStream& operator<<(char const* text);

private:
    LogLevel m_level;
    Logger& m_logger;
    std::string m_text;
};

}  // namespace ara::log
