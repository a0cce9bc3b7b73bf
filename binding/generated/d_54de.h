#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_54de {

struct Cancel;
struct Read;

struct DataIdentifier_MetadataShadowCopy : Data_identifier<0x54DE, Cancel, Read> {
    static constexpr std::string_view NAME = "zvg::services::diag::d_54de::DataIdentifier_MetadataShadowCopy";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_MetadataShadowCopy>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_MetadataShadowCopy, Byte_list> {};

namespace skeleton {

class DataIdentifier_MetadataShadowCopySkeleton
    : public Data_identifier_skeleton<DataIdentifier_MetadataShadowCopy> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_54de
