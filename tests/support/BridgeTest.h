#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "core/Service.h"
#include "core/Trace.h"
#include "platform/log/Memory_target.h"
#include "registry/DiagAraService.h"
#include "registry/Diag_Ara_Components.h"
#include "registry/Diag_Ara_Components_Services.h"
#include "tests/support/FakeJni.h"
#include "tests/support/TestComponents.h"

namespace test {

/// A line of the "DIAG" log, taken apart.
struct Line {
    int level;
    std::string prefix;
    std::string function;
    std::string text;
};

/// What the library logs while this stands.
class DiagLog {
public:
    DiagLog() {
        zvg::val::Trace::mLogLevel = 5;
        zvg::val::Trace::g_loggerCtx = ara::log::CreateLogger("DIAG", "DIAG logging context");
    }

    /// Every line must have the one form there is.
    std::vector<Line> lines() const {
        static std::regex const form(R"(\d\d:\d\d:\d\d\|\d+\|(\D*?)\d+::([^(]*(?:\(\))?)\(\) ([^\n]*)\n)");
        std::vector<Line> lines;
        for (auto const& message : m_capture.messages("DIAG")) {
            std::smatch parts;
            if (std::regex_match(message.text, parts, form)) {
                lines.push_back({static_cast<int>(message.level), parts[1], parts[2], parts[3]});
            } else if (message.text.find("|osal api version ") == std::string::npos &&
                       message.text.find("|variant ") == std::string::npos) {
                ADD_FAILURE() << "not a line: " << message.text;
            }
        }
        return lines;
    }

    /// The texts of one level: 2 errors, 4 the rest.
    std::vector<std::string> texts(int level) const {
        std::vector<std::string> texts;
        for (auto const& line : lines()) {
            if (line.level == level) texts.push_back(line.text);
        }
        return texts;
    }
    std::vector<std::string> errors() const { return texts(2); }
    std::vector<std::string> infos() const { return texts(4); }

    ara::log::Capture const& raw() const { return m_capture; }
    void clear() { m_capture.clear(); }

private:
    ara::log::Capture m_capture;
};

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
