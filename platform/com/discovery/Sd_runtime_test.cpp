// Whole runtimes that find each other over real sockets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <iostream>
#include <thread>

#include <ac/com/Exceptions.h>
#include <ac/com/runtime/Component_singleton.h>

#include "binding/adapter/Platform_adapter.h"
#include "platform/com/deployment/Manifest.h"
#include "platform/com/runtime/Process_runtime.h"
#include "platform/com/runtime/Session.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Raw_socket.h"
#include "platform/report/Runtime_report.h"

namespace eb::com::runtime {
namespace {

using namespace testing;

/// Answers each call with its own bytes.
class Echo : public Call_taker {
public:
    void take(unsigned short, ac::com::cpp_binding::skeleton::Reply_function reply,
              Serialized_payload const& payload, std::shared_ptr<Session>) override {
        reply(0, payload);
    }
    void forget(Call_source const&) override {}
};

std::string ipOf(Address const& address) {
    std::string const text = address.text();
    return text.substr(0, text.find(':'));
}

class Sd_runtime_test : public ::testing::Test {
protected:
    std::shared_ptr<Process_runtime> runtime(std::string const& discovery = "{}") const {
        return std::make_shared<Process_runtime>(parseManifest(
            R"({"discovery": )" + discovery + R"(, "services": [{"interface": "test::A", "instance": "1",
                "service_id": 1, "instance_id": 1, "version": {"major": 1, "minor": 0},
                "methods": [{"name": "Echo", "id": 1}],
                "events": [{"name": "Value", "id": "0x8001", "eventgroup": 7, "field": true}],
                "endpoint": {"transport": "tcp", "address": ")" +
                ipOf(m_address) + R"(", "port": )" + std::to_string(m_address.port) + "}}]}",
            "test.json"));
    }
    static std::shared_ptr<Provided_service> offer(std::shared_ptr<Process_runtime> const& runtime) {
        auto service = std::make_shared<Provided_service>(runtime, runtime->deployment().services[0]);
        service->connect(std::make_shared<Echo>());
        runtime->offer(service);
        return service;
    }
    /// Searches, calls what was found, and gives the time from the search to the answer.
    static std::chrono::microseconds callWhenFound(std::shared_ptr<Process_runtime> const& runtime) {
        auto const begin = std::chrono::steady_clock::now();
        auto const& row = runtime->deployment().services[0];
        Mailbox<bool> found;
        Mailbox<Call_result> answered;
        auto const search =
            runtime->directory().subscribe(row.interface, row.instance, [&](auto const& handles) {
                if (!handles.empty()) found.put(true);
            });
        EXPECT_TRUE(found.take());
        auto const port = runtime->connect(row);
        ac::com::cpp_binding::adapter::call(*port, 0, {},
                                            [&](Call_result const& result) { answered.put(result); });
        EXPECT_EQ(answered.take().value_or(Call_result{Call_outcome::cancelled, 0, {}, ""}).outcome,
                  Call_outcome::answered);
        return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                     begin);
    }
    static bool finds(Process_runtime& runtime) { return runtime.report().instances[0].found; }

    Address const m_address = freeAddress();
};

TEST_F(Sd_runtime_test, ServiceIsFoundAndCalledWhicheverRuntimeStartsFirst) {
    auto const client = runtime();
    auto const server = runtime();
    auto const service = offer(server);
    std::cout << "search to answer, offered at the same time: " << callWhenFound(client).count() << " us\n";
    auto const late = runtime();
    std::cout << "search to answer, offered before: " << callWhenFound(late).count() << " us\n";

    auto const report = client->report();
    EXPECT_EQ(report.discovery, "unicast");
    EXPECT_EQ(report.manifest, "test.json");
    EXPECT_EQ(report.sd_address, ipOf(m_address) + ":30490");
    EXPECT_EQ(report.sd_identity, ipOf(m_address) + ":30491");
    EXPECT_EQ(report.sd_role, "speaker");
    EXPECT_EQ(server->report().sd_role, "member");
    EXPECT_EQ(report.sd_targets, std::vector<std::string>{ipOf(m_address) + ":30490-30505"});
    EXPECT_EQ(report.instances[0].endpoint, "tcp " + m_address.text());
    EXPECT_EQ(report.instances[0].offered_by, ipOf(m_address) + ":30492");
    EXPECT_FALSE(report.instances[0].offered);
    EXPECT_TRUE(server->report().instances[0].offered);
    EXPECT_EQ(server->report().instances[0].events.at(0).subscribers, 0U);

    server->withdraw(service);
    EXPECT_TRUE(eventually([&] { return !finds(*client) && !finds(*late); }));
}

TEST_F(Sd_runtime_test, EndOfARuntimeIsNoticedByOthersAndItsPortIsFreeAgain) {
    auto const client = runtime();
    Mailbox<std::string> lost;
    auto const watch = client->notices().watch([&](Runtime_notice const& notice) {
        if (notice.kind == Runtime_notice::Kind::lost) lost.put(notice.reason);
    });
    auto server = runtime();
    offer(server);
    EXPECT_TRUE(eventually([&] { return finds(*client); }));
    server->end();
    EXPECT_THAT(lost.take(), ::testing::AnyOf("withdrawn", "gone"))
        << "its last word, or the end of its link";
    EXPECT_EQ(runtime()->report().sd_identity, ipOf(m_address) + ":30492");
    EXPECT_THROW(server->report(), ac::com::Infrastructure_exception);
}

TEST_F(Sd_runtime_test, AddressOfAnotherMachineIsToldAtTheStart) {
    try {
        runtime(R"({"address": "203.0.113.1"})");
        FAIL();
    } catch (ac::com::Invalid_argument_exception const& exception) {
        EXPECT_EQ(std::string(exception.what()),
                  "test.json: discovery.address: 203.0.113.1:30490 can't be bound: Cannot assign requested "
                  "address; name an address of this machine there, and other machines in discovery.peers");
    }
}

TEST_F(Sd_runtime_test, ProcessesAtTwoAddressesMeetAsPeers) {
    std::string const other = ipOf(freeAddress());
    auto const server = runtime(R"({"ports": {"count": 2}})");
    auto const client = runtime(R"({"address": ")" + other + R"(", "ports": {"count": 2}, "peers": [")" +
                                ipOf(m_address) + "\"]}");
    auto const service = offer(server);
    callWhenFound(client);
    EXPECT_EQ(client->report().sd_address, other + ":30490");
}

TEST_F(Sd_runtime_test, ReportAndWatchAreThoseOfTheProcess) {
    EXPECT_THROW(report(), ac::com::Infrastructure_exception);
    EXPECT_THROW(watch([](auto const&) {}), ac::com::Infrastructure_exception);
    makeRuntimesBy([this] { return runtime(); });
    auto owner = std::make_unique<ac::com::runtime::Component_singleton>(false, "");
    makeRuntimesBy({});
    EXPECT_EQ(report().manifest, "test.json");
    Mailbox<Runtime_notice::Kind> noticed;
    auto watching = watch([&](Runtime_notice const& notice) { noticed.put(notice.kind); });
    auto const service = offer(currentRuntime());
    EXPECT_EQ(noticed.take(), Runtime_notice::Kind::offered);
    currentRuntime()->withdraw(service);
    EXPECT_EQ(noticed.take(), Runtime_notice::Kind::lost);
    watching.reset();
    owner.reset();
    EXPECT_THROW(report(), ac::com::Infrastructure_exception);
}

TEST_F(Sd_runtime_test, StaticModeReportsTheManifestsWord) {
    auto const sut = runtime(R"({"mode": "static"})");
    auto const report = sut->report();
    EXPECT_EQ(report.discovery, "static");
    EXPECT_EQ(report.sd_address, "");
    EXPECT_TRUE(report.instances[0].found);
    EXPECT_EQ(report.instances[0].endpoint, "tcp " + m_address.text());
    Mailbox<Runtime_notice> noticed;
    auto const watch = sut->notices().watch([&](Runtime_notice const& notice) { noticed.put(notice); });
    auto const service = offer(sut);
    EXPECT_EQ(noticed.take()->where, "local");
    EXPECT_EQ(sut->report().instances[0].endpoint, "local");
}

/// Brings up the loopback interface of a network namespace, multicast included.
bool makeNetwork() {
    if (::unshare(CLONE_NEWNET) != 0) return false;
    int const socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    std::string const name = "lo";
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    request.ifr_flags = IFF_UP | IFF_LOOPBACK | IFF_RUNNING | IFF_MULTICAST;
    bool const up = ::ioctl(socket, SIOCSIFFLAGS, &request) == 0;
    ::close(socket);
    return up;
}

TEST_F(Sd_runtime_test, MulticastGroupMeetsInANetworkOfItsOwn) {
    bool made = false;
    // The namespace belongs to this thread and to the threads of the runtimes that it makes.
    std::thread network([&] {
        made = makeNetwork();
        if (!made) return;
        auto const client = runtime(R"({"mode": "multicast"})");
        EXPECT_EQ(client->report().sd_targets, std::vector<std::string>{"224.244.224.245:30490"});
        auto const server = runtime(R"({"mode": "multicast"})");
        auto const service = offer(server);
        callWhenFound(client);
        callWhenFound(runtime(R"({"mode": "multicast"})"));
        server->withdraw(service);
        EXPECT_TRUE(eventually([&] { return !finds(*client); }));
        auto const report = client->report();
        EXPECT_FALSE(report.peers.empty());
        for (auto const& peer : report.peers)
            EXPECT_NE(peer.address, report.sd_address) << "its own messages aren't a peer's";
    });
    network.join();
    ASSERT_TRUE(made) << "no network namespace can be made here: it needs root, or user namespaces";
}

}  // namespace
}  // namespace eb::com::runtime
