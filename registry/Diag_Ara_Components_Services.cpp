// The one file that names every component: a diagnostic service is added by a row in each of the two tables.

#include "registry/Diag_Ara_Components_Services.h"

#include "client/Listener.h"
#include "servers/did/Servers.h"
#include "servers/dtc/Server.h"
#include "servers/routine/Servers.h"

namespace zvg::val::diag_ara::services {

using Ids = Diag_Ara_Components_Services;

ServiceTable& Diag_Ara_Components_Services::m_services = *new ServiceTable{
    {Ids::SERVICE_DIAGNOSTIC_MONITOR_SERVER, diagnosticsmonitor::methods::Server::create},
    {Ids::SERVICE_AUTHENTIC_TIME_LAST_VALID_BACKEND_REQUEST_SERVER,
     authentictimelastvalidbackendrequest::methods::Server::create},
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, diagnosticdatadistribution::field::Listener::create},
    {Ids::SERVICE_FUNCTION_ON_DEMAND_PRODUCT_LIST_SERVER,
     functionondemandproductlist::methods::Server::create},
    {Ids::SERVICE_HISTORY_MEMORY_SYNCHRONISATION_SERVER,
     historymemorysynchronization::methods::Server::create},
    {Ids::SERVICE_FUNCTION_ON_DEMAND_VERSION_INFO_SERVER,
     functionondemandversioninfo::methods::Server::create},
    {Ids::SERVICE_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE_SERVER,
     authentictimelastclientpackage::methods::Server::create},
    {Ids::SERVICE_AUTHENTIC_TIME_LAST_FAILED_BACKEND_REQUEST_SERVER,
     authentictimelastfailedbackendrequest::methods::Server::create},
    {Ids::SERVICE_FOD_MANAGER_EXTENDED_STATE_1_SERVER, fodmanagerextendedstate1::methods::Server::create},
    {Ids::SERVICE_FOD_MANAGER_EXTENDED_STATE_2_SERVER, fodmanagerextendedstate2::methods::Server::create},
    {Ids::SERVICE_FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSOCIATION_SERVER,
     functionondemandproducttofsidassociation::methods::Server::create},
    {Ids::SERVICE_FODSOMEIPDATABUSSERVICEERRORVALUERECEIVED_SERVER,
     fodsomeipdatabusserviceerrorvaluereceived::methods::Server::create},
    {Ids::SERVICE_FODSOMEIPDATABUSSERVICEIMPLAUSIBLE_SERVER,
     fodsomeipdatabusserviceimplausible::methods::Server::create},
    {Ids::SERVICE_FODSOMEIPDATABUSSERVICENOTAVAILABLE_SERVER,
     fodsomeipdatabusservicenotavailable::methods::Server::create},
    {Ids::SERVICE_INITIALIZE_PARAMETERS_SERVER, initializeparameters::methods::Server::create},
    {Ids::SERVICE_META_DATA_SHADOW_COPY_SERVER, metadatashadowcopy::methods::Server::create},
    {Ids::SERVICE_PARAMETER_LIST_SERVER, parameterlist::methods::Server::create},
    {Ids::SERVICE_REBUILD_PARAMETERS_SERVER, rebuildparameters::methods::Server::create},
    {Ids::SERVICE_STORE_PARAMETERS_IN_ATN_SERVER, storeparametersinatn::methods::Server::create},
    {Ids::SERVICE_TRANSFER_PARAMETERS_FROM_ATN_SERVER, transferparametersfromatn::methods::Server::create},
};

RoutingTable& Diag_Ara_Components_Services::m_val_msg_ids = *new RoutingTable{
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 546},  // DIAGMGR_GET_ADAPTATION_REQ
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 547},  // DIAGMGR_GET_ADAPTATION_RESP
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 548},  // DIAGMGR_ADAPTATION_IND
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 549},  // DIAGMGR_GET_ADAPTATIONSET_REQ
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 586},  // DIAGMGR_GET_DATASET_VERSION_REQ
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 588},  // DIAGMGR_GET_DATASET_REQ
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 600},  // DIAGMGR_JAVA_GET_CODING_REQ
    {Ids::SERVICE_DIAGNOSTIC_DATA_DIST_CLIENT, 647},  // DIAGMGR_JAVA_CONTROL_MONITOR_PATH_REQ

    // DIAGMGR_JAVA_ROUTINE_RESP: each routine server looks for its own transaction.
    {Ids::SERVICE_INITIALIZE_PARAMETERS_SERVER, 666},
    {Ids::SERVICE_REBUILD_PARAMETERS_SERVER, 666},
    {Ids::SERVICE_STORE_PARAMETERS_IN_ATN_SERVER, 666},
    {Ids::SERVICE_TRANSFER_PARAMETERS_FROM_ATN_SERVER, 666},

    // ValDiagnosticsresponseInd: each data identifier server looks whether it has asked.
    {Ids::SERVICE_AUTHENTIC_TIME_LAST_VALID_BACKEND_REQUEST_SERVER, 2350},
    {Ids::SERVICE_FUNCTION_ON_DEMAND_PRODUCT_LIST_SERVER, 2350},
    {Ids::SERVICE_HISTORY_MEMORY_SYNCHRONISATION_SERVER, 2350},
    {Ids::SERVICE_FUNCTION_ON_DEMAND_VERSION_INFO_SERVER, 2350},
    {Ids::SERVICE_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE_SERVER, 2350},
    {Ids::SERVICE_AUTHENTIC_TIME_LAST_FAILED_BACKEND_REQUEST_SERVER, 2350},
    {Ids::SERVICE_FOD_MANAGER_EXTENDED_STATE_1_SERVER, 2350},
    {Ids::SERVICE_FOD_MANAGER_EXTENDED_STATE_2_SERVER, 2350},
    {Ids::SERVICE_FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSOCIATION_SERVER, 2350},
    {Ids::SERVICE_FODSOMEIPDATABUSSERVICEERRORVALUERECEIVED_SERVER, 2350},
    {Ids::SERVICE_FODSOMEIPDATABUSSERVICEIMPLAUSIBLE_SERVER, 2350},
    {Ids::SERVICE_FODSOMEIPDATABUSSERVICENOTAVAILABLE_SERVER, 2350},
    {Ids::SERVICE_META_DATA_SHADOW_COPY_SERVER, 2350},
    {Ids::SERVICE_PARAMETER_LIST_SERVER, 2350},

    {Ids::SERVICE_DIAGNOSTIC_MONITOR_SERVER, 2937},  // VAL_DIAGMGR_JAVA_SET_DTC_STATUS_IND
};

ServiceTable& Diag_Ara_Components_Services::getServices() {
    return m_services;
}

RoutingTable& Diag_Ara_Components_Services::getValMsgIds() {
    return m_val_msg_ids;
}

}  // namespace zvg::val::diag_ara::services
