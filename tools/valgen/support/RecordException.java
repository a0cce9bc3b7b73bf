package zvif.vehicle.services.val.records;

/** A record that cannot become a payload, or a payload that is no such record. */
public final class RecordException extends RuntimeException {
    private static final long serialVersionUID = 1L;

    /** Says what is wrong, with the numbers that C++ returns for it. */
    public enum Reason {
        /** The payload ends before the record does. */
        TRUNCATED(NONE, 4),
        /** The record is complete and bytes are left. */
        TRAILING_BYTES(NONE, 5),
        /** The buffer ends before the record does. */
        BUFFER_TOO_SMALL(3, NONE),
        /** An array has more elements than its maximum. */
        ARRAY_TOO_LONG(6, 8),
        /** A value outside its enumeration. */
        BAD_ENUM(9, 11),
        /**
         * Only when packing: a value that the field's width cannot hold, or a fixed array of another size. C++ has no
         * number for it, as no member can hold such a value there.
         */
        OUT_OF_RANGE(NONE, NONE);

        private final int packCode;
        private final int unpackCode;

        Reason(int packCode, int unpackCode) {
            this.packCode = packCode;
            this.unpackCode = unpackCode;
        }
    }

    /** Instead of a number where C++ has none. */
    public static final int NONE = -1;

    private final Reason reason;
    private final int code;
    private final int offset;
    private final String field;
    private final String expected;
    private final String received;

    private RecordException(Reason reason, int code, int offset, String field, String expected, String received) {
        super(field + ": expected " + expected + ", received " + received);
        this.reason = reason;
        this.code = code;
        this.offset = offset;
        this.field = field;
        this.expected = expected;
        this.received = received;
    }

    static RecordException packing(Reason reason, int offset, String field, String expected, String received) {
        return new RecordException(reason, reason.packCode, offset, field, expected, received);
    }

    static RecordException unpacking(Reason reason, int offset, String field, String expected, String received) {
        return new RecordException(reason, reason.unpackCode, offset, field, expected, received);
    }

    public Reason reason() {
        return reason;
    }

    /** The number of C++'s tPackErrorCode or tUnpackErrorCode, or {@link #NONE}. */
    public int code() {
        return code;
    }

    /** Where in the payload what is wrong begins; the bytes before it are good. */
    public int offset() {
        return offset;
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
