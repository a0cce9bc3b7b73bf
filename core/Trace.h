#pragma once

#include <atomic>
#include <mutex>
#include <ostream>
#include <sstream>

#include <ara/log/Logger.h>

/// Where a line comes from: the pieces that follow the prefix of every line. A class passes them on as
/// `out(level::ERROR, TRACE_HERE, "text")`, a free function as `Trace::out(level::ERROR, TRACE_HERE,
/// "text")`.
#define TRACE_HERE TRACE_IN(__func__)

/// The same under another function's name: inside a lambda the function is the one around it.
#define TRACE_IN(function) __LINE__, "::", static_cast<char const*>(function), "() "

namespace zvg::val {

/// The weight of a line: 0 drops it, 1 fatal, 2 error, 3 warning, 4 information, 5 detail, 6 verbose.
/// Detail leaves as information: filtering by level is the business of ara::log.
using eLogLevel = int;

/// The levels in use.
namespace level {
inline constexpr eLogLevel ERROR = 2;
inline constexpr eLogLevel INFO = 4;
inline constexpr eLogLevel DETAIL = 5;
}  // namespace level

/// All log output of the library: whole lines to the one ara::log context "DIAG".
///
///     12:34:56|140243|DiagAraService::120::init() text
///
/// Static, lives as long as the process, and is usable from any thread at any time: before `register` has
/// made the logger a line is built and dropped. The lock is the innermost of the library; nothing else is
/// locked while it is held.
class Trace {
public:
    /// Writes one line: clock, thread, the arguments one after another, a newline. A null `char const*` among
    /// them loses what follows it.
    template <class... Args>
    static void out(eLogLevel level, Args... args) {
        std::lock_guard const lock(mtxLog);
        std::ostringstream line;
        startLine(line);
        reduceArgs(line, args...);
        line << '\n' << std::flush;
        sendLine(line.str(), level);
    }

    /// Writes the arguments one after another, each by the stream's own `operator<<`.
    template <class... Args>
    static void reduceArgs(std::ostream& stream, Args... args) {
        (stream << ... << args);
    }

    /// Hands one piece of a line to ara::log.
    static void sendNativeString(char* text, eLogLevel level);

    /// Two lines that tell which build this is.
    static void printBuildInfo();

    /// A switch, not a threshold: the level that `register` was called with; above 0 every line is sent.
    static std::atomic<int> mLogLevel;

    /// Null until the first `register`. The loggers themselves are never freed.
    static std::atomic<ara::log::Logger*> g_loggerCtx;

    /// Held from the start of a line until it has been handed over.
    static std::mutex mtxLog;

private:
    static void startLine(std::ostream& line);
    static void sendLine(std::string line, eLogLevel level);
};

}  // namespace zvg::val
