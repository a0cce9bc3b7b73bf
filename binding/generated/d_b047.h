#pragma once

#include "binding/generated/Data_identifier.h"

namespace zvg::services::diag::d_b047 {

struct Cancel;
struct Read;

struct DataIdentifier_AuthenticTimeLastClientPackage : Data_identifier<0xB047, Cancel, Read> {
    static constexpr std::string_view NAME =
        "zvg::services::diag::d_b047::DataIdentifier_AuthenticTimeLastClientPackage";
    static constexpr std::string_view SHORT_NAME = last_name(NAME);
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_AuthenticTimeLastClientPackage>;

struct Cancel : Cancel_method {};

struct Read : Read_method<DataIdentifier_AuthenticTimeLastClientPackage, Client_package> {};

namespace skeleton {

class DataIdentifier_AuthenticTimeLastClientPackageSkeleton
    : public Data_identifier_skeleton<DataIdentifier_AuthenticTimeLastClientPackage> {
public:
    using Data_identifier_skeleton::Data_identifier_skeleton;
};

}  // namespace skeleton
}  // namespace zvg::services::diag::d_b047
