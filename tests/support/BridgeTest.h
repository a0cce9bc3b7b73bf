#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/Service.h"
#include "registry/DiagAraService.h"
#include "registry/Diag_Ara_Components.h"
#include "registry/Diag_Ara_Components_Services.h"
#include "tests/support/DiagLog.h"
#include "tests/support/FakeJni.h"
#include "tests/support/TestComponents.h"

namespace test {

/// A bridge of its own with the components of the test tables, between a fake JVM and the captured log.
class BridgeTest : public testing::Test {
protected:
    BridgeTest() { components.reset(); }

    void TearDown() override {
        service.deinit(jvm.env());
        EXPECT_THAT(jvm.violations(), testing::IsEmpty());
        EXPECT_EQ(jvm.globalRefs(), 0U);
    }

    void bringUp() {
        ASSERT_EQ(service.init(jvm.env(), jvm.listener()), 0);
        log.clear();
        jvm.forgetCalls();
        components.forgetEvents();
    }

    int write(int msgId, std::vector<unsigned char> const& bytes, int length) {
        jbyteArray const array = jvm.newArray(bytes);
        int const result = service.handleMsg(jvm.env(), msgId, length, array);
        jvm.drop(array);
        return result;
    }

    DiagLog log;
    fake::Jvm jvm;
    Components& components = Components::instance();
    zvg::val::Service service{std::make_unique<zvg::val::diag_ara::services::Diag_Ara_Components>(
                                  zvg::val::diag_ara::services::Diag_Ara_Components_Services::getServices(),
                                  zvg::val::diag_ara::services::Diag_Ara_Components_Services::getValMsgIds()),
                              "Bridge::"};
};

}  // namespace test
