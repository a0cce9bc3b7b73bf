#pragma once

#include <exception>

#include <jni.h>

namespace zvg::val {

/// What every JNI call site needs: tests of a result, and Java exceptions for the caller in Java.
/// Stateless; on the thread that the environment belongs to.
class HelperJNI {
public:
    /// Describes a pending exception on stderr and clears it.
    static void checkException(JNIEnv* env);

    /// Whether `cls` is missing; if so, clears what FindClass has thrown and logs the name.
    static bool checkClassNotFound(JNIEnv* env, void const* cls, char const* name);

    /// Whether the method id is missing; if so, clears what GetMethodID has thrown and logs class, name and
    /// signature.
    static bool checkMethodNotFound(JNIEnv* env, void const* id, char const* cls, char const* name,
                                    char const* sig);

    /// Leaves a java.lang.Exception with that text pending.
    static void throwNewException(JNIEnv* env, char const* text);

    /// Leaves the Java exception pending that stands for a C++ one: ServiceNotAvailableException and
    /// ApplicationErrorException for the platform's two, java.lang.Exception for any other standard one. An
    /// exception that isn't derived from std::exception goes on to the caller.
    static void throwNewException(JNIEnv* env, std::exception_ptr const& exception);
};

}  // namespace zvg::val
