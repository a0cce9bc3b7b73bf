#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_117e {

struct Cancel;
struct Read;

struct DataIdentifier_FoDSomeipDataBusServiceImplausible : Data_identifier<0x117E, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_117e::DataIdentifier_FoDSomeipDataBusServiceImplausible";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FoDSomeipDataBusServiceImplausible>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FoDSomeipDataBusServiceImplausible, Counted_list<1>> {};

namespace skeleton {

class DataIdentifier_FoDSomeipDataBusServiceImplausibleSkeleton
    : public Data_identifier_skeleton<DataIdentifier_FoDSomeipDataBusServiceImplausible> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_117e
