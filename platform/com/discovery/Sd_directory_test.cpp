// Directories that discover each other over a network and a clock that the test commands.
#include "platform/com/discovery/Sd_directory.h"

#include <gtest/gtest.h>

#include <ac/com/Exceptions.h>

#include "platform/com/deployment/Manifest.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Fake_network.h"
#include "platform/com/testing/Fake_peer.h"

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// Two services with an eventgroup each and a third without, and settings of discovery.
Deployment deployment(std::string const& discovery = "{}", std::string const& major = "2") {
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

/// The runtime around a directory, as far as the directory sees it.
class Process : Directory_listener, Eventgroups {
public:
    Process(Fake_clock& clock, Fake_network& network, Deployment manifest = deployment())
        : m_deployment(std::move(manifest)),
          m_loop(std::make_shared<Loop>()),
          m_clock(clock.of(m_loop)),
          m_network(network.host(0x7F000001, m_loop)),
          m_answers(std::make_shared<Answers>()),
          m_notices(m_answers),
          m_directory(m_deployment, m_loop, *m_clock, *m_network, m_answers, m_notices) {
        m_watch = m_notices.watch([this](Runtime_notice const& notice) {
            std::lock_guard lock(m_mutex);
            m_told.push_back(notice);
        });
        try {
            m_loop->run([this] { m_directory.start(*this, *this); });
        } catch (...) {
            end();
            throw;
        }
    }
    ~Process() override { end(); }

    /// Ends with a goodbye.
    void end() {
        m_loop->end([this] { m_directory.end(); });
        m_answers->end(seconds(10));
    }

    Service_deployment const& row(std::size_t index) const { return m_deployment.services[index]; }
    void with(std::function<void(Directory&)> const& task) {
        m_loop->run([&] { task(m_directory); });
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
    void subscribe(std::size_t index, std::uint16_t eventgroup = 7) {
        with([&](Directory& directory) {
            directory.subscribe(row(index), eventgroup, {row(index).endpoint.transport, {0x7F000001, 5555}});
        });
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
    Directory& directory() { return m_directory; }

    Subscribe_result answer = Subscribe_result::accepted;  // of the publisher

private:
    void locationChanged(Service_deployment const&) override {}
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
    Sd_directory m_directory;
    std::vector<std::string> m_events;  // io thread
    std::mutex m_mutex;
    std::vector<Runtime_notice> m_told;  // guarded by m_mutex
    std::shared_ptr<Subscription_handle> m_watch;
};

class Sd_directory_test : public ::testing::Test {
protected:
    using Texts = std::vector<std::string>;

    void pass(milliseconds time) { m_clock.advance(time); }
    /// Until all that is due at once, and what one datagram and its answer need, has happened.
    void meet() { pass(milliseconds(30)); }

    Fake_clock m_clock;
    Fake_network m_network{m_clock, 1};
};

TEST_F(Sd_directory_test, OfferIsFoundByWhoStartedBefore) {
    Process client(m_clock, m_network);
    auto const wanted = client.directory().want(client.row(0));
    pass(seconds(2));
    Process server(m_clock, m_network);
    server.offer(0);
    EXPECT_EQ(server.where(0), "tcp 127.0.0.1:30509") << "its own, at once";
    EXPECT_EQ(client.where(0), "nowhere");
    meet();
    EXPECT_EQ(client.where(0), "tcp 127.0.0.1:30509");
    EXPECT_EQ(client.where(1), "nowhere");
}

TEST_F(Sd_directory_test, OfferIsFoundByWhoStartsLater) {
    Process server(m_clock, m_network);
    server.offer(0);
    server.offer(2);
    pass(seconds(60));
    Process client(m_clock, m_network);
    pass(milliseconds(5));
    auto const wanted = client.directory().want(client.row(2));
    meet();
    EXPECT_EQ(client.where(2), "udp 127.0.0.1:30509");
    EXPECT_EQ(client.where(0), "tcp 127.0.0.1:30509") << "whoever is new is told of all";
}

TEST_F(Sd_directory_test, FoundServiceStaysFoundAndAWithdrawnOneGoesAtOnce) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    auto const wanted = client.directory().want(client.row(0));
    server.offer(0);
    for (int count = 0; count < 300; ++count) {
        pass(seconds(1));
        ASSERT_EQ(client.where(0), "tcp 127.0.0.1:30509") << "after " << count << " s";
    }
    server.withdraw(0);
    pass(milliseconds(1));
    EXPECT_EQ(client.where(0), "nowhere");
    EXPECT_EQ(client.notices(),
              (Texts{"0 test::A tcp 127.0.0.1:30509 offer", "1 test::A tcp 127.0.0.1:30509 withdrawn"}));
}

TEST_F(Sd_directory_test, EndOfTheRuntimeWithdrawsAll) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    server.offer(0);
    server.offer(2);
    meet();
    ASSERT_EQ(client.where(2), "udp 127.0.0.1:30509");
    server.end();
    pass(milliseconds(1));
    EXPECT_EQ(client.where(0), "nowhere");
    EXPECT_EQ(client.where(2), "nowhere");
}

TEST_F(Sd_directory_test, OffersOfASilentProcessRunOut) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    auto const wanted = client.directory().want(client.row(0));
    server.offer(0);
    meet();
    Faults nothing;
    nothing.drop = 1;
    m_network.set(nothing);
    pass(milliseconds(4900));
    EXPECT_EQ(client.where(0), "tcp 127.0.0.1:30509");
    pass(milliseconds(600));
    EXPECT_EQ(client.where(0), "nowhere");
    EXPECT_EQ(client.notices().back(), "1 test::A tcp 127.0.0.1:30509 ran out");
    m_network.set({});
    pass(seconds(1));
    EXPECT_EQ(client.where(0), "tcp 127.0.0.1:30509");
}

TEST_F(Sd_directory_test, EveryThirdDatagramLostLosesNoService) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    Faults faults;
    faults.drop = 0.3;
    faults.duplicate = 0.1;
    faults.reorder = 0.1;
    m_network.set(faults);
    auto const wanted = client.directory().want(client.row(0));
    server.offer(0);
    pass(seconds(2));
    for (int count = 0; count < 600; ++count) {
        pass(seconds(1));
        ASSERT_EQ(client.where(0), "tcp 127.0.0.1:30509") << "after " << count << " s";
    }
}

TEST_F(Sd_directory_test, OtherMajorVersionIsNotTaken) {
    Process server(m_clock, m_network, deployment("{}", "3"));
    Process client(m_clock, m_network);
    server.offer(0);
    meet();
    EXPECT_EQ(client.where(0), "nowhere");
    EXPECT_GT(client.report().sd_ignored, 0U);
}

TEST_F(Sd_directory_test, SearchesAreToldOfEachChange) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    std::mutex mutex;
    std::vector<std::size_t> sizes;
    auto const search = client.directory().subscribe({"test::A"}, {"*"}, [&](auto const& handles) {
        std::lock_guard lock(mutex);
        sizes.push_back(handles.size());
    });
    pass(milliseconds(1));
    server.offer(0);
    meet();
    server.offer(1);
    meet();
    server.withdraw(0);
    meet();
    client.notices();  // all that was posted before has been told
    std::lock_guard lock(mutex);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{0, 1, 2, 1}));
}

TEST_F(Sd_directory_test, OwnOfferIsFoundAtOnce) {
    Process process(m_clock, m_network);
    Mailbox<std::size_t> found;
    process.offer(1);
    auto const search = process.directory().subscribe(
        {"test::A"}, {"*"}, [&](auto const& handles) { found.put(handles.size()); });
    EXPECT_EQ(found.take(), 1U);
    EXPECT_EQ(process.report().instances[1].endpoint, "local");
}

TEST_F(Sd_directory_test, SubscriptionIsAcknowledgedRenewedAndEnds) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    server.offer(0);
    meet();
    client.subscribe(0);
    meet();
    EXPECT_EQ(client.events(), Texts{"state 2"});
    EXPECT_EQ(server.events(), Texts{"initial to tcp 127.0.0.1:5555"});
    pass(seconds(60));
    EXPECT_EQ(client.events(), Texts{});
    EXPECT_EQ(server.events(), Texts{});
    client.unsubscribe(0);
    meet();
    EXPECT_EQ(server.events(), Texts{"without tcp 127.0.0.1:5555"});
    pass(seconds(60));
    EXPECT_EQ(server.events(), Texts{});
}

TEST_F(Sd_directory_test, SubscriptionWaitsForTheInstance) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    client.subscribe(2);
    pass(seconds(10));
    EXPECT_EQ(client.events(), Texts{});
    server.offer(2);
    meet();
    EXPECT_EQ(client.events(), Texts{"state 2"});
}

TEST_F(Sd_directory_test, UnknownEventgroupIsRefusedAndAskedForAgain) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    server.offer(0);
    meet();
    client.subscribe(0, 8);
    meet();
    EXPECT_EQ(client.events(), Texts{"state 0"});
    EXPECT_EQ(server.events(), Texts{});
    auto const sent = client.report().sd_sent;
    pass(seconds(60));
    EXPECT_GT(client.report().sd_sent, sent + 5);
    EXPECT_EQ(client.events(), Texts{});
}

TEST_F(Sd_directory_test, RefusedSubscriptionSucceedsLater) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    server.answer = Subscribe_result::noConnection;
    server.offer(0);
    meet();
    client.subscribe(0);
    meet();
    EXPECT_EQ(client.events(), Texts{"state 0"});
    server.answer = Subscribe_result::accepted;
    pass(seconds(1));
    EXPECT_EQ(client.events(), Texts{"state 2"});
}

TEST_F(Sd_directory_test, SubscriberThatFellSilentIsForgotten) {
    Process server(m_clock, m_network);
    Process client(m_clock, m_network);
    server.offer(0);
    meet();
    client.subscribe(0);
    meet();
    client.events();
    Faults nothing;
    nothing.drop = 1;
    m_network.set(nothing);
    pass(milliseconds(5600));
    EXPECT_EQ(server.events(), (Texts{"initial to tcp 127.0.0.1:5555", "without tcp 127.0.0.1:5555"}));
    m_network.set({});
    pass(seconds(2));
    EXPECT_EQ(client.events(), Texts{"state 2"}) << "asked anew";
    EXPECT_EQ(server.events(), Texts{"initial to tcp 127.0.0.1:5555"});
}

TEST_F(Sd_directory_test, SeventeenthProcessIsToldWhatToDo) {
    std::vector<std::unique_ptr<Process>> processes;
    for (int count = 0; count < 16; ++count)
        processes.push_back(std::make_unique<Process>(m_clock, m_network));
    EXPECT_EQ(processes.back()->report().sd_address, "127.0.0.1:30505");
    try {
        Process const another(m_clock, m_network);
        FAIL();
    } catch (ac::com::Invalid_argument_exception const& exception) {
        EXPECT_EQ(
            std::string(exception.what()),
            "test.json: discovery.ports: all of udp 127.0.0.1:30490-30505 are in use; end processes that "
            "aren't needed, or give all of them a larger discovery.ports.count");
    }
    processes.pop_back();
    EXPECT_EQ(Process(m_clock, m_network).report().sd_address, "127.0.0.1:30505");
}

}  // namespace
}  // namespace eb::com::runtime
