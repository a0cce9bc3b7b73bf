#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "codec/diagmgr.h"
#include "servers/routine/ResponseHandler.h"

namespace zvg::val::diag_ara::common {

/// Knows which response a routine's request waits for: the one with the same routine, transaction and control
/// parameter. Its status and its result play no part in that.
///
/// A cancelled request is one that was given a response not its own: the complement of all three, which can
/// be no other request's either, as no routine has such a number.
template <class Output>
class RoutineResponseHandler : public ResponseHandler<tDiagmgrJavaRoutineRespds, Output> {
public:
    using Response = tDiagmgrJavaRoutineRespds;

    void cancel() override {
        Response response{};
        response.routineId = complement(m_routineId);
        response.transactionId = ~m_transactionId;
        response.controlParameter = complement(m_controlParameter);
        this->setResponseIn(response);
    }

protected:
    RoutineResponseHandler(std::string name, tDiagMgrRoutineId routineId, std::uint32_t transactionId,
                           tControlParameter controlParameter)
        : ResponseHandler<Response, Output>(std::move(name)),
          m_routineId(routineId),
          m_transactionId(transactionId),
          m_controlParameter(controlParameter) {}

    bool isResponseValid(Response const& response) const override {
        return response.routineId == m_routineId && response.transactionId == m_transactionId &&
               response.controlParameter == m_controlParameter;
    }

    /// "routId: 310, trnsId: 7, ctrlPar: 1".
    std::string getResponseString() const {
        return "routId: " + std::to_string(m_routineId) + ", trnsId: " + std::to_string(m_transactionId) +
               ", ctrlPar: " + std::to_string(m_controlParameter);
    }

    /// Waits for the response. Empty, and told in the log, if there's none in time or the request was
    /// cancelled.
    std::optional<Response> awaitResponse(std::chrono::milliseconds timeout) {
        if (this->responseIn().wait_for(timeout) != std::future_status::ready) {
            trace(level::ERROR, ") timed out!");
            return std::nullopt;
        }
        Response const response = this->responseIn().get();
        if (!RoutineResponseHandler::isResponseValid(response)) {
            trace(level::ERROR, ") cancelled!");
            return std::nullopt;
        }
        return response;
    }

    /// Tells a response, after what happened to it.
    void traceOutcome(eLogLevel level, char const* event, Response const& response) const {
        trace(level, event, ", status: ", unsigned{response.routineStatus},
              ", result: ", unsigned{response.routineResult}, "!");
    }

private:
    template <class Enumeration>
    static Enumeration complement(Enumeration value) {
        return static_cast<Enumeration>(~static_cast<std::uint32_t>(value));
    }

    template <class... Args>
    void trace(eLogLevel level, Args... args) const {
        // All lines of a handler come from its task, whichever function of it writes them.
        this->out(level, __LINE__, "::handlerTask() Response (", getResponseString(), args...);
    }

    tDiagMgrRoutineId const m_routineId;
    std::uint32_t const m_transactionId;
    tControlParameter const m_controlParameter;
};

/// A request whose client gets a positive reply without data, however it ends: Start, Stop and Cancel.
template <class Output>
class VoidRoutineResponseHandler : public RoutineResponseHandler<Output> {
public:
    ~VoidRoutineResponseHandler() override { this->end(); }

protected:
    VoidRoutineResponseHandler(std::string name, tDiagMgrRoutineId routineId, std::uint32_t transactionId,
                               tControlParameter controlParameter, std::chrono::milliseconds timeout)
        : RoutineResponseHandler<Output>(std::move(name), routineId, transactionId, controlParameter) {
        this->template start<VoidRoutineResponseHandler>(timeout);
    }

    void handlerTask(std::chrono::milliseconds timeout) override {
        if (auto const response = this->awaitResponse(timeout)) {
            this->traceOutcome(level::DETAIL, ") received", *response);
        }
        this->getResponseOutRef().set_value();
    }

private:
    template <class, class>
    friend class ResponseHandler;
};

/// A request whose client gets what became of the routine in one byte: the status in the upper four bits, the
/// result in the lower four. Every failure is the byte 0x20.
template <class Output>
class ResultRoutineResponseHandler : public RoutineResponseHandler<Output> {
public:
    static constexpr std::uint8_t FAILED = 0x20;  ///< status 2, result 0

    ~ResultRoutineResponseHandler() override { this->end(); }

protected:
    ResultRoutineResponseHandler(std::string name, tDiagMgrRoutineId routineId, std::uint32_t transactionId,
                                 tControlParameter controlParameter, std::chrono::milliseconds timeout)
        : RoutineResponseHandler<Output>(std::move(name), routineId, transactionId, controlParameter) {
        this->template start<ResultRoutineResponseHandler>(timeout);
    }

    void handlerTask(std::chrono::milliseconds timeout) override {
        auto const response = this->awaitResponse(timeout);
        this->getResponseOutRef().set_value(Output{response ? packed(*response) : FAILED});
    }

private:
    template <class, class>
    friend class ResponseHandler;

    /// Four bits are all that either number has: the status values 16 to 19 are failures, too.
    std::uint8_t packed(tDiagmgrJavaRoutineRespds const& response) const {
        constexpr unsigned LIMIT = 16;
        if (response.routineStatus >= LIMIT || response.routineResult >= LIMIT) {
            this->traceOutcome(level::ERROR, ") received with an unexpected status/result", response);
            return FAILED;
        }
        this->traceOutcome(level::DETAIL, ") received", response);
        return static_cast<std::uint8_t>(response.routineResult | response.routineStatus << 4U);
    }
};

}  // namespace zvg::val::diag_ara::common
