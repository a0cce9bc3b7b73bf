#include "tests/support/FakeJni.h"

#include <array>
#include <bit>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace fake {

namespace {

using Slot = void (*)();

/// Stands in every slot that nobody has filled.
template <std::size_t INDEX>
void missing() {
    std::fprintf(stderr, "fake JVM: function with index %zu of the table in jni.h isn't there\n", INDEX);
    std::abort();
}

template <class Table>
Table emptyTable() {
    static constexpr std::size_t SLOTS = sizeof(Table) / sizeof(Slot);
    return []<std::size_t... INDEX>(std::index_sequence<INDEX...>) {
        return std::bit_cast<Table>(std::array<Slot, SLOTS>{&missing<INDEX>...});
    }
    (std::make_index_sequence<SLOTS>{});
}

constexpr std::size_t MAX_CALLS = 10'000;
constexpr char const* LISTENER_CLASS = "zvif/vehicle/services/val/IValMessageCallback";

/// What ExceptionOccurred answers for any exception, and the one method that there is.
jthrowable const THROWABLE = reinterpret_cast<jthrowable>(std::uintptr_t{0xE0});
jmethodID const HANDLE_MSG = reinterpret_cast<jmethodID>(std::uintptr_t{0xF0});

}  // namespace

/// The JNI functions that the bridge uses.
struct Functions {
    using Lock = std::lock_guard<std::mutex>;

    static Jvm::Env& own(JNIEnv* env) { return static_cast<Jvm::Env&>(*env); }

    static jint getJavaVm(JNIEnv* env, JavaVM** vm) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        if (jvm.enter("GetJavaVM", &own(env))) return JNI_ERR;
        *vm = &jvm.m_vm;
        return JNI_OK;
    }

    static jobject newGlobalRef(JNIEnv* env, jobject object) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        if (jvm.enter("NewGlobalRef", &own(env))) return nullptr;
        auto found = jvm.find(object, "NewGlobalRef");
        return found ? jvm.makeReference(found, true) : nullptr;
    }

    static void deleteGlobalRef(JNIEnv* env, jobject reference) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        auto const object = jvm.find(reference, "DeleteGlobalRef");
        jvm.enter(object && object->isClass ? "DeleteGlobalRef(class)" : "DeleteGlobalRef(object)", &own(env),
                  true);
        if (object) jvm.m_references.erase(reference);
    }

    static void deleteLocalRef(JNIEnv* env, jobject reference) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        jvm.enter("DeleteLocalRef", &own(env), true);
        if (jvm.find(reference, "DeleteLocalRef")) jvm.m_references.erase(reference);
    }

    static jclass findClass(JNIEnv* env, char const* name) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        if (jvm.enter("FindClass", &own(env))) {
            own(env).pending = JavaException{"java/lang/NoClassDefFoundError", name};
            return nullptr;
        }
        return static_cast<jclass>(
            jvm.makeReference(std::make_shared<Jvm::Object>(Jvm::Object{name, {}, true}), false));
    }

    static jmethodID getMethodId(JNIEnv* env, jclass cls, char const* name, char const* signature) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        bool const refused = jvm.enter("GetMethodID", &own(env));
        auto const object = jvm.find(cls, "GetMethodID");
        if (refused || !object || object->className != LISTENER_CLASS ||
            std::strcmp(name, "handleMsg") != 0 || std::strcmp(signature, "(I[B)V") != 0) {
            own(env).pending = JavaException{"java/lang/NoSuchMethodError", name};
            return nullptr;
        }
        return HANDLE_MSG;
    }

    static jint throwNew(JNIEnv* env, jclass cls, char const* text) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        if (jvm.enter("ThrowNew", &own(env))) return JNI_ERR;
        auto const object = jvm.find(cls, "ThrowNew");
        own(env).pending = JavaException{object ? object->className : "", text};
        return JNI_OK;
    }

    static jthrowable exceptionOccurred(JNIEnv* env) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        jvm.enter("ExceptionOccurred", &own(env), true);
        return own(env).pending ? THROWABLE : nullptr;
    }

    static void exceptionDescribe(JNIEnv* env) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        jvm.enter("ExceptionDescribe", &own(env), true);
    }

    static void exceptionClear(JNIEnv* env) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        jvm.enter("ExceptionClear", &own(env), true);
        own(env).pending.reset();
    }

    static jbyteArray newByteArray(JNIEnv* env, jsize length) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        if (jvm.enter("NewByteArray", &own(env)) || length < 0) {
            own(env).pending = JavaException{"java/lang/OutOfMemoryError", "NewByteArray"};
            return nullptr;
        }
        auto array = std::make_shared<Jvm::Object>();
        array->bytes.resize(static_cast<std::size_t>(length));
        return static_cast<jbyteArray>(jvm.makeReference(std::move(array), false));
    }

    static jsize getArrayLength(JNIEnv* env, jarray array) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        jvm.enter("GetArrayLength", &own(env));
        auto const object = jvm.find(array, "GetArrayLength");
        return object ? static_cast<jsize>(object->bytes.size()) : 0;
    }

    static jbyte* getByteArrayElements(JNIEnv* env, jbyteArray array, jboolean* isCopy) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        bool const refused = jvm.enter("GetByteArrayElements", &own(env));
        auto const object = jvm.find(array, "GetByteArrayElements");
        if (refused || !object) {
            own(env).pending = JavaException{"java/lang/OutOfMemoryError", "GetByteArrayElements"};
            return nullptr;
        }
        if (isCopy != nullptr) *isCopy = JNI_TRUE;
        auto elements = std::make_unique<jbyte[]>(object->bytes.size());
        std::copy(object->bytes.begin(), object->bytes.end(), elements.get());
        jbyte* const address = elements.get();
        jvm.m_pins.emplace(address, Jvm::Pin{object, std::move(elements)});
        return address;
    }

    static void releaseByteArrayElements(JNIEnv* env, jbyteArray array, jbyte* elements, jint mode) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        jvm.enter(mode == JNI_ABORT ? "ReleaseByteArrayElements(JNI_ABORT)" : "ReleaseByteArrayElements",
                  &own(env), true);
        auto const object = jvm.find(array, "ReleaseByteArrayElements");
        auto const pin = jvm.m_pins.find(elements);
        if (pin == jvm.m_pins.end() || pin->second.object != object) {
            jvm.m_violations.emplace_back("ReleaseByteArrayElements of elements that aren't the array's");
            return;
        }
        if (mode != JNI_ABORT) std::copy_n(elements, object->bytes.size(), object->bytes.begin());
        jvm.m_pins.erase(pin);
    }

    static void setByteArrayRegion(JNIEnv* env, jbyteArray array, jsize start, jsize length,
                                   jbyte const* bytes) {
        Jvm& jvm = *own(env).jvm;
        Lock const lock(jvm.m_mutex);
        bool const refused = jvm.enter("SetByteArrayRegion", &own(env));
        auto const object = jvm.find(array, "SetByteArrayRegion");
        if (refused || !object || start < 0 || length < 0 ||
            static_cast<std::size_t>(start) + static_cast<std::size_t>(length) > object->bytes.size()) {
            own(env).pending =
                JavaException{"java/lang/ArrayIndexOutOfBoundsException", "SetByteArrayRegion"};
            return;
        }
        std::copy_n(bytes, length, object->bytes.begin() + start);
    }

    static void callVoidMethodV(JNIEnv* env, jobject receiver, jmethodID method, va_list arguments) {
        Jvm& jvm = *own(env).jvm;
        Message message{va_arg(arguments, jint), {}};
        jobject const array = va_arg(arguments, jobject);
        std::function<void(Message const&)> listener;
        {
            Lock const lock(jvm.m_mutex);
            bool const refused = jvm.enter("CallVoidMethod", &own(env));
            auto const object = jvm.find(receiver, "CallVoidMethod");
            if (!object || object->className != LISTENER_CLASS || method != HANDLE_MSG) {
                jvm.m_violations.emplace_back(
                    "CallVoidMethod of something that isn't the listener's handleMsg");
                return;
            }
            if (refused) {
                own(env).pending = JavaException{"java/lang/OutOfMemoryError", "CallVoidMethod"};
                return;
            }
            if (auto const payload = jvm.find(array, "CallVoidMethod")) {
                message.bytes.assign(payload->bytes.begin(), payload->bytes.end());
            }
            if (jvm.m_messages.size() < MAX_CALLS) jvm.m_messages.push_back(message);
            listener = jvm.m_onMessage;
        }
        jvm.m_arrived.notify_all();
        try {
            if (listener) listener(message);
        } catch (JavaException const& exception) {
            Lock const lock(jvm.m_mutex);
            own(env).pending = exception;
        }
    }

    static jint attachCurrentThread(JavaVM* vm, void** env, void* arguments) {
        Jvm& jvm = *static_cast<Jvm::Vm*>(vm)->jvm;
        Lock const lock(jvm.m_mutex);
        if (jvm.enter("AttachCurrentThread", nullptr)) return JNI_ERR;
        auto const* const wishes = static_cast<JavaVMAttachArgs*>(arguments);
        if (wishes == nullptr || wishes->version != JNI_VERSION_1_8 || wishes->name != nullptr ||
            wishes->group != nullptr) {
            jvm.m_violations.emplace_back("AttachCurrentThread with unusual arguments");
        }
        *env = static_cast<JNIEnv*>(&jvm.envOfThread(false));
        return JNI_OK;
    }

    static jint detachCurrentThread(JavaVM* vm) {
        Jvm& jvm = *static_cast<Jvm::Vm*>(vm)->jvm;
        Lock const lock(jvm.m_mutex);
        bool const refused = jvm.enter("DetachCurrentThread", nullptr);
        auto const env = jvm.m_envs.find(std::this_thread::get_id());
        if (env == jvm.m_envs.end()) {
            jvm.m_violations.emplace_back("DetachCurrentThread of a thread that isn't attached");
            return JNI_OK;
        }
        if (env->second->fromJava) return JNI_ERR;  // Java frames are on its stack
        if (env->second->pending) jvm.m_violations.emplace_back("detached with an exception pending");
        jvm.m_envs.erase(env);
        return refused ? JNI_ERR : JNI_OK;
    }
};

Jvm::Jvm()
    : m_functions(emptyTable<JNINativeInterface_>()),
      m_invocation(emptyTable<JNIInvokeInterface_>()),
      m_vm{} {
    m_functions.GetJavaVM = &Functions::getJavaVm;
    m_functions.NewGlobalRef = &Functions::newGlobalRef;
    m_functions.DeleteGlobalRef = &Functions::deleteGlobalRef;
    m_functions.DeleteLocalRef = &Functions::deleteLocalRef;
    m_functions.FindClass = &Functions::findClass;
    m_functions.GetMethodID = &Functions::getMethodId;
    m_functions.ThrowNew = &Functions::throwNew;
    m_functions.ExceptionOccurred = &Functions::exceptionOccurred;
    m_functions.ExceptionDescribe = &Functions::exceptionDescribe;
    m_functions.ExceptionClear = &Functions::exceptionClear;
    m_functions.NewByteArray = &Functions::newByteArray;
    m_functions.GetArrayLength = &Functions::getArrayLength;
    m_functions.GetByteArrayElements = &Functions::getByteArrayElements;
    m_functions.ReleaseByteArrayElements = &Functions::releaseByteArrayElements;
    m_functions.SetByteArrayRegion = &Functions::setByteArrayRegion;
    m_functions.CallVoidMethodV = &Functions::callVoidMethodV;
    m_invocation.AttachCurrentThread = &Functions::attachCurrentThread;
    m_invocation.DetachCurrentThread = &Functions::detachCurrentThread;
    m_vm.functions = &m_invocation;
    m_vm.jvm = this;
    m_listener = makeReference(std::make_shared<Object>(Object{LISTENER_CLASS, {}, false}), false);
}

Jvm::~Jvm() = default;

JNIEnv* Jvm::env() {
    std::lock_guard const lock(m_mutex);
    return &envOfThread(true);
}

jbyteArray Jvm::newArray(std::vector<unsigned char> const& bytes) {
    std::lock_guard const lock(m_mutex);
    return static_cast<jbyteArray>(
        makeReference(std::make_shared<Object>(Object{"", {bytes.begin(), bytes.end()}, false}), false));
}

std::vector<unsigned char> Jvm::bytesOf(jbyteArray array) const {
    std::lock_guard const lock(m_mutex);
    auto const& bytes = m_references.at(array).object->bytes;
    return {bytes.begin(), bytes.end()};
}

void Jvm::drop(jbyteArray array) {
    std::lock_guard const lock(m_mutex);
    m_references.erase(array);
}

void Jvm::onMessage(std::function<void(Message const&)> listener) {
    std::lock_guard const lock(m_mutex);
    m_onMessage = std::move(listener);
}

std::vector<Message> Jvm::messages() const {
    std::lock_guard const lock(m_mutex);
    return m_messages;
}

bool Jvm::awaitMessages(std::size_t number) const {
    std::unique_lock lock(m_mutex);
    return m_arrived.wait_for(lock, std::chrono::seconds(10), [&] { return m_messages.size() >= number; });
}

void Jvm::fail(std::string const& function, int call) {
    std::lock_guard const lock(m_mutex);
    m_failures[function].call = call;
}

void Jvm::failAlways(std::string const& function) {
    fail(function, -1);
}

void Jvm::failNothing() {
    std::lock_guard const lock(m_mutex);
    m_failures.clear();
}

void Jvm::end() {
    std::lock_guard const lock(m_mutex);
    m_ended = true;
}

std::vector<std::string> Jvm::calls() const {
    std::lock_guard const lock(m_mutex);
    return m_calls;
}

std::size_t Jvm::count(std::string const& function) const {
    std::lock_guard const lock(m_mutex);
    auto const found = m_counts.find(function);
    return found == m_counts.end() ? 0 : found->second;
}

void Jvm::forgetCalls() {
    std::lock_guard const lock(m_mutex);
    m_calls.clear();
    m_counts.clear();
    m_messages.clear();
}

std::optional<JavaException> Jvm::takeException() {
    std::lock_guard const lock(m_mutex);
    return std::exchange(envOfThread(true).pending, std::nullopt);
}

std::size_t Jvm::globalRefs() const {
    std::lock_guard const lock(m_mutex);
    return static_cast<std::size_t>(std::count_if(m_references.begin(), m_references.end(),
                                                  [](auto const& entry) { return entry.second.global; }));
}

void Jvm::forgetGlobalRefs() {
    std::lock_guard const lock(m_mutex);
    std::erase_if(m_references, [](auto const& entry) { return entry.second.global; });
}

std::size_t Jvm::arrays() const {
    std::lock_guard const lock(m_mutex);
    return static_cast<std::size_t>(
        std::count_if(m_references.begin(), m_references.end(),
                      [](auto const& entry) { return entry.second.object->className.empty(); }));
}

std::size_t Jvm::pinnedArrays() const {
    std::lock_guard const lock(m_mutex);
    return m_pins.size();
}

std::size_t Jvm::attachedThreads() const {
    std::lock_guard const lock(m_mutex);
    return static_cast<std::size_t>(std::count_if(m_envs.begin(), m_envs.end(),
                                                  [](auto const& entry) { return !entry.second->fromJava; }));
}

std::vector<std::string> Jvm::violations() const {
    std::lock_guard const lock(m_mutex);
    return m_violations;
}

Jvm::Env& Jvm::envOfThread(bool fromJava) {
    auto& env = m_envs[std::this_thread::get_id()];
    if (!env) {
        env = std::make_unique<Env>();
        env->functions = &m_functions;
        env->jvm = this;
        env->fromJava = false;
    }
    env->fromJava = env->fromJava || fromJava;
    return *env;
}

/// Notes a call; true if a test wants it to fail.
bool Jvm::enter(char const* function, Env* env, bool allowedWithException) {
    if (m_ended) {
        std::fprintf(stderr, "fake JVM: %s after its end\n", function);
        std::_Exit(86);
    }
    ++m_counts[function];
    if (m_calls.size() < MAX_CALLS) m_calls.emplace_back(function);
    if (env != nullptr) {
        auto const attached = m_envs.find(std::this_thread::get_id());
        if (attached == m_envs.end() || attached->second.get() != env) {
            m_violations.push_back(std::string(function) + " with the environment of another thread");
        }
        if (env->pending && !allowedWithException) {
            m_violations.push_back(std::string(function) + " with " + env->pending->className + " pending");
        }
    }
    auto const failure = m_failures.find(function);
    if (failure == m_failures.end() || failure->second.call == 0) return false;
    return failure->second.call < 0 || --failure->second.call == 0;
}

jobject Jvm::makeReference(std::shared_ptr<Object> object, bool global) {
    auto const reference = reinterpret_cast<jobject>(m_nextReference++ << 8U);
    m_references.emplace(reference, Reference{std::move(object), global});
    return reference;
}

std::shared_ptr<Jvm::Object> Jvm::find(jobject reference, char const* function) {
    auto const found = m_references.find(reference);
    if (found != m_references.end()) return found->second.object;
    m_violations.push_back(std::string(function) + " of a dead reference");
    return nullptr;
}

}  // namespace fake
