#include "tools/tester/discovery/Attention.h"

#include <utility>

#include <ac/com/runtime/Component_singleton.h>

#include "tools/tester/Services.h"

namespace tester {

using namespace eb::com::runtime;

class Attention::Sink : public Event_sink {
public:
    Sink(Sample sample, std::function<void(Sample)> const& tell)
        : m_sample(std::move(sample)), m_tell(tell) {}

    void event_updated(Serialized_payload payload) override {
        Sample sample = m_sample;
        sample.bytes = payload.bytes();
        m_tell(std::move(sample));
    }
    void event_state_changed(Event_state) override {}
    void service_state_changed(Client::Service_state) override {}

private:
    Sample const m_sample;
    std::function<void(Sample)> const m_tell;
};

Attention::Attention(std::function<void(Sample)> sample) {
    auto& finder = ac::com::runtime::Component_singleton::get_service_finder();
    for (Instance_report const& instance : report().instances) {
        m_searches.push_back(finder.subscribe(instance.service, instance.instance, [](auto const&) {}));
        if (instance.events.empty()) continue;
        m_ports.push_back(std::make_unique<ac::com::cpp_binding::proxy::Rport>(
            Service_handle{instance.service, instance.instance}, Service_interface_description{0}));
        for (std::size_t index = 0; index < instance.events.size(); ++index) {
            Sample const empty{instance.service, instance.instance, instance.events[index], {}};
            auto const sink = std::make_shared<Sink>(empty, sample);
            m_subscriptions.push_back(
                {sink, m_ports.back()->client_port()->subscribe(static_cast<unsigned short>(index), sink)});
        }
    }
}

std::string shownInstance(Instance_id const& instance) {
    // U+202A to U+202E: embedding, override and their end.
    std::string shown;
    for (std::size_t at = 0; at < instance.value.size(); ++at) {
        auto const byte = [&](std::size_t offset) {
            return static_cast<unsigned char>(
                at + offset < instance.value.size() ? instance.value[at + offset] : 0);
        };
        if (byte(0) == 0xE2 && byte(1) == 0x80 && byte(2) >= 0xAA && byte(2) <= 0xAE)
            at += 2;
        else
            shown += instance.value[at];
    }
    return shown;
}

std::string shownName(Service_id const& service, Instance_id const& instance) {
    std::size_t const colon = service.value.rfind(':');
    std::string const name = colon == std::string::npos ? service.value : service.value.substr(colon + 1);
    return instance.value == INSTANCE ? name : name + ' ' + shownInstance(instance);
}

}  // namespace tester
