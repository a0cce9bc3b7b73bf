// A proxy's field over a port whose samples come when the test says so.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/testing/Fake_port.h"
#include "binding/testing/Hashes.h"
#include "binding/testing/Incidents.h"
#include "binding/testing/Payload_checks.h"
#include "binding/testing/Runtime.h"

namespace zvg::services::diagnosticdatadistribution {

using ara::com::internal::proxy::Event_cache_update_policy;
using ara::com::internal::proxy::Subscription_state;
using ara::log::Capture;
using binding_testing::eventually;
using binding_testing::expectThrow;
using binding_testing::Fake_port;
using binding_testing::Gate;
using binding_testing::hashBytes;
using binding_testing::hear;
using binding_testing::Heard;
using binding_testing::incidentsOf;
using eb::com::runtime::Event_state;
using testing::ElementsAre;
using testing::IsEmpty;
using Numbers = std::vector<std::uint32_t>;
using Proxy = proxy::DiagnosticDataDistributionProxy;
using Value = binding_testing::Hash_field::Value;

inline eb::com::runtime::Service_handle const HANDLE{{std::string(DiagnosticDataDistribution::NAME)}, {"1"}};
inline std::string const WHO = R"("2_service_id":{"1_id":"Service_id","string":")" +
                               std::string(DiagnosticDataDistribution::NAME) +
                               R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"})";

class Event_test : public testing::Test {
protected:
    std::unique_ptr<Proxy> proxyOver(std::shared_ptr<Fake_port> const& over) const {
        return std::make_unique<Proxy>(Proxy::Handle_type(HANDLE), over);
    }
    /// All that new samples bring, without a handler.
    Numbers update() {
        Numbers numbers;
        sut->dataValuesHash.update([&](Value const& value) {
            numbers.push_back(value.at(0).name_space.value());
            return true;
        });
        return numbers;
    }
    Numbers cached() const {
        Numbers numbers;
        for (auto const& value : sut->dataValuesHash.cachedSamples()) {
            numbers.push_back(value->at(0).name_space.value());
        }
        return numbers;
    }

    binding_testing::Fresh_hashes const m_fresh;
    binding_testing::Runtime m_runtime;
    std::shared_ptr<Fake_port> const port = std::make_shared<Fake_port>();
    Heard heard;
    std::unique_ptr<Proxy> sut = proxyOver(port);
};

}  // namespace zvg::services::diagnosticdatadistribution
