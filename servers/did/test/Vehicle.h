#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "servers/did/test/Identifiers.h"
#include "servers/did/test/Probe.h"
#include "servers/test/Vehicle.h"

namespace did_test {

using server_test::Call;
using server_test::deliver;

constexpr unsigned short CANCEL = 0;
constexpr unsigned short READ = 1;
constexpr int REQUEST = 2349;
constexpr int RESPONSE = 2350;
constexpr ara::log::LogLevel DETAIL = ara::log::LogLevel::kInfo;  // detail leaves as information

/// The library in this process, as its data identifiers' clients and Java see it.
class Vehicle : public server_test::Vehicle {
protected:
    /// The live component that serves the identifier.
    zvg::val::diag_ara::services::Runnable& component(Identifier const& id) {
        return server_test::Vehicle::component(id.component);
    }
    std::unique_ptr<Probe> probe(Identifier const& id) { return makeProbe(id.number, &component(id)); }

    /// Java's answer, through the bridge to all fourteen servers.
    void write(Bytes const& payload) { EXPECT_EQ(java.write(RESPONSE, payload), 0); }
    /// The answer to one server only.
    zvg::val::eValStatus respond(Identifier const& id, Bytes const& payload, int msgId = RESPONSE) {
        return deliver(component(id), msgId, payload);
    }

    std::shared_ptr<Call> call(Identifier const& id, unsigned short method, Bytes request = {0, 0, 0, 0},
                               std::function<void()> onAnswer = {}) {
        return server_test::Vehicle::call(id.interface, method, std::move(request), std::move(onAnswer));
    }

    using server_test::Vehicle::linesOf;
    std::vector<Line> linesOf(Identifier const& id) { return linesOf(id.logName + "::methods::Server<"); }
};

}  // namespace did_test
