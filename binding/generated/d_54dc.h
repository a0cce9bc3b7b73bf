#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_54dc {

struct Cancel;
struct Read;

struct DataIdentifier_HistoryMemorySynchronization : Data_identifier<0x54DC, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_54dc::DataIdentifier_HistoryMemorySynchronization";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_HistoryMemorySynchronization>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_HistoryMemorySynchronization, Byte_list> {};

namespace skeleton {

class DataIdentifier_HistoryMemorySynchronizationSkeleton
    : public Data_identifier_skeleton<DataIdentifier_HistoryMemorySynchronization> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_54dc
