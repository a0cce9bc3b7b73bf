package zvif.vehicle.services.val.sample;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;

import zvif.vehicle.services.val.records.MessageIds;
import zvif.vehicle.services.val.records.VALNetworkServiceStatusDiag_t;
import zvif.vehicle.services.val.records.tDiagmgrAdaptationIndds;
import zvif.vehicle.services.val.records.tDiagmgrGetAdaptationReqds;
import zvif.vehicle.services.val.records.tDiagmgrGetAdaptationRespds;
import zvif.vehicle.services.val.records.tDiagmgrGetAdaptationsetRespds;
import zvif.vehicle.services.val.records.tDiagmgrGetDatasetRespds;
import zvif.vehicle.services.val.records.tDiagmgrGetDatasetVersionRespds;
import zvif.vehicle.services.val.records.tDiagmgrJavaControlMonitorPathRespds;
import zvif.vehicle.services.val.records.tDiagmgrJavaGetCodingRespds;

/** Messages as lines for a person: number and bytes first, then what they mean. */
final class MessageText {
    private static final HexFormat HEX = HexFormat.ofDelimiter(" ").withUpperCase();
    private static final int LONGEST_SHOWN = 64;
    private static final int SHOWN_OF_LONGER = 24; // at either end

    private MessageText() { }

    static String sent(int messageId, byte[] payload, String meaning) {
        return "-> " + messageId + "  " + bytes(payload) + "  " + meaning;
    }

    static String received(int messageId, byte[] payload, String meaning) {
        return "<- " + messageId + "  " + bytes(payload) + "  " + meaning;
    }

    /**
     * What a message from the bridge means; a set response is the business of {@link #of(long, AdaptationSet)}.
     *
     * @throws zvif.vehicle.services.val.records.RecordException when the payload is no such record
     */
    static String of(int messageId, byte[] payload) {
        return switch (messageId) {
            case MessageIds.DiagmgrGetAdaptationReq -> of(tDiagmgrGetAdaptationReqds.decode(payload));
            case MessageIds.DiagmgrGetAdaptationResp -> of(tDiagmgrGetAdaptationRespds.decode(payload));
            case MessageIds.DiagmgrAdaptationInd -> of(tDiagmgrAdaptationIndds.decode(payload));
            case MessageIds.DiagmgrGetDatasetVersionResp -> of(tDiagmgrGetDatasetVersionRespds.decode(payload));
            case MessageIds.DiagmgrGetDatasetResp -> of(tDiagmgrGetDatasetRespds.decode(payload));
            case MessageIds.DiagmgrJavaGetCodingResp -> of(tDiagmgrJavaGetCodingRespds.decode(payload));
            case MessageIds.DiagmgrJavaControlMonitorPathResp ->
                of(tDiagmgrJavaControlMonitorPathRespds.decode(payload));
            case MessageIds.ValNetworkServiceDiagStatusInd -> of(VALNetworkServiceStatusDiag_t.decode(payload));
            default -> "nothing that this service knows";
        };
    }

    private static String of(tDiagmgrGetAdaptationReqds request) {
        return "the bridge asks for adaptation %d; no answer, for it would be asked again and again"
                .formatted(request.adaptationId);
    }

    private static String of(tDiagmgrGetAdaptationRespds response) {
        return "adaptation %d: %s (transaction %d)".formatted(response.adaptationId,
                response.data.length == 0 ? "no value" : value(response.data), response.transactionId);
    }

    private static String of(tDiagmgrAdaptationIndds indication) {
        return "adaptation %d %s (status 0x%02X)".formatted(indication.adaptationId,
                indication.indicationValue == 0 ? "changed" : "acknowledged", indication.indicationValue);
    }

    /** What a set response means, with a line for each of its items. */
    static String of(long transactionId, AdaptationSet set) {
        var text = new StringBuilder("adaptation set (transaction " + transactionId + ")"
                + (set.ambiguous() ? ", one of several ways to read it" : ""));
        for (var item : set.items()) {
            text.append("\n     ").append(item.id()).append(": ").append(switch (item.kind()) {
                case VALUE -> value(item.value());
                case EMPTY -> "no value";
                case NO_LENGTH -> "no length: timed out";
                case LEFT_OUT -> "left out: no room";
            });
        }
        if (set.unread().length > 0) {
            text.append("\n     not understood: ").append(value(set.unread()));
        }
        return text.toString();
    }

    private static String of(tDiagmgrGetDatasetVersionRespds response) {
        return "dataset %d: version \"%s\", flags %b and %b (transaction %d)".formatted(response.datasetId,
                new String(response.version, StandardCharsets.ISO_8859_1), response.versionFlagA,
                response.versionFlagB, response.transactionId);
    }

    private static String of(tDiagmgrGetDatasetRespds response) {
        return "dataset %d, segment %d: %s, flag %b (transaction %d)".formatted(response.datasetId,
                response.segmentId, response.data.length == 0 ? "no data" : value(response.data),
                response.datasetFlag, response.transactionId);
    }

    private static String of(tDiagmgrJavaGetCodingRespds response) {
        var coding = response.coding.encode();
        var allZero = Arrays.equals(coding, new byte[coding.length]);
        return "coding: status %d, %s".formatted(response.status,
                allZero ? coding.length + " bytes of zeros" : value(coding));
    }

    private static String of(tDiagmgrJavaControlMonitorPathRespds response) {
        return "monitor path: component %d, path %s (transaction %d)".formatted(response.resultValue,
                bytes(response.pathBytes), response.transactionId);
    }

    private static String of(VALNetworkServiceStatusDiag_t status) {
        return "data service found (service %d)".formatted(status.serviceStateDiag);
    }

    static String ids(List<Long> ids) {
        return String.join(" ", ids.stream().map(String::valueOf).toList());
    }

    private static String value(byte[] value) {
        return value.length + (value.length == 1 ? " byte " : " bytes ") + bytes(value);
    }

    private static String bytes(byte[] bytes) {
        if (bytes.length == 0) {
            return "(empty)";
        }
        return bytes.length <= LONGEST_SHOWN ? HEX.formatHex(bytes)
                : HEX.formatHex(bytes, 0, SHOWN_OF_LONGER) + " ... "
                        + HEX.formatHex(bytes, bytes.length - SHOWN_OF_LONGER, bytes.length);
    }
}
