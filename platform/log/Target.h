#pragma once

#include <string_view>

#include <ara/log/Logger.h>

namespace ara::log {

/// Where messages go. Targets are made once and never end, as loggers live to the end of the process and a
/// message may come from a static destructor. Every operation may be called from any thread.
class Target {
public:
    virtual ~Target() = default;

    /// Takes one message. Never blocks on whoever reads the target; what doesn't fit is dropped and counted.
    virtual void write(LogLevel level, std::string_view context, std::string_view text) = 0;

    /// Waits a bounded time until everything taken so far is out.
    virtual void flush() {}
};

}  // namespace ara::log
