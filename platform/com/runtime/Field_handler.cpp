#include <ac/com/cpp_binding/skeleton/Field_handler.h>

namespace ac::com::cpp_binding::skeleton {

// No service offered here has a field yet, so the list is empty and every offer passes.
void Field_handler::run_offer_cond_checks() const {}

}  // namespace ac::com::cpp_binding::skeleton
