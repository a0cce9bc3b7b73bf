#include "servers/dtc/Server.h"

#include <array>

#include "codec/diagnostics.h"
#include "core/Trace.h"
#include "servers/makeSkeleton.h"

namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods {

namespace {

constexpr std::uint16_t MESSAGE_ID = 2937;  // VAL_DIAGMGR_JAVA_SET_DTC_STATUS_IND

/// Bytes of the line that tells a record: as far as the number of the code.
constexpr unsigned int TEXT_SIZE = 16;

}  // namespace

std::atomic<Server*> Server::s_dtcServerInstance{nullptr};

std::unique_ptr<Runnable> Server::create() {
    Trace::out(level::DETAIL, TRACE_HERE, "Create DTC Server");
    return std::unique_ptr<Runnable>(new Server);
}

Server::Server() {
    s_dtcServerInstance = this;
}

Server::~Server() {
    Trace::out(level::DETAIL, TRACE_HERE, "DTC Server:: ~Server()");
    for (auto& [dtc, monitor] : m_dtcMonitors) {
        monitor->StopOfferService();
        Trace::out(level::DETAIL, TRACE_HERE, "DTC Server::~Server(): StopOfferService() for DTC ", dtc);
        monitor.reset();
        Trace::out(level::DETAIL, TRACE_HERE,
                   "DTC Server::~Server(): Diagnostics Monitor instance cleared for DTC ", dtc);
    }
    Server* self = this;
    s_dtcServerInstance.compare_exchange_strong(self, nullptr);
}

Server* Server::getDtcServerInstance() noexcept {
    return s_dtcServerInstance;
}

void Server::init(std::string) {
    Trace::out(level::DETAIL, TRACE_HERE, "DTC Server::Initializing DTC Server...");
    using ac::dm::dem::DiagnosticMonitor;
    for (unsigned long const dtc : DiagnosticMonitor::CODES) {
        m_dtcMonitors.emplace_back(
            dtc, makeSkeleton<DiagnosticsMonitorSkeleton_impl>(DiagnosticMonitor::instance(dtc)));
        Trace::out(level::DETAIL, TRACE_HERE, "Diagnostics Monitor Initialized for ", dtc);
    }
}

void Server::start() {
    Trace::out(level::DETAIL, TRACE_HERE, "Starting DTC Server....");
    if (m_dtcMonitors.empty()) {
        Trace::out(level::DETAIL, TRACE_HERE, "DTC Server::start(): No instance of DTC available ");
        return;
    }
    for (auto const& [dtc, monitor] : m_dtcMonitors) {
        monitor->OfferService();
        Trace::out(level::DETAIL, TRACE_HERE, "OfferService() for DTC ", dtc);
    }
}

eValStatus Server::handleMsg(int msgId, unsigned short length, unsigned char* data) {
    if (msgId != MESSAGE_ID) {
        Trace::out(level::INFO, TRACE_HERE, "<msgId> ", msgId, " ignored.");
        return eValNotSupported;
    }
    Trace::out(level::DETAIL, TRACE_HERE, "<<< VAL_DIAGMGR_JAVA_SET_DTC_STATUS_IND");
    return unpackDiagnosticManagerSetJavaDtcStatus(length, data);
}

eValStatus Server::unpackDiagnosticManagerSetJavaDtcStatus(unsigned short length, unsigned char* data) {
    Trace::out(level::DETAIL, TRACE_HERE, "Server::handleMsg Received Java Set DTC Status message");
    sQlet1Mod4MessageHdr header{};
    header.messageId = MESSAGE_ID;
    header.length = length;
    tValDiagmgrJavaSetDtcStatusIndds record{};
    tUnpackErrorCode const result = UnpackValDiagmgrJavaSetDtcStatusInd(&header, data, &record);
    if (result != eUnpackOk) {
        Trace::out(level::ERROR, TRACE_HERE, "unpacking error=", int{result});
        return eValBadMessage;
    }
    std::array<char, TEXT_SIZE> text;
    ToStringtValDiagmgrJavaSetDtcStatusIndds(&record, text.data(), TEXT_SIZE);
    Trace::out(level::DETAIL, TRACE_HERE, text.data());
    if (!setDtcState(static_cast<unsigned long>(record.dtc_id), static_cast<unsigned char>(record.status))) {
        Trace::out(level::ERROR, TRACE_HERE, "There was an error handling the DTC request");
        return eValError;
    }
    Trace::out(level::ERROR, TRACE_HERE, "DTC request handled.");
    return eValOk;
}

bool Server::setDtcState(unsigned long const& dtc, unsigned char const& state) {
    ac::dm::types::MonitorActionType action{};
    if (!transformState(state, action)) {
        Trace::out(level::DETAIL, TRACE_HERE, "Tried to set a DTC with a not supported state. ");
        return false;
    }
    for (auto const& [number, monitor] : m_dtcMonitors) {
        if (number != dtc) continue;
        Trace::out(level::DETAIL, TRACE_HERE, "Found the Diagnostics Monitor with DTC id:", dtc,
                   ".  Setting DTC.");
        monitor->setDtcState(action);
        return true;
    }
    Trace::out(level::DETAIL, TRACE_HERE, "Requested DTC is unmapped. Please configure the DTCServer ");
    return false;
}

bool Server::transformState(unsigned char const& state, ac::dm::types::MonitorActionType& out) {
    using ac::dm::types::MonitorActionType;
    switch (state) {
        case 0:
            out = MonitorActionType::kPassed;
            return true;
        case 1:
            out = MonitorActionType::kFailed;
            return true;
        default:
            return false;
    }
}

}  // namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods
