#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_017d {

struct Cancel;
struct Read;

struct DataIdentifier_FunctionOnDemandVersionInfo : Data_identifier<0x017D, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_017d::DataIdentifier_FunctionOnDemandVersionInfo";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FunctionOnDemandVersionInfo>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FunctionOnDemandVersionInfo, Version_info> {};

namespace skeleton {

class DataIdentifier_FunctionOnDemandVersionInfoSkeleton
    : public Data_identifier_skeleton<DataIdentifier_FunctionOnDemandVersionInfo> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_017d
