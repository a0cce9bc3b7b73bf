#include <ac/com/cpp_binding/logger.h>
#include <ara/com/logger.h>

#include "platform/com/runtime/Log.h"

ara::log::Logger& ac::com::cpp_binding::logger() {
    static ara::log::Logger& logger = *ara::log::CreateLogger("BIND", "Language binding");
    return logger;
}

ara::log::Logger& ara::com::logger() {
    static ara::log::Logger& logger = *ara::log::CreateLogger("COM", "ara::com");
    return logger;
}

void eb::com::runtime::log(ara::log::LogLevel level, std::string const& text) noexcept {
    static ara::log::Logger& logger = *ara::log::CreateLogger("ACOM", "Communication runtime");
    ara::log::LogStream(level, logger) << text.c_str();
}
