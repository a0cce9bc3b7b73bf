// The three functions that Java calls: class zvif.vehicle.services.val.diagara.ConnectorNativeDiagARA.
//
// An exception that left one of them would end the JVM, so each is a barrier: what the bridge or a component
// lets out becomes a line in the log and the result -1, without a Java exception.

#include <exception>
#include <stdexcept>

#include <jni.h>

#include "core/Trace.h"
#include "registry/DiagAraService.h"

using zvg::val::Trace;
using zvg::val::diag_ara::DiagAraService;
namespace level = zvg::val::level;

namespace {

constexpr jint REFUSED_LOG_LEVEL = -6;

void logEscaped(char const* function, char const* what) noexcept {
    try {
        Trace::out(level::ERROR, TRACE_HERE, function, ": ended by an exception: ", what);
    } catch (...) {  // no memory for the line: the result tells enough
    }
}

template <class Call>
jint guarded(char const* function, Call const& call) noexcept {
    try {
        return call();
    } catch (std::exception const& e) {
        logEscaped(function, e.what());
    } catch (...) {
        logEscaped(function, "not a standard exception");
    }
    return -1;
}

DiagAraService& bridge() {
    DiagAraService* const service = DiagAraService::getInstance();
    if (service == nullptr) throw std::runtime_error("the process is ending");
    return *service;
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register(
    JNIEnv* env, jobject, jobject listener, jint logLevel) {
    return guarded("register", [&] {
        if (logLevel < 0) {
            Trace::printBuildInfo();
            Trace::out(level::ERROR, TRACE_HERE,
                       "ConnectorNativeDiagARA_register(): Logging couldn't be enabled.");
            return REFUSED_LOG_LEVEL;
        }
        Trace::mLogLevel = logLevel;
        Trace::g_loggerCtx = ara::log::CreateLogger("DIAG", "DIAG logging context");
        Trace::printBuildInfo();
        return bridge().init(env, listener);
    });
}

JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_unregister(JNIEnv* env,
                                                                                                jobject) {
    return guarded("unregister", [&] { return bridge().deinit(env); });
}

JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write(
    JNIEnv* env, jobject, jint msgId, jint length, jbyteArray data) {
    return guarded("write", [&] { return bridge().handleMsg(env, msgId, length, data); });
}
}
