#include "platform/com/runtime/Peer_line.h"

#include <chrono>
#include <cstddef>
#include <utility>

#include "platform/com/runtime/Log.h"

namespace eb::com::runtime {
namespace {

constexpr std::chrono::seconds PERIOD{1};

}  // namespace

struct Peer_line::State : std::enable_shared_from_this<State> {
    State(Clock& itsClock, ara::log::LogLevel itsLevel) : clock(itsClock), level(itsLevel) {}

    void beginPeriod() {
        period = clock.after(PERIOD, [weak = weak_from_this()] {
            if (auto const self = weak.lock()) self->endPeriod();
        });
    }

    void endPeriod() {
        period.reset();
        std::size_t const count = std::exchange(more, 0);
        if (count == 0) return;
        log(level, newest + " (" + std::to_string(count) + " more like it)");
        beginPeriod();
    }

    Clock& clock;
    ara::log::LogLevel const level;
    Clock::Timer period;
    std::size_t more = 0;
    std::string newest;
};

Peer_line::Peer_line(Clock& clock, ara::log::LogLevel level)
    : m_state(std::make_shared<State>(clock, level)) {}

void Peer_line::write(std::string const& text) {
    if (m_state->period) {
        ++m_state->more;
        m_state->newest = text;
        return;
    }
    log(m_state->level, text);
    m_state->beginPeriod();
}

}  // namespace eb::com::runtime
