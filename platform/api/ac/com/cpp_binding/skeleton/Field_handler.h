#pragma once

#include <ara/log/Logger.h>

namespace ac::com::cpp_binding::skeleton {

/// Head of the intrusive list of a skeleton's fields.
class ARA_API Field_handler {
public:
    /// Checks before an offer that every field with a getter has a value, and throws
    /// Invalid_argument_exception for the first that has none. A service without fields passes.
    void run_offer_cond_checks() const;

private:
    [[maybe_unused]] Field_handler* m_next = nullptr;
};

}  // namespace ac::com::cpp_binding::skeleton
