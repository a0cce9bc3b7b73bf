// Part of the vehicle's interfaces, offered by nobody here.
#pragma once

#include "binding/generated/Uds_service_failed.h"

namespace zvg::services::diag::d_118b {

struct DataIdentifier_IAAPSOMasterSomeipDataBusServiceImplausible {
    static constexpr std::string_view SHORT_NAME =
        "DataIdentifier_IAAPSOMasterSomeipDataBusServiceImplausible";
};

using UDSServiceFailed = Uds_service_failed<DataIdentifier_IAAPSOMasterSomeipDataBusServiceImplausible>;

struct Cancel : Unfailing_method {};
struct Read : Failing_method<UDSServiceFailed> {};

}  // namespace zvg::services::diag::d_118b
