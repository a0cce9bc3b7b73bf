#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include <ara/log/Logger.h>

#include "platform/log/Target.h"

namespace ara::log {

/// One message as it was streamed, its ends of line included.
struct Message {
    LogLevel level;
    std::string context;
    std::string text;
};

/// Keeps the newest messages in memory, for tests. One in the process, which never ends. Any thread.
class Memory_target : public Target {
public:
    static constexpr std::size_t CAPACITY = 100'000;

    static Memory_target& instance();

    void write(LogLevel level, std::string_view context, std::string_view text) override;
    std::vector<Message> messages() const;
    void clear();

private:
    mutable std::mutex m_mutex;
    std::deque<Message> m_messages;  // guarded by m_mutex
};

/// For tests: as long as one stands, everything up to `threshold` goes to memory alone, whatever the
/// environment says; afterwards it goes where it went before. One at a time.
class ARA_API Capture {
public:
    explicit Capture(LogLevel threshold = LogLevel::kVerbose);
    ~Capture();
    Capture(Capture const&) = delete;
    Capture& operator=(Capture const&) = delete;

    std::vector<Message> messages() const;
    /// The messages of one context, in order.
    std::vector<Message> messages(std::string const& context) const;
    void clear();

private:
    Target& m_before;
    LogLevel m_thresholdBefore;
};

}  // namespace ara::log
