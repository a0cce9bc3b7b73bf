#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_15fe {

struct Cancel;
struct Read;

struct DataIdentifier_AuthenticTimeLastFailedBackendRequest : Data_identifier<0x15FE, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_15fe::DataIdentifier_AuthenticTimeLastFailedBackendRequest";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_AuthenticTimeLastFailedBackendRequest>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_AuthenticTimeLastFailedBackendRequest, Backend_request> {};

namespace skeleton {

class DataIdentifier_AuthenticTimeLastFailedBackendRequestSkeleton
    : public Data_identifier_skeleton<DataIdentifier_AuthenticTimeLastFailedBackendRequest> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_15fe
