// Reads of adaptations, for Java's requests and for the initial values.

#include <algorithm>
#include <exception>
#include <future>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "client/AnswerWait.h"
#include "client/Diag_Adaptation_Mapping.h"
#include "client/Listener.h"
#include "client/Printers.h"
#include "client/RequestText.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

std::string Listener::textOfIds(tDiagMgrAdaptationID adaptationId) {
    return convert_intToHexStr(adaptationId) +
           ", RecordID= " + convert_intToHexStr(Diag_Adaptation_Mapping::getRecordId(adaptationId));
}

bool Listener::getFutureandResultavailablecheck(unsigned int recordId, eb::com::Future<Answer>& future,
                                                bool otherwise) {
    service::datatypes::DT_ListOfIds const ids{recordId};
    std::shared_ptr<Proxy> bound;  // before the lock: should this be its last share, it ends outside
    auto const lock = m_mutex.lockUnless([this] { return stop(); });
    if (!lock) return otherwise;
    bound = proxy();
    if (!bound) {
        out(level::INFO, TRACE_HERE, "Service not available!");
        return otherwise;
    }
    future = bound->getDiagnosticDataValues(ADAPTATIONS, ids).then([](eb::com::Future<Values> result) {
        Answer answer;
        try {
            answer.values = result.get();
        } catch (std::exception const& error) {
            answer.failure = error.what();
        }
        return answer;
    });
    if (future.wait_for(answerWait()) == std::future_status::ready) return true;
    out(level::ERROR, TRACE_HERE, "m_proxy->getDiagnosticDataValues() timed out!");
    return otherwise;
}

Listener::Values Listener::valuesOf(Answer answer) {
    if (answer.failure) throw std::runtime_error(*answer.failure);
    return std::move(answer.values);
}

void Listener::tellIds(tDiagMgrAdaptationID adaptationId) const {
    out(level::INFO, TRACE_HERE, "AdaptationID=", textOfIds(adaptationId).c_str());
}

void Listener::tellUnmapped(tDiagMgrAdaptationID adaptationId) const {
    out(level::INFO, TRACE_HERE,
        "Invalid AdaptationID (AdaptationID=", convert_intToHexStr(adaptationId).c_str(),
        ") received, call to DSA ignored");
}

void Listener::tellValue(unsigned int recordId, Values const& values) const {
    out(level::INFO, TRACE_HERE, "<<< DSA Data (RecordID=", convert_intToHexStr(recordId).c_str(), "): ",
        printer_DT_DiagnosticValuesResultType_diagnosticData_ARRAY(values.diagnosticData, true).c_str());
}

Listener::Reading Listener::readRecord(tDiagMgrAdaptationID adaptationId, Values& values) {
    unsigned int const recordId = Diag_Adaptation_Mapping::getRecordId(adaptationId);
    if (recordId == MAPPING_NOT_VALID) {
        tellUnmapped(adaptationId);
        return Reading::refused;
    }
    eb::com::Future<Answer> future;
    if (!getFutureandResultavailablecheck(recordId, future, false)) return Reading::unanswered;
    out(level::INFO, TRACE_HERE, "m_proxy->getDiagnosticDataValues() ready.");
    values = valuesOf(future.get());
    if (values.resultCode != service::datatypes::DT_ResultCodeType::success) {
        out(level::ERROR, TRACE_HERE, "DSA returns error: ", static_cast<std::uint32_t>(values.resultCode),
            " against RecordID: ", convert_intToHexStr(recordId).c_str());
        return Reading::refused;
    }
    tellValue(recordId, values);
    return Reading::done;
}

void Listener::getInitialAdaptionValues() {
    out(level::INFO, TRACE_HERE, "");
    tDiagmgrGetAdaptationsetReqds request{};
    auto const ids = Diag_Adaptation_Mapping::getAllAdaptationIds();
    std::copy(ids.begin(), ids.end(), request.adaptationIds);
    request.length = static_cast<std::uint16_t>(ids.size());
    startWorker([this, request] { handleGetDiagnosticDataValues(request, false); });
}

eValStatus Listener::handleGetDiagnosticDataValues(tDiagmgrGetAdaptationsetReqds request, bool sendToJava) {
    tDiagmgrGetAdaptationsetRespds response;
    SetResponse items(response, request.transactionId);
    std::size_t const count = std::min<std::size_t>(request.length, std::size(request.adaptationIds));
    for (std::size_t i = 0; i < count; ++i) {
        try {
            addItem(items, request.adaptationIds[i]);
        } catch (std::exception const& error) {  // the item stays a bare id, as of a read without an answer
            out(level::ERROR, TRACE_HERE, error.what());
        }
    }
    if (!sendToJava) {
        out(level::ERROR, TRACE_HERE, "Message not sent to Java");
        return eValSendFailed;
    }
    items.finish();
    eValStatus const status =
        send(__func__, response, PackedSizeOftDiagmgrGetAdaptationsetRespds, PackDiagmgrGetAdaptationsetResp);
    if (status == eValOk) out(level::ERROR, TRACE_HERE, "Message sent to Java");
    return status;
}

void Listener::addItem(SetResponse& items, tDiagMgrAdaptationID adaptationId) {
    tellIds(adaptationId);
    std::string const record = convert_intToHexStr(Diag_Adaptation_Mapping::getRecordId(adaptationId));
    if (!items.hasRoom()) {
        out(level::ERROR, TRACE_HERE, "adaptationID[] boundary exceed for RecordId: ", record.c_str());
        return;
    }
    items.putId(adaptationId);
    Values values;
    switch (readRecord(adaptationId, values)) {
        case Reading::unanswered:  // Java knows it by the bare id
            return;
        case Reading::refused:
            items.putNoValue();
            return;
        case Reading::done:
            break;
    }
    m_hashStore.addOrUpdateAdaptionIdIfNeeded(adaptationId, values.diagnosticData);
    if (values.diagnosticData.empty()) {
        items.putNoValue();
        out(level::ERROR, TRACE_HERE,
            "DSA returns success but no diagnosticData against RecordID: ", record.c_str());
    } else if (!items.putValue(values.diagnosticData)) {
        out(level::ERROR, TRACE_HERE,
            "DSA returns success but no space left against RecordID: ", record.c_str());
    }
}

eValStatus Listener::handleGetAdaptationReq(tDiagmgrGetAdaptationReqds request) {
    tDiagmgrGetAdaptationRespds response{};
    response.adaptationId = request.adaptationId;
    response.transactionId = request.transactionId;
    eValStatus status = eValOk;
    try {
        status = readValue(response);
    } catch (std::exception const& error) {
        out(level::ERROR, TRACE_HERE, error.what());
        status = eValException;
    }
    out(level::INFO, TRACE_HERE, ">>> DIAGMGR_GET_ADAPTATION_RESP");
    eValStatus const sent =
        send(__func__, response, PackedSizeOftDiagmgrGetAdaptationRespds, PackDiagmgrGetAdaptationResp);
    if (sent != eValOk) return sent;
    out(level::ERROR, TRACE_HERE, "Message sent to Java");
    return status;
}

eValStatus Listener::readValue(tDiagmgrGetAdaptationRespds& response) {
    tellIds(response.adaptationId);
    unsigned int const recordId = Diag_Adaptation_Mapping::getRecordId(response.adaptationId);
    if (recordId == MAPPING_NOT_VALID) {
        tellUnmapped(response.adaptationId);
        return eValRefused;
    }
    eb::com::Future<Answer> future;
    if (!getFutureandResultavailablecheck(recordId, future, false)) return eValOk;
    out(level::INFO, TRACE_HERE, "Received data from DDDS server.");
    Values const values = valuesOf(future.get());
    if (values.resultCode != service::datatypes::DT_ResultCodeType::success) {
        out(level::DETAIL, TRACE_HERE, "DSA returns error: ", static_cast<std::uint32_t>(values.resultCode));
        return eValOk;
    }
    tellValue(recordId, values);
    if (values.diagnosticData.empty()) {
        out(level::INFO, TRACE_HERE, "DSA returns empty data");
        return eValOk;
    }
    auto const length = static_cast<std::uint16_t>(values.diagnosticData.size());
    out(level::INFO, TRACE_HERE, "lenofResp=", length);
    if (length > sizeof response.data) {
        out(level::INFO, TRACE_HERE, "No space left for DSA data");
        return eValOk;
    }
    response.length = length;
    std::copy_n(values.diagnosticData.begin(), length, response.data);
    return eValOk;
}

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
