// What the doctor concludes from what the runtime knows.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/report/Runtime_report.h"
#include "tools/tester/Probe.h"

namespace tester {

/// Something that isn't as it should be, and what may help.
struct Finding {
    std::string what;
    std::string remedy;
    std::string kind = "missing";
};

/// What is missing and why. `listening` tells of endpoints where services were found whether somebody
/// listens there. Empty if all is well.
std::vector<Finding> diagnose(eb::com::runtime::Runtime_report const& report,
                              std::map<std::string, Listening> const& listening);

}  // namespace tester
