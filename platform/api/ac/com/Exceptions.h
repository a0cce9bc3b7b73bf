// The exceptions of the communication runtime. Types are compared by name across the border of the
// shared libraries, so all of them are visible.
#pragma once

#include <stdexcept>

#include <ara/log/Logger.h>

namespace ac::com {

/// A port can't be made from what was given: an unknown interface or instance, a missing deployment.
class ARA_API Invalid_argument_exception : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// The service that a call is meant for isn't there.
class ARA_API Service_not_available_exception : public std::runtime_error {
public:
    Service_not_available_exception() : std::runtime_error("Service not available exception") {}
};

/// The call couldn't be carried to the service or its reply back.
class ARA_API Transport_exception : public std::runtime_error {
public:
    Transport_exception() : std::runtime_error("Transport exception") {}
};

/// The runtime itself isn't able to work: it was never made or has ended.
class ARA_API Infrastructure_exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace ac::com
