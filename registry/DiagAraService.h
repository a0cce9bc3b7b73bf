#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "codec/diagnostics.h"
#include "core/Service.h"

namespace zvg::val::diag_ara {

/// The bridge of this library, the one object behind the three JNI functions. Besides carrying messages it
/// tells Java which platform services can be reached, with VAL_NETWORK_SERVICE_DIAG_ARA_STATUS_IND.
///
/// Made by the first JNI call and never destroyed: a thread may come in while the process ends, and after.
/// Any thread. Static destruction, perhaps in a JVM that has ended without `unregister`, ends the bridge: it
/// lets no further message through, ends the components, and touches no JVM.
class DiagAraService : public Service {
public:
    DiagAraService();

    /// The object.
    static DiagAraService* getInstance();

    /// Notes that a platform service came or went, and tells Java the new set. Returns eValNotReady, and
    /// sends nothing, if this changes nothing: every bit was set already, or none was. A failed send leaves
    /// the new set in force; the next change carries it along. The empty set has no form on the wire, so that
    /// Java is never told of the loss of the last service.
    eValStatus setServiceAvailability(tVALNetworkServicesDiagAra service, bool available);

    /// Sends the current set to Java.
    eValStatus sendServiceAvailability();

    /// Empties the set and sends nothing.
    void resetServiceAvailability();

private:
    std::atomic<std::uint32_t> m_availability{0};

    /// Ends the bridge, then the communication runtime that carries its components, at the end of the
    /// process; leaves standing what takes longer than 400 ms.
    struct Unload {
        ~Unload();
    };

    static std::unique_ptr<DiagAraService>& pInstance;  // written under initInstanceFlag
    static std::once_flag initInstanceFlag;
    static Unload unload;
};

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));

}  // namespace zvg::val::diag_ara
