// Calls of a proxy, over a port that answers as badly as the test wants.
#include "binding/proxy/Method.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <thread>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/generated/d_b047.h"
#include "binding/testing/Fake_port.h"
#include "binding/testing/Incidents.h"
#include "binding/testing/Payload_checks.h"
#include "binding/testing/Runtime.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

using ara::log::Capture;
using ara::log::LogLevel;
using binding_testing::Bytes;
using binding_testing::expectThrow;
using binding_testing::Fake_port;
using binding_testing::Gate;
using binding_testing::incidentsOf;
using eb::com::runtime::Call_outcome;
using eb::com::runtime::Service_handle;
using Output = DiagnosticDataDistribution::getDiagnosticDataValues::Output;
using Proxy = proxy::DiagnosticDataDistributionProxy;
using TimeInterface = diag::d_b047::DataIdentifier_AuthenticTimeLastClientPackage;

Service_handle const HANDLE{{std::string(DiagnosticDataDistribution::NAME)}, {"1"}};
Bytes const VALUE{0, 0, 0, 2, 0xAB, 0xCD, 0, 0, 0, 0};  // two bytes of data, result code 0
std::string const CALL = R"("2_service_id":{"1_id":"Service_id","string":")" +
                         std::string(DiagnosticDataDistribution::NAME) +
                         R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":2)";

void expectBroken(eb::com::Future<Output>& future) {
    ASSERT_EQ(future.wait_for(binding_testing::PATIENCE), std::future_status::ready);
    try {
        future.get();
        ADD_FAILURE() << "the promise is not broken";
    } catch (std::future_error const& error) {
        EXPECT_EQ(error.code(), std::future_errc::broken_promise);
    }
}

class Method_test : public testing::Test {
protected:
    eb::com::Future<Output> call() { return (*sut).getDiagnosticDataValues(0, {2640}); }

    binding_testing::Runtime m_runtime;
    std::shared_ptr<Fake_port> const port = std::make_shared<Fake_port>();
    std::unique_ptr<Proxy> sut = std::make_unique<Proxy>(Proxy::Handle_type(HANDLE), port);
};

TEST_F(Method_test, RequestHasTheBytesOfItsArguments) {
    call();
    ASSERT_TRUE(port->lastCall());
    EXPECT_EQ(port->lastCall()->method, 2);
    EXPECT_EQ(port->lastCall()->request, (Bytes{0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0x0A, 0x50}));
    (*sut).getDiagnosticData(1, 0x01020304);
    EXPECT_EQ(port->lastCall()->method, 1);
    EXPECT_EQ(port->lastCall()->request, (Bytes{0, 0, 0, 1, 1, 2, 3, 4}));
    (*sut).dataValuesHash.get();
    EXPECT_EQ(port->lastCall()->method, 0);
    EXPECT_TRUE(port->lastCall()->request.empty());
}

TEST_F(Method_test, AnswerCompletesTheFuture) {
    auto future = call();
    EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    port->lastCall()->reply(0, VALUE);
    EXPECT_EQ(future.get(), (Output{{0xAB, 0xCD}, {}}));
}

TEST_F(Method_test, ResultCodeOfTheServiceIsNoFailureOfTheCall) {
    auto future = call();
    port->lastCall()->reply(0, {0, 0, 0, 0, 0, 0, 1, 2});
    EXPECT_EQ(future.get(), (Output{{}, static_cast<datatypes::DT_ResultCodeType>(0x102)}));
}

TEST_F(Method_test, GetterGivesTheFieldsValue) {
    auto future = sut->dataValuesHash.get();
    port->lastCall()->reply(0, {0, 0, 0, 10, 0, 0, 0, 6, 0x20, 0, 0, 0, 0, 7});
    auto const value = future.get();
    ASSERT_EQ(value.size(), 1U);
    EXPECT_EQ(value[0].name_space, 7U);
    EXPECT_EQ(value[0].category, std::nullopt);
}

TEST_F(Method_test, RequestAndAnswerAreToldWithTheirData) {
    Capture const log;
    auto future = call();
    port->lastCall()->reply(0, VALUE);
    EXPECT_THAT(incidentsOf(log, "Method_call_request_tx"),
                testing::ElementsAre(R"({"1_incident":{"1_id":"Method_call_request_tx",)" + CALL +
                                     R"(},"2_data":{"1_type":"generated_type","2_value":[0,[2640]]}})"));
    EXPECT_THAT(incidentsOf(log, "Method_call_response_rx"),
                testing::ElementsAre(R"({"1_incident":{"1_id":"Method_call_response_rx",)" + CALL +
                                     R"(,"5_error_code":0}})"));
}

TEST_F(Method_test, EveryFailureOnTheWayHasItsException) {
    struct Row {
        Call_outcome outcome;
        char const* what;
    };
    for (Row const& row : {Row{Call_outcome::not_available, "Service not available exception"},
                           Row{Call_outcome::transport, "Transport exception"}}) {
        SCOPED_TRACE(row.what);
        auto future = call();
        port->lastCall()->fail(row.outcome);
        if (row.outcome == Call_outcome::transport) {
            expectThrow<ac::com::Transport_exception>([&] { future.get(); }, row.what);
        } else {
            expectThrow<ac::com::Service_not_available_exception>([&] { future.get(); }, row.what);
        }
    }
}

TEST_F(Method_test, CallThatTheRuntimeGivesUpBreaksItsPromise) {
    Capture const log;
    auto future = call();
    port->lastCall()->fail(Call_outcome::cancelled);
    expectBroken(future);
    EXPECT_THAT(incidentsOf(log, "Method_call_request_cancelled"),
                testing::ElementsAre(R"({"1_incident":{"1_id":"Method_call_request_cancelled",)" + CALL +
                                     R"(},"2_data":{"1_what":"said the test"}})"));
    EXPECT_EQ(sut->getDiagnosticDataValues.openCalls(), 0U);
}

TEST_F(Method_test, ReturnCodeThatTheMethodDoesNotHaveIsTold) {
    for (int const code : {1, 2, 4, 0x20, 0x80, 0xFF}) {
        SCOPED_TRACE(code);
        Capture const log;
        auto future = call();
        port->lastCall()->reply(static_cast<unsigned char>(code), VALUE);
        expectThrow<ac::com::Infrastructure_exception>(
            [&] { future.get(); }, std::string(DiagnosticDataDistribution::NAME) +
                                       ": method 2 was answered with return code " + std::to_string(code) +
                                       ", which it doesn't have");
        EXPECT_THAT(incidentsOf(log, "Method_call_response_invalid_code"),
                    testing::ElementsAre(R"({"1_incident":{"1_id":"Method_call_response_invalid_code",)" +
                                         CALL + R"(,"5_error_code":)" + std::to_string(code) + "}}"));
        EXPECT_THAT(incidentsOf(log, "Method_call_response_rx"), testing::IsEmpty());
    }
}

TEST_F(Method_test, AnswerThatCanNotBeReadFailsWithTheReason) {
    struct Row {
        Bytes bytes;
        char const* what;
    };
    for (Row const& row :
         {Row{{}, binding_testing::READ_BEYOND}, Row{{0, 0, 0}, binding_testing::READ_BEYOND},
          Row{{0xFF, 0xFF, 0xFF, 0xFF, 1}, binding_testing::INVALID_END},
          Row{{0, 0, 0, 2, 0xAB, 0xCD, 0, 0, 0}, binding_testing::READ_BEYOND}}) {
        SCOPED_TRACE(testing::PrintToString(row.bytes));
        Capture const log;
        auto future = call();
        port->lastCall()->reply(0, row.bytes);
        expectThrow<std::out_of_range>([&] { future.get(); }, row.what);
        EXPECT_THAT(incidentsOf(log, "Method_call_deserializer_exception"),
                    testing::ElementsAre(R"({"1_incident":{"1_id":"Method_call_deserializer_exception",)" +
                                         CALL + R"(,"5_error_code":0},"2_data":{"1_what":"Exception: )" +
                                         row.what + R"("}})"));
    }
}

TEST_F(Method_test, BytesBehindTheAnswerAreNotLookedAt) {
    auto future = call();
    Bytes longer = VALUE;
    longer.insert(longer.end(), 1000, 0xEE);
    port->lastCall()->reply(0, longer);
    EXPECT_EQ(future.get(), (Output{{0xAB, 0xCD}, {}}));
}

TEST_F(Method_test, SecondAnswerOfOneCallIsDropped) {
    auto future = call();
    auto const twice = port->lastCall();
    twice->reply(0, VALUE);
    twice->reply(0, {});
    twice->reply(4);
    twice->fail(Call_outcome::cancelled);
    EXPECT_EQ(future.get().diagnosticData, (std::vector<std::uint8_t>{0xAB, 0xCD}));
}

TEST_F(Method_test, AnswersMayComeInAnyOrder) {
    auto first = call();
    auto const firstCall = port->lastCall();
    auto second = call();
    port->lastCall()->reply(0, {0, 0, 0, 1, 2, 0, 0, 0, 0});
    firstCall->reply(0, {0, 0, 0, 1, 1, 0, 0, 0, 0});
    EXPECT_EQ(first.get().diagnosticData, std::vector<std::uint8_t>{1});
    EXPECT_EQ(second.get().diagnosticData, std::vector<std::uint8_t>{2});
}

TEST_F(Method_test, AnswerThatComesWhileTheCallIsSentCounts) {
    port->onCall = [](Fake_port::Call& inside) { inside.reply(0, VALUE); };
    auto future = call();
    EXPECT_EQ(future.get().diagnosticData.size(), 2U);
    EXPECT_EQ(sut->getDiagnosticDataValues.openCalls(), 0U);
}

TEST_F(Method_test, PortThatCanNotSendFailsThroughTheFuture) {
    port->onCall = [](Fake_port::Call const&) {
        throw ac::com::Infrastructure_exception("the runtime has ended");
    };
    auto future = call();
    expectThrow<ac::com::Infrastructure_exception>([&] { future.get(); }, "the runtime has ended");
    EXPECT_EQ(sut->getDiagnosticDataValues.openCalls(), 0U);
}

TEST_F(Method_test, PortThatThrowsAfterItsAnswerHasAnswered) {
    port->onCall = [](Fake_port::Call& inside) {
        inside.reply(0, VALUE);
        throw ac::com::Infrastructure_exception("the runtime has ended");
    };
    EXPECT_EQ(call().get().diagnosticData.size(), 2U);
}

TEST_F(Method_test, CallsThatEndLeaveNothingBehind) {
    for (int i = 0; i < 10000; ++i) {
        auto future = call();  // its caller gives up, the runtime does later
        EXPECT_LE(sut->getDiagnosticDataValues.openCalls(), 1U);
        port->lastCall()->fail(Call_outcome::cancelled);
    }
    EXPECT_EQ(sut->getDiagnosticDataValues.openCalls(), 0U);
}

TEST_F(Method_test, AnswerToAFutureThatHasGoneIsDropped) {
    call();
    port->lastCall()->reply(0, VALUE);
    EXPECT_EQ(sut->getDiagnosticDataValues.openCalls(), 0U);
}

TEST_F(Method_test, ProxyThatGoesBreaksThePromisesOfItsCalls) {
    Capture const log;
    auto first = call();
    auto second = sut->getDiagnosticData(0, 1);
    auto const open = port->lastCall();
    sut.reset();
    expectBroken(first);
    expectBroken(second);
    EXPECT_TRUE(open->cancelled);
    EXPECT_EQ(incidentsOf(log, "Method_call_request_cancelled").size(), 2U);
    open->reply(0, VALUE);  // late
}

TEST_F(Method_test, ContinuationRunsWhenTheProxyGoes) {
    bool broken = false;
    call().then([&](eb::com::Future<Output> result) { expectBroken(result), broken = true; });
    sut.reset();
    EXPECT_TRUE(broken);
}

TEST_F(Method_test, AbortWakesAThreadThatWaitsForAnAnswer) {
    Gate waiting;
    eb::com::Future<Output> future;
    std::thread client([&] {
        future = call();
        waiting.open();
        EXPECT_EQ(future.wait_for(binding_testing::PATIENCE), std::future_status::ready);
    });
    EXPECT_TRUE(waiting.wait());
    sut->abort();
    client.join();
    // Here and not in the client: who still reads an exception when its promise goes, the thread sanitizer
    // takes for racing, as it doesn't see how the C++ library counts exceptions' owners.
    expectBroken(future);
    EXPECT_TRUE(port->lastCall()->cancelled);
    EXPECT_EQ(sut->getDiagnosticDataValues.openCalls(), 0U);
}

TEST_F(Method_test, CallAfterAnAbortFailsWithoutBeingSent) {
    sut->abort();
    sut->abort();
    auto future = call();
    expectThrow<ac::com::Service_not_available_exception>([&] { future.get(); },
                                                          "Service not available exception");
    EXPECT_EQ(port->calls(), 0U);
}

TEST_F(Method_test, CallOfAServiceThatIsNotThereHasFailedOnReturnUnsentAndUnlogged) {
    Capture const log;
    port->isLost = true;
    auto future = call();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    expectThrow<ac::com::Service_not_available_exception>([&] { future.get(); },
                                                          "Service not available exception");
    EXPECT_EQ(port->calls(), 0U);
    EXPECT_THAT(incidentsOf(log, "Method_call_request_tx"), testing::IsEmpty());
    EXPECT_EQ(sut->getDiagnosticDataValues.openCalls(), 0U);

    port->isLost = false;
    auto next = call();
    port->lastCall()->reply(0, VALUE);
    EXPECT_NO_THROW(next.get());
}

TEST_F(Method_test, CallAfterAnAbortIsNotLoggedAsSent) {
    Capture const log;
    sut->abort();
    auto future = call();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_THAT(incidentsOf(log, "Method_call_request_tx"), testing::IsEmpty());
}

TEST_F(Method_test, EndpointIsAskedForItsIncidentOnly) {
    {
        Capture const log(LogLevel::kWarn);
        Proxy const quiet(Proxy::Handle_type(HANDLE), port);
        port->endpointsAsked = 0;
        Proxy const another(Proxy::Handle_type(HANDLE), port);
        EXPECT_EQ(port->endpointsAsked, 0);
    }
    Capture const log(LogLevel::kInfo);
    Proxy const reporting(Proxy::Handle_type(HANDLE), port);
    EXPECT_EQ(port->endpointsAsked, 1);
}

TEST_F(Method_test, AbortWhileACallIsBeingSentCancelsIt) {
    port->onCall = [this](Fake_port::Call const&) { sut->abort(); };
    auto future = call();
    expectBroken(future);
    EXPECT_TRUE(port->lastCall()->cancelled);
}

TEST_F(Method_test, AbortFromInsideAContinuationEndsTheOthers) {
    bool ended = false;
    call().then([&](eb::com::Future<Output>) { sut->abort(); });
    auto const first = port->lastCall();
    call().then([&](eb::com::Future<Output> result) { expectBroken(result), ended = true; });
    first->reply(0, VALUE);
    EXPECT_TRUE(ended);
}

TEST_F(Method_test, ProxyMayGoInsideItsOwnAnswer) {
    bool gone = false;
    call().then([&](eb::com::Future<Output>) { sut.reset(), gone = true; });
    port->lastCall()->reply(0, VALUE);
    EXPECT_TRUE(gone);
}

/// An interface whose list has no length field, and an operation without arguments or result.
struct Lengthless : diag::Unfailing_method {
    static constexpr ac::com::someip::serialization::Serialization_properties PROPERTIES{
        .array_length_field_size = 0};
    using Output = void;
    using Signature = void(datatypes::DT_ListOfIds const&);
};

TEST_F(Method_test, ListWithoutALengthFieldIsNotSent) {
    ac::com::cpp_binding::proxy::Proxy_base base(HANDLE, {DiagnosticDataDistribution::DESCRIPTION}, port);
    ara::com::internal::proxy::Method<Lengthless> method(base, 0);
    auto future = method({1});
    expectThrow<std::invalid_argument>(
        [&] { future.get(); },
        "Vectors must have a length field that deserializer can also deserialize it. Violation of "
        "PRS_SOMEIP_00376 & PRS_SOMEIP_00107!");
    EXPECT_EQ(port->calls(), 0U);

    port->isLost = true;  // and for a service that isn't there it isn't looked at
    auto unsent = method({1});
    EXPECT_THROW(unsent.get(), ac::com::Service_not_available_exception);
}

class Failing_method_test : public Method_test {
protected:
    ac::com::cpp_binding::proxy::Proxy_base base{
        {{std::string(TimeInterface::NAME)}, {"1"}}, {TimeInterface::DESCRIPTION}, port};
    ara::com::internal::proxy::Method<TimeInterface::ReadMethod> read{base, 1};
    ara::com::internal::proxy::Method<TimeInterface::CancelMethod> cancel{base, 0};
};

TEST_F(Failing_method_test, ErrorOfTheInterfaceArrivesAsItsException) {
    auto future = read({});
    port->lastCall()->reply(2, {0x26});
    try {
        future.get();
        FAIL() << "no error";
    } catch (diag::d_b047::UDSServiceFailed const& error) {
        EXPECT_EQ(static_cast<unsigned>(error.code()), 0x26U);
    }
}

TEST_F(Failing_method_test, ErrorWithoutItsBytesCanNotBeRead) {
    Capture const log;
    auto future = read({});
    port->lastCall()->reply(2);
    expectThrow<std::out_of_range>([&] { future.get(); }, binding_testing::READ_BEYOND);
    ASSERT_EQ(incidentsOf(log, "Method_call_deserializer_exception").size(), 1U);
    EXPECT_THAT(incidentsOf(log, "Method_call_deserializer_exception")[0],
                testing::HasSubstr(R"("5_error_code":2)"));
}

TEST_F(Failing_method_test, OperationWithoutAResultIsCompletedAllTheSame) {
    auto future = cancel({});
    port->lastCall()->reply(0);
    EXPECT_NO_THROW(future.get());
}

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
