#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_488c {

struct Cancel;
struct Read;

struct DataIdentifier_FunctionOnDemandProductList : Data_identifier<0x488C, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_488c::DataIdentifier_FunctionOnDemandProductList";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FunctionOnDemandProductList>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FunctionOnDemandProductList, Counted_list<1>> {};

namespace skeleton {

class DataIdentifier_FunctionOnDemandProductListSkeleton
    : public Data_identifier_skeleton<DataIdentifier_FunctionOnDemandProductList> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_488c
