#include "core/HelperJNI.h"

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/Application_error_exception.h>

#include "core/Trace.h"

namespace zvg::val {

namespace {

/// Throws `text` as an exception of that Java class. False if there is no such class.
bool throwNew(JNIEnv* env, char const* className, char const* text) {
    jclass const cls = env->FindClass(className);
    if (cls == nullptr) return false;
    env->ThrowNew(cls, text);
    return true;
}

}  // namespace

void HelperJNI::checkException(JNIEnv* env) {
    if (env->ExceptionOccurred() != nullptr) {
        env->ExceptionDescribe();
        env->ExceptionClear();
    }
}

bool HelperJNI::checkClassNotFound(JNIEnv* env, void const* cls, char const* name) {
    if (cls != nullptr) return false;
    checkException(env);
    Trace::out(level::ERROR, TRACE_HERE, "Class not found: ", name);
    return true;
}

bool HelperJNI::checkMethodNotFound(JNIEnv* env, void const* id, char const* cls, char const* name,
                                    char const* sig) {
    if (id != nullptr) return false;
    checkException(env);
    Trace::out(level::ERROR, TRACE_HERE, "Method not found: ", cls, " ", name, " ", sig);
    return true;
}

void HelperJNI::throwNewException(JNIEnv* env, char const* text) {
    if (!throwNew(env, "java/lang/Exception", text)) {
        Trace::out(level::ERROR, TRACE_HERE, "Exception not thrown: class Exception couldn't be found");
    }
}

void HelperJNI::throwNewException(JNIEnv* env, std::exception_ptr const& exception) {
    if (!exception) {
        Trace::out(level::INFO, TRACE_HERE, "Type of exception type cannot be identified!");
        return;
    }
    bool thrown = false;
    try {
        std::rethrow_exception(exception);
    } catch (ac::com::Service_not_available_exception const& e) {
        thrown = throwNew(env, "zvif/vehicle/services/val/ServiceNotAvailableException", e.what());
    } catch (ac::com::cpp_binding::Application_error_exception const& e) {
        thrown = throwNew(env, "zvif/vehicle/services/val/ApplicationErrorException", e.what());
    } catch (std::exception const& e) {
        thrown = throwNew(env, "java/lang/Exception", e.what());
    }
    if (!thrown) {
        Trace::out(level::ERROR, TRACE_HERE, "Exception not thrown: related class couldn't be found!");
    }
}

}  // namespace zvg::val
