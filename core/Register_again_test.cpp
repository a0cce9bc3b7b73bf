// A register that fails because a component throws, and the next one.

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>

#include "tests/support/Allocations.h"
#include "tests/support/ConnectorTest.h"

namespace {

using test::Behaviour;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using zvg::val::eValNotReady;
using zvg::val::eValOk;
using zvg::val::eValStatus;
using zvg::val::diag_ara::DiagAraService;
using zvg::val::diag_ara::services::Diag_Ara_Components;

constexpr char const* REGISTER = "Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register";

class RegisterAgain : public test::ConnectorTest {
protected:
    static eValStatus send() {
        tValDiagnosticsrequestIndds record{};
        return DiagAraService::getInstance()->sendMsg(2, &record, PackValDiagnosticsrequestInd, true);
    }

    void expectNothingIsLeft() {
        EXPECT_FALSE(jvm.takeException());
        EXPECT_EQ(jvm.globalRefs(), 0U);
        EXPECT_EQ(components.alive(), 0);
        EXPECT_EQ(send(), eValNotReady);
        EXPECT_EQ(java.write(test::Components::ONLY_C, {1}), -1);
    }

    void expectUp() {
        EXPECT_EQ(jvm.globalRefs(), 2U);
        EXPECT_EQ(components.alive(), 4);
        EXPECT_EQ(send(), eValOk);
        components.forgetEvents();
        EXPECT_EQ(java.write(test::Components::BOTH_A_AND_B, {1}), 0);
        EXPECT_THAT(components.events(), ElementsAre("A::handleMsg(2350, 1)", "B::handleMsg(2350, 1)"));
    }
};

struct Position {
    char const* identifier;
    std::function<void()> Behaviour::*stage;
};

class RegisterFails : public RegisterAgain, public testing::WithParamInterface<Position> {};

TEST_P(RegisterFails, LeavesNothingAndCanSimplyBeTriedAgain) {
    // Given a component that throws
    Behaviour throws;
    throws.*GetParam().stage = [] { throw std::invalid_argument("port 30509 is taken"); };
    components.behave(GetParam().identifier, throws);
    for (int attempt = 0; attempt < 2; ++attempt) {
        // When
        log.clear();
        EXPECT_EQ(java.registerListener(), -1);
        // Then
        EXPECT_THAT(log.errors(), ElementsAre("register: ended by an exception: port 30509 is taken"));
        expectNothingIsLeft();
    }
    // And when it has stopped throwing
    components.reset();
    EXPECT_EQ(java.registerListener(), 0);
    expectUp();
    EXPECT_EQ(java.unregister(), 0);
    EXPECT_EQ(components.alive(), 0);
}

TEST_P(RegisterFails, LeavesNothingForAnUnregisterInBetween) {
    Behaviour throws;
    throws.*GetParam().stage = [] { throw 7; };
    components.behave(GetParam().identifier, throws);
    EXPECT_EQ(java.registerListener(), -1);
    log.clear();
    EXPECT_EQ(java.unregister(), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Native interface wasn't initialized properly."));
    components.reset();
    EXPECT_EQ(java.registerListener(), 0);
    expectUp();
}

std::vector<Position> everyPosition() {
    std::vector<Position> all;
    for (auto const* identifier : {"A", "B", "C", "D"}) {
        for (auto stage : {&Behaviour::create, &Behaviour::init, &Behaviour::start})
            all.push_back({identifier, stage});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(AtEveryPosition, RegisterFails, testing::ValuesIn(everyPosition()));

TEST_F(RegisterAgain, LogsTheReasonThenTheLinesOfTheEnd) {
    components.behave("B", {.start = [] { throw std::runtime_error("no port"); }});
    EXPECT_EQ(java.registerListener(), -1);
    // Then the last lines are these
    auto const lines = log.lines();
    std::vector<std::string> seen;
    auto const failure =
        std::find_if(lines.begin(), lines.end(), [](auto const& line) { return line.level == 2; });
    ASSERT_NE(failure, lines.end());
    EXPECT_EQ(failure->prefix, "");
    EXPECT_EQ(failure->function, REGISTER);
    for (auto line = failure; line != lines.end(); ++line) seen.push_back(line->prefix + line->text);
    EXPECT_THAT(seen, ElementsAre("register: ended by an exception: no port",
                                  "DiagAraService::", "Components::A", "Components::B", "Components::C",
                                  "Components::D", "Components::Shutdown finalized"));
    EXPECT_EQ((failure + 1)->function, "deinit");
}

TEST_F(RegisterAgain, FailsInSilenceWhereLoggingIsOff) {
    components.behave("B", {.start = [] { throw std::runtime_error("no port"); }});
    EXPECT_EQ(java.registerListener(0), -1);
    EXPECT_THAT(log.raw().messages("DIAG"), IsEmpty());
    expectNothingIsLeft();
}

TEST_F(RegisterAgain, FailedOneDoesNotCountAsAGeneration) {
    components.behave("B", {.start = [] { throw std::runtime_error("no port"); }});
    auto const generation = [&] {
        components.forgetEvents();
        EXPECT_EQ(java.registerListener(), 0);
        auto const first = components.events().at(4);
        java.unregister();
        return first;
    };
    components.reset();
    auto const before = generation();
    components.behave("B", {.start = [] { throw std::runtime_error("no port"); }});
    EXPECT_EQ(java.registerListener(), -1);
    components.reset();
    auto const number = [](std::string const& event) { return std::stoi(event.substr(event.find('(') + 1)); };
    EXPECT_EQ(number(generation()), number(before) + 1);
}

/// `java.registerListener()` with one allocation failed; nothing if it takes no more than `failing`.
std::optional<int> registerWithout(long failing, fake::Connector& java) {
    test::Allocations::only_one = true;
    test::Allocations::left = failing;
    int const result = java.registerListener();
    return std::exchange(test::Allocations::left, -1) < 0 ? std::optional(result) : std::nullopt;
}

TEST_F(RegisterAgain, LeavesNothingWhicheverAllocationFails) {
    jvm.env();
    long failing = 0;
    int refused = 0;
    while (auto const result = registerWithout(failing++, java)) {
        SCOPED_TRACE(failing);
        if (*result == 0)
            java.unregister();  // a stream of a line keeps such an exception to itself
        else
            ++refused;
        expectNothingIsLeft();
        log.clear();
        components.forgetEvents();
    }
    EXPECT_GT(refused, 20);
    expectUp();
}

TEST_F(RegisterAgain, LeavesTheRunningBridgeAloneWhicheverAllocationFails) {
    ASSERT_EQ(java.registerListener(), 0);
    long failing = 0;
    while (auto const result = registerWithout(failing++, java)) {
        SCOPED_TRACE(failing);
        ASSERT_EQ(*result, -1);
        jvm.takeException();
        expectUp();
        log.clear();
    }
    EXPECT_GT(failing, 5);
    jvm.takeException();
}

TEST_F(RegisterAgain, ClearsUpBeforeTheNextOneOfAnotherThreadBegins) {
    // Given a component that throws once, when another thread is about to register, too
    std::thread other;
    int otherResult = -2;
    components.behave("D", {.start = [&] {
                          components.reset();
                          other = std::thread([&] {
                              fake::Connector java2(jvm);
                              otherResult = java2.registerListener();
                          });
                          throw std::runtime_error("no port");
                      }});
    // When
    EXPECT_EQ(java.registerListener(), -1);
    other.join();
    // Then
    EXPECT_EQ(otherResult, 0);
    expectUp();
}

TEST_F(RegisterAgain, SucceedsOnceTheRuntimeIsThere) {
    auto runtime = std::move(Diag_Ara_Components::m_runtime_object);
    Diag_Ara_Components::m_runtime_error = "vehicle.json: key 'services' is missing";
    EXPECT_EQ(java.registerListener(), -1);
    EXPECT_THAT(log.errors(),
                ElementsAre("register: ended by an exception: the communication runtime isn't available: "
                            "vehicle.json: key 'services' is missing"));
    expectNothingIsLeft();
    Diag_Ara_Components::m_runtime_object = std::move(runtime);
    EXPECT_EQ(java.registerListener(), 0);
    expectUp();
}

}  // namespace
