#include "platform/log/Memory_target.h"

#include "platform/log/Log_core.h"

namespace ara::log {

Memory_target& Memory_target::instance() {
    static Memory_target& target = *new Memory_target;
    return target;
}

void Memory_target::write(LogLevel level, std::string_view context, std::string_view text) {
    std::lock_guard lock(m_mutex);
    if (m_messages.size() == CAPACITY) m_messages.pop_front();
    m_messages.push_back({level, std::string(context), std::string(text)});
}

std::vector<Message> Memory_target::messages() const {
    std::lock_guard lock(m_mutex);
    return {m_messages.begin(), m_messages.end()};
}

void Memory_target::clear() {
    std::lock_guard lock(m_mutex);
    m_messages.clear();
}

Capture::Capture(LogLevel threshold)
    : m_before(Log_core::instance().target()), m_thresholdBefore(Log_core::instance().threshold()) {
    Memory_target::instance().clear();
    Log_core::instance().use(Memory_target::instance(), threshold);
}

Capture::~Capture() {
    Log_core::instance().use(m_before, m_thresholdBefore);
}

std::vector<Message> Capture::messages() const {
    return Memory_target::instance().messages();
}

std::vector<Message> Capture::messages(std::string const& context) const {
    std::vector<Message> selected = messages();
    std::erase_if(selected, [&](Message const& message) { return message.context != context; });
    return selected;
}

void Capture::clear() {
    Memory_target::instance().clear();
}

}  // namespace ara::log
