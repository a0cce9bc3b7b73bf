package zvif.vehicle.services.val.sample;

import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicLong;
import java.util.function.Consumer;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.records.MessageIds;
import zvif.vehicle.services.val.records.VALDTCStatus_t;
import zvif.vehicle.services.val.records.tDiagmgrAdaptationIndds;
import zvif.vehicle.services.val.records.tDiagmgrGetAdaptationReqds;
import zvif.vehicle.services.val.records.tDiagmgrGetAdaptationsetReqds;
import zvif.vehicle.services.val.records.tDiagmgrGetAdaptationsetRespds;
import zvif.vehicle.services.val.records.tDiagmgrGetDatasetReqds;
import zvif.vehicle.services.val.records.tDiagmgrGetDatasetVersionReqds;
import zvif.vehicle.services.val.records.tDiagmgrJavaControlMonitorPathReqds;

/**
 * What this service wants of the platform: reports trouble codes, asks for adaptations, datasets, coding and the
 * monitor path, and prints every message of the platform that no other part answers.
 *
 * <p>When an adaptation has changed, its value is asked for. Messages 547 and 548 are never written: the bridge turns
 * each into the question for the other, so a service that answered would never stop.
 *
 * <p>Requests may be made by any thread but the callback's. What comes is read by the thread of a mailbox, which ends
 * in {@link #close}.
 */
final class Platform implements IValMessageCallback, AutoCloseable {
    static final int CODING_REQUEST = 600; // it carries no record

    private final Sender m_sender;
    private final Consumer<String> m_print;
    private final Consumer<String> m_log;
    private final AtomicLong m_transaction = new AtomicLong();
    private final Map<Long, List<Long>> m_askedSets = new ConcurrentHashMap<>(); // by transaction
    private final Mailbox m_mailbox;

    Platform(Sender sender, Consumer<String> print, Consumer<String> log) {
        m_sender = sender;
        m_print = print;
        m_log = log;
        m_mailbox = new Mailbox("VAL platform", this::read, log);
    }

    void report(TroubleCode.Report report) {
        var record = new VALDTCStatus_t();
        record.dtc_id = report.code().number();
        record.status = report.state().number();
        send(MessageIds.ValDiagmgrJavaSetDtcStatusInd, record.encode(),
                "trouble code " + report.code() + " " + report.state());
    }

    void askAdaptation(long id) {
        var request = new tDiagmgrGetAdaptationReqds();
        request.adaptationId = id;
        request.transactionId = m_transaction.incrementAndGet();
        send(MessageIds.DiagmgrGetAdaptationReq, request.encode(),
                "adaptation " + id + " (transaction " + request.transactionId + ")");
    }

    void askAdaptationSet(List<Long> ids) {
        var request = new tDiagmgrGetAdaptationsetReqds();
        request.adaptationIds = ids.stream().mapToLong(Long::longValue).toArray();
        request.transactionId = m_transaction.incrementAndGet();
        m_askedSets.put(request.transactionId, ids);
        send(MessageIds.DiagmgrGetAdaptationsetReq, request.encode(),
                "adaptation set " + MessageText.ids(ids) + " (transaction " + request.transactionId + ")");
    }

    void askDataset(long id, int segment) {
        var request = new tDiagmgrGetDatasetReqds();
        request.datasetId = id;
        request.segmentId = segment;
        request.transactionId = m_transaction.incrementAndGet();
        send(MessageIds.DiagmgrGetDatasetReq, request.encode(),
                "dataset " + id + ", segment " + segment + " (transaction " + request.transactionId + ")");
    }

    void askDatasetVersion(long id) {
        var request = new tDiagmgrGetDatasetVersionReqds();
        request.datasetId = id;
        request.transactionId = m_transaction.incrementAndGet();
        send(MessageIds.DiagmgrGetDatasetVersionReq, request.encode(),
                "version of dataset " + id + " (transaction " + request.transactionId + ")");
    }

    void askCoding() {
        send(CODING_REQUEST, new byte[0], "coding");
    }

    void askMonitorPath(long componentId) {
        var request = new tDiagmgrJavaControlMonitorPathReqds();
        request.componentId = componentId;
        request.transactionId = m_transaction.incrementAndGet();
        send(MessageIds.DiagmgrJavaControlMonitorPathReq, request.encode(),
                "monitor path of component " + componentId + " (transaction " + request.transactionId + ")");
    }

    @Override
    public void handleMsg(int messageId, byte[] payload) {
        m_mailbox.handleMsg(messageId, payload);
    }

    @Override
    public void close() {
        m_mailbox.close();
    }

    private void read(int messageId, byte[] payload) {
        if (messageId == MessageIds.DiagmgrGetAdaptationsetResp) {
            var response = tDiagmgrGetAdaptationsetRespds.decode(payload);
            var asked = m_askedSets.remove(response.transactionId);
            print(messageId, payload, asked == null
                    ? "adaptation set (transaction " + response.transactionId + ") that nobody asked for"
                    : MessageText.of(response.transactionId, AdaptationSet.read(response.data, asked)));
            return;
        }
        print(messageId, payload, MessageText.of(messageId, payload));
        if (messageId == MessageIds.DiagmgrAdaptationInd) {
            var indication = tDiagmgrAdaptationIndds.decode(payload);
            if (indication.indicationValue == 0) {
                askAdaptation(indication.adaptationId);
            }
        }
    }

    private void print(int messageId, byte[] payload, String meaning) {
        m_print.accept(MessageText.received(messageId, payload, meaning));
    }

    /** Prints first, so that a fast answer stands behind its question. */
    private void send(int messageId, byte[] payload, String meaning) {
        m_print.accept(MessageText.sent(messageId, payload, meaning));
        if (!m_sender.send(messageId, payload)) {
            m_log.accept("the bridge did not take message " + messageId);
        }
    }
}
