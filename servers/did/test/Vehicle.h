#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/proxy/Rport.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/log/Memory_target.h"
#include "registry/Runnable.h"
#include "servers/did/test/Identifiers.h"
#include "servers/did/test/Probe.h"
#include "tests/support/Connector.h"

namespace did_test {

constexpr unsigned short CANCEL = 0;
constexpr unsigned short READ = 1;
constexpr int REQUEST = 2349;
constexpr int RESPONSE = 2350;

/// A call through the platform, under way or answered.
class Call {
public:
    void answer(eb::com::runtime::Call_result const& result);
    bool answered() const;
    int answers() const;
    /// Waits for the answer, some seconds at most.
    bool await() const;
    int returnCode() const;
    Bytes payload() const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    int m_answers = 0;  // guarded by m_mutex, as what follows
    eb::com::runtime::Call_result m_result;
};

/// The whole library in this process with a fake Java side and clients of the platform: the bridge and the
/// registry with their own tables, registered and unregistered by each test.
class Vehicle : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    void registerJava() { ASSERT_EQ(java.registerListener(), 0); }
    void unregisterJava() { EXPECT_EQ(java.unregister(), 0); }

    /// The live component that serves the identifier.
    zvg::val::diag_ara::services::Runnable& component(Identifier const& id);
    std::unique_ptr<Probe> probe(Identifier const& id) { return makeProbe(id.number, &component(id)); }

    /// Java's answer, through the bridge to all fourteen servers.
    void write(Bytes const& payload) { EXPECT_EQ(java.write(RESPONSE, payload), 0); }
    /// The answer to one server only.
    zvg::val::eValStatus respond(Identifier const& id, Bytes const& payload, int msgId = RESPONSE) {
        return deliver(component(id), msgId, payload);
    }

    /// Calls a method with a request map (as bytes), from the client's side of the platform.
    std::shared_ptr<Call> call(Identifier const& id, unsigned short method, Bytes request = {0, 0, 0, 0},
                               std::function<void()> onAnswer = {});

    /// Waits until Java has had `count` requests in all.
    bool awaitRequests(std::size_t count) { return jvm.awaitMessages(count); }

    /// Lines of the library's log since the last look whose source begins with that.
    struct Line {
        ara::log::LogLevel level;
        std::string function;
        std::string text;
        bool operator==(Line const&) const = default;
    };
    std::vector<Line> linesOf(std::string const& source);
    std::vector<Line> linesOf(Identifier const& id) { return linesOf(id.logName + "::methods::Server<"); }

    ara::log::Capture log;
    fake::Jvm jvm;
    fake::Connector java{jvm};

private:
    std::mutex m_mutex;
    // The clients' ends, kept to the end of the test as calls end with them. Guarded by m_mutex.
    std::map<std::string, std::unique_ptr<ac::com::cpp_binding::proxy::Rport>> m_ports;
};

}  // namespace did_test
