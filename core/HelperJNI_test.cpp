#include "core/HelperJNI.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/Application_error_exception.h>

#include "tests/support/DiagLog.h"
#include "tests/support/FakeJni.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using zvg::val::HelperJNI;

class Refused : public ac::com::cpp_binding::Application_error_exception {
public:
    char const* what() const noexcept override { return "refused"; }
    unsigned char error() const noexcept override { return 2; }
    void serialize(ac::com::someip::serialization::Serializer&) const override {}
};

class HelperJniTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_THAT(jvm.violations(), IsEmpty()); }

    test::DiagLog log;
    fake::Jvm jvm;
    JNIEnv* env = jvm.env();
};

TEST_F(HelperJniTest, DescribesAndClearsAPendingException) {
    HelperJNI::throwNewException(env, "text");
    jvm.forgetCalls();
    HelperJNI::checkException(env);
    EXPECT_THAT(jvm.calls(), ElementsAre("ExceptionOccurred", "ExceptionDescribe", "ExceptionClear"));
    EXPECT_FALSE(jvm.takeException());
}

TEST_F(HelperJniTest, LeavesItAtTheQuestionWithoutAnException) {
    HelperJNI::checkException(env);
    EXPECT_THAT(jvm.calls(), ElementsAre("ExceptionOccurred"));
}

TEST_F(HelperJniTest, HasNothingToSayAboutAClassThatIsThere) {
    EXPECT_FALSE(HelperJNI::checkClassNotFound(env, &jvm, "a/B"));
    EXPECT_THAT(jvm.calls(), IsEmpty());
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_F(HelperJniTest, NamesAMissingClassAndClearsWhatWasThrown) {
    jvm.fail("FindClass");
    jclass const cls = env->FindClass("a/B");
    EXPECT_TRUE(HelperJNI::checkClassNotFound(env, cls, "a/B"));
    EXPECT_FALSE(jvm.takeException());
    EXPECT_THAT(log.story(), ElementsAre("2 checkClassNotFound() Class not found: a/B"));
}

TEST_F(HelperJniTest, HasNothingToSayAboutAMethodThatIsThere) {
    EXPECT_FALSE(HelperJNI::checkMethodNotFound(env, &jvm, "a/B", "run", "()V"));
    EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_F(HelperJniTest, NamesAMissingMethodAndClearsWhatWasThrown) {
    jmethodID const id = env->GetMethodID(env->FindClass("a/B"), "run", "()V");
    EXPECT_TRUE(HelperJNI::checkMethodNotFound(env, id, "a/B", "run", "()V"));
    EXPECT_FALSE(jvm.takeException());
    EXPECT_THAT(log.story(), ElementsAre("2 checkMethodNotFound() Method not found: a/B run ()V"));
}

TEST_F(HelperJniTest, ThrowsAJavaExceptionWithTheText) {
    HelperJNI::throwNewException(env, "text");
    auto const thrown = jvm.takeException();
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->className, "java/lang/Exception");
    EXPECT_EQ(thrown->text, "text");
}

TEST_F(HelperJniTest, LogsWhenThereIsNoClassException) {
    jvm.fail("FindClass");
    HelperJNI::throwNewException(env, "text");
    EXPECT_EQ(jvm.count("ThrowNew"), 0U);
    EXPECT_THAT(log.story(),
                ElementsAre("2 throwNewException() Exception not thrown: class Exception couldn't be found"));
}

TEST_F(HelperJniTest, CannotNameTheTypeOfNoException) {
    HelperJNI::throwNewException(env, std::exception_ptr());
    EXPECT_THAT(jvm.calls(), IsEmpty());
    EXPECT_THAT(log.story(),
                ElementsAre("4 throwNewException() Type of exception type cannot be identified!"));
}

struct MappingRow {
    std::exception_ptr exception;
    char const* javaClass;
    char const* text;
};

class HelperJniMapping : public HelperJniTest, public testing::WithParamInterface<MappingRow> {};

TEST_P(HelperJniMapping, ThrowsTheJavaClassThatStandsForTheException) {
    HelperJNI::throwNewException(env, GetParam().exception);
    auto const thrown = jvm.takeException();
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->className, GetParam().javaClass);
    EXPECT_EQ(thrown->text, GetParam().text);
}

TEST_P(HelperJniMapping, LogsWhenThatClassIsMissing) {
    jvm.fail("FindClass");
    HelperJNI::throwNewException(env, GetParam().exception);
    EXPECT_EQ(jvm.count("ThrowNew"), 0U);
    EXPECT_THAT(log.story(),
                ElementsAre("2 throwNewException() Exception not thrown: related class couldn't be found!"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HelperJniMapping,
    testing::Values(MappingRow{std::make_exception_ptr(ac::com::Service_not_available_exception()),
                               "zvif/vehicle/services/val/ServiceNotAvailableException",
                               "Service not available exception"},
                    MappingRow{std::make_exception_ptr(Refused()),
                               "zvif/vehicle/services/val/ApplicationErrorException", "refused"},
                    MappingRow{std::make_exception_ptr(std::out_of_range("far")), "java/lang/Exception",
                               "far"}));

TEST_F(HelperJniTest, LetsAForeignExceptionThrough) {
    EXPECT_THROW(HelperJNI::throwNewException(env, std::make_exception_ptr(7)), int);
}

}  // namespace
