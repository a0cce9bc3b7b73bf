package zvif.vehicle.services.val.records;

/** A record that cannot become a payload, or a payload that is no such record. */
public final class RecordException extends RuntimeException {
    private static final long serialVersionUID = 1L;

    public enum Reason {
        /** The payload ends before the record does. */
        TRUNCATED,
        /** The record is complete and bytes are left. */
        TRAILING_BYTES,
        /** An array has more elements than its maximum. */
        ARRAY_TOO_LONG,
        /** A value outside its enumeration. */
        BAD_ENUM,
        /** Only when encoding: a value that the field's width cannot hold, or a fixed array of another size. */
        OUT_OF_RANGE
    }

    private final Reason reason;
    private final String field;
    private final String expected;
    private final String received;

    RecordException(Reason reason, String field, String expected, String received) {
        super(field + ": expected " + expected + ", received " + received);
        this.reason = reason;
        this.field = field;
        this.expected = expected;
        this.received = received;
    }

    public Reason reason() {
        return reason;
    }

    /** The record's name and the way to the field, such as {@code tDiagmgrJavaGetCodingRespds.coding.Brand}. */
    public String field() {
        return field;
    }

    public String expected() {
        return expected;
    }

    public String received() {
        return received;
    }
}
