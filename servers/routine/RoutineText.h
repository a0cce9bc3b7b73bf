#pragma once

#include <string>

#include "codec/diagmgr.h"

namespace zvg::val::diag_ara {

// The records of a routine's messages as text for the log:
// ".routineId = 310, .transactionId = 7, .length = 2, .controlParameter = 1, .controlData = {01 ff}".
// Numbers are decimal, bytes are two hexadecimal digits each. A length beyond the record shows what it has.

std::string print_DiagRoutineRequest(tDiagmgrJavaRoutineReqds const& request);
std::string print_DiagRoutineResponse(tDiagmgrJavaRoutineRespds const& response);

}  // namespace zvg::val::diag_ara
