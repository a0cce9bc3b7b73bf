#pragma once

#include "registry/Diag_Ara_Components.h"

namespace zvg::val::diag_ara::services {

/// The two tables that say which components the library has and which messages reach them: a diagnostic
/// service is added by a row in each. Built at library load; read by the constructor of DiagAraService.
class Diag_Ara_Components_Services {
public:
    static ServiceTable& getServices();
    static RoutingTable& getValMsgIds();

    // Identifiers: keys that join the two tables, and log text. They reach neither Java nor the platform.
    static constexpr char const* SERVICE_DIAGNOSTIC_MONITOR_SERVER = "DM";
    static constexpr char const* SERVICE_AUTHENTIC_TIME_LAST_VALID_BACKEND_REQUEST_SERVER = "FCATLVB";
    static constexpr char const* SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT = "FCDDD";
    static constexpr char const* SERVICE_FUNCTION_ON_DEMAND_PRODUCT_LIST_SERVER = "FCFODPL";
    static constexpr char const* SERVICE_HISTORY_MEMORY_SYNCHRONISATION_SERVER = "FCHMS";
    static constexpr char const* SERVICE_FUNCTION_ON_DEMAND_VERSION_INFO_SERVER = "FODVI";
    static constexpr char const* SERVICE_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE_SERVER = "FSATLCP";
    static constexpr char const* SERVICE_AUTHENTIC_TIME_LAST_FAILED_BACKEND_REQUEST_SERVER = "FSATLFBR";
    static constexpr char const* SERVICE_FOD_MANAGER_EXTENDED_STATE_1_SERVER = "FSFODMES1";
    static constexpr char const* SERVICE_FOD_MANAGER_EXTENDED_STATE_2_SERVER = "FSFODMES2";
    static constexpr char const* SERVICE_FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSOCIATION_SERVER = "FSFODPTFA";
    static constexpr char const* SERVICE_FODSOMEIPDATABUSSERVICEERRORVALUERECEIVED_SERVER = "FSFODSIDSEVR";
    static constexpr char const* SERVICE_FODSOMEIPDATABUSSERVICEIMPLAUSIBLE_SERVER = "FSFODSIDSI";
    static constexpr char const* SERVICE_FODSOMEIPDATABUSSERVICENOTAVAILABLE_SERVER = "FSFODSIDSNA";
    static constexpr char const* SERVICE_INITIALIZE_PARAMETERS_SERVER = "FSIP";
    static constexpr char const* SERVICE_META_DATA_SHADOW_COPY_SERVER = "FSMDSC";
    static constexpr char const* SERVICE_PARAMETER_LIST_SERVER = "FSPL";
    static constexpr char const* SERVICE_REBUILD_PARAMETERS_SERVER = "FSRP";
    static constexpr char const* SERVICE_STORE_PARAMETERS_IN_ATN_SERVER = "FSSPIATN";
    static constexpr char const* SERVICE_TRANSFER_PARAMETERS_FROM_ATN_SERVER = "FSTPFATN";

private:
    // Never destroyed: the first JNI call, which reads them, may come while the process ends.
    static ServiceTable& m_services;
    static RoutingTable& m_val_msg_ids;
};

}  // namespace zvg::val::diag_ara::services
