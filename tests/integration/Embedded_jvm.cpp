#include "tests/integration/Embedded_jvm.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

extern "C" {
JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register(JNIEnv*,
                                                                                              jobject,
                                                                                              jobject, jint);
JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_unregister(JNIEnv*,
                                                                                                jobject);
JNIEXPORT jint JNICALL Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write(JNIEnv*, jobject,
                                                                                           jint, jint,
                                                                                           jbyteArray);
}

namespace {

constexpr char const* LISTENER = "zvif/vehicle/services/val/integration/RecordingListener";

jmethodID method(JNIEnv* env, jobject object, char const* name, char const* signature) {
    return env->GetMethodID(env->GetObjectClass(object), name, signature);
}

jbyteArray byteArray(JNIEnv* env, std::vector<std::uint8_t> const& bytes) {
    jbyteArray array = env->NewByteArray(static_cast<jsize>(bytes.size()));
    env->SetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()),
                            reinterpret_cast<jbyte const*>(bytes.data()));
    return array;
}

}  // namespace

EmbeddedJvm& EmbeddedJvm::instance() {
    static EmbeddedJvm jvm;
    return jvm;
}

EmbeddedJvm::EmbeddedJvm() {
    std::string classPath = "-Djava.class.path=" TEST_CLASS_PATH;
    JavaVMOption options[] = {{classPath.data(), nullptr},
                              {const_cast<char*>("-Xcheck:jni"), nullptr},
                              {const_cast<char*>("-Xrs"), nullptr},
                              {const_cast<char*>("-Xmx256m"), nullptr}};
    JavaVMInitArgs arguments{JNI_VERSION_10, std::size(options), options, JNI_FALSE};
    JNIEnv* env = nullptr;
    if (JNI_CreateJavaVM(&m_vm, reinterpret_cast<void**>(&env), &arguments) != JNI_OK) {
        throw std::runtime_error("no JVM could be made with class path " TEST_CLASS_PATH);
    }
}

void EmbeddedJvm::run(std::function<void(JNIEnv*)> const& work) {
    std::thread([&] {
        JNIEnv* env = nullptr;
        ASSERT_EQ(m_vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr), JNI_OK);
        work(env);
        // The product may have detached this thread in between.
        if (m_vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_10) == JNI_OK) {
            EXPECT_FALSE(env->ExceptionCheck()) << "a Java exception was left pending";
            m_vm->DetachCurrentThread();
        }
    }).join();
}

JavaService::JavaService() {
    EmbeddedJvm::instance().run([&](JNIEnv* env) {
        jclass listenerClass = env->FindClass(LISTENER);
        ASSERT_NE(listenerClass, nullptr);
        jobject listener = env->NewObject(listenerClass, env->GetMethodID(listenerClass, "<init>", "()V"));
        m_listener = env->NewGlobalRef(listener);
    });
}

JavaService::~JavaService() {
    unregister();
    EmbeddedJvm::instance().run([&](JNIEnv* env) { env->DeleteGlobalRef(m_listener); });
}

JavaService::Result JavaService::call(std::function<int(JNIEnv*)> const& native) {
    Result result;
    EmbeddedJvm::instance().run([&](JNIEnv* env) {
        result.code = native(env);
        if (jthrowable thrown = env->ExceptionOccurred(); thrown != nullptr) {
            env->ExceptionClear();
            auto text = static_cast<jstring>(
                env->CallObjectMethod(thrown, method(env, thrown, "getMessage", "()Ljava/lang/String;")));
            char const* characters = env->GetStringUTFChars(text, nullptr);
            result.exception = characters;
            env->ReleaseStringUTFChars(text, characters);
        }
    });
    return result;
}

JavaService::Result JavaService::registerListener(int logLevel) {
    return call([&](JNIEnv* env) {
        return Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register(env, nullptr,
                                                                                      m_listener, logLevel);
    });
}

JavaService::Result JavaService::registerNull(int logLevel) {
    return call([&](JNIEnv* env) {
        return Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register(env, nullptr, nullptr,
                                                                                      logLevel);
    });
}

JavaService::Result JavaService::unregister() {
    return call([](JNIEnv* env) {
        return Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_unregister(env, nullptr);
    });
}

int JavaService::write(int id, std::vector<std::uint8_t> const& data) {
    return write(id, static_cast<int>(data.size()), data);
}

int JavaService::write(int id, int length, std::optional<std::vector<std::uint8_t>> const& data) {
    return call([&](JNIEnv* env) {
               jbyteArray array = data ? byteArray(env, *data) : nullptr;
               return Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write(env, nullptr, id,
                                                                                          length, array);
           })
        .code;
}

void JavaService::throwTimes(int times) {
    EmbeddedJvm::instance().run([&](JNIEnv* env) {
        env->CallVoidMethod(m_listener, method(env, m_listener, "throwTimes", "(I)V"), times);
    });
}

std::optional<JavaMessage> JavaService::take(int milliseconds) {
    std::optional<JavaMessage> message;
    EmbeddedJvm::instance().run([&](JNIEnv* env) {
        auto array = static_cast<jbyteArray>(env->CallObjectMethod(
            m_listener, method(env, m_listener, "take", "(J)[B"), static_cast<jlong>(milliseconds)));
        if (env->ExceptionCheck() || array == nullptr) return;
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(env->GetArrayLength(array)));
        env->GetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()),
                                reinterpret_cast<jbyte*>(bytes.data()));
        message = JavaMessage{bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3],
                              {bytes.begin() + 4, bytes.end()}};
    });
    return message;
}
