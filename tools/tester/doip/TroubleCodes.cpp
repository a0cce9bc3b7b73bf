#include "tools/tester/doip/TroubleCodes.h"

namespace tester::doip {

void TroubleCodes::report(std::uint32_t code, bool failed) {
    std::lock_guard const lock(m_mutex);
    auto const entry = m_status.find(code);
    if (entry == m_status.end()) return;
    auto const kept = static_cast<unsigned>(entry->second) & (CONFIRMED | FAILED_SINCE_CLEAR);
    entry->second = static_cast<std::uint8_t>(failed ? TEST_FAILED | CONFIRMED | FAILED_SINCE_CLEAR
                                                     : static_cast<int>(kept));
}

bool TroubleCodes::clear(std::uint32_t code) {
    std::lock_guard const lock(m_mutex);
    bool known = false;
    for (auto& [each, status] : m_status) {
        if (code != ALL_GROUPS && code != each) continue;
        status = NOT_COMPLETED_SINCE_CLEAR;
        known = true;
    }
    return known || code == ALL_GROUPS;
}

std::vector<TroubleCode> TroubleCodes::all() const {
    std::lock_guard const lock(m_mutex);
    std::vector<TroubleCode> list;
    for (auto const& [code, status] : m_status) list.push_back({code, status});
    return list;
}

std::vector<TroubleCode> TroubleCodes::matching(std::uint8_t mask) const {
    std::vector<TroubleCode> list;
    for (auto const& each : all()) {
        if ((each.status & mask & AVAILABLE) != 0) list.push_back(each);
    }
    return list;
}

}  // namespace tester::doip
