#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_54df {

struct Cancel;
struct Read;

struct DataIdentifier_ParameterList : Data_identifier<0x54DF, Cancel, Read> {
    static constexpr std::string_view NAME = "zvg::services::diag::d_54df::DataIdentifier_ParameterList";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_ParameterList>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_ParameterList, Byte_list> {};

namespace skeleton {

class DataIdentifier_ParameterListSkeleton : public Data_identifier_skeleton<DataIdentifier_ParameterList> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_54df
