// What the interfaces of data identifiers and of routines have in common.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "binding/generated/Uds_service_failed.h"

namespace zvg::services::diag {

/// What a diagnostic request tells about itself, beside what it asks for.
using Meta = std::map<std::string, std::string>;

/// What stands behind the last "::" of a name.
constexpr std::string_view last_name(std::string_view name) noexcept {
    return name.substr(name.rfind(':') + 1);
}

/// Ends what is under way. Succeeds always, and gives nothing.
struct Cancel_method : Unfailing_method {
    using Output = void;
    using Signature = void(Meta const&);
};

}  // namespace zvg::services::diag
