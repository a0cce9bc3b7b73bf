#include "servers/dtc/test/Manager.h"

#include <chrono>
#include <future>
#include <stdexcept>

#include "binding/adapter/Platform_adapter.h"
#include "binding/generated/DiagnosticMonitor.h"
#include "tests/support/Patience.h"

namespace dtc_test {

namespace {

using ac::dm::dem::DiagnosticMonitor;
using namespace eb::com::runtime;

using test::PATIENCE;
constexpr unsigned short MONITOR_ACTION = 0;
constexpr unsigned short INIT_MONITOR = 0;

}  // namespace

class Manager::Ear : public Event_sink {
public:
    void event_updated(Serialized_payload payload) override {
        std::lock_guard const lock(m_mutex);
        m_samples.push_back(payload.bytes());
        m_changed.notify_all();
    }
    void event_state_changed(Event_state state) override {
        std::lock_guard const lock(m_mutex);
        m_state = state;
        m_changed.notify_all();
    }
    void service_state_changed(Client::Service_state) override {}

    bool awaitSubscribed() {
        return await([this] { return m_state == Event_state::subscribed; });
    }
    bool awaitSamples(std::size_t count) {
        return await([this, count] { return m_samples.size() >= count; });
    }
    bool awaitLast(Bytes const& sample) {
        return await([this, &sample] { return !m_samples.empty() && m_samples.back() == sample; });
    }
    std::vector<Bytes> samples() {
        std::lock_guard const lock(m_mutex);
        return m_samples;
    }

private:
    template <class Condition>
    bool await(Condition const& condition) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, PATIENCE, condition);
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Bytes> m_samples;                       // guarded by m_mutex
    Event_state m_state = Event_state::not_subscribed;  // guarded by m_mutex
};

Manager::Manager(unsigned long code)
    : m_ear(std::make_shared<Ear>()),
      m_port({{std::string(DiagnosticMonitor::NAME)}, {DiagnosticMonitor::instance(code)}},
             {DiagnosticMonitor::DESCRIPTION}),
      m_subscription(m_port.client_port()->subscribe(MONITOR_ACTION, m_ear)) {}

bool Manager::awaitSubscribed() const {
    return m_ear->awaitSubscribed();
}

bool Manager::awaitSamples(std::size_t count) const {
    return m_ear->awaitSamples(count);
}

bool Manager::awaitLast(Bytes const& sample) const {
    return m_ear->awaitLast(sample);
}

std::vector<Bytes> Manager::samples() const {
    return m_ear->samples();
}

Call_result Manager::initMonitor(Bytes const& payload) {
    auto const answer = std::make_shared<std::promise<Call_result>>();
    auto result = answer->get_future();
    ac::com::cpp_binding::adapter::call(*m_port.client_port(), INIT_MONITOR,
                                        Serialized_payload(std::make_shared<Bytes const>(payload)),
                                        [answer](Call_result const& ended) { answer->set_value(ended); });
    if (result.wait_for(PATIENCE) != std::future_status::ready) throw std::runtime_error("no answer");
    return result.get();
}

}  // namespace dtc_test
