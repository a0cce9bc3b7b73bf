#pragma once

#include <ara/log/Logger.h>

namespace ara::com {

/// The logger of ara::com itself: errors that a service's owner sees.
ARA_API ara::log::Logger& logger();

}  // namespace ara::com
