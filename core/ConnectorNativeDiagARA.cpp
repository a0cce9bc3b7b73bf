// The three functions that Java calls: class zvif.vehicle.services.val.diagara.ConnectorNativeDiagARA.
//
// An exception that left one of them would end the JVM, so each is a barrier: what the bridge or a component
// lets out becomes a line in the log and the result -1, without a Java exception.

#include <exception>
#include <mutex>
#include <optional>
#include <stdexcept>

#include <jni.h>

#include "core/Trace.h"
#include "registry/DiagAraService.h"

using zvg::val::Trace;
using zvg::val::diag_ara::DiagAraService;
namespace level = zvg::val::level;

namespace {

constexpr jint REFUSED = -1;
constexpr jint REFUSED_LOG_LEVEL = -6;

/// Held by `register`, also while it clears up after a component that threw: no other may come in between.
std::mutex registering;

/// An exported function, by its names in the log and in Java.
struct Export {
    char const* function;
    char const* name;
};

void logEscaped(Export const& ended, char const* what) noexcept {
    try {
        Trace::out(level::ERROR, TRACE_IN(ended.function), ended.name, ": ended by an exception: ", what);
    } catch (...) {  // no memory for the line: the result tells enough
    }
}

/// What `call` returns; nothing if an exception has ended it, which is logged.
template <class Call>
std::optional<jint> guarded(Export const& guard, Call const& call) noexcept {
    try {
        return call();
    } catch (std::exception const& e) {
        logEscaped(guard, e.what());
    } catch (...) {
        logEscaped(guard, "not a standard exception");
    }
    return std::nullopt;
}

DiagAraService& bridge() {
    DiagAraService* const service = DiagAraService::getInstance();
    if (service->ended()) throw std::runtime_error("the process is ending");
    return *service;
}

/// Brings down what a component's exception has left half up, so that `register` can be tried again.
jint clearUp(JNIEnv* env) {
    DiagAraService& service = *DiagAraService::getInstance();
    return service.up() || service.ended() ? REFUSED : service.deinit(env);
}

}  // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register(
    JNIEnv* env, jobject, jobject listener, jint logLevel) {
    Export const here{__func__, "register"};
    std::unique_lock one(registering, std::defer_lock);
    auto const result = guarded(here, [&]() -> jint {
        if (logLevel < 0) {
            Trace::printBuildInfo();
            Trace::out(level::ERROR, TRACE_IN(here.function),
                       "ConnectorNativeDiagARA_register(): Logging couldn't be enabled.");
            return REFUSED_LOG_LEVEL;
        }
        Trace::mLogLevel = logLevel;
        Trace::g_loggerCtx = ara::log::CreateLogger("DIAG", "DIAG logging context");
        Trace::printBuildInfo();
        DiagAraService& service = bridge();
        one.lock();
        return service.init(env, listener);
    });
    if (!result) guarded(here, [&] { return clearUp(env); });
    return result.value_or(REFUSED);
}

JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_unregister(JNIEnv* env,
                                                                                                jobject) {
    return guarded({__func__, "unregister"}, [&] { return bridge().deinit(env); }).value_or(REFUSED);
}

JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write(
    JNIEnv* env, jobject, jint msgId, jint length, jbyteArray data) {
    return guarded({__func__, "write"}, [&] { return bridge().handleMsg(env, msgId, length, data); })
        .value_or(REFUSED);
}
}
