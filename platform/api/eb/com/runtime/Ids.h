// The names that the runtime knows services by.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <utility>

namespace eb::com::runtime {

/// A service interface by its full name, "zvg::services::diag::d_b047::DataIdentifier_...".
struct Service_id {
    std::string value;
    auto operator<=>(Service_id const&) const = default;
};

/// An instance of a service by its specifier: "1", a port's name, any UTF-8.
struct Instance_id {
    std::string value;
    auto operator<=>(Instance_id const&) const = default;
};

/// An interface's version: major in the upper 16 bits, minor in the lower (0x00020000 is 2.0).
struct Service_interface_description {
    std::uint32_t value;
    std::uint16_t major() const noexcept { return static_cast<std::uint16_t>(value >> 16U); }
    std::uint16_t minor() const noexcept { return static_cast<std::uint16_t>(value & 0xFFFFU); }
    auto operator<=>(Service_interface_description const&) const = default;
};

}  // namespace eb::com::runtime
