// The four routines as their clients and Java know them: what the tests hold the servers to.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "servers/test/Vehicle.h"
#include "tests/support/Patience.h"

namespace routine_test {

using server_test::Bytes;
using server_test::Call;
using server_test::deliver;
using server_test::hex;

using test::PATIENCE;

/// The methods, by their numbers on the client's side.
enum Method : unsigned short { CANCEL = 0, REQUEST_RESULTS = 1, START = 2, STOP = 3 };
constexpr Method METHODS[] = {START, STOP, REQUEST_RESULTS, CANCEL};

/// The control parameter that a method asks Java with.
std::uint8_t control(Method method);

constexpr int REQUEST = 665;
constexpr int RESPONSE = 666;

struct Routine {
    std::string component;  ///< its key in the registry
    std::uint32_t id;       ///< its number in the messages
    std::string interface;  ///< the full name of its service
    std::string word;       ///< begins each line of its server's log
    std::string name;       ///< begins each line of its handlers' log
};
std::vector<Routine> const& routines();
void PrintTo(Routine const& value, std::ostream* stream);

/// A message to or from Java without its data.
struct Ids {
    std::uint32_t routine;
    std::uint32_t transaction;
    std::uint8_t control;
    bool operator==(Ids const&) const = default;
};

/// The payload of Java's response.
Bytes response(Ids const& ids, std::uint8_t status = 0, std::uint32_t result = 0, Bytes const& data = {});

/// How responses look in the log.
std::string responseText(Ids const& ids, unsigned status = 0, unsigned result = 0);
/// How a handler names itself in the log.
std::string handlerText(Ids const& ids);

/// How long the servers of this process wait for Java from now on; zero: as they would by themselves. Only
/// in tests that are linked with ShortWait.cpp.
extern std::atomic<std::chrono::milliseconds::rep> waitMilliseconds;

/// Whether the condition comes true before long.
bool eventually(std::function<bool()> const& condition);

/// The library in this process, as its routines' clients and Java see it.
class Vehicle : public server_test::Vehicle {
protected:
    void SetUp() override;
    void TearDown() override;

    using server_test::Vehicle::component;
    zvg::val::diag_ara::services::Runnable& component(Routine const& routine) {
        return component(routine.component);
    }

    using server_test::Vehicle::call;
    std::shared_ptr<Call> call(Routine const& routine, Method method, Bytes request = {0, 0, 0, 0},
                               std::function<void()> onAnswer = {}) {
        return call(routine.interface, method, std::move(request), std::move(onAnswer));
    }

    /// The requests that Java has got since the test began.
    std::vector<Ids> requests() const;
    /// Waits until that many have come, and gives the last. Fails the test if they don't.
    Ids awaitRequest(std::size_t count);

    /// Java's answer, through the bridge to all four servers.
    void write(Bytes const& payload) { EXPECT_EQ(java.write(RESPONSE, payload), 0); }
    /// The answer to one server only.
    zvg::val::eValStatus respond(Routine const& routine, Bytes const& payload, int msgId = RESPONSE) {
        return deliver(component(routine), msgId, payload);
    }

    using server_test::Vehicle::linesOf;
    std::vector<Line> linesOf(Routine const& routine) { return linesOf(routine.word + "::methods::Server<"); }

    /// Called for each request, on the sending thread. Set before the first.
    std::function<void(Ids const&)> onRequest;

private:
    mutable std::mutex m_requestsMutex;
    mutable std::condition_variable m_arrived;
    std::vector<Ids> m_requests;  // guarded by m_requestsMutex
};

}  // namespace routine_test
