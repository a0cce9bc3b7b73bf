#pragma once

#include <ac/com/runtime/Component_singleton.h>

namespace binding_testing {

/// The communication runtime as long as the test needs it.
class Runtime {
private:
    ac::com::runtime::Component_singleton m_singleton{false, "binding_test"};
};

}  // namespace binding_testing
