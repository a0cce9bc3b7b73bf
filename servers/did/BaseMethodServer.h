#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "binding/future/Promise.h"
#include "core/Trace.h"
#include "servers/SkeletonServer.h"
#include "servers/makeSkeleton.h"

namespace zvg::val::diag_ara::services {

/// Bridges one data identifier: a Read that arrives from the platform becomes a message to Java, and Java's
/// message back completes it.
///
/// Made by the registry through create(), which owns it, then init, start, any number of handleMsg, the
/// destructor. Read and Cancel (Skeleton_impl) come on pool threads of the platform, handleMsg on the thread
/// that delivers Java's messages, any of them beside each other. Destruction withdraws the offer and waits
/// for running Reads and Cancels; a pending Read is not answered.
///
///     state       Idle                Awaiting                       Canceled
///     flags       neither             m_requestPending               m_requestCanceled
///     Read        Awaiting, or Idle with a reply of zeros if it could not be sent; so in all three
///     Cancel      stays               Canceled, the Read has zeros   stays
///     response    stays, dropped      Idle, decoded with any result  stays, dropped
///
/// No operation waits for another, and nothing refuses a second Read: it takes the place of the first, whose
/// caller gets no reply. Each Read has a number. An operation changes the flags only while the Read that it
/// found is still the latest: a reply leaves before the flags change, and the client may have begun its next
/// Read by then. Two operations may both complete one Read; the first result stands. So no Read is left
/// without a result, except one that was replaced and one that got a response that can't be used.
template <class Server, class SkeletonImpl, class Output, class CancelOutput>
class BaseMethodServer : public SkeletonServer<SkeletonImpl> {
public:
    static std::unique_ptr<Runnable> create() { return std::unique_ptr<Runnable>(new Server); }

    ~BaseMethodServer() override {
        out(level::DETAIL, TRACE_HERE, "");
        if (m_skeleton) {
            out(level::DETAIL, TRACE_HERE, "StopOfferService()");
            m_skeleton->StopOfferService();
        }
    }

    /// Makes the skeleton; `name` only marks the lines of the log. Throws what the platform throws if it
    /// doesn't know the service.
    void init(std::string name) override {
        m_skeleton = makeSkeleton<SkeletonImpl>(this->m_instanceId);
        m_skeleton->m_server = this;
        m_logPrefix = m_serviceName + "::methods::Server<" + name + ">::";
        beginRead();
        {
            std::lock_guard const lock(m_requestMutex);
            m_requestCanceled = false;
            m_responseReceived = false;
            m_requestPending = false;
        }
        out(level::DETAIL, TRACE_HERE, "");
    }

    /// Takes a response of Java if one is awaited. The bytes are used during the call only.
    eValStatus handleMsg(int msgId, unsigned short length, unsigned char* data) override {
        constexpr int RESPONSE = 2350;
        if (msgId != RESPONSE) {
            out(level::INFO, TRACE_HERE, "<msgId> ", msgId, " ignored.");
            return eValNotSupported;
        }
        out(level::DETAIL, TRACE_HERE, "Server::handleMsg Received diagnostic response");
        auto const [canceled, pending] = takeResponse();
        if (canceled) {
            out(level::ERROR, TRACE_HERE,
                "Server::handleMsg diagnostic response received but request is canceled message is ignored");
            return eValError;
        }
        if (pending) {
            eValStatus const status = unpackDiagnosticsresponse(length, data);
            endAnswered();
            return status;
        }
        out(level::ERROR, TRACE_HERE,
            "Server::handleMsg diagnostic response received but no request is send");
        return eValError;
    }

protected:
    using SkeletonServer<SkeletonImpl>::out;
    using SkeletonServer<SkeletonImpl>::m_skeleton;
    using SkeletonServer<SkeletonImpl>::m_logPrefix;

    BaseMethodServer(std::uint16_t requestId, std::string serviceName)
        : m_requestId(requestId), m_serviceName(std::move(serviceName)) {}

    using Promise = eb::com::Promise<Output>;

    /// Decodes a response and completes the promise. The result is handleMsg's. The Read still awaits its
    /// response meanwhile.
    virtual eValStatus unpackDiagnosticsresponse(unsigned short length, unsigned char* data) = 0;

    /// For the decoder: the promise of the Read that the response answers, which is the latest. A decoder
    /// asks once and keeps this share until it returns, so that a Read that comes meanwhile does not destroy
    /// a promise in use.
    std::shared_ptr<Promise> promise() {
        std::lock_guard const lock(m_requestMutex);
        m_answeredRead = m_latestRead;
        return m_promise;
    }

    std::string const& logPrefix() const noexcept { return m_logPrefix; }

private:
    friend SkeletonImpl;

    using ReadNumber = std::uint64_t;
    struct PendingRead {
        ReadNumber number;
        std::shared_ptr<Promise> promise;  // shared for the same reason as a decoder's
    };
    struct ResponseState {
        bool canceled;
        bool pending;
    };

    /// Read begins: puts a fresh promise in the place of the old one, which is destroyed.
    std::pair<ReadNumber, eb::com::Future<Output>> beginRead() {
        auto fresh = std::make_shared<Promise>();
        auto future = fresh->get_future();
        std::lock_guard const lock(m_requestMutex);
        m_promise.swap(fresh);
        return {++m_latestRead, std::move(future)};
    }

    /// Read is about to ask Java.
    void awaitResponse(ReadNumber number) {
        std::lock_guard const lock(m_requestMutex);
        if (number != m_latestRead) return;
        m_requestCanceled = false;
        m_requestPending = true;
    }

    /// Read could not ask Java: its promise, to be completed; null if a later Read has destroyed it.
    std::shared_ptr<Promise> endUnsent(ReadNumber number) {
        std::lock_guard const lock(m_requestMutex);
        if (number != m_latestRead) return nullptr;
        m_requestPending = false;
        m_requestCanceled = false;
        return m_promise;
    }

    /// Cancel: what it has to complete, if anything.
    std::optional<PendingRead> pendingRead() {
        std::lock_guard const lock(m_requestMutex);
        if (!m_requestPending) return std::nullopt;
        return PendingRead{m_latestRead, m_promise};
    }

    /// Cancel has completed a Read.
    void endCanceled(ReadNumber number) {
        std::lock_guard const lock(m_requestMutex);
        if (number != m_latestRead) return;
        m_requestPending = false;
        m_requestCanceled = true;
    }

    /// A response has come.
    ResponseState takeResponse() {
        std::lock_guard const lock(m_requestMutex);
        if (m_requestCanceled) m_requestPending = false;
        m_answeredRead = m_latestRead;
        return {m_requestCanceled, m_requestPending};
    }

    /// The decoder has returned.
    void endAnswered() {
        std::lock_guard const lock(m_requestMutex);
        if (m_answeredRead == m_latestRead) m_requestPending = false;
        m_responseReceived = true;
    }

    // Held to look and to change, never while a promise is completed or destroyed, Java is asked, or a
    // response is decoded.
    std::mutex m_requestMutex;
    std::shared_ptr<Promise> m_promise = std::make_shared<Promise>();  // guarded by m_requestMutex
    ReadNumber m_latestRead = 0;                                       // guarded by m_requestMutex
    ReadNumber m_answeredRead = 0;    // the one that the response in hand answers; guarded by m_requestMutex
    bool m_requestCanceled = false;   // guarded by m_requestMutex
    bool m_responseReceived = false;  // guarded by m_requestMutex
    bool m_requestPending = false;    // guarded by m_requestMutex
    // From here on written before the offer and read only after it.
    std::uint16_t m_requestId;
    std::string m_serviceName;
};

}  // namespace zvg::val::diag_ara::services
