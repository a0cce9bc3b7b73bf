#pragma once

#include <gtest/gtest.h>

#include "platform/com/deployment/Manifest.h"
#include "platform/com/discovery/Sd_directory.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Fake_network.h"

namespace eb::com::runtime::testing {

/// Two services with an eventgroup each and a third without, and settings of discovery.
inline Deployment deployment(std::string const& discovery = "{}", std::string const& major = "2") {
    return parseManifest(R"({"discovery": )" + discovery + R"(, "defaults": {
        "instance": "1", "instance_id": 1, "version": {"major": )" +
                             major + R"(, "minor": 0},
        "methods": [{"name": "Read", "id": 1}], "events": [{"name": "Value", "id": "0x8001", "eventgroup": 7}],
        "endpoint": {"transport": "tcp", "address": "127.0.0.1", "port": 30509}},
      "services": [
        {"interface": "test::A", "service_id": "0x1001"},
        {"interface": "test::A", "instance": "2", "instance_id": 2, "service_id": "0x1001", "endpoint": {"port": 30510}},
        {"interface": "test::B", "service_id": "0x1002", "endpoint": {"transport": "udp"}}]})",
                         "test.json");
}

/// The same at 127.0.0.1 or 127.0.0.2, whose processes hear each other by the network only.
inline Deployment apart(int host) {
    std::string const own = "127.0.0." + std::to_string(host);
    return deployment(R"({"address": ")" + own + R"(", "peers": ["127.0.0.)" + std::to_string(3 - host) +
                      "\"]}");
}

/// The runtime around a directory, as far as the directory sees it.
class Process : Directory_listener, Eventgroups {
public:
    Process(Fake_clock& clock, Fake_network& network, Deployment manifest = deployment(),
            std::size_t sendQueueBytes = Limits{}.sendQueueBytes)
        : m_deployment(std::move(manifest)),
          m_loop(std::make_shared<Loop>()),
          m_clock(clock.of(m_loop)),
          m_network(network.host(m_deployment.discovery.ports.ip, m_loop, sendQueueBytes)),
          m_answers(std::make_shared<Answers>()),
          m_notices(m_answers),
          m_directory(std::make_unique<Sd_directory>(m_deployment, m_loop, *m_clock, *m_network, m_answers,
                                                     m_notices)) {
        m_watch = m_notices.watch([this](Runtime_notice const& notice) {
            std::lock_guard lock(m_mutex);
            m_told.push_back(notice);
        });
        try {
            m_loop->run([this] { m_directory->start(*this, *this); });
        } catch (...) {
            end();
            throw;
        }
    }
    ~Process() override { end(); }

    /// Ends with a goodbye.
    void end() {
        m_loop->end([this] {
            if (m_directory) m_directory->end();
        });
        m_answers->end(std::chrono::seconds(10));
    }
    /// Ends as the operating system lets a killed process end: without a word.
    void kill() {
        m_loop->end([this] { m_directory.reset(); });
    }

    Service_deployment const& row(std::size_t index) const { return m_deployment.services[index]; }
    void with(std::function<void(Directory&)> const& task) {
        m_loop->run([&] { task(*m_directory); });
    }
    void offer(std::size_t index) {
        with([&](Directory& directory) { directory.offered(row(index)); });
    }
    void withdraw(std::size_t index) {
        with([&](Directory& directory) { directory.withdrawn(row(index)); });
    }
    std::string where(std::size_t index) {
        std::optional<Endpoint> endpoint;
        with([&](Directory& directory) { endpoint = directory.locate(row(index)); });
        return endpoint ? endpoint->text() : "nowhere";
    }
    void subscribe(std::size_t index, std::uint16_t eventgroup = 7, std::uint16_t port = 5555) {
        with([&](Directory& directory) {
            directory.subscribe(row(index), eventgroup, {row(index).endpoint.transport, {0x7F000001, port}});
        });
    }
    /// A connection of `peer` to the instance is accepted.
    void connect(std::size_t index, Address const& peer) {
        with([&](Directory& directory) { directory.connected(row(index).endpoint, peer); });
    }
    void unsubscribe(std::size_t index, std::uint16_t eventgroup = 7) {
        with([&](Directory& directory) { directory.unsubscribe(row(index), eventgroup); });
    }
    Runtime_report report() {
        Runtime_report report;
        report.instances.resize(m_deployment.services.size());
        for (auto& instance : report.instances) instance.events.push_back({"Value", 0x8001, 7, 0, ""});
        with([&](Directory& directory) { directory.report(report); });
        return report;
    }
    /// What happened since the last call: states of subscriptions, and what the publisher heard.
    std::vector<std::string> events() {
        std::vector<std::string> events;
        m_loop->run([&] { events.swap(m_events); });
        return events;
    }
    std::vector<std::string> notices() {
        Mailbox<bool> all;
        m_answers->post([&] { all.put(true); });
        all.take();
        std::lock_guard lock(m_mutex);
        std::vector<std::string> texts;
        for (auto const& notice : std::exchange(m_told, {}))
            texts.push_back(std::to_string(int(notice.kind)) + " " + notice.service.value + " " +
                            notice.where + " " + notice.reason);
        return texts;
    }
    Directory& directory() { return *m_directory; }

    Subscribe_result answer = Subscribe_result::accepted;  // of the publisher

private:
    void locationChanged(Service_deployment const&) override {}
    void heardAt(Endpoint const&) override {}
    void subscriptionChanged(Service_deployment const&, std::uint16_t, Event_state state) override {
        m_events.push_back("state " + std::to_string(int(state)));
    }
    Subscribe_result subscribe(Service_deployment const&, std::uint16_t eventgroup,
                               Endpoint const&) override {
        return eventgroup == 7 ? answer : Subscribe_result::noEventgroup;
    }
    void sendInitial(Service_deployment const&, std::uint16_t, Endpoint const& to) override {
        m_events.push_back("initial to " + to.text());
    }
    void unsubscribe(Service_deployment const&, std::uint16_t, Endpoint const& from) override {
        m_events.push_back("without " + from.text());
    }
    std::size_t subscribers(Service_deployment const&, std::uint16_t) const override { return 0; }

    Deployment const m_deployment;
    std::shared_ptr<Loop> const m_loop;
    std::unique_ptr<Clock> const m_clock;
    std::unique_ptr<someip::Network> const m_network;
    std::shared_ptr<Answers> const m_answers;
    Notices m_notices;
    std::unique_ptr<Sd_directory> m_directory;
    std::vector<std::string> m_events;  // io thread
    std::mutex m_mutex;
    std::vector<Runtime_notice> m_told;  // guarded by m_mutex
    std::shared_ptr<Service_finder::Subscription_handle> m_watch;
};

class Sd_directory_test : public ::testing::Test {
protected:
    using Texts = std::vector<std::string>;

    void pass(std::chrono::milliseconds time) { m_clock.advance(time); }
    /// Until all that is due at once, and what one datagram and its answer need, has happened.
    void meet() { pass(std::chrono::milliseconds(30)); }

    Fake_clock m_clock;
    Fake_network m_network{m_clock, 1};
};

}  // namespace eb::com::runtime::testing
