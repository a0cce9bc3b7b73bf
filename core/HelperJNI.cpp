#include "core/HelperJNI.h"

#include <ac/com/Exceptions.h>
#include <ac/com/cpp_binding/Application_error_exception.h>

#include "core/Trace.h"

namespace zvg::val {

namespace {

/// Throws `text` as an exception of that Java class, or logs `missing` if there is no such class.
void throwNew(JNIEnv* env, char const* className, char const* text, char const* missing) {
    jclass const cls = env->FindClass(className);
    if (cls != nullptr) {
        env->ThrowNew(cls, text);
    } else {
        Trace::out(level::ERROR, TRACE_HERE, missing);
    }
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
    throwNew(env, "java/lang/Exception", text, "Exception not thrown: class Exception couldn't be found");
}

void HelperJNI::throwNewException(JNIEnv* env, std::exception_ptr const& exception) {
    static constexpr char const* MISSING = "Exception not thrown: related class couldn't be found!";
    if (!exception) {
        Trace::out(level::INFO, TRACE_HERE, "Type of exception type cannot be identified!");
        return;
    }
    try {
        std::rethrow_exception(exception);
    } catch (ac::com::Service_not_available_exception const& e) {
        throwNew(env, "zvif/vehicle/services/val/ServiceNotAvailableException", e.what(), MISSING);
    } catch (ac::com::cpp_binding::Application_error_exception const& e) {
        throwNew(env, "zvif/vehicle/services/val/ApplicationErrorException", e.what(), MISSING);
    } catch (std::exception const& e) {
        throwNew(env, "java/lang/Exception", e.what(), MISSING);
    }
}

}  // namespace zvg::val
