// A vehicle whose manifest doesn't know the monitors.
#include <string>
#include <vector>

#include <ac/com/Exceptions.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/log/Memory_target.h"
#include "servers/dtc/Server.h"

namespace dtc_test {
namespace {

using testing::HasSubstr;

TEST(MissingInstance, OfAMonitorIsToldAsAnIncidentAndEndsInit) {
    // Given
    auto const server = zvg::val::diag_ara::services::diagnosticsmonitor::methods::Server::create();
    ara::log::Capture const log;
    // When
    EXPECT_THROW(server->init("0"), ac::com::Invalid_argument_exception);
    // Then
    std::vector<std::string> incidents;
    for (ara::log::Message const& message : log.messages()) {
        if (message.text.find("Service_instantiation_error") != std::string::npos)
            incidents.push_back(message.text);
    }
    ASSERT_EQ(incidents.size(), 1U);
    EXPECT_THAT(incidents[0], HasSubstr("8495840"));
}

}  // namespace
}  // namespace dtc_test
