// A client of the data distribution service, which this process offers, through the real runtime.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ac/com/Exceptions.h>
#include <future>
#include <optional>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/testing/Data_service.h"
#include "binding/testing/Incidents.h"
#include "binding/testing/Payload_checks.h"
#include "binding/testing/Runtime.h"

namespace zvg::services::diagnosticdatadistribution {
namespace {

using ara::com::internal::proxy::Subscription_state;
using ara::log::Capture;
using binding_testing::eventually;
using binding_testing::hear;
using binding_testing::Heard;
using binding_testing::incidentsOf;
using testing::ElementsAre;
using Proxy = proxy::DiagnosticDataDistributionProxy;

Proxy::Handle_type const HANDLE({{std::string(DiagnosticDataDistribution::NAME)}, {"1"}});

class Proxy_test : public testing::Test {
protected:
    Proxy_test() { service.offer(); }

    binding_testing::Fresh_hashes const m_fresh;
    binding_testing::Runtime m_runtime;
    binding_testing::Data_service service;
    Heard heard;
};

TEST_F(Proxy_test, ConstructionIsToldWithVersionAndWay) {
    Capture const log;
    Proxy const sut(HANDLE);
    EXPECT_THAT(incidentsOf(log, "Service_proxy_constructed"),
                ElementsAre(R"({"1_incident":{"1_id":"Service_proxy_constructed","2_service_id":{"1_id":)"
                            R"("Service_id","string":")" +
                            std::string(DiagnosticDataDistribution::NAME) +
                            R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_struct4bytes":)"
                            R"({"1_major":3,"2_minor":1},"5_utf8simple":"local"}})"));
}

TEST_F(Proxy_test, UnknownInstanceIsRefused) {
    EXPECT_THROW(Proxy(Proxy::Handle_type({HANDLE.service_handle().service, {"none"}})),
                 ac::com::Invalid_argument_exception);
}

TEST_F(Proxy_test, CallIsAnswered) {
    Proxy sut(HANDLE);
    auto future = sut.getDiagnosticDataValues(0, {2640});
    ASSERT_EQ(future.wait_for(binding_testing::PATIENCE), std::future_status::ready);
    EXPECT_EQ(future.get().diagnosticData,
              (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0x0A, 0x50}));
}

TEST_F(Proxy_test, CallOfAServiceThatWasWithdrawnHasFailedOnReturn) {
    Proxy sut(HANDLE);
    service.withdraw();
    Capture const log;
    auto future = sut.getDiagnosticDataValues(0, {2640});
    ASSERT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_THROW(future.get(), ac::com::Service_not_available_exception);
    EXPECT_THAT(incidentsOf(log, "Method_call_request_tx"), testing::IsEmpty());

    service.offer();
    auto next = sut.getDiagnosticDataValues(0, {2640});
    EXPECT_NO_THROW(next.get());
}

TEST_F(Proxy_test, CallOfAMethodThatNobodyImplementsFails) {
    Proxy sut(HANDLE);
    auto future = sut.getDiagnosticData(0, 1);
    ASSERT_EQ(future.wait_for(binding_testing::PATIENCE), std::future_status::ready);
    EXPECT_THROW(future.get(), ac::com::Infrastructure_exception);
}

TEST_F(Proxy_test, ProxyThatGoesBreaksACallThatTheServiceKeeps) {
    service.fall_silent();
    std::optional<Proxy> sut(HANDLE);
    auto future = sut->getDiagnosticDataValues(0, {1});
    EXPECT_TRUE(eventually([&] { return service.kept() == 1; }));
    sut.reset();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_THROW(future.get(), std::future_error);
}

TEST_F(Proxy_test, FieldIsHeardFromItsPresentValueOn) {
    service.set(1);
    Proxy sut(HANDLE);
    hear(sut.dataValuesHash, heard);
    sut.dataValuesHash.subscribe(1);
    EXPECT_TRUE(heard.endsWith(1));
    EXPECT_TRUE(eventually(
        [&] { return sut.dataValuesHash.subscriptionState() == Subscription_state::kSubscribed; }));
    service.set(2);
    EXPECT_TRUE(heard.endsWith(2));

    // A second proxy shares the subscription, and hears the value that is known already, once.
    Proxy late(HANDLE);
    Heard lateHeard;
    hear(late.dataValuesHash, lateHeard);
    late.dataValuesHash.subscribe(1);
    EXPECT_TRUE(lateHeard.endsWith(2));
    service.set(3);
    EXPECT_TRUE(lateHeard.endsWith(3));
    EXPECT_TRUE(heard.endsWith(3));
    EXPECT_THAT(lateHeard.numbers(), ElementsAre(2, 3));
    EXPECT_THAT(heard.numbers(), ElementsAre(1, 2, 3));
}

TEST_F(Proxy_test, NothingIsHeardAfterUnsubscribe) {
    Proxy sut(HANDLE);
    Proxy witness(HANDLE);
    Heard witnessed;
    hear(sut.dataValuesHash, heard);
    hear(witness.dataValuesHash, witnessed);
    sut.dataValuesHash.subscribe(1);
    witness.dataValuesHash.subscribe(1);
    service.set(1);
    EXPECT_TRUE(heard.endsWith(1));
    sut.dataValuesHash.unsubscribe();
    service.set(2);
    EXPECT_TRUE(witnessed.endsWith(2));
    EXPECT_THAT(heard.numbers(), ElementsAre(1));
}

TEST_F(Proxy_test, ServiceThatIsLostAndFoundIsHeardByANewProxy) {
    service.set(1);
    auto sut = std::make_shared<Proxy>(HANDLE);
    hear(sut->dataValuesHash, heard);
    sut->dataValuesHash.subscribe(1);
    EXPECT_TRUE(heard.endsWith(1));
    auto const snapshot = sut;  // of a thread that is slow to notice

    service.withdraw();
    sut->abort();
    sut.reset();
    service.set(2);
    service.offer();
    sut = std::make_shared<Proxy>(HANDLE);
    Heard again;
    hear(sut->dataValuesHash, again);
    sut->dataValuesHash.subscribe(1);
    EXPECT_TRUE(again.endsWith(2));
    service.set(3);
    EXPECT_TRUE(again.endsWith(3));
    auto future = sut->getDiagnosticDataValues(0, {1});
    ASSERT_EQ(future.wait_for(binding_testing::PATIENCE), std::future_status::ready);
    EXPECT_NO_THROW(future.get());
}

TEST_F(Proxy_test, ProxyThatStaysIsHeardAgainWhenTheServiceComesBack) {
    Proxy sut(HANDLE);
    hear(sut.dataValuesHash, heard);
    sut.dataValuesHash.subscribe(1);
    service.set(1);
    EXPECT_TRUE(heard.endsWith(1));
    service.withdraw();
    service.offer();
    service.set(2);
    EXPECT_TRUE(heard.endsWith(2));
}

TEST_F(Proxy_test, LateAnswerOfAnAbortedCallIsDropped) {
    service.fall_silent();
    Proxy sut(HANDLE);
    auto future = sut.getDiagnosticDataValues(0, {1});
    EXPECT_TRUE(eventually([&] { return service.kept() == 1; }));
    sut.abort();
    EXPECT_THROW(future.get(), std::future_error);
    service.withdraw();
    EXPECT_EQ(sut.getDiagnosticDataValues.openCalls(), 0U);
}

}  // namespace
}  // namespace zvg::services::diagnosticdatadistribution
