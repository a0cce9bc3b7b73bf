#pragma once

#include <exception>

#include <ara/log/Logger.h>

namespace ac::com::someip::serialization {
class Serializer;
}

namespace ac::com::cpp_binding {

/// An error that the service's interface declares. It crosses the wire as its return code and payload.
class ARA_API Application_error_exception : public std::exception {
public:
    /// The SOME/IP return code that stands for this error.
    virtual unsigned char error() const noexcept = 0;

    /// Appends the error's payload.
    virtual void serialize(ac::com::someip::serialization::Serializer& serializer) const = 0;
};

}  // namespace ac::com::cpp_binding
