#include <ac/com/Deadline_guard.h>

#include <utility>

namespace ac::com {

Deadline_guard::Deadline_guard(unsigned long const& limit, std::function<void(unsigned long)> overrun)
    : m_limit(limit), m_overrun(std::move(overrun)), m_begin(std::chrono::steady_clock::now()) {}

Deadline_guard::~Deadline_guard() {
    auto const ran =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_begin);
    auto const milliseconds = static_cast<unsigned long>(ran.count());
    if (milliseconds <= m_limit || !m_overrun) return;
    try {
        m_overrun(milliseconds);
    } catch (...) {  // a destructor has nobody to tell
    }
}

}  // namespace ac::com
