// Directories that discover each other over a network and a clock that the test commands.
#include "platform/com/discovery/Sd_directory_test.h"

#include <atomic>
#include <set>

namespace eb::com::runtime {
namespace {

using namespace testing;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST_F(Sd_directory_test, OfferIsFoundByWhoStartedBefore) {
    Process client(m_clock, m_network);
    auto const wanted = client.directory().want(client.row(0));
    pass(seconds(2));
    EXPECT_EQ(client.where(0), "nowhere");
    Process server(m_clock, m_network);
    server.offer(0);
    EXPECT_EQ(server.where(0), "tcp 127.0.0.1:30509") << "its own, at once";
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
    Process server(m_clock, m_network, apart(1));
    Process client(m_clock, m_network, apart(2));
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
    Process server(m_clock, m_network, apart(1));
    Process client(m_clock, m_network, apart(2));
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

TEST_F(Sd_directory_test, SecondOfferOfAFoundInstanceIsNoNewsForSearches) {
    Process server(m_clock, m_network);
    Process both(m_clock, m_network);
    server.offer(0);
    meet();
    std::atomic<int> told{0};
    auto const search = both.directory().subscribe({"test::A"}, {"1"}, [&](auto const& handles) {
        EXPECT_EQ(handles.size(), 1U);
        ++told;
    });
    both.offer(0);
    meet();
    both.withdraw(0);
    pass(seconds(2));
    both.notices();  // all that was posted before has been told
    EXPECT_EQ(told, 1);
    EXPECT_EQ(both.where(0), "tcp 127.0.0.1:30509");
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
    server.answer = Subscribe_result::tooMany;
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
    Process server(m_clock, m_network, apart(1));
    Process client(m_clock, m_network, apart(2));
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

TEST_F(Sd_directory_test, AsManyProcessesAsWantedShareAnAddress) {
    std::vector<std::unique_ptr<Process>> processes;
    for (int count = 0; count < 20; ++count)
        processes.push_back(std::make_unique<Process>(m_clock, m_network));
    processes[19]->offer(0);
    meet();
    std::set<std::string> identities;
    for (auto const& process : processes) {
        auto const report = process->report();
        identities.insert(report.sd_identity);
        EXPECT_EQ(report.sd_address, "127.0.0.1:30490");
        EXPECT_EQ(report.sd_role, process == processes.front() ? "speaker" : "member");
        EXPECT_EQ(report.peers.size(), 19U);
        EXPECT_EQ(process->where(0), "tcp 127.0.0.1:30509");
    }
    EXPECT_EQ(identities.size(), 20U);
    EXPECT_EQ(*identities.begin(), "127.0.0.1:30491");
}

}  // namespace
}  // namespace eb::com::runtime
