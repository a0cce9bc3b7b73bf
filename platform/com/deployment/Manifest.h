#pragma once

#include <optional>
#include <string>

#include "platform/com/deployment/Deployment.h"

namespace eb::com::runtime {

/// The text of deployment/default_manifest.json.
extern char const* const DEFAULT_MANIFEST;

/// Reads a manifest. `address`, if given, replaces the address of every endpoint. Whatever is missing,
/// unknown, out of its range or contradictory throws ac::com::Invalid_argument_exception: "ORIGIN:
/// services[3].endpoint.port = 70000: has to be a number from 1 to 65535".
Deployment parseManifest(std::string const& text, std::string const& origin,
                         std::optional<std::string> const& address = {});

/// The manifest of this process: ARA_COM_MANIFEST names a file (else the default's text is taken), and
/// ARA_COM_ADDRESS replaces the addresses. Throws like parseManifest, also for a file that can't be read.
Deployment readManifest();

}  // namespace eb::com::runtime
