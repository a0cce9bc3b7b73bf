#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_0235 {

struct Cancel;
struct Read;

struct DataIdentifier_FoDManagerExtendedState1 : Data_identifier<0x0235, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_0235::DataIdentifier_FoDManagerExtendedState1";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FoDManagerExtendedState1>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FoDManagerExtendedState1, Extended_state> {};

namespace skeleton {

class DataIdentifier_FoDManagerExtendedState1Skeleton
    : public Data_identifier_skeleton<DataIdentifier_FoDManagerExtendedState1> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_0235
