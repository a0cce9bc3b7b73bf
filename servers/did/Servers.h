// The servers of the fourteen data identifiers. What distinguishes one from its sisters is the row that its
// constructor sets, in the unit that bears its name.
#pragma once

#include "binding/generated/d_017d.h"
#include "binding/generated/d_0234.h"
#include "binding/generated/d_0235.h"
#include "binding/generated/d_117c.h"
#include "binding/generated/d_117d.h"
#include "binding/generated/d_117e.h"
#include "binding/generated/d_15fd.h"
#include "binding/generated/d_15fe.h"
#include "binding/generated/d_488b.h"
#include "binding/generated/d_488c.h"
#include "binding/generated/d_54dc.h"
#include "binding/generated/d_54de.h"
#include "binding/generated/d_54df.h"
#include "binding/generated/d_b047.h"
#include "servers/did/Shapes.h"

namespace zvg::val::diag_ara::services {

// The interfaces that they serve.
namespace d_b047 = zvg::services::diag::d_b047;
namespace d_15fe = zvg::services::diag::d_15fe;
namespace d_15fd = zvg::services::diag::d_15fd;
namespace d_017d = zvg::services::diag::d_017d;
namespace d_488c = zvg::services::diag::d_488c;
namespace d_488b = zvg::services::diag::d_488b;
namespace d_117c = zvg::services::diag::d_117c;
namespace d_117e = zvg::services::diag::d_117e;
namespace d_117d = zvg::services::diag::d_117d;
namespace d_0235 = zvg::services::diag::d_0235;
namespace d_0234 = zvg::services::diag::d_0234;
namespace d_54dc = zvg::services::diag::d_54dc;
namespace d_54de = zvg::services::diag::d_54de;
namespace d_54df = zvg::services::diag::d_54df;

namespace authentictimelastclientpackage::methods {
class Server
    : public FullShape<Server, d_b047::skeleton::DataIdentifier_AuthenticTimeLastClientPackageSkeleton,
                       d_b047::Read> {
public:
    Server();
};
}  // namespace authentictimelastclientpackage::methods

namespace authentictimelastfailedbackendrequest::methods {
class Server
    : public FullShape<Server, d_15fe::skeleton::DataIdentifier_AuthenticTimeLastFailedBackendRequestSkeleton,
                       d_15fe::Read> {
public:
    Server();
};
}  // namespace authentictimelastfailedbackendrequest::methods

namespace authentictimelastvalidbackendrequest::methods {
class Server
    : public FullShape<Server, d_15fd::skeleton::DataIdentifier_AuthenticTimeLastValidBackendRequestSkeleton,
                       d_15fd::Read> {
public:
    Server();
};
}  // namespace authentictimelastvalidbackendrequest::methods

namespace functionondemandversioninfo::methods {
class Server : public FullShape<Server, d_017d::skeleton::DataIdentifier_FunctionOnDemandVersionInfoSkeleton,
                                d_017d::Read> {
public:
    Server();
};
}  // namespace functionondemandversioninfo::methods

namespace functionondemandproductlist::methods {
class Server : public FullShape<Server, d_488c::skeleton::DataIdentifier_FunctionOnDemandProductListSkeleton,
                                d_488c::Read> {
public:
    Server();
};
}  // namespace functionondemandproductlist::methods

namespace functionondemandproducttofsidassociation::methods {
class Server
    : public FullShape<Server,
                       d_488b::skeleton::DataIdentifier_FunctionOnDemandProductToFsidAssociationSkeleton,
                       d_488b::Read> {
public:
    Server();
};
}  // namespace functionondemandproducttofsidassociation::methods

namespace fodsomeipdatabusservicenotavailable::methods {
class Server
    : public FullShape<Server, d_117c::skeleton::DataIdentifier_FoDSomeipDataBusServiceNotAvailableSkeleton,
                       d_117c::Read> {
public:
    Server();
};
}  // namespace fodsomeipdatabusservicenotavailable::methods

namespace fodsomeipdatabusserviceimplausible::methods {
class Server
    : public FullShape<Server, d_117e::skeleton::DataIdentifier_FoDSomeipDataBusServiceImplausibleSkeleton,
                       d_117e::Read> {
public:
    Server();
};
}  // namespace fodsomeipdatabusserviceimplausible::methods

namespace fodsomeipdatabusserviceerrorvaluereceived::methods {
class Server
    : public FullShape<Server,
                       d_117d::skeleton::DataIdentifier_FoDSomeipDataBusServiceErrorValueReceivedSkeleton,
                       d_117d::Read> {
public:
    Server();
};
}  // namespace fodsomeipdatabusserviceerrorvaluereceived::methods

namespace fodmanagerextendedstate1::methods {
class Server : public FullShape<Server, d_0235::skeleton::DataIdentifier_FoDManagerExtendedState1Skeleton,
                                d_0235::Read> {
public:
    Server();
};
}  // namespace fodmanagerextendedstate1::methods

namespace fodmanagerextendedstate2::methods {
class Server : public FullShape<Server, d_0234::skeleton::DataIdentifier_FoDManagerExtendedState2Skeleton,
                                d_0234::Read> {
public:
    Server();
};
}  // namespace fodmanagerextendedstate2::methods

namespace historymemorysynchronization::methods {
class Server
    : public ShortShape<Server, d_54dc::skeleton::DataIdentifier_HistoryMemorySynchronizationSkeleton,
                        d_54dc::Read> {
public:
    Server();
};
}  // namespace historymemorysynchronization::methods

namespace metadatashadowcopy::methods {
class Server
    : public ShortShape<Server, d_54de::skeleton::DataIdentifier_MetadataShadowCopySkeleton, d_54de::Read> {
public:
    Server();
};
}  // namespace metadatashadowcopy::methods

namespace parameterlist::methods {
class Server
    : public ShortShape<Server, d_54df::skeleton::DataIdentifier_ParameterListSkeleton, d_54df::Read> {
public:
    Server();
};
}  // namespace parameterlist::methods

}  // namespace zvg::val::diag_ara::services
