#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <eb/com/runtime/Client_port.h>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Raw_socket.h"

namespace eb::com::runtime::testing {

/// Events of the services "test::Tcp" (0x1101) and "test::Udp" (0x1102), version 2.0, by index. Field and
/// Tick are in eventgroup 1, Other in 2; the ids on the wire are 0x8001, 0x8003 and 0x8002. Field is a field.
enum Event : unsigned short { FIELD = 0, OTHER, TICK };
constexpr std::uint16_t TCP_EVENTS = 0x1101;
constexpr std::uint16_t UDP_EVENTS = 0x1102;

/// The manifest of these services, which stand where it says, with the text of a "limits" object.
inline std::string eventManifest(Address const& address, std::string const& limits = "{}") {
    std::string const text = address.text();
    std::string const at =
        R"("address": ")" + text.substr(0, text.find(':')) + R"(", "port": )" + std::to_string(address.port);
    return R"({"discovery": {"mode": "static"}, "limits": )" + limits +
           R"(, "defaults": {"instance": "1", "instance_id": 1, "version": {"major": 2, "minor": 0},
        "methods": [{"name": "Echo", "id": 1}],
        "events": [{"name": "Field", "id": "0x8001", "eventgroup": 1, "field": true},
                   {"name": "Other", "id": "0x8003", "eventgroup": 2}, {"name": "Tick", "id": "0x8002", "eventgroup": 1}]},
      "services": [
        {"interface": "test::Tcp", "service_id": "0x1101", "endpoint": {"transport": "tcp", )" +
           at +
           R"(}}, {"interface": "test::Udp", "service_id": "0x1102", "endpoint": {"transport": "udp", )" +
           at + "}}]}";
}

inline Serialized_payload payloadOf(Bytes const& bytes) {
    return Serialized_payload(std::make_shared<Bytes>(bytes));
}

/// Writes down what it hears: "available", "unavailable", "pending", "subscribed", "not subscribed", and of a
/// sample its bytes in decimal, "1 2 3". Any thread.
class Recorder : public Event_sink {
public:
    using Notices = std::vector<std::string>;

    void event_updated(Serialized_payload payload) override {
        std::string text;
        for (unsigned char const byte : payload.bytes())
            text += (text.empty() ? "" : " ") + std::to_string(byte);
        add(text);
    }
    void event_state_changed(Event_state state) override {
        add(state == Event_state::subscribed ? "subscribed"
            : state == Event_state::pending  ? "pending"
                                             : "not subscribed");
    }
    void service_state_changed(Client::Service_state state) override {
        add(state == Client::Service_state::available ? "available" : "unavailable");
    }

    Notices notices() const {
        std::lock_guard lock(m_mutex);
        return m_notices;
    }
    /// Whether it hears just these in the end; forgets them then.
    bool hears(Notices const& expected) {
        bool const heard = eventually([&] { return notices().size() >= expected.size(); });
        std::lock_guard lock(m_mutex);
        return heard && std::exchange(m_notices, {}) == expected;
    }

private:
    void add(std::string notice) {
        std::lock_guard lock(m_mutex);
        m_notices.push_back(std::move(notice));
    }

    mutable std::mutex m_mutex;
    Notices m_notices;  // guarded by m_mutex
};

}  // namespace eb::com::runtime::testing
