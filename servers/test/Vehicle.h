// The whole library in one process, for tests of its servers.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/proxy/Rport.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/ValStatus.h"
#include "platform/log/Memory_target.h"
#include "registry/Runnable.h"
#include "servers/test/Bytes.h"
#include "tests/support/Connector.h"

namespace server_test {

/// Hands a message to a component, as the bridge does: exactly these bytes can be read.
zvg::val::eValStatus deliver(zvg::val::diag_ara::services::Runnable& component, int msgId,
                             Bytes const& payload);

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

/// A line of the library's log.
struct Line {
    ara::log::LogLevel level;
    std::string function;
    std::string text;
    bool operator==(Line const&) const = default;
};

/// The whole library in this process with a fake Java side and clients of the platform: the bridge and the
/// registry with their own tables, registered and unregistered by each test.
class Vehicle : public ::testing::Test {
protected:
    using Line = server_test::Line;

    void SetUp() override;
    void TearDown() override;

    void registerJava() { ASSERT_EQ(java.registerListener(), 0); }
    void unregisterJava() { EXPECT_EQ(java.unregister(), 0); }

    /// The live component of that key in the registry.
    zvg::val::diag_ara::services::Runnable& component(std::string const& key);

    /// Calls a method of an interface's instance 1, version 2.0, with a request map (as bytes), from the
    /// client's side of the platform.
    std::shared_ptr<Call> call(std::string const& interface, unsigned short method,
                               Bytes request = {0, 0, 0, 0}, std::function<void()> onAnswer = {});

    /// Waits until Java has had `count` requests in all.
    bool awaitRequests(std::size_t count) { return jvm.awaitMessages(count); }

    /// Lines of the library's log since the last look whose source begins with that.
    std::vector<Line> linesOf(std::string const& source);

    ara::log::Capture log;
    fake::Jvm jvm;
    fake::Connector java{jvm};

private:
    std::mutex m_mutex;
    // The clients' ends, kept to the end of the test as calls end with them. Guarded by m_mutex.
    std::map<std::string, std::unique_ptr<ac::com::cpp_binding::proxy::Rport>> m_ports;
};

}  // namespace server_test
