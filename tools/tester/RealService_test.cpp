// The whole program against real skeletons, over the real runtime.
#include <atomic>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <ac/com/runtime/Component_singleton.h>

#include "binding/generated/all.h"
#include "tools/tester/CommandLine.h"
#include "tools/tester/Payloads.h"

namespace tester {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using namespace zvg::services::diag;

/// A service of its own kind for each way that a read can end.
template <class Base, class Output>
class Service final : public Base {
public:
    using Reader = std::function<eb::com::Future<Output>()>;

    explicit Service(Reader reader) : Base("1", 1), m_reader(std::move(reader)) { Base::OfferService(); }
    ~Service() override { Base::StopOfferService(); }

    eb::com::Future<void> Cancel(Meta const&) override {
        ++cancels;
        eb::com::Promise<void> promise;
        promise.set_value();
        return promise.get_future();
    }
    eb::com::Future<Output> Read(Meta const&) override {
        ++reads;
        return m_reader();
    }

    std::atomic<unsigned> reads{0};
    std::atomic<unsigned> cancels{0};

private:
    Reader m_reader;
};

using TimeService =
    Service<d_b047::skeleton::DataIdentifier_AuthenticTimeLastClientPackageSkeleton, d_b047::Read::Output>;
using ListService =
    Service<d_488c::skeleton::DataIdentifier_FunctionOnDemandProductListSkeleton, d_488c::Read::Output>;

template <class Output>
eb::com::Future<Output> ready(Output output) {
    eb::com::Promise<Output> promise;
    promise.set_value(std::move(output));
    return promise.get_future();
}

class RealServiceTest : public testing::Test {
protected:
    RealServiceTest() {
        setenv("ARA_LOG_TARGET", "none", 1);
        runtime.emplace(false, "vehicle");
    }

    int run(std::vector<char const*> arguments) {
        arguments.insert(arguments.begin(), {"tester", "--timeout", "60000"});
        return tester::run(static_cast<int>(arguments.size()), arguments.data(), environment);
    }

    std::ostringstream out;
    std::ostringstream err;
    Environment environment{out, err, false, false, {}, runtimeServices};
    std::optional<ac::com::runtime::Component_singleton> runtime;
};

TEST_F(RealServiceTest, ReadShowsTheFieldsThatTheServiceGave) {
    d_b047::Read::Output output;
    output.field1.fill('7');
    output.field3 = {1, 2};
    TimeService service([&] { return ready(output); });
    EXPECT_EQ(run({"--json", "read", "b047"}), 0) << out.str() << err.str();
    auto const result = nlohmann::json::parse(out.str())["results"][0];
    EXPECT_EQ(result["length"], 54);
    EXPECT_EQ(result["fields"][0]["text"], std::string(20, '7'));
    EXPECT_EQ(result["fields"][2]["raw"], "0102");
    EXPECT_EQ(result["attempts"], 1);
    EXPECT_EQ(service.reads, 1U);
}

TEST_F(RealServiceTest, ListOfTheLongestLengthComesWhole) {
    ListService service([] { return ready(d_488c::Read::Output{{100}, Payload(3200, 0x5A)}); });
    EXPECT_EQ(run({"read", "488c"}), 0);
    EXPECT_THAT(out.str(), HasSubstr("100 entries of 32 B"));
    EXPECT_THAT(out.str(), HasSubstr("\n  [99]    entry"));
}

TEST_F(RealServiceTest, OwnErrorOfTheServiceIsToldByItsName) {
    TimeService service([] {
        eb::com::Promise<d_b047::Read::Output> promise;
        auto future = promise.get_future();
        promise.set_exception(std::make_exception_ptr(d_b047::UDSServiceFailed(
            ac::dm::types::UDSResponseCodeType::kFailurePreventsExecutionOfRequestedAction)));
        return future;
    });
    EXPECT_EQ(run({"read", "b047"}), 1);
    EXPECT_THAT(out.str(), HasSubstr("UDS code 0x26 failurePreventsExecutionOfRequestedAction"));
}

TEST_F(RealServiceTest, ReadThatIsNeverAnsweredTimesOutTwice) {
    std::vector<eb::com::Promise<d_b047::Read::Output>> open;
    TimeService service([&] { return open.emplace_back().get_future(); });
    EXPECT_EQ(run({"read", "b047", "--timeout", "50"}), 1);
    EXPECT_THAT(out.str(), HasSubstr("attempt 2, 250 ms later: no answer within 50 ms"));
    // The service may be later than its client's patience.
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (service.reads < 2 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_EQ(service.reads, 2U);
}

TEST_F(RealServiceTest, RepeatedReadIsAnswered) {
    std::vector<eb::com::Promise<d_b047::Read::Output>> open;
    TimeService service([&] {
        if (!open.empty()) return ready(d_b047::Read::Output{});
        return open.emplace_back().get_future();
    });
    EXPECT_EQ(run({"read", "b047", "--timeout", "2000"}), 0);
    EXPECT_THAT(out.str(), HasSubstr("answered at attempt 2"));
}

TEST_F(RealServiceTest, CancelReachesTheService) {
    TimeService service([] { return ready(d_b047::Read::Output{}); });
    EXPECT_EQ(run({"cancel", "b047"}), 0) << out.str();
    EXPECT_EQ(service.cancels, 1U);
    EXPECT_EQ(service.reads, 0U);
}

TEST_F(RealServiceTest, NobodyThereIsToldAtOnce) {
    EXPECT_EQ(run({"read", "all", "--wait", "0"}), 3);
    EXPECT_THAT(out.str(), EndsWith("\n0/14 data identifiers read\n"));
    EXPECT_EQ(run({"list", "--wait", "0"}), 3);
}

TEST_F(RealServiceTest, UnusableManifestIsAnErrorOfUsage) {
    runtime.reset();
    EXPECT_EQ(run({"list", "--manifest", "/dev/null"}), 2);
    EXPECT_THAT(err.str(), HasSubstr("/dev/null"));
    unsetenv("ARA_COM_MANIFEST");
}

}  // namespace
}  // namespace tester
