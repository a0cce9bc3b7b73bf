#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_15fd {

struct Cancel;
struct Read;

struct DataIdentifier_AuthenticTimeLastValidBackendRequest : Data_identifier<0x15FD, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_15fd::DataIdentifier_AuthenticTimeLastValidBackendRequest";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_AuthenticTimeLastValidBackendRequest>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_AuthenticTimeLastValidBackendRequest, Backend_request> {};

namespace skeleton {

class DataIdentifier_AuthenticTimeLastValidBackendRequestSkeleton
    : public Data_identifier_skeleton<DataIdentifier_AuthenticTimeLastValidBackendRequest> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_15fd
