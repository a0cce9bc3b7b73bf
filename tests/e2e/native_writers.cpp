// Threads of native code in a JVM that call the bridge's `write`, whatever becomes of the JVM.
#include <jni.h>

#include <chrono>
#include <thread>

#define NATIVE_WRITE Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write

extern "C" {
JNIEXPORT jint JNICALL NATIVE_WRITE(JNIEnv*, jobject, jint, jint, jbyteArray);
JNIEXPORT void JNICALL Java_zvif_vehicle_services_val_e2e_EndOfProcess_startNativeWriters(JNIEnv*, jclass,
                                                                                          jint);
}

namespace {

constexpr std::chrono::minutes LONGEST_LIFE{5};
constexpr jint DIAGNOSTICS_RESPONSE = 2350;
constexpr jint NOBODYS_MESSAGE = 601;
constexpr jint LENGTH = 8;

/// The JVM holds back a thread that calls it at its end, as a message with receivers does. One without
/// receivers makes no such call: its writer goes on until the process is gone.
void keepWriting(JavaVM* vm, jint message) {
    JNIEnv* env = nullptr;
    if (vm->AttachCurrentThreadAsDaemon(reinterpret_cast<void**>(&env), nullptr) != JNI_OK) return;
    jbyteArray const data = env->NewByteArray(LENGTH);
    auto const end = std::chrono::steady_clock::now() + LONGEST_LIFE;
    while (std::chrono::steady_clock::now() < end) NATIVE_WRITE(env, nullptr, message, LENGTH, data);
}

}  // namespace

void Java_zvif_vehicle_services_val_e2e_EndOfProcess_startNativeWriters(JNIEnv* env, jclass, jint number) {
    JavaVM* vm = nullptr;
    env->GetJavaVM(&vm);
    for (jint i = 0; i < number; ++i) {
        std::thread(keepWriting, vm, i % 2 == 0 ? DIAGNOSTICS_RESPONSE : NOBODYS_MESSAGE).detach();
    }
}
