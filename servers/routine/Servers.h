// The servers of the four routines. What distinguishes one from its sisters is its row, in the unit that
// bears its name.
#pragma once

#include "binding/generated/r_0687.h"
#include "binding/generated/r_0688.h"
#include "binding/generated/r_0689.h"
#include "binding/generated/r_068a.h"
#include "servers/routine/RoutineServer.h"

namespace zvg::val::diag_ara::services {

namespace rebuildparameters::methods {

extern RoutineRow const ROW;

using StartResponseHandler = OperationHandler<ROW, routine::Start>;
using StopResponseHandler = OperationHandler<ROW, routine::Stop>;
using RequestResultsResponseHandler = OperationHandler<ROW, routine::RequestResults>;
using CancelResponseHandler = OperationHandler<ROW, routine::Cancel>;

class Server;
class RebuildParametersSkeleton_impl;
using Base = RoutineServer<ROW, Server, RebuildParametersSkeleton_impl>;

class RebuildParametersSkeleton_impl
    : public RoutineSkeleton_impl<
          Base, zvg::services::diag::r_0687::skeleton::RoutineService_RebuildParametersSkeleton> {
    using RoutineSkeleton_impl::RoutineSkeleton_impl;
};

class Server : public Base {
public:
    Server();
};

}  // namespace rebuildparameters::methods

namespace initializeparameters::methods {

extern RoutineRow const ROW;

using StartResponseHandler = OperationHandler<ROW, routine::Start>;
using StopResponseHandler = OperationHandler<ROW, routine::Stop>;
using RequestResultsResponseHandler = OperationHandler<ROW, routine::RequestResults>;
using CancelResponseHandler = OperationHandler<ROW, routine::Cancel>;

class Server;
class InitializeParametersSkeleton_impl;
using Base = RoutineServer<ROW, Server, InitializeParametersSkeleton_impl>;

class InitializeParametersSkeleton_impl
    : public RoutineSkeleton_impl<
          Base, zvg::services::diag::r_0688::skeleton::RoutineService_InitializeParametersSkeleton> {
    using RoutineSkeleton_impl::RoutineSkeleton_impl;
};

class Server : public Base {
public:
    Server();
};

}  // namespace initializeparameters::methods

namespace transferparametersfromatn::methods {

extern RoutineRow const ROW;

using StartResponseHandler = OperationHandler<ROW, routine::Start>;
using StopResponseHandler = OperationHandler<ROW, routine::Stop>;
using RequestResultsResponseHandler = OperationHandler<ROW, routine::RequestResults>;
using CancelResponseHandler = OperationHandler<ROW, routine::Cancel>;

class Server;
class TransferParametersFromATNSkeleton_impl;
using Base = RoutineServer<ROW, Server, TransferParametersFromATNSkeleton_impl>;

class TransferParametersFromATNSkeleton_impl
    : public RoutineSkeleton_impl<
          Base, zvg::services::diag::r_0689::skeleton::RoutineService_TransferParametersFromATNSkeleton> {
    using RoutineSkeleton_impl::RoutineSkeleton_impl;
};

class Server : public Base {
public:
    Server();
};

}  // namespace transferparametersfromatn::methods

namespace storeparametersinatn::methods {

extern RoutineRow const ROW;

using StartResponseHandler = OperationHandler<ROW, routine::Start>;
using StopResponseHandler = OperationHandler<ROW, routine::Stop>;
using RequestResultsResponseHandler = OperationHandler<ROW, routine::RequestResults>;
using CancelResponseHandler = OperationHandler<ROW, routine::Cancel>;

class Server;
class StoreParametersInATNSkeleton_impl;
using Base = RoutineServer<ROW, Server, StoreParametersInATNSkeleton_impl>;

class StoreParametersInATNSkeleton_impl
    : public RoutineSkeleton_impl<
          Base, zvg::services::diag::r_068a::skeleton::RoutineService_StoreParametersInATNSkeleton> {
    using RoutineSkeleton_impl::RoutineSkeleton_impl;
};

class Server : public Base {
public:
    Server();
};

}  // namespace storeparametersinatn::methods

}  // namespace zvg::val::diag_ara::services
