// The data identifiers and the routines that this system offers, for whoever treats them all alike.
#pragma once

#include <cstddef>
#include <utility>

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
#include "binding/generated/r_0687.h"
#include "binding/generated/r_0688.h"
#include "binding/generated/r_0689.h"
#include "binding/generated/r_068a.h"

namespace zvg::services::diag {

/// Interfaces known at compile time.
template <class... Interface>
struct Interface_list {
    static constexpr std::size_t SIZE = sizeof...(Interface);

    /// Calls `visit.operator()<I>()` for each interface I in turn.
    template <class Visit>
    static void forEach(Visit&& visit) {
        (visit.template operator()<Interface>(), ...);
    }
};

/// An interface of the list gives NAME (in full), SHORT_NAME, DATA_IDENTIFIER, DESCRIPTION (its version),
/// ReadMethod with its Output, and CancelMethod.
using Data_identifiers = Interface_list<
    d_b047::DataIdentifier_AuthenticTimeLastClientPackage,
    d_15fe::DataIdentifier_AuthenticTimeLastFailedBackendRequest,
    d_15fd::DataIdentifier_AuthenticTimeLastValidBackendRequest,
    d_017d::DataIdentifier_FunctionOnDemandVersionInfo, d_488c::DataIdentifier_FunctionOnDemandProductList,
    d_488b::DataIdentifier_FunctionOnDemandProductToFsidAssociation,
    d_117c::DataIdentifier_FoDSomeipDataBusServiceNotAvailable,
    d_117e::DataIdentifier_FoDSomeipDataBusServiceImplausible,
    d_117d::DataIdentifier_FoDSomeipDataBusServiceErrorValueReceived,
    d_0235::DataIdentifier_FoDManagerExtendedState1, d_0234::DataIdentifier_FoDManagerExtendedState2,
    d_54dc::DataIdentifier_HistoryMemorySynchronization, d_54de::DataIdentifier_MetadataShadowCopy,
    d_54df::DataIdentifier_ParameterList>;

/// An interface of the list gives NAME (in full), SHORT_NAME, ROUTINE_IDENTIFIER, DESCRIPTION (its version),
/// and its methods: StartMethod, StopMethod, RequestResultsMethod with its Output, CancelMethod.
using Routines =
    Interface_list<r_0687::RoutineService_RebuildParameters, r_0688::RoutineService_InitializeParameters,
                   r_0689::RoutineService_TransferParametersFromATN,
                   r_068a::RoutineService_StoreParametersInATN>;

}  // namespace zvg::services::diag
