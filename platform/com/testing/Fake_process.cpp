#include "platform/com/testing/Fake_process.h"

#include <condition_variable>
#include <utility>

#include "binding/adapter/Platform_adapter.h"
#include "platform/com/runtime/Session.h"
#include "platform/com/testing/Await.h"

namespace eb::com::runtime::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned short NO_METHOD = 99;  ///< a call to it is refused by the caller's own runtime

Serialized_payload payload(Bytes bytes) {
    return Serialized_payload(std::make_shared<Bytes>(std::move(bytes)));
}

Service_deployment service(char const* interface, std::uint16_t id, Transport transport,
                           std::uint32_t server) {
    Service_deployment row;
    row.interface = {interface};
    row.instance = {"1"};
    row.serviceId = id;
    row.instanceId = 1;
    row.version = {2, 0};
    row.methods = {{"Echo", 1}, {"Hold", 2}};
    row.events = {{"Field", 0x8001, FAKE_EVENTGROUP, true}, {"Tick", 0x8002, FAKE_EVENTGROUP, false}};
    row.endpoint = {transport, {server, FAKE_PORT}};
    return row;
}

}  // namespace

Deployment fakeDeployment(std::uint32_t ip, std::uint32_t server,
                          std::vector<std::uint32_t> const& everybody) {
    Deployment deployment;
    deployment.origin = "test";
    deployment.discovery.mode = everybody.empty() ? Discovery::Mode::fixed : Discovery::Mode::unicast;
    deployment.discovery.ports = {ip, FAKE_SD_PORT, 1};
    for (std::uint32_t const other : everybody)
        if (other != ip) deployment.discovery.peers.push_back({other, FAKE_SD_PORT});
    deployment.services = {service(OVER_TCP, FAKE_TCP_ID, Transport::tcp, server),
                           service(OVER_UDP, FAKE_UDP_ID, Transport::udp, server)};
    return deployment;
}

Fake_process::Fake_process(Fake_clock& clock, Fake_network& network, std::uint32_t ip,
                           Deployment deployment) {
    auto const loop = std::make_shared<Loop>();
    std::size_t const queue = deployment.limits.sendQueueBytes;
    m_runtime = std::make_shared<Process_runtime>(std::move(deployment), loop, clock.of(loop),
                                                  network.host(ip, loop, queue));
}

Fake_process::~Fake_process() {
    m_runtime->end();
}

Service_deployment const& Fake_process::row(std::string const& interface) const {
    return m_runtime->deploymentOf({interface}, {"1"});
}

class Fake_service::Taker : public Call_taker {
public:
    using Reply = ac::com::cpp_binding::skeleton::Reply_function;

    void take(unsigned short method, Reply reply, Serialized_payload const& payload,
              std::shared_ptr<Session> session) override {
        session->begin();
        std::lock_guard lock(m_mutex);
        if (method == FAKE_HOLD) {
            m_held.emplace_back(std::move(reply), std::move(session));
            return;
        }
        ++m_echoes;
        if (reply) reply(0, payload);
    }
    void forget(Call_source const& /*source*/) override {}  // every call begins at once
    int echoes() const {
        std::lock_guard lock(m_mutex);
        return m_echoes;
    }
    std::size_t held() const {
        std::lock_guard lock(m_mutex);
        return m_held.size();
    }
    std::vector<std::pair<Reply, std::shared_ptr<Session>>> takeHeld() {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_held, {});
    }

private:
    mutable std::mutex m_mutex;
    int m_echoes = 0;                                                // guarded by m_mutex
    std::vector<std::pair<Reply, std::shared_ptr<Session>>> m_held;  // guarded by m_mutex
};

Fake_service::Fake_service(Fake_process& process, std::string const& interface)
    : m_runtime(process.shared()),
      m_taker(std::make_shared<Taker>()),
      m_provided(std::make_shared<Provided_service>(m_runtime, process.row(interface))) {
    m_provided->connect(m_taker);
    offer();
}

Fake_service::~Fake_service() {
    withdraw();
    m_provided->connect(nullptr);
}

void Fake_service::offer() {
    m_runtime->offer(m_provided);
}

void Fake_service::withdraw() {
    m_runtime->withdraw(m_provided);
}

void Fake_service::send(Fake_event event, Bytes bytes) {
    m_provided->send(event, payload(std::move(bytes)));
}

int Fake_service::echoes() const {
    return m_taker->echoes();
}

std::size_t Fake_service::held() const {
    return m_taker->held();
}

void Fake_service::answer() {
    for (auto const& [reply, keep] : m_taker->takeHeld()) reply(0, {});
}

struct Fake_client::Heard {
    struct Of_event {
        std::vector<Bytes> samples;
        std::optional<Event_state> state;
    };
    std::mutex mutex;
    std::condition_variable answered;
    // guarded by mutex:
    std::map<int, std::vector<Call_result>> results;
    std::map<Fake_event, Of_event> events;
    bool found = false;
    int changes = 0;
};

class Fake_client::Sink : public Event_sink {
public:
    Sink(std::shared_ptr<Heard> heard, Fake_event event) : m_heard(std::move(heard)), m_event(event) {}

    void event_updated(Serialized_payload payload) override {
        std::lock_guard lock(m_heard->mutex);
        m_heard->events[m_event].samples.push_back(payload.bytes());
    }
    void event_state_changed(Event_state state) override {
        std::lock_guard lock(m_heard->mutex);
        m_heard->events[m_event].state = state;
    }
    void service_state_changed(Client::Service_state) override {}

private:
    std::shared_ptr<Heard> const m_heard;
    Fake_event const m_event;
};

Fake_client::Fake_client(Fake_process& process, std::string const& interface)
    : m_runtime(process.shared()),
      m_row(process.row(interface)),
      m_heard(std::make_shared<Heard>()),
      m_port(m_runtime->connect(m_row)) {}

Fake_client::~Fake_client() = default;

int Fake_client::call(Fake_method method, Bytes bytes) {
    int const number = m_calls++;
    ac::com::cpp_binding::adapter::call(*m_port, method, payload(std::move(bytes)),
                                        [heard = m_heard, number](Call_result const& result) {
                                            std::lock_guard lock(heard->mutex);
                                            heard->results[number].push_back(result);
                                            heard->answered.notify_all();
                                        });
    return number;
}

std::vector<Call_result> Fake_client::results(int call) const {
    std::lock_guard lock(m_heard->mutex);
    return m_heard->results[call];
}

std::optional<Call_result> Fake_client::await(int call) const {
    std::unique_lock lock(m_heard->mutex);
    auto const& results = m_heard->results[call];
    if (!m_heard->answered.wait_for(lock, PATIENCE, [&] { return !results.empty(); })) return {};
    return results.front();
}

std::size_t Fake_client::ended() const {
    std::lock_guard lock(m_heard->mutex);
    std::size_t count = 0;
    for (auto const& [number, results] : m_heard->results) count += results.empty() ? 0U : 1U;
    return count;
}

bool Fake_client::echoes(std::size_t size) {
    Bytes bytes(size, 0x12);
    bytes.back() = static_cast<std::uint8_t>(m_calls & 0xFF);
    int const number = call(FAKE_ECHO, bytes);
    auto const result = await(number);
    return result && result->outcome == Call_outcome::answered && result->return_code == 0 &&
           result->payload.bytes() == bytes;
}

void Fake_client::subscribe(Fake_event event) {
    auto const sink = std::make_shared<Sink>(m_heard, event);
    m_subscriptions[event] = {sink, m_port->subscribe(event, sink)};
}

void Fake_client::unsubscribe(Fake_event event) {
    m_subscriptions.erase(event);
}

std::optional<Event_state> Fake_client::state(Fake_event event) const {
    std::lock_guard lock(m_heard->mutex);
    return m_heard->events[event].state;
}

std::vector<Bytes> Fake_client::samples(Fake_event event) const {
    std::lock_guard lock(m_heard->mutex);
    return m_heard->events[event].samples;
}

void Fake_client::forgetSamples(Fake_event event) {
    std::lock_guard lock(m_heard->mutex);
    m_heard->events[event].samples.clear();
}

void Fake_client::catchUp() {
    auto const reached = std::make_shared<Mailbox<bool>>();
    ac::com::cpp_binding::adapter::call(*m_port, NO_METHOD, {},
                                        [reached](Call_result const&) { reached->put(true); });
    reached->take();
}

bool Fake_client::finds() {
    if (!m_search) {
        Service_finder& finder = m_runtime->directory();
        m_search = finder.subscribe(m_row.interface, m_row.instance,
                                    [heard = m_heard](std::vector<Service_handle> const& handles) {
                                        std::lock_guard lock(heard->mutex);
                                        if (heard->found == handles.empty()) ++heard->changes;
                                        heard->found = !handles.empty();
                                    });
    }
    catchUp();
    std::lock_guard lock(m_heard->mutex);
    return m_heard->found;
}

int Fake_client::comingsAndGoings() const {
    std::lock_guard lock(m_heard->mutex);
    return m_heard->changes;
}

}  // namespace eb::com::runtime::testing
