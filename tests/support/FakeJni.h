#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <jni.h>

namespace fake {

/// A Java exception: what the listener throws, or what native code has left pending.
struct JavaException {
    std::string className;
    std::string text;
};

/// One call of the listener's handleMsg.
struct Message {
    int id;
    std::vector<unsigned char> bytes;
    bool operator==(Message const&) const = default;
};

/// A JVM for native code under test: JNI and invocation tables without a Java behind them.
///
/// Holds one listener object and the byte arrays that either side makes. Writes down every JNI call in order,
/// lets a test fail any of them, and notes every breach of JNI's rules: use of a dead reference, a call with
/// an exception pending, a thread that isn't attached. Slots that the bridge does not use end the process
/// with their index in the function table. Any thread. Everything still held is freed by the destructor.
class Jvm {
public:
    Jvm();
    ~Jvm();
    Jvm(Jvm const&) = delete;
    Jvm& operator=(Jvm const&) = delete;

    /// The environment of this thread, which counts as a Java thread from here on: it can't be detached.
    JNIEnv* env();
    /// The object that implements IValMessageCallback.
    jobject listener() const { return m_listener; }
    jbyteArray newArray(std::vector<unsigned char> const& bytes);
    std::vector<unsigned char> bytesOf(jbyteArray array) const;
    /// Lets go of an array, as the garbage collector would.
    void drop(jbyteArray array);

    /// What the listener does in handleMsg, on the sending thread. May throw a JavaException.
    void onMessage(std::function<void(Message const&)> listener);
    /// What the listener has been given, also where it threw.
    std::vector<Message> messages() const;
    /// Whether that many messages have arrived, now or within ten seconds.
    bool awaitMessages(std::size_t number) const;

    /// Fails a call of a function from now on, counting from 1, or every one of them, in the way the function
    /// fails in Java: null or an error code, with an exception pending where JNI has one.
    void fail(std::string const& function, int call = 1);
    void failAlways(std::string const& function);
    void failNothing();

    /// The JVM has ended: any further call is one too many and ends the process with exit code 86.
    void end();

    /// The functions called so far, in order; the newest are left out beyond 10,000.
    std::vector<std::string> calls() const;
    std::size_t count(std::string const& function) const;
    void forgetCalls();

    /// Takes the exception that is pending on this thread.
    std::optional<JavaException> takeException();

    std::size_t globalRefs() const;
    void forgetGlobalRefs();              ///< of a bridge that was not to give them back
    std::size_t arrays() const;           ///< references to byte arrays that nobody has dropped
    std::size_t pinnedArrays() const;     ///< elements got and not released
    std::size_t attachedThreads() const;  ///< native threads that are attached
    std::vector<std::string> violations() const;

private:
    friend struct Functions;

    struct Object {
        std::string className;
        std::vector<jbyte> bytes;
        bool isClass = false;
    };
    struct Reference {
        std::shared_ptr<Object> object;
        bool global;
    };
    struct Pin {
        std::shared_ptr<Object> object;
        std::unique_ptr<jbyte[]> elements;  // exactly as long as the array, so that a sanitizer sees its end
    };
    struct Failure {
        int call = 0;  // counts down; 0 none, negative always
    };
    struct Env : JNIEnv_ {
        Jvm* jvm;
        bool fromJava;
        std::optional<JavaException> pending;
    };
    struct Vm : JavaVM_ {
        Jvm* jvm;
    };

    // All of these with m_mutex held.
    Env& envOfThread(bool fromJava);
    bool enter(char const* function, Env* env, bool allowedWithException = false);
    jobject makeReference(std::shared_ptr<Object> object, bool global);
    std::shared_ptr<Object> find(jobject reference, char const* function);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    JNINativeInterface_ m_functions;  // never changed after construction, nor are the next three
    JNIInvokeInterface_ m_invocation;
    Vm m_vm;
    jobject m_listener;

    // Everything below is guarded by m_mutex.
    std::map<std::thread::id, std::unique_ptr<Env>> m_envs;
    std::map<jobject, Reference> m_references;
    std::map<jbyte*, Pin> m_pins;
    std::map<std::string, Failure> m_failures;
    std::map<std::string, std::size_t> m_counts;
    std::vector<std::string> m_calls;
    std::vector<std::string> m_violations;
    std::vector<Message> m_messages;
    std::function<void(Message const&)> m_onMessage;
    std::size_t m_nextReference = 1;
    bool m_ended = false;
};

}  // namespace fake
