#include <ac/com/Deadline_guard.h>

#include <algorithm>
#include <utility>

#include "platform/com/runtime/Overrun_watch.h"

namespace ac::com {
namespace {

/// Longest limit that is kept: a year, so that its double can be added to a time.
constexpr unsigned long LONGEST = 31'536'000'000;

}  // namespace

using eb::com::runtime::Overrun_watch;

Deadline_guard::Deadline_guard(unsigned long const& limit, std::function<void(unsigned long)> overrun)
    : m_limit(std::min(limit, LONGEST)),
      m_overrun(std::move(overrun)),
      m_begin(std::chrono::steady_clock::now()) {
    if (m_overrun) Overrun_watch::ofProcess().begin(*this);
}

Deadline_guard::~Deadline_guard() {
    if (!m_overrun) return;
    Overrun_watch::ofProcess().end(*this);
    report_if_late(std::chrono::steady_clock::now());
}

Deadline_guard::Time Deadline_guard::due() const noexcept {
    return m_begin + 2 * m_limit;
}

void Deadline_guard::report_if_late(Time now) const noexcept {
    auto const ran = std::chrono::duration_cast<std::chrono::milliseconds>(now - m_begin);
    if (ran <= m_limit) return;
    try {
        m_overrun(static_cast<unsigned long>(ran.count()));
    } catch (...) {  // there is no caller to report it to
    }
}

}  // namespace ac::com
