#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

#include "platform/log/Target.h"

namespace ara::log {

/// Lines to a terminal, pipe or socket. Whoever reads there may stop reading at any time, so callers only
/// put lines into a bounded queue, and a thread of its own writes them. Lines that find the queue full are
/// counted, and a line tells of them as soon as there is room again.
///
/// A regular file as standard error can't stall, so there lines are written at once.
class Console_target : public Target {
public:
    static constexpr std::size_t QUEUE_BYTES = 1U << 20U;
    static constexpr std::chrono::milliseconds FLUSH_LIMIT{200};

    static Console_target& standardError();

    /// Writes to `descriptor`, which must stay open for good. The writer thread starts with the first line
    /// and ends with the process.
    explicit Console_target(int descriptor);

    void write(LogLevel level, std::string_view context, std::string_view text) override;
    void flush() override;

    /// Whether lines go to a regular file, which is not read while they are written.
    bool isFile() const noexcept { return m_direct; }

    /// Lines lost so far.
    std::size_t dropped() const;

private:
    void run();

    int const m_descriptor;
    bool const m_coloured;
    bool const m_direct;

    mutable std::mutex m_mutex;
    std::condition_variable m_filled;
    std::condition_variable m_emptied;
    std::deque<std::string> m_lines;  // guarded by m_mutex
    std::size_t m_bytes = 0;          // guarded by m_mutex: of m_lines and of the line being written
    std::size_t m_dropped = 0;        // guarded by m_mutex
    std::size_t m_untold = 0;         // guarded by m_mutex: dropped, and no line tells so yet
    bool m_started = false;           // guarded by m_mutex
};

/// Writes all of `text`; gives up on an error. Returns whether everything is out.
bool writeAll(int descriptor, std::string_view text);

}  // namespace ara::log
