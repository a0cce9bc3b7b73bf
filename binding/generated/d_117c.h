#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_117c {

struct Cancel;
struct Read;

struct DataIdentifier_FoDSomeipDataBusServiceNotAvailable : Data_identifier<0x117C, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_117c::DataIdentifier_FoDSomeipDataBusServiceNotAvailable";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FoDSomeipDataBusServiceNotAvailable>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FoDSomeipDataBusServiceNotAvailable, Counted_list<1>> {};

namespace skeleton {

class DataIdentifier_FoDSomeipDataBusServiceNotAvailableSkeleton
    : public Data_identifier_skeleton<DataIdentifier_FoDSomeipDataBusServiceNotAvailable> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_117c
