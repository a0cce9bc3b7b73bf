#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <eb/com/runtime/Client_port.h>

#include "platform/com/deployment/Deployment.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/testing/Fake_network.h"

namespace eb::com::runtime::testing {

/// Methods and events of the services "test::Tcp" (0x2001) and "test::Udp" (0x2002), version 2.0, by index;
/// the ids on the wire are 1, 2 and 0x8001, 0x8002 in eventgroup 1. `Field` is a field, `Tick` is none.
enum Fake_method : unsigned short { FAKE_ECHO = 0, FAKE_HOLD };
enum Fake_event : unsigned short { FAKE_FIELD = 0, FAKE_TICK };
constexpr char const* OVER_TCP = "test::Tcp";
constexpr char const* OVER_UDP = "test::Udp";
constexpr std::uint16_t FAKE_TCP_ID = 0x2001;
constexpr std::uint16_t FAKE_UDP_ID = 0x2002;
constexpr std::uint16_t FAKE_EVENTGROUP = 1;
constexpr std::uint16_t FAKE_PORT = 30509;
constexpr std::uint16_t FAKE_SD_PORT = 30490;

/// The deployment of the process at `ip`: both services stand at `server`, and all hosts of `everybody` are
/// told of them, or none, if services are simply where the manifest says.
Deployment fakeDeployment(std::uint32_t ip, std::uint32_t server,
                          std::vector<std::uint32_t> const& everybody);

/// A process of its own: a runtime on the fake network. Owned by the test.
class Fake_process {
public:
    Fake_process(Fake_clock& clock, Fake_network& network, std::uint32_t ip, Deployment deployment);
    ~Fake_process();
    Fake_process(Fake_process const&) = delete;
    Fake_process& operator=(Fake_process const&) = delete;

    Process_runtime& runtime() const { return *m_runtime; }
    std::shared_ptr<Process_runtime> const& shared() const { return m_runtime; }
    Service_deployment const& row(std::string const& interface) const;

private:
    std::shared_ptr<Process_runtime> m_runtime;
};

/// A service that a Fake_process offers, without a thread of its own: Echo answers its request, Hold keeps
/// the reply for the test. Withdraws its offer and ends with the process's runtime at the latest.
class Fake_service {
public:
    Fake_service(Fake_process& process, std::string const& interface);
    ~Fake_service();
    Fake_service(Fake_service const&) = delete;
    Fake_service& operator=(Fake_service const&) = delete;

    void offer();
    void withdraw();
    void send(Fake_event event, std::vector<std::uint8_t> bytes);
    int echoes() const;
    std::size_t held() const;
    /// Answers what was held.
    void answer();

private:
    class Taker;
    std::shared_ptr<Process_runtime> m_runtime;
    std::shared_ptr<Taker> m_taker;
    std::shared_ptr<Provided_service> m_provided;
};

/// A client of one service in a Fake_process: what it called, subscribed to, searched for, and heard. Any
/// thread.
class Fake_client {
public:
    Fake_client(Fake_process& process, std::string const& interface);
    ~Fake_client();
    Fake_client(Fake_client const&) = delete;
    Fake_client& operator=(Fake_client const&) = delete;

    /// Number of the call.
    int call(Fake_method method, std::vector<std::uint8_t> bytes = {});
    /// What came back for it, in order; one entry if all is well.
    std::vector<Call_result> results(int call) const;
    /// Waits for the first of it; nothing after PATIENCE.
    std::optional<Call_result> await(int call) const;
    /// How many calls have ended.
    std::size_t ended() const;
    /// Calls Echo and waits. Whether it was answered with its own bytes.
    bool echoes(std::size_t size = 2);

    void subscribe(Fake_event event);
    void unsubscribe(Fake_event event);
    std::optional<Event_state> state(Fake_event event) const;
    std::vector<std::vector<std::uint8_t>> samples(Fake_event event) const;
    void forgetSamples(Fake_event event);

    /// Whether the search says that the service is to be had; it runs from the first question on. What the
    /// runtime knows by now is known here.
    bool finds();
    /// How often the search's list became empty, or no longer so.
    int comingsAndGoings() const;

    /// Waits until it has heard all that its runtime had for it when this was called, states and samples that
    /// wait for one another apart.
    void catchUp();

private:
    class Sink;
    struct Heard;
    std::shared_ptr<Process_runtime> m_runtime;
    Service_deployment const& m_row;
    std::shared_ptr<Heard> m_heard;
    std::shared_ptr<Client_port> m_port;
    std::map<Fake_event,
             std::pair<std::shared_ptr<Sink>, std::shared_ptr<Service_finder::Subscription_handle>>>
        m_subscriptions;
    std::shared_ptr<Service_finder::Subscription_handle> m_search;
    int m_calls = 0;
};

}  // namespace eb::com::runtime::testing
