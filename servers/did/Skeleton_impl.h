#pragma once

#include <future>
#include <map>
#include <string>
#include <utility>

#include "binding/future/Future.h"
#include "binding/future/Promise.h"
#include "core/Trace.h"
#include "servers/did/ReadRequest.h"

namespace zvg::val::diag_ara::services {
template <class Server, class SkeletonImpl, class Output, class CancelOutput>
class BaseMethodServer;
}

/// The operations of one data identifier's interface. Owned by its server; called on pool threads, several
/// at a time. Neither looks at the request's meta information.
template <class Skeleton, class Server, class Output, class CancelOutput>
class Skeleton_impl : public Skeleton {
public:
    using Meta = std::map<std::string, std::string>;

    explicit Skeleton_impl(std::string instanceId) : Skeleton(std::move(instanceId), PARALLEL) {}

    /// Succeeds at once, whatever is in progress. A pending Read is answered with zeros; Java is not told,
    /// and its response will be dropped.
    eb::com::Future<CancelOutput> Cancel(Meta const&) override {
        eb::com::Promise<CancelOutput> done;
        if (m_server == nullptr) {
            zvg::val::Trace::out(zvg::val::level::ERROR, "Skeleton_impl", TRACE_HERE, "m_server is NULL");
            done.set_value();
            return done.get_future();
        }
        m_server->out(zvg::val::level::DETAIL, TRACE_HERE, "Calling Server::Cancel");
        done.set_value();
        if (auto const read = m_server->pendingRead()) {
            completeWithZeros(*read->promise);
            m_server->endCanceled(read->number);
        } else {
            m_server->out(zvg::val::level::DETAIL, TRACE_HERE,
                          "Server::Cancel Cancel received but no request in progress");
        }
        return done.get_future();
    }

    /// Asks Java and returns at once; the response completes the future. A request that could not be sent is
    /// answered with zeros. An earlier Read that is still pending loses its promise and gets no reply.
    eb::com::Future<Output> Read(Meta const&) override {
        if (m_server == nullptr) {
            zvg::val::Trace::out(zvg::val::level::ERROR, "Skeleton_impl", TRACE_HERE, "m_server is NULL");
            eb::com::Promise<Output> zeros;
            zeros.set_value(Output{});
            return zeros.get_future();
        }
        auto [number, future] = m_server->beginRead();
        m_server->out(zvg::val::level::DETAIL, TRACE_HERE, "Server::Sending Read Diagnosticsrequest ");
        // Before the request leaves: its response may be faster than this thread.
        m_server->awaitResponse(number);
        if (zvg::val::diag_ara::services::sendReadRequest(m_server->m_requestId) == zvg::val::eValOk) {
            m_server->out(zvg::val::level::DETAIL, TRACE_HERE,
                          "Server::Read Diagnostic Request sent to Java");
            return std::move(future);
        }
        m_server->out(zvg::val::level::DETAIL, TRACE_HERE,
                      "Server::Read Error while sending message to Java");
        if (auto const promise = m_server->endUnsent(number)) completeWithZeros(*promise);
        return std::move(future);
    }

    /// Set before the service is offered; outlives every call, as its destructor ends the offer first.
    zvg::val::diag_ara::services::BaseMethodServer<Server, Skeleton_impl, Output, CancelOutput>* m_server =
        nullptr;

private:
    /// A response or the other operation may have been faster: then its result stands.
    static void completeWithZeros(eb::com::Promise<Output>& promise) {
        try {
            promise.set_value(Output{});
        } catch (std::future_error const&) {  // already complete
        }
    }

    static constexpr unsigned char PARALLEL = 1;  // calls run side by side on the shared pool
};
