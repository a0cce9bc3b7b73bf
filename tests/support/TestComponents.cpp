#include "tests/support/TestComponents.h"

#include <memory>
#include <utility>

#include "registry/Diag_Ara_Components_Services.h"

namespace test {

using zvg::val::eValOk;
using zvg::val::eValStatus;
using zvg::val::diag_ara::services::Runnable;

class Component : public Runnable {
public:
    explicit Component(std::string identifier) : m_identifier(std::move(identifier)) {
        ++Components::instance().m_alive;
    }
    ~Component() override {
        --Components::instance().m_alive;
        auto const behaviour = Components::instance().note("~" + m_identifier, "");
        if (behaviour.destroyed) behaviour.destroyed();
        joinAndRemoveAllthreads();
    }

    void init(std::string name) override {
        auto const behaviour = Components::instance().note(m_identifier, "::init(" + name + ")");
        if (behaviour.init) behaviour.init();
    }

    void start() override {
        auto const behaviour = Components::instance().note(m_identifier, "::start");
        if (behaviour.start) behaviour.start();
    }

    eValStatus handleMsg(int msgId, unsigned short length, unsigned char* data) override {
        auto const behaviour = Components::instance().note(
            m_identifier, "::handleMsg(" + std::to_string(msgId) + ", " + std::to_string(length) + ")");
        return behaviour.handleMsg ? behaviour.handleMsg(msgId, length, data) : eValOk;
    }

private:
    std::string m_identifier;
};

Components& Components::instance() {
    static auto* const only = new Components;  // for components that are destroyed at the process's end
    return *only;
}

void Components::reset() {
    std::lock_guard const lock(m_mutex);
    m_behaviours.clear();
    m_events.clear();
}

void Components::behave(std::string const& identifier, Behaviour behaviour) {
    std::lock_guard const lock(m_mutex);
    m_behaviours[identifier] = std::move(behaviour);
}

std::vector<std::string> Components::events() const {
    std::lock_guard const lock(m_mutex);
    return m_events;
}

void Components::forgetEvents() {
    std::lock_guard const lock(m_mutex);
    m_events.clear();
}

std::unique_ptr<Runnable> Components::make(std::string identifier) {
    auto const behaviour = instance().note(identifier, "::create");
    if (behaviour.create) behaviour.create();
    return std::make_unique<Component>(std::move(identifier));
}

Behaviour Components::note(std::string const& identifier, std::string const& event) {
    std::lock_guard const lock(m_mutex);
    if (m_events.size() < 10'000) m_events.push_back(identifier + event);
    auto const found = m_behaviours.find(identifier.substr(identifier.starts_with('~') ? 1 : 0));
    return found == m_behaviours.end() ? Behaviour{} : found->second;
}

}  // namespace test

namespace zvg::val::diag_ara::services {

ServiceTable& Diag_Ara_Components_Services::m_services = *new ServiceTable{
    {"A", [] { return test::Components::make("A"); }},
    {"B", [] { return test::Components::make("B"); }},
    {"C", [] { return test::Components::make("C"); }},
    {"D", [] { return test::Components::make("D"); }},
};

RoutingTable& Diag_Ara_Components_Services::m_val_msg_ids =
    *new RoutingTable{{"A", 2350}, {"B", 2350}, {"C", 2937}};

ServiceTable& Diag_Ara_Components_Services::getServices() {
    return m_services;
}

RoutingTable& Diag_Ara_Components_Services::getValMsgIds() {
    return m_val_msg_ids;
}

}  // namespace zvg::val::diag_ara::services
