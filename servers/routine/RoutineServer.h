#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "binding/future/Future.h"
#include "binding/generated/Routine_service.h"
#include "codec/diagmgr.h"
#include "core/Trace.h"
#include "servers/SkeletonServer.h"
#include "servers/makeSkeleton.h"
#include "servers/routine/ResponseHandlerList.h"
#include "servers/routine/RoutineRequest.h"
#include "servers/routine/RoutineResponseHandler.h"
#include "servers/routine/RoutineText.h"

namespace zvg::val::diag_ara::services {

/// All that tells one routine's server from its three sisters.
struct RoutineRow {
    tDiagMgrRoutineId routineId;  ///< in the messages to and from Java
    char const* name;             ///< begins the lines of its handlers in the log
    char const* serviceWord;      ///< begins the lines of the server
};

// The four operations: the control parameter that Java is asked with, and the handler that waits for the
// answer.
namespace routine {

struct Start {
    using Handler = common::VoidRoutineResponseHandler<void>;
    static constexpr tControlParameter CONTROL = eControlParameterStart;
    static constexpr char const* HANDLER = "::StartResponseHandler::";
};
struct Stop {
    using Handler = common::VoidRoutineResponseHandler<void>;
    static constexpr tControlParameter CONTROL = eControlParameterStop;
    static constexpr char const* HANDLER = "::StopResponseHandler::";
};
struct RequestResults {
    using Output = zvg::services::diag::Routine_outcome;
    using Handler = common::ResultRoutineResponseHandler<Output>;
    static constexpr tControlParameter CONTROL = eControlParameterRequestResults;
    static constexpr char const* HANDLER = "::RequestResultsResponseHandler::";
};
struct Cancel {
    using Handler = common::VoidRoutineResponseHandler<void>;
    static constexpr tControlParameter CONTROL = eControlParameterCancel;
    static constexpr char const* HANDLER = "::CancelResponseHandler::";
};

}  // namespace routine

/// The handler of one operation of one routine. Its thread runs from here on.
template <RoutineRow const& ROW, class Operation>
class OperationHandler : public Operation::Handler {
public:
    OperationHandler(std::uint32_t transactionId, std::chrono::milliseconds timeout)
        : Operation::Handler(std::string(ROW.name) + Operation::HANDLER, ROW.routineId, transactionId,
                             Operation::CONTROL, timeout) {}
};

/// The operations of one routine's interface: its server's, which is a RoutineServer. Owned by the server;
/// called on pool threads, several at a time, until the server's destructor has ended the offer.
template <class Server, class Skeleton>
class RoutineSkeleton_impl : public Skeleton {
public:
    using Meta = zvg::services::diag::Meta;

    RoutineSkeleton_impl(std::string instanceId, Server* server)
        : Skeleton(std::move(instanceId), PARALLEL), m_server(server) {}

    eb::com::Future<void> Cancel(Meta const& meta) override { return m_server->Cancel(meta); }
    eb::com::Future<routine::RequestResults::Output> RequestResults(Meta const& meta) override {
        return m_server->RequestResults(meta);
    }
    eb::com::Future<void> Start(Meta const& meta) override { return m_server->Start(meta); }
    eb::com::Future<void> Stop(Meta const& meta) override { return m_server->Stop(meta); }

private:
    static constexpr unsigned char PARALLEL = 1;  // calls run side by side on the shared pool

    Server* const m_server;
};

/// Bridges one routine, which itself runs in Java: each call from the platform becomes a message with a
/// transaction id of its own, and a handler that waits for Java's answer to it. The server knows nothing of
/// the routine's state and joins no call to another: Java does, by the routine's id.
///
/// Made by the registry through create(), which owns it, then init, start, any number of handleMsg, the
/// destructor. The operations come on pool threads of the platform, handleMsg on the thread that delivers
/// Java's messages, any of them beside each other; each request in flight has a thread of its own.
/// Destruction withdraws the offer and waits for running calls, then cancels every request, then waits for
/// their threads: each client still gets the reply of a cancelled request.
template <RoutineRow const& ROW, class Server, class SkeletonImpl>
class RoutineServer : public SkeletonServer<SkeletonImpl> {
    using SkeletonServer<SkeletonImpl>::out;
    using SkeletonServer<SkeletonImpl>::m_skeleton;
    using SkeletonServer<SkeletonImpl>::m_logPrefix;

public:
    using Meta = zvg::services::diag::Meta;

    static constexpr std::chrono::milliseconds CFG_ROUTINE_START_RESPONSE_TIMEOUT{60000};
    static constexpr std::chrono::milliseconds CFG_ROUTINE_STOP_RESPONSE_TIMEOUT{60000};
    static constexpr std::chrono::milliseconds CFG_ROUTINE_REQUESTRESULTS_RESPONSE_TIMEOUT{60000};
    static constexpr std::chrono::milliseconds CFG_ROUTINE_CANCEL_RESPONSE_TIMEOUT{60000};

    static std::unique_ptr<Runnable> create() { return std::unique_ptr<Runnable>(new Server); }

    ~RoutineServer() override {
        if (m_skeleton) m_skeleton->StopOfferService();
        m_responseHandlers.cancelAll();
    }

    /// Makes the skeleton; `name` only marks the lines of the log. Throws what the platform throws if it
    /// doesn't know the service.
    void init(std::string name) override {
        m_skeleton = makeSkeleton<SkeletonImpl>(this->m_instanceId, this);
        m_logPrefix = std::string(ROW.serviceWord) + "::methods::Server<" + name + ">::";
    }

    /// Takes a response of Java. The bytes are used during the call only.
    eValStatus handleMsg(int msgId, unsigned short length, unsigned char* data) override {
        constexpr int RESPONSE = 666;
        if (msgId != RESPONSE) {
            out(level::INFO, TRACE_HERE, "<msgId> ", msgId, " ignored.");
            return eValNotSupported;
        }
        out(level::DETAIL, TRACE_HERE, "<msgId> 'DIAGMGR_JAVA_ROUTINE_RESP' received");
        return handleJavaRoutineResponse(msgId, length, data);
    }

    // What a diagnostic request tells about itself changes nothing. The void ones succeed whatever happens.

    eb::com::Future<void> Start(Meta const&) {
        return sendJavaRoutineRequest<void, routine::Start>(CFG_ROUTINE_START_RESPONSE_TIMEOUT);
    }
    eb::com::Future<void> Stop(Meta const&) {
        return sendJavaRoutineRequest<void, routine::Stop>(CFG_ROUTINE_STOP_RESPONSE_TIMEOUT);
    }
    eb::com::Future<routine::RequestResults::Output> RequestResults(Meta const&) {
        return sendJavaRoutineRequest<routine::RequestResults::Output, routine::RequestResults>(
            CFG_ROUTINE_REQUESTRESULTS_RESPONSE_TIMEOUT);
    }
    eb::com::Future<void> Cancel(Meta const&) {
        return sendJavaRoutineRequest<void, routine::Cancel>(CFG_ROUTINE_CANCEL_RESPONSE_TIMEOUT);
    }

private:
    /// Asks Java and returns at once; the handler completes the future. Throws std::system_error if the
    /// handler gets no thread: its transaction id is spent then.
    template <class Output, class Operation>
    eb::com::Future<Output> sendJavaRoutineRequest(std::chrono::milliseconds timeout) {
        tDiagmgrJavaRoutineReqds request{};
        request.routineId = ROW.routineId;
        request.transactionId = m_transactionId++;
        request.controlParameter = Operation::CONTROL;
        auto const handler =
            std::make_shared<OperationHandler<ROW, Operation>>(request.transactionId, responseWait(timeout));
        out(level::DETAIL, TRACE_HERE,
            "Created response handler for request: ", print_DiagRoutineRequest(request), "!");
        // Listed before the request leaves: its response may be faster than this thread.
        if (!m_responseHandlers.addResponseHandler(handler)) {
            out(level::ERROR, TRACE_HERE, "Too many response handlers, cancel response handler ",
                request.transactionId, "!");
            handler->cancel();
        } else if (sendRoutineRequest(request) != eValOk) {
            out(level::ERROR, TRACE_HERE, "Sending to Java failed, cancel response handler ",
                request.transactionId, "!");
            handler->cancel();
        }
        return handler->getResult();
    }

    eValStatus handleJavaRoutineResponse(int, unsigned short length, unsigned char* data) {
        tDiagmgrJavaRoutineRespds response{};
        if (!unpackRoutineResponse(length, data, response)) {
            out(level::ERROR, TRACE_HERE, "Unpack error.");
            return eValBadMessage;
        }
        bool const taken = m_responseHandlers.handleResponse(response);
        out(level::INFO, TRACE_HERE,
            taken ? "Processing response: " : "Ignoring response: ", print_DiagRoutineResponse(response));
        return taken ? eValOk : eValRefused;
    }

    static constexpr std::size_t MAX_HANDLERS = 10;

    common::ResponseHandlerList<tDiagmgrJavaRoutineRespds> m_responseHandlers{MAX_HANDLERS};
    std::atomic<std::uint32_t> m_transactionId{0};  // of the next request
};

}  // namespace zvg::val::diag_ara::services
