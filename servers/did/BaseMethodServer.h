#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
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
/// Nobody waits for another here and nothing refuses a second Read: it takes the place of the first, whose
/// caller gets no reply. So a Read that comes while a response is being decoded can lose its flag to it.
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
        m_requestCanceled = false;
        m_responseReceived = false;
        m_requestPending = false;
        renewPromise();
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
        if (m_requestCanceled) {
            m_requestPending = false;
            out(level::ERROR, TRACE_HERE,
                "Server::handleMsg diagnostic response received but request is canceled message is ignored");
            return eValError;
        }
        if (m_requestPending) {
            eValStatus const status = unpackDiagnosticsresponse(length, data);
            m_requestPending = false;
            m_responseReceived = true;
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

    /// Decodes a response and completes the promise. The result is handleMsg's.
    virtual eValStatus unpackDiagnosticsresponse(unsigned short length, unsigned char* data) = 0;

    /// The promise of the Read now in progress. Whoever completes it holds this share meanwhile, so that
    /// a Read that replaces it does not destroy it under his hands.
    std::shared_ptr<eb::com::Promise<Output>> promise() {
        std::lock_guard const lock(m_promiseMutex);
        return m_promise;
    }

    std::string const& logPrefix() const noexcept { return m_logPrefix; }

private:
    friend SkeletonImpl;

    /// Puts a fresh promise in the place of the old one, which is destroyed, and returns its future.
    eb::com::Future<Output> renewPromise() {
        auto fresh = std::make_shared<eb::com::Promise<Output>>();
        auto future = fresh->get_future();
        {
            std::lock_guard const lock(m_promiseMutex);
            m_promise.swap(fresh);
        }
        return future;
    }

    // One byte each, touched by pool threads and the thread of handleMsg without any order but their own.
    using Flag = std::atomic<bool>;
    static_assert(sizeof(Flag) == 1 && Flag::is_always_lock_free);

    std::mutex m_promiseMutex;  // held for the exchange of the pointer, never while a promise is completed
    std::shared_ptr<eb::com::Promise<Output>> m_promise =
        std::make_shared<eb::com::Promise<Output>>();  // guarded by m_promiseMutex
    Flag m_requestCanceled = false;
    Flag m_responseReceived = false;
    Flag m_requestPending = false;
    // From here on written before the offer and read only after it.
    std::uint16_t m_requestId;
    std::string m_serviceName;
};

}  // namespace zvg::val::diag_ara::services
