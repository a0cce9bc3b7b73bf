// What the methods of data identifiers and routines take and give. The code that handles their calls is
// compiled once for each of these signatures, in Signatures.cpp; for any other it is compiled where it is
// used.
#pragma once

#include "binding/generated/Diagnostic_service.h"
#include "binding/generated/Output_records.h"
#include "binding/skeleton/Call_handler.h"

namespace ac::com::cpp_binding::skeleton {

namespace diag = zvg::services::diag;

extern template class Call_handler<void(diag::Meta const&)>;
extern template class Call_handler<diag::Backend_request(diag::Meta const&)>;
extern template class Call_handler<diag::Byte_list(diag::Meta const&)>;
extern template class Call_handler<diag::Client_package(diag::Meta const&)>;
extern template class Call_handler<diag::Counted_list<1>(diag::Meta const&)>;
extern template class Call_handler<diag::Counted_list<2>(diag::Meta const&)>;
extern template class Call_handler<diag::Extended_state(diag::Meta const&)>;
extern template class Call_handler<diag::Routine_outcome(diag::Meta const&)>;
extern template class Call_handler<diag::Version_info(diag::Meta const&)>;

}  // namespace ac::com::cpp_binding::skeleton
