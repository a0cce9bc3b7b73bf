#pragma once

#include "tests/support/BridgeTest.h"
#include "tests/support/Connector.h"

namespace test {

/// The one bridge of the process, as Java sees it through the three exported functions, with the components
/// of the test tables. Begins with logging off.
class ConnectorTest : public testing::Test {
protected:
    ConnectorTest() {
        components.reset();
        zvg::val::Trace::g_loggerCtx = nullptr;
        zvg::val::Trace::mLogLevel = 0;
    }

    void TearDown() override {
        java.unregister();
        EXPECT_THAT(jvm.violations(), testing::IsEmpty());
        EXPECT_EQ(jvm.globalRefs(), 0U);
    }

    void expectException(std::string const& text) {
        auto const thrown = jvm.takeException();
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->className, "java/lang/Exception");
        EXPECT_EQ(thrown->text, text);
    }

    DiagLog log;
    fake::Jvm jvm;
    fake::Connector java{jvm};
    Components& components = Components::instance();
};

}  // namespace test
