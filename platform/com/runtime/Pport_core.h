#pragma once

#include <ac/com/cpp_binding/skeleton/Pport.h>

#include "platform/com/runtime/Provided_service.h"

namespace ac::com::cpp_binding::skeleton {

/// What stands behind a provided port in this runtime.
struct Pport::Core : eb::com::runtime::Provided_service {
    using Provided_service::Provided_service;
};

}  // namespace ac::com::cpp_binding::skeleton
