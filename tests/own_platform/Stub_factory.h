#pragma once

#include <ac/com/runtime/Component_singleton.h>

namespace own_platform {

/// What this platform's pool factory is made of.
struct Stub_factory : ac::com::runtime::Thread_pool_factory {
    ac::com::static_thread_pool* pool = nullptr;
};

}  // namespace own_platform
