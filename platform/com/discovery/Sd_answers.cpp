#include "platform/com/discovery/Sd_answers.h"

namespace eb::com::runtime {

void Sd_answers::add(Address const& asker, Service_deployment const& service, Time due) {
    if (m_waiting.size() < WAITING) m_waiting.try_emplace({asker, &service}, due);
}

std::vector<Sd_answers::Answer> Sd_answers::take(Time now) {
    std::vector<Answer> taken;
    std::erase_if(m_waiting, [&](auto const& entry) {
        if (entry.second > now) return false;
        taken.push_back({entry.first.first, entry.first.second});
        return true;
    });
    return taken;
}

std::optional<Sd_answers::Time> Sd_answers::due() const {
    std::optional<Time> first;
    for (auto const& [answer, due] : m_waiting)
        if (!first || due < *first) first = due;
    return first;
}

}  // namespace eb::com::runtime
