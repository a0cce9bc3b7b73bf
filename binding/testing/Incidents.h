#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "binding/testing/Await.h"
#include "platform/log/Memory_target.h"

namespace binding_testing {

/// The incidents of one name, each as its line of JSON.
inline std::vector<std::string> incidentsOf(ara::log::Capture const& log, std::string const& name) {
    std::vector<std::string> found;
    for (auto const& message : log.messages("BIND")) {
        if (message.text.starts_with(R"({"1_incident":{"1_id":")" + name + '"')) {
            found.push_back(message.text);
        }
    }
    return found;
}

/// The milliseconds of an incident about a handler that took too long.
inline unsigned long timeOf(std::string const& incident) {
    std::string const key = R"(_time":)";
    return std::stoul(incident.substr(incident.find(key) + key.size()));
}

/// Keeps the thread a little longer than a handler may take, and much less than twice that.
inline void overrunHandlerLimit() {
    std::this_thread::sleep_until(std::chrono::steady_clock::now() + std::chrono::milliseconds(502));
}

/// Waits until the condition holds; false if it doesn't come to that.
template <class Condition>
bool eventually(Condition const& condition) {
    auto const end = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace binding_testing
