// A real JVM inside the test process, and its threads.
#pragma once

#include <jni.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The JVM of this process: made on first use, kept to the end, as a process can make only one.
///
/// The product detaches each thread that it sends from, also one that was attached before. So nothing here
/// runs on the thread that made the JVM: every call into Java is made by a thread of its own, attached for
/// it.
class EmbeddedJvm {
public:
    static EmbeddedJvm& instance();

    /// Runs `work` on a fresh attached thread and waits for it. Fails the test if an exception is left
    /// pending.
    void run(std::function<void(JNIEnv*)> const& work);

    JavaVM* vm() const noexcept { return m_vm; }

private:
    EmbeddedJvm();
    JavaVM* m_vm = nullptr;
};

/// A message as Java's listener got it.
struct JavaMessage {
    std::int32_t id = 0;
    std::vector<std::uint8_t> payload;
};

/// The Java side of a vehicle: the listener, and the three native functions as Java calls them.
class JavaService {
public:
    JavaService();
    ~JavaService();
    JavaService(JavaService const&) = delete;
    JavaService& operator=(JavaService const&) = delete;

    /// What the native function returned, and the text of the Java exception that it left, if any.
    struct Result {
        int code = 0;
        std::optional<std::string> exception;
    };

    Result registerListener(int logLevel = 4);
    Result registerNull(int logLevel = 4);
    Result unregister();

    /// write(id, data.length, data), or with another length, or with null data.
    int write(int id, std::vector<std::uint8_t> const& data);
    int write(int id, int length, std::optional<std::vector<std::uint8_t>> const& data);

    void throwTimes(int times);

    /// The next message that the listener got, within five seconds.
    std::optional<JavaMessage> take(int milliseconds = 5000);

private:
    Result call(std::function<int(JNIEnv*)> const& native);
    jobject m_listener = nullptr;
};
