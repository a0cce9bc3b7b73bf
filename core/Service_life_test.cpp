// The bridge's life: init, deinit, and what is left when they fail.

#include <stdexcept>

#include "tests/support/BridgeTest.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;
using zvg::val::eValNotReady;

constexpr char const* CALLBACK = "zvif/vehicle/services/val/IValMessageCallback";

class BridgeLife : public test::BridgeTest {
protected:
    int init() { return service.init(jvm.env(), jvm.listener()); }

    zvg::val::eValStatus send() {
        tValDiagnosticsrequestIndds record{};
        return service.sendMsg(PackedSizeOftValDiagnosticsrequestIndds(nullptr, &record), &record,
                               PackValDiagnosticsrequestInd, true);
    }

    void expectException(std::string const& text) {
        auto const thrown = jvm.takeException();
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->className, "java/lang/Exception");
        EXPECT_EQ(thrown->text, text);
    }
};

TEST_F(BridgeLife, InitResolvesTheReferencesThenStartsTheComponentsOneByOne) {
    EXPECT_EQ(init(), 0);
    EXPECT_THAT(jvm.calls(),
                ElementsAre("GetJavaVM", "NewGlobalRef", "FindClass", "NewGlobalRef", "GetMethodID"));
    EXPECT_THAT(components.events(),
                ElementsAre("A::create", "B::create", "C::create", "D::create", "A::init(0)", "A::start",
                            "B::init(0)", "B::start", "C::init(0)", "C::start", "D::init(0)", "D::start"));
    auto const first = log.lines().at(0);
    EXPECT_EQ(first.level, 4);
    EXPECT_EQ(first.prefix, "Bridge::");
    EXPECT_EQ(first.function, "init");
    EXPECT_EQ(first.text, "");
}

TEST_F(BridgeLife, InitWithoutEnvironmentOnlyLogs) {
    EXPECT_EQ(service.init(nullptr, jvm.listener()), -1);
    EXPECT_THAT(log.errors(), ElementsAre("NO valid JVM reference available."));
    EXPECT_THAT(jvm.calls(), IsEmpty());
}

TEST_F(BridgeLife, InitWithoutListenerThrows) {
    EXPECT_EQ(service.init(jvm.env(), nullptr), -1);
    expectException("Service::init(): NO valid listener available.");
    EXPECT_THAT(components.events(), IsEmpty());
}

TEST_F(BridgeLife, SecondInitThrowsAndTheComponentsStayUp) {
    bringUp();
    EXPECT_EQ(init(), -1);
    expectException(
        "Service::init(): Native interface was initialized beforehand (references are existing).");
    EXPECT_THAT(components.events(), IsEmpty());
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), 0);
    EXPECT_EQ(send(), 0);
}

struct FailureRow {
    char const* function;
    int call;
    char const* text;
    std::vector<std::string> errors;
    std::vector<std::string> calls;
};

class BridgeInitFailure : public BridgeLife, public testing::WithParamInterface<FailureRow> {};

TEST_P(BridgeInitFailure, IsUndoneAndThrown) {
    jvm.fail(GetParam().function, GetParam().call);
    EXPECT_EQ(init(), -1);
    expectException(GetParam().text);
    EXPECT_EQ(jvm.globalRefs(), 0U);
    EXPECT_EQ(jvm.calls(), GetParam().calls);
    EXPECT_EQ(log.errors(), GetParam().errors);
    EXPECT_THAT(components.events(), IsEmpty());
}

TEST_P(BridgeInitFailure, LeavesTheBridgeAsIfItHadNeverBeenTried) {
    jvm.fail(GetParam().function, GetParam().call);
    EXPECT_EQ(init(), -1);
    jvm.takeException();
    log.clear();
    EXPECT_EQ(service.deinit(jvm.env()), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Native interface wasn't initialized properly."));
    EXPECT_EQ(send(), eValNotReady);
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), -1);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(send(), 0);
}

TEST_P(BridgeInitFailure, IsLoggedWhenNotEvenAnExceptionCanBeThrown) {
    jvm.fail(GetParam().function, GetParam().call);
    if (GetParam().function == std::string("FindClass")) {
        jvm.failAlways("FindClass");
    } else if (std::string(GetParam().function) == "GetMethodID" || GetParam().call == 2) {
        jvm.fail("FindClass", 2);
    } else {
        jvm.fail("FindClass");
    }
    EXPECT_EQ(init(), -1);
    EXPECT_THAT(log.errors(), Contains("Exception not thrown: class Exception couldn't be found"));
    EXPECT_EQ(jvm.count("ThrowNew"), 0U);
    jvm.failNothing();
    jvm.takeException();
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BridgeInitFailure,
    testing::Values(
        FailureRow{"GetJavaVM",
                   1,
                   "Service::init(): JVM isn't available!",
                   {},
                   {"GetJavaVM", "ExceptionDescribe", "ExceptionClear", "FindClass", "ThrowNew"}},
        FailureRow{"NewGlobalRef",
                   1,
                   "Service::init(): No valid Java listener object given. Out of memory!",
                   {},
                   {"GetJavaVM", "NewGlobalRef", "FindClass", "ThrowNew"}},
        FailureRow{"FindClass",
                   1,
                   "Service::init(): Could not obtain class handle to <IValMessageCallback>.",
                   {std::string("Class not found: ") + CALLBACK},
                   {"GetJavaVM", "NewGlobalRef", "FindClass", "ExceptionOccurred", "ExceptionDescribe",
                    "ExceptionClear", "DeleteGlobalRef(object)", "FindClass", "ThrowNew"}},
        FailureRow{"NewGlobalRef",
                   2,
                   "Service::init(): No resources to create global reference for <handleMsg>.",
                   {},
                   {"GetJavaVM", "NewGlobalRef", "FindClass", "NewGlobalRef", "DeleteGlobalRef(object)",
                    "FindClass", "ThrowNew"}},
        FailureRow{"GetMethodID",
                   1,
                   "Service::init(): Could not obtain method Id to <handleMsg>.",
                   {std::string("Method not found: ") + CALLBACK + " handleMsg (I[B)V"},
                   {"GetJavaVM", "NewGlobalRef", "FindClass", "NewGlobalRef", "GetMethodID",
                    "ExceptionOccurred", "ExceptionDescribe", "ExceptionClear", "DeleteGlobalRef(object)",
                    "DeleteGlobalRef(class)", "FindClass", "ThrowNew"}}));

TEST_F(BridgeLife, DeinitEndsTheComponentsThenGivesTheReferencesBack) {
    bringUp();
    std::size_t refsWhileDestroyed = 0;
    components.behave("A", {.destroyed = [&] { refsWhileDestroyed = jvm.globalRefs(); }});
    EXPECT_EQ(service.deinit(jvm.env()), 0);
    EXPECT_EQ(refsWhileDestroyed, 2U);
    EXPECT_THAT(jvm.calls(), ElementsAre("DeleteGlobalRef(object)", "DeleteGlobalRef(class)"));
    EXPECT_THAT(components.events(), testing::UnorderedElementsAre("~A", "~B", "~C", "~D"));
    auto const first = log.lines().at(0);
    EXPECT_EQ(first.function, "deinit");
    EXPECT_EQ(first.text, "");
}

TEST_F(BridgeLife, DeinitWithoutInitIsRefused) {
    EXPECT_EQ(service.deinit(jvm.env()), -1);
    EXPECT_THAT(log.errors(), ElementsAre("Native interface wasn't initialized properly."));
}

TEST_F(BridgeLife, DeinitWithoutEnvironmentLeavesTheBridgeUp) {
    bringUp();
    EXPECT_EQ(service.deinit(nullptr), -1);
    EXPECT_THAT(log.errors(), ElementsAre("NO valid JVM reference available."));
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), 0);
}

TEST_F(BridgeLife, EndedBridgeHasNoComponentsAndRefusesEveryCallWithoutTouchingTheJvm) {
    // Given
    bringUp();
    ASSERT_TRUE(service.end());
    EXPECT_EQ(components.alive(), 0);
    // When
    EXPECT_EQ(init(), -1);
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), -1);
    EXPECT_EQ(send(), eValNotReady);
    EXPECT_EQ(service.deinit(jvm.env()), -1);
    // Then
    EXPECT_THAT(jvm.calls(), IsEmpty());
    EXPECT_THAT(log.errors(), ElementsAre("The process is ending.",
                                          "Required references to JVM aren't valid. See <init()>.",
                                          "Native interface wasn't initialized properly."));
    EXPECT_EQ(jvm.globalRefs(), 2U) << "the JVM may be gone";
    jvm.forgetGlobalRefs();
}

TEST_F(BridgeLife, EveryStartMakesNewComponentsThatAreToldTheirGeneration) {
    for (auto const* generation : {"0", "1", "2"}) {
        components.forgetEvents();
        ASSERT_EQ(init(), 0);
        EXPECT_THAT(components.events(), Contains(std::string("A::init(") + generation + ")"));
        ASSERT_EQ(service.deinit(jvm.env()), 0);
        EXPECT_THAT(components.events(), Contains("~A"));
    }
}

TEST_F(BridgeLife, ExceptionOfAComponentLeavesInitWithTheLocksFree) {
    components.behave("B", {.start = [] { throw std::runtime_error("no port"); }});
    EXPECT_THROW(init(), std::runtime_error);
    EXPECT_EQ(send(), eValNotReady);
    EXPECT_EQ(write(test::Components::ONLY_C, {1}, 1), -1);
    EXPECT_THAT(components.events(), testing::Not(Contains("C::init(0)")));
}

TEST_F(BridgeLife, DeinitClearsUpAfterAComponentThatThrew) {
    components.behave("B", {.start = [] { throw std::runtime_error("no port"); }});
    EXPECT_THROW(init(), std::runtime_error);
    EXPECT_EQ(service.deinit(jvm.env()), 0);
    EXPECT_EQ(jvm.globalRefs(), 0U);
    EXPECT_THAT(components.events(), testing::IsSupersetOf({"~A", "~B", "~C", "~D"}));
    components.reset();
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(send(), 0);
}

}  // namespace
