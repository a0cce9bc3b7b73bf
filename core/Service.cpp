#include "core/Service.h"

#include <chrono>
#include <cstring>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/HelperJNI.h"
#include "registry/Runnable.h"

namespace zvg::val {

namespace {

constexpr char const* LISTENER_CLASS = "zvif/vehicle/services/val/IValMessageCallback";
constexpr char const* LISTENER_METHOD = "handleMsg";
constexpr char const* LISTENER_SIGNATURE = "(I[B)V";

/// Does something at the end of a scope, however it ends.
template <class Action>
class AtExit {
public:
    explicit AtExit(Action action) : m_action(std::move(action)) {}
    ~AtExit() { m_action(); }
    AtExit(AtExit const&) = delete;
    AtExit& operator=(AtExit const&) = delete;

private:
    Action m_action;
};

}  // namespace

static_assert(sizeof(std::atomic<bool>) == 1 && std::atomic<bool>::is_always_lock_free);
static_assert(!std::is_polymorphic_v<Service>, "m_attachArgs has to be the object's first bytes");

Cache& Service::m_Cache = *new Cache;

Service::Service(std::unique_ptr<Components> components, std::string name)
    : m_attachArgs{JNI_VERSION_1_8, nullptr, nullptr},
      m_components(std::move(components)),
      m_name(std::move(name)) {}

Service::~Service() {
    end();
}

bool Service::end() noexcept {
    refuseCalls();
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (std::try_lock(m_stateMutex, m_sendMutex) == -1) {
            m_initialised = false;
            m_sendMutex.unlock();
            m_stateMutex.unlock();
            m_components.reset();  // no call gets as far as to them any more
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

int Service::init(JNIEnv* env, jobject listener) {
    std::unique_lock state(m_stateMutex, std::defer_lock);
    std::unique_lock send(m_sendMutex, std::defer_lock);
    std::lock(state, send);
    out(level::DETAIL, TRACE_HERE);
    if (m_ended) {
        out(level::ERROR, TRACE_HERE, "The process is ending.");
        return -1;
    }
    if (env == nullptr) {
        out(level::ERROR, TRACE_HERE, "NO valid JVM reference available.");
        return -1;
    }
    if (listener == nullptr) {
        HelperJNI::throwNewException(env, "Service::init(): NO valid listener available.");
        return -1;
    }
    if (m_initialised) {
        HelperJNI::throwNewException(
            env, "Service::init(): Native interface was initialized beforehand (references are existing).");
        return -1;
    }
    return initJVM(env, listener);
}

int Service::initJVM(JNIEnv* env, jobject listener) {
    auto const failed = [&](char const* text) {
        m_vm = nullptr;
        m_handleMsgId = nullptr;
        if (m_listener != nullptr) env->DeleteGlobalRef(std::exchange(m_listener, nullptr));
        if (m_listenerClass != nullptr) env->DeleteGlobalRef(std::exchange(m_listenerClass, nullptr));
        HelperJNI::throwNewException(env, text);
        return -1;
    };

    if (env->GetJavaVM(&m_vm) != 0) {
        env->ExceptionDescribe();
        env->ExceptionClear();
        return failed("Service::init(): JVM isn't available!");
    }
    m_listener = env->NewGlobalRef(listener);
    if (m_listener == nullptr) {
        return failed("Service::init(): No valid Java listener object given. Out of memory!");
    }
    jclass const cls = env->FindClass(LISTENER_CLASS);
    if (HelperJNI::checkClassNotFound(env, cls, LISTENER_CLASS)) {
        return failed("Service::init(): Could not obtain class handle to <IValMessageCallback>.");
    }
    m_listenerClass = static_cast<jclass>(env->NewGlobalRef(cls));
    if (m_listenerClass == nullptr) {
        return failed("Service::init(): No resources to create global reference for <handleMsg>.");
    }
    m_handleMsgId = env->GetMethodID(m_listenerClass, LISTENER_METHOD, LISTENER_SIGNATURE);
    if (HelperJNI::checkMethodNotFound(env, m_handleMsgId, LISTENER_CLASS, LISTENER_METHOD,
                                       LISTENER_SIGNATURE)) {
        return failed("Service::init(): Could not obtain method Id to <handleMsg>.");
    }

    m_components->init();
    m_initialised = true;
    return 0;
}

int Service::deinit(JNIEnv* env) {
    std::unique_lock state(m_stateMutex, std::defer_lock);
    std::unique_lock send(m_sendMutex, std::defer_lock);
    std::lock(state, send);
    m_stopping = true;
    AtExit const stopped([this] { m_stopping.store(false, std::memory_order_release); });
    send.unlock();  // senders that wait now go home instead of blocking the shutdown
    out(level::DETAIL, TRACE_HERE);
    if (env == nullptr) {
        out(level::ERROR, TRACE_HERE, "NO valid JVM reference available.");
        return -1;
    }
    if (m_ended || m_vm == nullptr) {
        out(level::ERROR, TRACE_HERE, "Native interface wasn't initialized properly.");
        return -1;
    }
    m_components->destroy();
    m_initialised = false;
    if (m_listener != nullptr) env->DeleteGlobalRef(std::exchange(m_listener, nullptr));
    if (m_listenerClass != nullptr) env->DeleteGlobalRef(std::exchange(m_listenerClass, nullptr));
    m_handleMsgId = nullptr;
    m_vm = nullptr;
    return 0;
}

int Service::handleMsg(JNIEnv* env, int msgId, int length, jbyteArray data) {
    std::lock_guard const state(m_stateMutex);
    if (env == nullptr) {
        out(level::ERROR, TRACE_HERE, "NO valid JVM reference available.");
        return -1;
    }
    if (m_ended || !m_initialised) {
        out(level::ERROR, TRACE_HERE, "Required references to JVM aren't valid. See <init()>.");
        return -1;
    }
    auto const receivers = m_components->getReceivers(msgId);
    if (receivers.empty()) {
        out(level::ERROR, TRACE_HERE, "Message <", msgId, "> couldn't be forwarded. Invalid service handle!");
        return -1;
    }

    auto const announced = static_cast<unsigned short>(length);
    int result = 0;
    for (auto* const receiver : receivers) {
        jbyte* const elements = data != nullptr ? env->GetByteArrayElements(data, nullptr) : nullptr;
        if (elements == nullptr) {
            if (data != nullptr) env->ExceptionClear();  // running out of memory is told by the result alone
            out(level::ERROR, TRACE_HERE, "Message <", msgId,
                "> couldn't be forwarded. Content copy failed!");
            result = -1;
            continue;
        }
        AtExit const release([&] { env->ReleaseByteArrayElements(data, elements, JNI_ABORT); });
        auto* bytes = reinterpret_cast<unsigned char*>(elements);

        // The length isn't the array's. What lies behind the array is somebody else's memory.
        std::vector<unsigned char> padded;
        auto const present = static_cast<unsigned int>(env->GetArrayLength(data));
        if (announced > present) {
            padded.resize(announced);
            std::memcpy(padded.data(), bytes, present);
            bytes = padded.data();
        }
        if (receiver->handleMsg(msgId, announced, bytes) == eValOk) {
            out(level::DETAIL, TRACE_HERE, "Message <", msgId, "> with ", receivers.size(),
                "nr of receivers forwarded.");
        }
    }
    return result;
}

eValStatus Service::sendMsg(unsigned long size, void const* record, Packer const& pack, bool skipCacheCheck) {
    std::lock_guard const send(m_sendMutex);
    bool const stopping = m_stopping.load(std::memory_order_acquire);  // before m_initialised, see there
    if (m_ended || stopping || !m_initialised) {
        out(level::INFO, TRACE_HERE, "initialisation in progress message is not send");
        return eValNotReady;
    }
    if (m_vm == nullptr) {
        out(level::ERROR, TRACE_HERE, "NO valid JVM reference available.");
        return eValError;
    }
    JNIEnv* env = nullptr;
    if (m_vm->AttachCurrentThread(reinterpret_cast<void**>(&env), &m_attachArgs) != 0) {
        out(level::ERROR, TRACE_HERE, "Failed to attach to JVM.");
        return eValError;
    }
    // Always: a JVM refuses it for a thread that came from Java, and for no other thread is it wrong.
    AtExit const detach([this] { m_vm->DetachCurrentThread(); });
    if (record == nullptr) {
        out(level::ERROR, TRACE_HERE, "No valid native data given.");
        return eValError;
    }
    if (!pack) {
        out(level::ERROR, TRACE_HERE, "Invalid pointer to pack function!");
        return eValError;
    }

    jbyteArray const array = env->NewByteArray(static_cast<jsize>(size));
    if (array == nullptr) {
        env->ExceptionClear();
        out(level::ERROR, TRACE_HERE, "New byte array couldn't be created.");
        return eValError;
    }
    AtExit const drop([&] { env->DeleteLocalRef(array); });
    jbyte* const elements = env->GetByteArrayElements(array, nullptr);
    if (elements == nullptr) {
        env->ExceptionClear();
        out(level::ERROR, TRACE_HERE, "Element(s) of new byte array couldn't be accessed.");
        return eValError;
    }
    auto* const bytes = reinterpret_cast<unsigned char*>(elements);
    sQlet1Mod4MessageHdr header{};
    if (pack(&header, bytes, static_cast<unsigned int>(size)) != ePackOk) {
        out(level::ERROR, TRACE_HERE, "Pack failed!");
        return eValError;
    }
    if (!skipCacheCheck && m_Cache.isCached(header.messageId, header.length, bytes)) {
        out(level::DETAIL, TRACE_HERE, "Message with id ", header.messageId,
            "is already cashed so it is not forwarded.");
        return eValOk;
    }

    // Only from here on are the elements given back; on the ways out above they go with the local reference.
    AtExit const release([&] { env->ReleaseByteArrayElements(array, elements, 0); });
    env->SetByteArrayRegion(array, 0, static_cast<jsize>(size), elements);
    env->CallVoidMethod(m_listener, m_handleMsgId, static_cast<jint>(header.messageId), array);
    if (env->ExceptionOccurred() != nullptr) {
        env->ExceptionDescribe();
        env->ExceptionClear();
        out(level::ERROR, TRACE_HERE, "Method handleEvent() not found.");
        return eValError;
    }
    m_Cache.addToCache(header.messageId, header.length, bytes);
    return eValOk;
}

}  // namespace zvg::val
