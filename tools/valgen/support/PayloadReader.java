package zvif.vehicle.services.val.records;

/** Walks through a payload, low byte first. Made for one record and used by one thread. */
final class PayloadReader {
    private final byte[] payload;
    private int at;
    private String path;

    PayloadReader(String record, byte[] payload) {
        this.payload = payload;
        path = record;
    }

    void enter(String member) {
        path = path + '.' + member;
    }

    void leave() {
        path = path.substring(0, path.lastIndexOf('.'));
    }

    /** An unsigned integer; all 64 bits of the widest come as they are. */
    long unsigned(String field, int width) {
        require(field, width);
        long value = 0;
        for (int i = 0; i < width; i++) {
            value |= (payload[at + i] & 0xFFL) << 8 * i;
        }
        at += width;
        return value;
    }

    long signed(String field, int width) {
        int unused = Long.SIZE - 8 * width;
        return unsigned(field, width) << unused >> unused;
    }

    boolean bool(String field) {
        return unsigned(field, 1) != 0;
    }

    long enumeration(String field, Enumeration set) {
        int start = at;
        int width = set.bits() / Byte.SIZE;
        long value = set.isSigned() ? signed(field, width) : unsigned(field, width);
        if (!set.hasValue(value)) {
            at = start;
            throw refused(RecordException.Reason.BAD_ENUM, path + '.' + field, "a value of " + set.name(),
                    Long.toString(value));
        }
        return value;
    }

    /** What a count that has been read must not exceed; returns it as the number of elements. */
    int maximum(String field, long count, int maximum) {
        if (Long.compareUnsigned(count, maximum) > 0) {
            throw refused(RecordException.Reason.ARRAY_TOO_LONG, path + '.' + field,
                    "at most " + maximum + " elements", Long.toUnsignedString(count));
        }
        return (int) count;
    }

    byte[] bytes(String field, int size) {
        require(field, size);
        byte[] values = new byte[size];
        System.arraycopy(payload, at, values, 0, size);
        at += size;
        return values;
    }

    /** Nothing may follow the record. */
    void end() {
        if (at != payload.length) {
            throw refused(RecordException.Reason.TRAILING_BYTES, path, at + " bytes",
                    Integer.toString(payload.length));
        }
    }

    /** All bytes of an array of integers, which is there as a whole or not at all. */
    void require(String field, int size) {
        if (size > payload.length - at) {
            throw refused(RecordException.Reason.TRUNCATED, path + '.' + field, "at least " + (at + size) + " bytes",
                    Integer.toString(payload.length));
        }
    }

    private RecordException refused(RecordException.Reason reason, String field, String expected, String received) {
        return RecordException.unpacking(reason, at, field, expected, received);
    }
}
