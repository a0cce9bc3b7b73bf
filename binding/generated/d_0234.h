#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_0234 {

struct Cancel;
struct Read;

struct DataIdentifier_FoDManagerExtendedState2 : Data_identifier<0x0234, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_0234::DataIdentifier_FoDManagerExtendedState2";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FoDManagerExtendedState2>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FoDManagerExtendedState2, Counted_list<1>> {};

namespace skeleton {

class DataIdentifier_FoDManagerExtendedState2Skeleton
    : public Data_identifier_skeleton<DataIdentifier_FoDManagerExtendedState2> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_0234
