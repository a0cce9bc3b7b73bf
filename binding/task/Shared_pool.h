#pragma once

#include <ac/com/runtime/Component_singleton.h>

#include "binding/adapter/Platform_adapter.h"

namespace ac::com::cpp_binding {

/// The pool that skeletons and proxies share. Throws Infrastructure_exception if no runtime exists.
inline static_thread_pool& shared_pool() {
    constexpr unsigned CLASS = 1;
    return adapter::pool(runtime::Component_singleton::get_thread_pool_factory(), CLASS);
}

}  // namespace ac::com::cpp_binding
