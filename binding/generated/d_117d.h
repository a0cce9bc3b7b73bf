#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_117d {

struct Cancel;
struct Read;

struct DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived : Data_identifier<0x117D, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_117d::DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived, Counted_list<1>> {};

namespace skeleton {

class DataIdentifier_FoDSomeipDataBusServiceErrorValueReceivedSkeleton
    : public Data_identifier_skeleton<DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_117d
