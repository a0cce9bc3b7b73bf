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

struct Read : Failing_method<UDSServiceFailed> {
    struct Output {
        Bytes<1> field1{};
        Bytes<7> field2{};
        Bytes<1> field3{};
        Bytes<1> field4{};
        Bytes<1> field5{};
        Bytes<4> field6{};
        Bytes<4> field7{};
        Bytes<4> field8{};
        Bytes<4> field9{};
        Bytes<16> field10{};
        Bytes<1> field11{};
        std::vector<std::uint8_t> field12;
        BINDING_FIELDS(field1, field2, field3, field4, field5, field6, field7, field8, field9, field10,
                       field11, field12)
        bool operator==(Output const&) const = default;
    };
    using Signature = Output(Meta const&);
};

namespace skeleton {

class DataIdentifier_FoDManagerExtendedState1Skeleton
    : public Data_identifier_skeleton<DataIdentifier_FoDManagerExtendedState1> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_0235
