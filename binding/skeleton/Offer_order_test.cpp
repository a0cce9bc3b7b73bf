// In which order a skeleton's offer begins and ends. The linker puts these functions between the binding and
// the platform (--wrap in CMakeLists.txt).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ac/com/Exceptions.h>
#include <string>
#include <vector>

#include "binding/generated/d_b047.h"
#include "binding/skeleton/Skeleton_impl.h"
#include "binding/testing/Runtime.h"

namespace {

std::vector<std::string> steps;  // NOLINT: used by the test's thread alone
bool fieldLacksItsValue = false;

}  // namespace

// NOLINTBEGIN: the names are the linker's
#define WRAP(Symbol, Step)                        \
    extern "C" void __real_##Symbol(void*);       \
    extern "C" void __wrap_##Symbol(void* self) { \
        steps.emplace_back(Step);                 \
        __real_##Symbol(self);                    \
    }
WRAP(_ZN2ac3com11cpp_binding8skeleton5Pport11start_offerEv, "start the offer")
WRAP(_ZN2ac3com11cpp_binding8skeleton5Pport10stop_offerEv, "stop the offer")
WRAP(_ZN2ac3com11cpp_binding8skeleton17Method_dispatcher5startEv, "start the dispatcher")
WRAP(_ZN2ac3com11cpp_binding8skeleton17Method_dispatcher4stopEv, "stop the dispatcher")
extern "C" void __real__ZNK2ac3com11cpp_binding8skeleton13Field_handler21run_offer_cond_checksEv(void*);
extern "C" void __wrap__ZNK2ac3com11cpp_binding8skeleton13Field_handler21run_offer_cond_checksEv(void* self) {
    steps.emplace_back("check the fields");
    if (fieldLacksItsValue) throw ac::com::Invalid_argument_exception("a field has no value");
    __real__ZNK2ac3com11cpp_binding8skeleton13Field_handler21run_offer_cond_checksEv(self);
}
#undef WRAP
// NOLINTEND

namespace ac::com::cpp_binding::skeleton {
namespace {

using testing::ElementsAre;

class Offer_order_test : public testing::Test {
protected:
    Offer_order_test() { steps.clear(); }
    ~Offer_order_test() override { fieldLacksItsValue = false; }

    binding_testing::Runtime m_runtime;
    Skeleton_impl<zvg::services::diag::d_b047::DataIdentifier_AuthenticTimeLastClientPackage> sut{"1", 1};
};

TEST_F(Offer_order_test, FieldsAreCheckedThenCallsAreTakenThenTheServiceIsMadeKnown) {
    sut.offer();
    EXPECT_THAT(steps, ElementsAre("check the fields", "start the dispatcher", "start the offer"));
    sut.stop_offer();
}

TEST_F(Offer_order_test, ServiceIsWithdrawnBeforeCallsAreRefused) {
    sut.offer();
    steps.clear();
    sut.stop_offer();
    EXPECT_THAT(steps, ElementsAre("stop the offer", "stop the dispatcher"));
}

TEST_F(Offer_order_test, FieldWithoutItsValueIsNeitherStartedNorOffered) {
    fieldLacksItsValue = true;
    EXPECT_THROW(sut.offer(), Invalid_argument_exception);
    EXPECT_THAT(steps, ElementsAre("check the fields"));
}

}  // namespace
}  // namespace ac::com::cpp_binding::skeleton
