#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include <jni.h>

#include "codec/MessageFrame.h"
#include "core/Cache.h"
#include "core/Trace.h"
#include "core/ValStatus.h"
#include "registry/Components.h"

namespace zvg::val {

/// The bridge between a Java listener and native components: holds the JVM references, brings the components
/// up and down, and carries messages both ways. Knows nothing of what the messages mean.
///
///                  m_vm   m_initialised  m_stopping   handleMsg   sendMsg
///     Loaded       null   false          false        -1          eValNotReady
///     Starting     set    false          false        waits       waits           (in init)
///     Up           set    true           false        forwards    delivers
///     Stopping     set    true, false    true         waits       eValNotReady    (in deinit)
///
/// init: Loaded -> Starting -> Up; deinit: Up -> Stopping -> Loaded. An exception of a component during init
/// leaves m_vm set and the rest as in Loaded; deinit clears that up.
///
/// Locks: m_stateMutex before m_sendMutex. init and deinit take both at once, deinit gives the second back
/// early; handleMsg takes the first, sendMsg the second alone, so a component may send from inside handleMsg.
/// The Java listener runs under m_sendMutex: it must not call write or unregister itself, but hand over to
/// another thread and return.
///
/// `end` closes the bridge for good and ends the components; destruction does the same. Neither makes a JNI
/// call: at that time the JVM may be gone.
class Service {
public:
    Service(std::unique_ptr<Components> components, std::string name);
    ~Service();
    Service(Service const&) = delete;
    Service& operator=(Service const&) = delete;

    /// Resolves the JVM references and starts the components. 0, or -1 with a Java exception pending or, for
    /// a null `env`, a line in the log. Lets exceptions of components out.
    int init(JNIEnv* env, jobject listener);

    /// Ends the components and gives the JVM references back. 0 or -1.
    int deinit(JNIEnv* env);

    /// Java to components: hands `length`, cut to 16 bits, bytes of `data` to every receiver of the id, on
    /// this thread. A receiver can always read that many: what the array doesn't have reads as zeros. -1 if
    /// there's no receiver or no data; what the receivers answer doesn't count. Lets their exceptions out.
    int handleMsg(JNIEnv* env, int msgId, int length, jbyteArray data);

    /// Components to Java: packs the record into `size` bytes and calls the listener, on this thread, which
    /// is attached to the JVM for the time of the call. One message at a time. Every thread except one inside
    /// a component's init or start. Without `skipCacheCheck` a payload equal to the last of its id isn't sent
    /// again.
    template <class T>
    eValStatus sendMsg(unsigned long size, T* record,
                       tPackErrorCode (*pack)(sQlet1Mod4MessageHdr*, unsigned char*, unsigned int, T const*),
                       bool skipCacheCheck) {
        Packer packer;
        if (pack != nullptr) {
            packer = [pack, record](sQlet1Mod4MessageHdr* header, unsigned char* buffer,
                                    unsigned int bufferSize) {
                return pack(header, buffer, bufferSize, record);
            };
        }
        return sendMsg(size, static_cast<void const*>(record), packer, skipCacheCheck);
    }

    /// From now on every call from outside is refused. Waits for nothing; what is inside goes on. Any thread.
    void refuseCalls() noexcept { m_ended = true; }

    /// Refuses calls, then ends the components, at the end of the process. False, with the components left
    /// standing, if a thread stays inside the bridge for longer than a second: in a JVM that has ended such a
    /// thread never comes back, and a thread that waited for it, as the components' destructors do, would
    /// hang.
    bool end() noexcept;

    /// Whether calls are refused for good. Any thread.
    bool ended() const noexcept { return m_ended; }

    /// Whether the bridge carries messages. Any thread.
    bool up() const noexcept { return m_initialised; }

    /// Logs a line with this object's name in front.
    template <class... Args>
    void out(eLogLevel level, Args... args) {
        Trace::out(level, m_name.c_str(), args...);
    }

    /// Shared by all bridges. Never destroyed: a message may still be on its way while the process ends.
    static Cache& m_Cache;

private:
    /// Packs into a buffer; empty if there is no pack function.
    using Packer = std::function<tPackErrorCode(sQlet1Mod4MessageHdr*, unsigned char*, unsigned int)>;

    int initJVM(JNIEnv* env, jobject listener);
    eValStatus sendMsg(unsigned long size, void const* record, Packer const& pack, bool skipCacheCheck);

    JavaVMAttachArgs m_attachArgs;  // first, so that the object itself can be handed to AttachCurrentThread

    // Written with both locks held, or by deinit, while m_stopping keeps every sender out.
    JavaVM* m_vm = nullptr;
    jobject m_listener = nullptr;
    jclass m_listenerClass = nullptr;
    jmethodID m_handleMsgId = nullptr;

    // deinit clears m_initialised, then m_stopping (release); a sender reads m_stopping first (acquire). So
    // whoever sees that stopping is over sees that the references are gone, too.
    std::atomic<bool> m_initialised{false};
    std::atomic<bool> m_stopping{false};

    std::atomic<bool> m_ended{false};  // set once, never cleared; each call looks again with its lock held

    std::unique_ptr<Components> m_components;
    std::string m_name;  // never changed
    std::mutex m_stateMutex;
    std::mutex m_sendMutex;
};

}  // namespace zvg::val
