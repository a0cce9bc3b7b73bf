// A Wireshark profile and a dissector that know the services of a deployment.
#pragma once

#include <map>
#include <string>

#include "platform/report/Deployed_services.h"

namespace tester::wireshark {

/// The profile's name, and the prefix of all field names of the dissector.
inline constexpr char PROFILE[] = "diag_ara";

/// The dissector's code, without the model of what there is to dissect.
extern char const* const DISSECTOR;

/// Where Wireshark looks for a user's profiles and dissectors, from his home folder.
inline constexpr char PROFILE_FOLDER[] = ".config/wireshark/profiles/diag_ara";
inline constexpr char PLUGIN_FOLDER[] = ".local/lib/wireshark/plugins";

/// Paths from a home folder, with what belongs into the files (Wireshark 4.0).
std::map<std::string, std::string> files(eb::com::runtime::Deployed_services const& deployed);

}  // namespace tester::wireshark
