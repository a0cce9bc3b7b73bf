#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "binding/future/Future.h"
#include "binding/generated/DiagnosticDataDistribution.h"
#include "client/AdaptionHashStore.h"
#include "client/BaseListener.h"
#include "client/Constants.h"
#include "client/SetResponse.h"
#include "client/StoppableMutex.h"
#include "codec/diagmgr.h"
#include "registry/DiagAraService.h"

namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field {

namespace service = zvg::services::diagnosticdatadistribution;

/// The client of the data distribution service: answers Java's messages about adaptations, datasets, coding
/// and the control monitor path, and tells Java which adaptation has changed.
///
/// Made by the registry through create(), which owns it. handleMsg comes on the thread that delivers Java's
/// messages and returns at once: what needs work gets a thread of its own, as many as are asked for, each
/// with a copy of its request. Availability comes on the search's strand, notifications on the event's.
///
/// A read of a record waits FUTURE_TIMEOUT seconds for its reply, and reads go one at a time. Destruction
/// drops what waits for its turn, waits for the read in progress, at most that long, and joins all threads.
/// Nothing that is still under way then reaches Java.
class Listener
    : public BaseListener<
          service::proxy::DiagnosticDataDistributionProxy,
          ac::com::cpp_binding::proxy::Proxy_impl<service::DiagnosticDataDistribution>::Handle_type,
          Listener>,
      public Constants {
public:
    using Proxy = service::proxy::DiagnosticDataDistributionProxy;
    using Values = service::DiagnosticDataDistribution::getDiagnosticDataValues::Output;
    using Hash = service::datatypes::DT_dataValuesHash_struct;

    static std::unique_ptr<Runnable> create() { return std::make_unique<Listener>(); }

    Listener();
    ~Listener() override;

    /// `name` only marks the lines of the log.
    void init(std::string name) override;

    /// Takes one message from Java. A request that comes after destroy() is dropped, and counts as done.
    eValStatus handleMsg(int msgId, unsigned short size, unsigned char* data) override;

    /// The service was found: subscribes to the field and has the initial values read. On the search's
    /// strand; returns soon.
    void run() override;

    /// Ends the subscription of run(): no notification is handled or comes afterwards.
    void endSubscriptions(Proxy& proxy);

    // What the threads of requests do. Any thread may call them, too. They block for as long as the reads
    // take that they stand for; the result is nobody's but a direct caller's.

    /// Reads the values of a set of adaptations, remembers their hashes, and answers Java with all of them.
    eValStatus handleGetDiagnosticDataValues(tDiagmgrGetAdaptationsetReqds request, bool sendToJava);
    /// Reads one value and answers Java, also if there is none.
    eValStatus handleGetAdaptationReq(tDiagmgrGetAdaptationReqds request);
    eValStatus handleGetDataSetVersionReq(tDiagmgrGetDatasetVersionReqds request);
    eValStatus handleGetDatasetResp(tDiagmgrGetDatasetReqds request);
    eValStatus handleGetJavaCodingReq();
    eValStatus handleJavaControlMonitorPathReq(tDiagmgrJavaControlMonitorPathReqds request);
    /// Reads every adaptation and tells Java of those whose value isn't the remembered one.
    void sendChangedAdaptToJava();

    /// The field has a new value: each of its elements that stands for the adaptations starts a scan.
    eValStatus cbDataValuesHash(std::vector<Hash> const& values);

private:
    eValStatus unpackGetAdaptationReq(unsigned short size, unsigned char* data);
    eValStatus unpackGetAdaptationResp(short size, unsigned char* data);
    eValStatus unpackAdaptationInd(short size, unsigned char* data);
    eValStatus unpackGetAdaptationsetReq(unsigned short size, unsigned char* data);
    eValStatus unpackGetDataSetVersionReq(unsigned short size, unsigned char* data);
    eValStatus unpackGetDataSetReq(short size, unsigned char* data);
    eValStatus unpackGetJavaCodingReq(unsigned short size, unsigned char* data);
    eValStatus unpackJavaControlMonitorPathReq(short size, unsigned char* data);

    eValStatus handleDataValuesHash(Hash const& value);
    void getInitialAdaptionValues();

    /// What came of a call: values, or the text of the exception that it ended with. Texts cross threads,
    /// exceptions do not.
    struct Answer {
        Values values;
        std::optional<std::string> failure;
    };

    /// The one place that asks the service: starts the read of a record, and waits. True if `future` has its
    /// answer. `otherwise` if the service isn't there, doesn't answer in time, or the component is to end.
    bool getFutureandResultavailablecheck(unsigned int recordId, eb::com::Future<Answer>& future,
                                          bool otherwise);

    /// The values of an answer. Throws std::runtime_error with the text of a failure.
    static Values valuesOf(Answer answer);

    /// How the read of an adaptation ended.
    enum class Reading {
        refused,     ///< no record stands for it, or the service answered with an error
        unanswered,  ///< the service isn't there, didn't answer in time, or the component is to end
        done,
    };
    /// Reads one adaptation. Throws what the call ended with if that is an exception.
    Reading readRecord(tDiagMgrAdaptationID adaptationId, Values& values);

    /// Reads one adaptation into an answer to a set request.
    void addItem(SetResponse& items, tDiagMgrAdaptationID adaptationId);
    /// Reads the adaptation of a single answer into it; its lines in the log are others.
    eValStatus readValue(tDiagmgrGetAdaptationRespds& response);
    /// Reads one adaptation and remembers its hash. Whether that is another than before.
    bool hasChanged(tDiagMgrAdaptationID adaptationId);

    static std::string textOfIds(tDiagMgrAdaptationID adaptationId);
    void tellIds(tDiagMgrAdaptationID adaptationId) const;
    void tellUnmapped(tDiagMgrAdaptationID adaptationId) const;
    void tellValue(unsigned int recordId, Values const& values) const;

    /// Reads a message into its record. False, and a line in the log that names `function`, if it can't be
    /// read.
    template <class Record>
    bool unpack(char const* function,
                tUnpackErrorCode (*unpackRecord)(sQlet1Mod4MessageHdr const*, unsigned char const*, Record*),
                std::uint16_t msgId, unsigned short size, unsigned char const* data, Record& record) {
        sQlet1Mod4MessageHdr header{};
        header.messageId = msgId;
        header.length = size;
        tUnpackErrorCode const result = unpackRecord(&header, data, &record);
        if (result == eUnpackOk) return true;
        out(level::ERROR, TRACE_HERE, function, "() returns error ", int{result});
        return false;
    }

    /// Runs work on a thread of its own, which takes itself off the list at its end. Not once the component
    /// is to end: then the work is dropped. Throws std::system_error if no thread can be had.
    void startWorker(std::function<void()> work);

    /// Sends a record to Java, also if it is the same as the last of its kind. A failure is logged under the
    /// name of `function`.
    template <class Record>
    eValStatus send(char const* function, Record& record,
                    std::uint64_t (*packedSize)(void const*, Record const*),
                    tPackErrorCode (*pack)(sQlet1Mod4MessageHdr*, unsigned char*, unsigned int,
                                           Record const*)) {
        if (DiagAraService::getInstance()->sendMsg<Record>(packedSize(nullptr, &record), &record, pack,
                                                           true) == eValOk)
            return eValOk;
        out(level::ERROR, __LINE__, "::", function, "() ", "Sending to Java failed!");
        return eValSendFailed;
    }

    AdaptionHashStore m_hashStore;  // has a lock of its own; no order with m_mutex
    StoppableMutex m_mutex;         // held while the field is subscribed, and through each read
};

}  // namespace zvg::val::diag_ara::services::diagnosticdatadistribution::field
