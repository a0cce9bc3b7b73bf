#pragma once

#include <list>
#include <map>
#include <mutex>
#include <string>

#include <dlt/dlt.h>

#include "platform/log/Target.h"

namespace ara::log {

/// Messages to the DLT daemon of this machine (AUTOSAR Diagnostic Log and Trace), through libdlt. One verbose
/// string argument a message; a text that is longer than one takes goes out as several messages in a row. A
/// daemon that isn't there is no fault: libdlt keeps some 500 KB until one comes, and drops what is beyond.
///
/// Never made twice, since libdlt knows one application a process, and never ended. libdlt is ended by its
/// own exit handler, at most EXIT_LIMIT after the process wants to end; what is written later is dropped. Any
/// thread.
class Dlt_target : public Target {
public:
    /// The longest text that one message takes: libdlt's buffer without the argument's own bytes.
    static constexpr std::size_t PIECE_BYTES = DLT_USER_BUF_MAX_SIZE - 7;
    static constexpr unsigned EXIT_LIMIT_MS = 100;
    /// The application as DLT knows it, unless another is given: four characters.
    static constexpr char const* APPLICATION = "DARA";

    /// The one of this process. `application` is cut to four characters; it counts the first time.
    static Dlt_target& instance(std::string application = APPLICATION);

    void write(LogLevel level, std::string_view context, std::string_view text) override;

private:
    explicit Dlt_target(std::string const& application);
    static void end();

    DltContext& contextOf(std::string_view name);

    std::mutex m_mutex;                            // held while libdlt is used, which has a shared buffer
    bool m_ended = false;                          // guarded by m_mutex
    std::map<std::string, DltContext> m_contexts;  // guarded by m_mutex; libdlt keeps their addresses
};

/// The pieces of a text: as long as they may be, and no character of UTF-8 torn. At least one.
std::list<std::string_view> dltPieces(std::string_view text);

}  // namespace ara::log
