// Part of the vehicle's interfaces, offered by nobody here.
#pragma once

#include "binding/generated/Uds_service_failed.h"

namespace zvg::services::diag::d_118a {

struct DataIdentifier_IAAPSOMasterSomeipDataBusServiceErrorValueReceived {
    static constexpr std::string_view SHORT_NAME =
        "DataIdentifier_IAAPSOMasterSomeipDataBusServiceErrorValueReceived";
};

using UDSServiceFailed =
    Uds_service_failed<DataIdentifier_IAAPSOMasterSomeipDataBusServiceErrorValueReceived>;

struct Cancel : Unfailing_method {};
struct Read : Failing_method<UDSServiceFailed> {};

}  // namespace zvg::services::diag::d_118a
