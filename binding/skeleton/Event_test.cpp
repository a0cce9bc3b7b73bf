// Events of skeletons, and the monitors of trouble codes that have one, on the real runtime.
#include "binding/skeleton/Event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ac/com/cpp_binding/proxy/Rport.h>

#include "binding/adapter/Platform_adapter.h"
#include "binding/generated/DiagnosticMonitor.h"
#include "binding/testing/Await.h"
#include "binding/testing/Runtime.h"
#include "platform/log/Memory_target.h"

namespace ac::dm::dem {
namespace {

using eb::com::runtime::Event_state;
using eb::com::runtime::Serialized_payload;
using types::InitMonitorReasonType;
using types::MonitorActionType;

/// Keeps what came of one event.
class Ear : public eb::com::runtime::Event_sink {
public:
    void event_updated(Serialized_payload payload) override {
        samples.push_back(payload.bytes());
        if (samples.size() == expected) complete.open();
    }
    void event_state_changed(Event_state state) override {
        if (state == Event_state::subscribed) subscribed.open();
    }
    void service_state_changed(eb::com::runtime::Client::Service_state) override {}

    std::size_t expected = 0;
    std::vector<std::vector<unsigned char>> samples;  // the runtime's thread, until complete
    binding_testing::Gate subscribed;
    binding_testing::Gate complete;
};

class Monitor : public skeleton::DiagnosticMonitorSkeleton {
public:
    using DiagnosticMonitorSkeleton::DiagnosticMonitorSkeleton;
    eb::com::Future<void> InitMonitor(InitMonitorReasonType reason) override {
        reasons.push_back(static_cast<unsigned>(reason));
        eb::com::Promise<void> done;
        done.set_value();
        return done.get_future();
    }
    std::vector<unsigned> reasons;  // one call at a time in these tests
};

class Event_test : public testing::Test {
protected:
    std::string const instance = DiagnosticMonitor::instance(DiagnosticMonitor::CODES[0]);
    binding_testing::Runtime m_runtime;
};

TEST_F(Event_test, SamplesArriveInOrderAsTheirBytes) {
    Monitor monitor(instance, 1);
    monitor.OfferService();
    ac::com::cpp_binding::proxy::Rport const port({{std::string(DiagnosticMonitor::NAME)}, {instance}},
                                                  {DiagnosticMonitor::DESCRIPTION});
    auto const ear = std::make_shared<Ear>();
    ear->expected = 3;
    auto const subscription = port.client_port()->subscribe(0, ear);
    ASSERT_TRUE(ear->subscribed.wait());
    monitor.MonitorAction.Send(MonitorActionType::kFailed);
    monitor.MonitorAction.Send(MonitorActionType::kPassed);
    monitor.MonitorAction.Send(MonitorActionType{0xA5});
    ASSERT_TRUE(ear->complete.wait());
    using Bytes = std::vector<unsigned char>;
    EXPECT_THAT(ear->samples, testing::ElementsAre(Bytes{1}, Bytes{0}, Bytes{0xA5}));
    monitor.StopOfferService();
}

TEST_F(Event_test, SentSampleIsToldAtItsLevelOnly) {
    Monitor monitor(instance, 1);
    monitor.OfferService();
    {
        ara::log::Capture const log(ara::log::LogLevel::kDebug);
        monitor.MonitorAction.Send(MonitorActionType::kFailed);
        ASSERT_EQ(log.messages("BIND").size(), 1U);
        EXPECT_EQ(log.messages("BIND")[0].level, ara::log::LogLevel::kDebug);
        EXPECT_EQ(log.messages("BIND")[0].text, R"({"1_incident":{"1_id":"Event_update_tx","2_Event_id":0},)"
                                                R"("2_data":{"1_type":"generated_type","2_value":1}})");
    }
    ara::log::Capture const log(ara::log::LogLevel::kInfo);
    monitor.MonitorAction.Send(MonitorActionType::kFailed);
    EXPECT_THAT(log.messages("BIND"), testing::IsEmpty());
    monitor.StopOfferService();
}

TEST_F(Event_test, FailureOfTheRuntimeIsToldAndStaysInside) {
    constexpr unsigned short NO_SUCH_EVENT = 7;
    ac::com::cpp_binding::skeleton::Pport port({std::string(DiagnosticMonitor::NAME)}, {instance},
                                               {DiagnosticMonitor::DESCRIPTION});
    ara::com::internal::skeleton::Event<MonitorAction> sut(NO_SUCH_EVENT, port);
    ara::log::Capture const log(ara::log::LogLevel::kDebug);
    EXPECT_NO_THROW(sut.Send(MonitorActionType::kFailed));
    ASSERT_EQ(log.messages("BIND").size(), 1U) << "and not as sent";
    EXPECT_EQ(log.messages("BIND")[0].level, ara::log::LogLevel::kError);
    EXPECT_THAT(log.messages("BIND")[0].text,
                testing::StartsWith(
                    R"({"1_incident":{"1_id":"Event_request_update_err","2_service_id":{"1_id":"Service_id",)"
                    R"("string":"ac::dm::dem::DiagnosticMonitor"},"3_instance_id":{"1_id":"Instance_id",)"
                    R"("2_string":")" +
                    instance + R"("},"4_event_id":7},"2_data":{"1_what":")"));
}

TEST_F(Event_test, MethodTakesItsReasonAsOneByte) {
    Monitor monitor(instance, 1);
    monitor.OfferService();
    ac::com::cpp_binding::proxy::Rport const port({{std::string(DiagnosticMonitor::NAME)}, {instance}},
                                                  {DiagnosticMonitor::DESCRIPTION});
    auto const call = [&](std::vector<unsigned char> bytes) {
        binding_testing::Gate answered;
        unsigned code = 0xFFFF;
        ac::com::cpp_binding::adapter::call(
            *port.client_port(), 0,
            Serialized_payload(std::make_shared<std::vector<unsigned char>>(std::move(bytes))),
            [&](eb::com::runtime::Call_result const& result) {
                code = result.return_code;
                answered.open();
            });
        EXPECT_TRUE(answered.wait());
        return code;
    };
    EXPECT_EQ(call({0}), 0U);
    EXPECT_EQ(call({200}), 0U);
    EXPECT_EQ(call({2, 1}), 0U) << "bytes behind it are not looked at";
    EXPECT_EQ(call({}), 0x80U);
    EXPECT_THAT(monitor.reasons, testing::ElementsAre(0U, 200U, 2U));
    monitor.StopOfferService();
}

}  // namespace
}  // namespace ac::dm::dem
