#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "registry/Runnable.h"
#include "servers/dtc/DiagnosticsMonitorSkeleton_impl.h"

namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods {

/// Reports the trouble codes of Java's components to the platform: offers a monitor for each of the three
/// codes and hands on the states that Java sets.
///
/// Made by the registry through create(), which owns it, then init, start, any number of handleMsg, the
/// destructor; handleMsg comes on the thread that delivers Java's messages. Destruction withdraws each offer,
/// waits for its running InitMonitor calls, and ends the monitor; the platform isn't told a last state.
class Server : public Runnable {
public:
    static std::unique_ptr<Runnable> create();
    ~Server() override;

    /// The server that was made last, as long as it lives; else null. Any thread.
    static Server* getDtcServerInstance() noexcept;

    /// Makes the three monitors; throws what the platform throws if it doesn't know one of them.
    void init(std::string name) override;

    /// Offers the monitors; without init it does nothing.
    void start() override;

    /// Takes the state of a trouble code. The bytes are used during the call only.
    eValStatus handleMsg(int msgId, unsigned short length, unsigned char* data) override;

    eValStatus unpackDiagnosticManagerSetJavaDtcStatus(unsigned short length, unsigned char* data);

    /// Whether the state and the code are known, and the state was handed to the code's monitor.
    bool setDtcState(unsigned long const& dtc, unsigned char const& state);

    /// Whether a monitor knows the state: 0 passed, 1 failed. Then `out` has it.
    bool transformState(unsigned char const& state, ac::dm::types::MonitorActionType& out);

private:
    Server();

    static std::atomic<Server*> s_dtcServerInstance;

    // Written before the offers and in the destructor; in ascending order of the codes.
    std::vector<std::pair<unsigned long, std::unique_ptr<DiagnosticsMonitorSkeleton_impl>>> m_dtcMonitors;
};

}  // namespace zvg::val::diag_ara::services::diagnosticsmonitor::methods
