// The gateway in front of real skeletons, over the real runtime.
#include <ac/com/runtime/Component_singleton.h>

#include "binding/generated/DiagnosticMonitor.h"
#include "binding/generated/all.h"
#include "tools/tester/doip/DoipTest.h"

namespace tester::doip {
namespace {

using namespace zvg::services::diag;

eb::com::Future<void> done() {
    eb::com::Promise<void> promise;
    promise.set_value();
    return promise.get_future();
}

class Version final : public d_017d::skeleton::DataIdentifier_FunctionOnDemandVersionInfoSkeleton {
public:
    Version() : DataIdentifier_FunctionOnDemandVersionInfoSkeleton("1", 1) { OfferService(); }
    ~Version() override { StopOfferService(); }

    eb::com::Future<void> Cancel(Meta const&) override { return done(); }
    eb::com::Future<d_017d::Read::Output> Read(Meta const&) override {
        eb::com::Promise<d_017d::Read::Output> promise;
        promise.set_value(d_017d::Read::Output{1, 2, 3, 0x0405, 6, 0x0708});
        return promise.get_future();
    }
};

class Failing final : public d_54df::skeleton::DataIdentifier_ParameterListSkeleton {
public:
    Failing() : DataIdentifier_ParameterListSkeleton("1", 1) { OfferService(); }
    ~Failing() override { StopOfferService(); }

    eb::com::Future<void> Cancel(Meta const&) override { return done(); }
    eb::com::Future<d_54df::Read::Output> Read(Meta const&) override {
        eb::com::Promise<d_54df::Read::Output> promise;
        promise.set_exception(std::make_exception_ptr(d_54df::UDSServiceFailed(
            ac::dm::types::UDSResponseCodeType::kFailurePreventsExecutionOfRequestedAction)));
        return promise.get_future();
    }
};

class Routine final : public r_0688::skeleton::RoutineService_InitializeParametersSkeleton {
public:
    Routine() : RoutineService_InitializeParametersSkeleton("1", 1) { OfferService(); }
    ~Routine() override { StopOfferService(); }

    eb::com::Future<void> Cancel(Meta const&) override { return done(); }
    eb::com::Future<void> Start(Meta const&) override { return done(); }
    eb::com::Future<void> Stop(Meta const&) override { return done(); }
    eb::com::Future<r_0688::RequestResults::Output> RequestResults(Meta const&) override {
        eb::com::Promise<r_0688::RequestResults::Output> promise;
        promise.set_value(r_0688::RequestResults::Output{0x31});
        return promise.get_future();
    }
};

class Monitor final : public ac::dm::dem::skeleton::DiagnosticMonitorSkeleton {
public:
    explicit Monitor(unsigned long code)
        : DiagnosticMonitorSkeleton(ac::dm::dem::DiagnosticMonitor::instance(code), 1) {
        OfferService();
    }
    ~Monitor() override { StopOfferService(); }

    /// As the library does: the last state again, here always a failure.
    eb::com::Future<void> InitMonitor(ac::dm::types::InitMonitorReasonType reason) override {
        if (reason == ac::dm::types::InitMonitorReasonType::kRestart)
            MonitorAction.Send(ac::dm::types::MonitorActionType::kFailed);
        return done();
    }
};

TEST(RealDoip, ServicesAreReachedAsSoonAsTheyAreThereAndWhateverTheyAnswerArrives) {
    setenv("ARA_LOG_TARGET", "none", 1);
    ac::com::runtime::Component_singleton const runtime(false, "vehicle");
    auto const services = runtimeServices();
    std::stop_source stop;
    Vehicle vehicle(*services, {milliseconds(20'000), milliseconds(250), 2}, milliseconds(20),
                    stop.get_token(), [](Sighting const&) {});
    EXPECT_TRUE(vehicle.problems().empty());
    GatewaySettings settings;
    settings.address = asio::ip::make_address(std::getenv("ARA_COM_ADDRESS"));
    settings.port = 0;
    settings.anySession = true;
    Gateway gateway(settings, vehicle, [](Happening const&) {});
    Client client(settings.address, gateway.port());
    ASSERT_EQ(client.activate(), 0x10);
    auto const ask = [&client](char const* request) {
        std::string response = client.ask(request);
        while (response.size() == 8 && response.ends_with("78")) response = client.response();
        return response;
    };
    EXPECT_EQ(ask("22 01 7D"), "7F 22 22");
    EXPECT_EQ(ask("31 01 06 88"), "7F 31 22");

    Version const version;
    Failing const failing;
    Routine const routine;
    Monitor const first(0x81A2E0);
    Monitor const second(0x81A2E1);
    Monitor const third(0x81A2E2);
    auto const await = [&](char const* request, std::string const& response) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (ask(request) != response && std::chrono::steady_clock::now() < end) std::this_thread::yield();
        EXPECT_EQ(ask(request), response);
    };
    await("22 01 7D", "62 01 7D 01 02 03 04 05 06 07 08");
    await("22 54 DF", "7F 22 26");
    await("31 01 06 88", "71 01 06 88");
    await("31 03 06 88", "71 03 06 88 31");
    await("31 02 06 88", "71 02 06 88");
    await("19 02 01", "59 02 39 81 A2 E0 29 81 A2 E1 29 81 A2 E2 29");
    EXPECT_TRUE(vehicle.isReady());
    EXPECT_EQ(ask("14 FF FF FF"), "54");
    EXPECT_EQ(ask("19 02 01"), "59 02 39");
    EXPECT_EQ(ask("22 B0 47"), "7F 22 22");
}

}  // namespace
}  // namespace tester::doip
