#include "binding/generated/Signatures.h"

namespace ac::com::cpp_binding::skeleton {

template class Call_handler<void(diag::Meta const&)>;
template class Call_handler<diag::Backend_request(diag::Meta const&)>;
template class Call_handler<diag::Byte_list(diag::Meta const&)>;
template class Call_handler<diag::Client_package(diag::Meta const&)>;
template class Call_handler<diag::Counted_list<1>(diag::Meta const&)>;
template class Call_handler<diag::Counted_list<2>(diag::Meta const&)>;
template class Call_handler<diag::Extended_state(diag::Meta const&)>;
template class Call_handler<diag::Routine_outcome(diag::Meta const&)>;
template class Call_handler<diag::Version_info(diag::Meta const&)>;

}  // namespace ac::com::cpp_binding::skeleton
