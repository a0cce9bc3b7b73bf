#include "registry/Diag_Ara_Components.h"

#include <cstdint>
#include <stdexcept>
#include <utility>

#include "core/Trace.h"
#include "registry/DiagAraService.h"

namespace zvg::val::diag_ara::services {

Diag_Ara_Components::Diag_Ara_Components(ServiceTable& services, RoutingTable& msgIds)
    : m_serviceFactories(services), m_msgIdsByName(msgIds), m_name("Components::") {}

Diag_Ara_Components::~Diag_Ara_Components() {
    for (auto const& [identifier, component] : m_componentsByName) component->destroy();
}

int Diag_Ara_Components::init() {
    if (!m_runtime_object) {
        throw std::runtime_error("the communication runtime isn't available: " + m_runtime_error);
    }
    out(level::INFO, TRACE_HERE, "Instantiate all components");
    Service::m_Cache.init();
    for (auto const& [identifier, factory] : m_serviceFactories) {
        m_componentsByName.emplace(identifier, create(identifier));
    }
    for (auto const& [identifier, msgId] : m_msgIdsByName) {
        auto const component = m_componentsByName.find(identifier);
        if (component != m_componentsByName.end()) m_receivers.emplace(msgId, component->second);
    }
    for (auto const& [identifier, component] : m_componentsByName) {
        component->init(std::to_string(m_generation));
        component->start();
    }
    ++m_generation;
    return 0;
}

void Diag_Ara_Components::destroy() {
    for (auto const& [identifier, component] : m_componentsByName) {
        out(level::DETAIL, TRACE_HERE, identifier.c_str());
        component->destroy();
    }
    DiagAraService::getInstance()->resetServiceAvailability();
    m_componentsByName.clear();
    m_receivers.clear();  // the last hold of the routed ones: their destructors run here
    out(level::DETAIL, TRACE_HERE, "Shutdown finalized");
}

std::unique_ptr<Runnable> Diag_Ara_Components::create(std::string identifier) {
    out(level::DETAIL, TRACE_HERE, identifier.c_str());
    auto const factory = m_serviceFactories.find(identifier);
    if (factory == m_serviceFactories.end()) {
        out(level::ERROR, TRACE_HERE, "No valid identifier found for ", identifier.c_str());
        return {};
    }
    return factory->second();
}

Runnable* Diag_Ara_Components::get(int msgId) {
    auto const receiver = m_receivers.lower_bound(static_cast<unsigned short>(msgId));
    if (receiver == m_receivers.end() || receiver->first != static_cast<unsigned short>(msgId))
        return nullptr;
    return receiver->second.get();
}

std::vector<Runnable*> Diag_Ara_Components::getReceivers(int msgId) {
    std::vector<Runnable*> receivers;
    for (auto const& [id, component] : m_receivers) {
        if (std::uint32_t{id} == static_cast<std::uint32_t>(msgId)) receivers.push_back(component.get());
    }
    return receivers;
}

template <class... Args>
void Diag_Ara_Components::out(int level, Args... args) {
    Trace::out(level, m_name.c_str(), args...);
}

}  // namespace zvg::val::diag_ara::services
