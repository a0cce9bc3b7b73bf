#pragma once

#include <ara/log/Logger.h>

namespace ac::com::cpp_binding {

/// The logger of the language binding: what calls, replies and events do.
ARA_API ara::log::Logger& logger();

}  // namespace ac::com::cpp_binding
