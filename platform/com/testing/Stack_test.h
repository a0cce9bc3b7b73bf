#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <vector>

#include "platform/com/runtime/Counters.h"
#include "platform/com/testing/Await.h"
#include "platform/com/testing/Fake_process.h"

namespace eb::com::runtime::testing {

constexpr std::uint32_t SERVER = 0x7F000001;
constexpr std::uint32_t CLIENT = 0x7F000002;
constexpr std::uint32_t OTHER = 0x7F000003;
inline std::chrono::milliseconds const CYCLE = Discovery{}.cyclic;

/// Three processes, one of which may offer the services; afterwards nothing of them is left.
class Stack_test : public ::testing::Test {
protected:
    /// `everybody` takes part in discovery; services are where the manifest says if that is nobody.
    explicit Stack_test(std::vector<std::uint32_t> everybody) : m_everybody(std::move(everybody)) {}
    ~Stack_test() override {
        m_client.reset();
        m_other.reset();
        m_server.reset();
        for (auto const* const counter :
             {&counters().calls, &counters().sessions, &counters().links, &counters().connections,
              &counters().subscriptions, &counters().subscribers, &counters().reassemblies})
            EXPECT_TRUE(eventually([counter] { return *counter == 0; })) << *counter << " are left";
        EXPECT_EQ(m_network.openPorts(), 0U);
        EXPECT_EQ(m_network.streams(), 0U);
    }

    std::unique_ptr<Fake_process> start(std::uint32_t ip) {
        return std::make_unique<Fake_process>(m_clock, m_network, ip,
                                              fakeDeployment(ip, SERVER, m_everybody));
    }
    /// Ends a process as the operating system does after a kill: it says goodbye to nobody.
    void kill(std::unique_ptr<Fake_process>& process, std::uint32_t ip) {
        for (std::uint32_t const other : {SERVER, CLIENT, OTHER})
            if (other != ip) m_network.partition(ip, other);
        process.reset();
        m_network.heal();
        m_clock.settle();
    }

    std::vector<std::uint32_t> const m_everybody;
    std::uint64_t const m_seed = seedOfThisTest();
    Fake_clock m_clock{m_seed};
    Fake_network m_network{m_clock, m_seed};
    std::unique_ptr<Fake_process> m_server = start(SERVER);
    std::unique_ptr<Fake_process> m_client = start(CLIENT);
    std::unique_ptr<Fake_process> m_other = start(OTHER);
};

}  // namespace eb::com::runtime::testing
