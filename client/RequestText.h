// The log text of requests from Java.
#pragma once

#include <string>

#include "codec/diagmgr.h"

namespace zvg::val::diag_ara {

/// "0x" and lower-case digits without leading zeros: "0xa50".
std::string convert_intToHexStr(unsigned int number);

std::string print_adaptationsetReqIds(tDiagmgrGetAdaptationsetReqds const& request);
std::string print_getDataSetVersionReq(tDiagmgrGetDatasetVersionReqds const& request);
std::string print_getDataSetReq(tDiagmgrGetDatasetReqds const& request);
std::string print_javaControlMonitorPathReq(tDiagmgrJavaControlMonitorPathReqds const& request);

}  // namespace zvg::val::diag_ara
