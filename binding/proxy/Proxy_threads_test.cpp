// Everything that a client may do, done side by side. Worth most under the thread sanitizer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/testing/Fake_port.h"
#include "binding/testing/Hashes.h"
#include "binding/testing/Incidents.h"
#include "binding/testing/Runtime.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

using binding_testing::Bytes;
using binding_testing::eventually;
using binding_testing::Fake_port;
using binding_testing::hashBytes;
using binding_testing::hear;
using binding_testing::Heard;
using Proxy = proxy::DiagnosticDataDistributionProxy;

Proxy::Handle_type const FOUND({{std::string(DiagnosticDataDistribution::NAME)}, {"1"}});
Bytes const VALUE{0, 0, 0, 1, 7, 0, 0, 0, 0};

class Proxy_threads_test : public testing::Test {
protected:
    /// Does something again and again until the test ends.
    template <class Action>
    void meanwhile(Action action) {
        m_threads.emplace_back([this, action] {
            while (!m_stop) {
                action();
            }
        });
    }
    void stop() {
        m_stop = true;
        for (auto& thread : m_threads) {
            thread.join();
        }
        m_threads.clear();
    }

    binding_testing::Fresh_hashes const m_fresh;
    binding_testing::Runtime m_runtime;
    std::shared_ptr<Fake_port> const port = std::make_shared<Fake_port>();

private:
    std::atomic<bool> m_stop{false};
    std::vector<std::thread> m_threads;
};

TEST_F(Proxy_threads_test, SubscriptionsComeAndGoWhileSamplesArrive) {
    Proxy sut(FOUND, port);
    Proxy other(FOUND, port);
    Heard heard, otherHeard;
    hear(sut.dataValuesHash, heard);
    hear(other.dataValuesHash, otherHeard);
    other.dataValuesHash.subscribe(2);
    std::atomic<std::uint32_t> sent{0};
    meanwhile([&] { port->send(hashBytes(++sent)); });
    for (int thread = 0; thread < 2; ++thread) {
        meanwhile([&] { sut.dataValuesHash.subscribe(1); });
        meanwhile([&] {
            sut.dataValuesHash.unsubscribe();
            sut.dataValuesHash.cachedSamples();
        });
    }
    EXPECT_TRUE(eventually([&] { return port->subscriptions() >= 1 && heard.numbers().size() > 200; }));
    stop();
    sut.dataValuesHash.subscribe(1);
    port->send(hashBytes(++sent));
    EXPECT_TRUE(heard.endsWith(sent));
    EXPECT_TRUE(otherHeard.endsWith(sent));
    for (Heard const* const one : {&heard, &otherHeard}) {
        auto const numbers = one->numbers();
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    }
}

TEST_F(Proxy_threads_test, NoHandlerRunsAfterUnsubscribe) {
    Proxy sut(FOUND, port);
    std::atomic<bool> mayRun{false};
    std::atomic<int> runs{0};
    sut.dataValuesHash.setReceiveHandler([&] {
        EXPECT_TRUE(mayRun);
        ++runs;
    });
    std::atomic<std::uint32_t> sent{0};
    meanwhile([&] { port->send(hashBytes(++sent)); });
    for (int round = 0; round < 300; ++round) {
        mayRun = true;
        sut.dataValuesHash.subscribe(1);
        int const before = runs;
        EXPECT_TRUE(eventually([&] { return runs > before; }));
        sut.dataValuesHash.unsubscribe();
        mayRun = false;
    }
    stop();
}

TEST_F(Proxy_threads_test, HandlersAreReplacedWhileStatesChangeAndSamplesArrive) {
    Proxy sut(FOUND, port);
    std::atomic<int> states{0}, samples{0};
    sut.dataValuesHash.subscribe(1);
    meanwhile([&] {
        port->tell(eb::com::runtime::Event_state::pending);
        port->tell(eb::com::runtime::Event_state::subscribed);
        port->send(hashBytes(1));
    });
    for (int thread = 0; thread < 2; ++thread) {
        meanwhile([&] {
            sut.dataValuesHash.setSubscriptionStateHandler([&](auto) { ++states; });
            sut.dataValuesHash.setReceiveHandler([&] { ++samples; });
            sut.dataValuesHash.setSubscriptionStateHandler({});
        });
    }
    meanwhile([&] { sut.dataValuesHash.cachedSamples(); });
    EXPECT_TRUE(eventually([&] { return states > 50 && samples > 50; }));
    stop();
}

TEST_F(Proxy_threads_test, ProxiesComeAndGoWhileSamplesArrive) {
    std::atomic<int> lives{0};
    meanwhile([&] { port->send(hashBytes(1)); });
    for (int thread = 0; thread < 3; ++thread) {
        meanwhile([&] {
            Heard heard;
            Proxy sut(FOUND, port);
            hear(sut.dataValuesHash, heard);
            sut.dataValuesHash.subscribe(1);
            if (lives % 3 == 0) {
                sut.abort();
            }
            ++lives;
        });
    }
    EXPECT_TRUE(eventually([&] { return lives > 500; }));
    stop();
    EXPECT_EQ(port->subscribers(), 0U);
}

TEST_F(Proxy_threads_test, EveryCallEndsOnceThoughAnswersAndAbortsRace) {
    port->onCall = [](Fake_port::Call& call) {
        if (call.request.at(3) == 0) {
            call.reply(0, VALUE);
        }
    };
    std::atomic<int> answered{0}, failed{0}, continued{0};
    for (int round = 0; round < 100; ++round) {
        auto sut = std::make_shared<Proxy>(FOUND, port);
        std::vector<std::thread> clients;
        for (std::uint32_t nameSpace = 0; nameSpace < 3; ++nameSpace) {
            clients.emplace_back([&, sut, nameSpace] {
                for (int i = 0; i < 5; ++i) {
                    auto future = sut->getDiagnosticDataValues(nameSpace % 2, {1});
                    sut->getDiagnosticDataValues(nameSpace % 2, {1}).then([&](auto) { ++continued; });
                    try {
                        future.get();
                        ++answered;
                    } catch (std::exception const&) {  // broken, or not sent any more
                        ++failed;
                    }
                }
            });
        }
        clients.emplace_back([&] {
            if (auto const last = port->lastCall()) {
                last->reply(0, VALUE);
                last->reply(4);
            }
        });
        sut->abort();
        sut.reset();
        for (auto& client : clients) {
            client.join();
        }
    }
    EXPECT_EQ(answered + failed, 100 * 3 * 5);
    EXPECT_EQ(continued, 100 * 3 * 5);
}

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
