#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>

#include "platform/log/Target.h"

namespace ara::log {

/// Folds repeats for people: of alike messages in a row the first is passed on at once, and how many came
/// behind it in one line, `12 more like it`. That line comes with the next message that isn't alike, at a
/// flush, and at the latest one pause after the first. The next message is then passed on whole, alike or
/// not.
///
/// Messages are alike when level, context and text are the same, apart from the place in the program that a
/// text begins with (`09:31:07|4711|prefix12::function() text`).
///
/// Never ends, as its thread, which starts with the first repeat, doesn't. Any thread.
class Folding_target : public Target {
public:
    static constexpr std::chrono::milliseconds PAUSE{1000};

    /// `target` takes what is left and has to live forever.
    explicit Folding_target(Target& target, std::chrono::milliseconds pause = PAUSE);

    void write(LogLevel level, std::string_view context, std::string_view text) override;
    void flush() override;

private:
    void run();
    void endRow();

    Target& m_target;
    std::chrono::milliseconds const m_pause;

    std::mutex m_mutex;                 // held while the target writes, so that lines keep their order
    std::condition_variable m_folded;   // a row has its first repeat
    LogLevel m_level = LogLevel::kOff;  // guarded by m_mutex: of the row; kOff if there is none
    std::string m_context;              // guarded by m_mutex: of the row
    std::string m_text;                 // guarded by m_mutex: of the row, without the place
    std::size_t m_more = 0;             // guarded by m_mutex: repeats that weren't passed on
    std::chrono::steady_clock::time_point m_began;  // guarded by m_mutex: when the row's first was passed on
    bool m_started = false;                         // guarded by m_mutex
};

}  // namespace ara::log
