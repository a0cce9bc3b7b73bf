#pragma once

#include <chrono>

#include "codec/diagmgr.h"
#include "core/ValStatus.h"

namespace zvg::val::diag_ara::services {

/// Hands a request to Java. Returns when Java's listener has returned.
eValStatus sendRoutineRequest(tDiagmgrJavaRoutineReqds& request);

/// Reads a response of Java. False if the payload isn't one.
bool unpackRoutineResponse(unsigned short length, unsigned char* data, tDiagmgrJavaRoutineRespds& response);

/// How long a request with that time-out is waited for: exactly that. A weak symbol, so that a test need not
/// spend the minute.
std::chrono::milliseconds responseWait(std::chrono::milliseconds timeout);

}  // namespace zvg::val::diag_ara::services
