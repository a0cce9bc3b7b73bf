#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_488b {

struct Cancel;
struct Read;

struct DataIdentifier_FunctionOnDemandProductToFsidAssociation : Data_identifier<0x488B, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_488b::DataIdentifier_FunctionOnDemandProductToFsidAssociation";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_FunctionOnDemandProductToFsidAssociation>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_FunctionOnDemandProductToFsidAssociation, Counted_list<2>> {};

namespace skeleton {

class DataIdentifier_FunctionOnDemandProductToFsidAssociationSkeleton
    : public Data_identifier_skeleton<DataIdentifier_FunctionOnDemandProductToFsidAssociation> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_488b
