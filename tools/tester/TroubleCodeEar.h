// What can be heard of one trouble code.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <eb/com/runtime/Client_port.h>

#include "tools/tester/Targets.h"

namespace tester {

/// The one event of a monitor.
inline constexpr unsigned short MONITOR_ACTION = 0;

/// Something that happened to one trouble code.
struct Sighting {
    enum class Kind : std::uint8_t { state, service, subscription };

    Target const* code;
    Kind kind;
    std::vector<unsigned char> bytes;  ///< of a state
    /// What it means: passed, failed, unknown, or why it can't be read; available, unavailable; subscribed,
    /// pending, not_subscribed.
    std::string word;
};

/// Hears of one trouble code on the runtime's threads, one call at a time, until its subscription ends.
class TroubleCodeEar final : public eb::com::runtime::Event_sink {
public:
    TroubleCodeEar(Target const& code, std::function<void(Sighting)> tell)
        : m_code(code), m_tell(std::move(tell)) {}

    void event_updated(eb::com::runtime::Serialized_payload payload) override;
    void event_state_changed(eb::com::runtime::Event_state state) override;
    void service_state_changed(eb::com::runtime::Client::Service_state state) override;

private:
    Target const& m_code;
    std::function<void(Sighting)> const m_tell;
};

}  // namespace tester
