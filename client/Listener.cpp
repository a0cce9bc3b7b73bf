#include "client/Listener.h"

#include <exception>
#include <mutex>
#include <utility>

#include "client/Printers.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

namespace {

std::string printHashes(std::vector<Listener::Hash> const& values) {
    return printer_DT_dataValuesHash_vector(values, true);
}

}  // namespace

Listener::Listener()
    : BaseListener("DiagnosticDataDistribution_RequiredSomeipServiceInstance", tVALNetworkServicesDiagAra{1},
                   false) {}

Listener::~Listener() {
    destroy();
    m_mutex.wake();
    std::lock_guard const lock(m_mutex);
    if (std::shared_ptr<Proxy> const bound = proxy()) {
        out(level::INFO, TRACE_HERE, "Unsubscribe()");
        tellUnsubscribe();
        endSubscriptions(*bound);
        out(level::INFO, TRACE_HERE, "Subscriptions have been removed!");
    }
    stopFindService();
    joinAndRemoveAllthreads();
}

void Listener::init(std::string name) {
    m_name = "diagnosticdatadistribution::field::Listener<" + name + ">::";
    out(level::INFO, TRACE_HERE, "");
}

void Listener::run() {
    {
        // A destructor that holds the lock waits for this call: then it must not wait for the destructor.
        auto const lock = m_mutex.lockUnless([this] { return stop(); });
        std::shared_ptr<Proxy> const bound = proxy();
        if (!lock || !bound || stop()) {
            out(level::INFO, TRACE_HERE, "Service not available. stop() =  ", int{stop()});
            m_processed = true;
            return;
        }
        InitializeField(&bound->dataValuesHash, &printHashes, &Listener::cbDataValuesHash, "DataValuesHash",
                        ac::com::cpp_binding::proxy::Event_cache_update_policy::last_n, 1, true);
    }
    getInitialAdaptionValues();
    m_processed = true;
}

void Listener::endSubscriptions(Proxy& proxy) {
    proxy.dataValuesHash.unsubscribe();
}

eValStatus Listener::handleMsg(int msgId, unsigned short size, unsigned char* data) {
    switch (msgId) {
        case 546:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_GET_ADAPTATION_REQ");
            return unpackGetAdaptationReq(size, data);
        case 547:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_GET_ADAPTATION_RESP");
            return unpackGetAdaptationResp(static_cast<short>(size), data);
        case 548:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_ADAPTATION_IND");
            return unpackAdaptationInd(static_cast<short>(size), data);
        case 549:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_GET_ADAPTATIONSET_REQ");
            return unpackGetAdaptationsetReq(size, data);
        case 586:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_GET_DATASET_VERSION_REQ");
            return unpackGetDataSetVersionReq(size, data);
        case 588:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_GET_DATASET_REQ");
            return unpackGetDataSetReq(static_cast<short>(size), data);
        case 600:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_JAVA_GET_CODING_REQ");
            return unpackGetJavaCodingReq(size, data);
        case 647:
            out(level::INFO, TRACE_HERE, "<<< DIAGMGR_JAVA_CONTROL_MONITOR_PATH_REQ");
            return unpackJavaControlMonitorPathReq(static_cast<short>(size), data);
        default:
            out(level::INFO, TRACE_HERE, "<msgId> ", msgId, " ignored.");
            return eValNotSupported;
    }
}

void Listener::startWorker(std::function<void()> work) {
    if (stop()) return;
    startThread([this, work = std::move(work)] {
        try {
            work();
        } catch (std::exception const& error) {  // out of a thread it would end the JVM
            out(level::ERROR, TRACE_HERE, error.what());
        }
        removeThisThread();  // from here on this object may be gone
    });
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
