package zvif.vehicle.services.val.records;

import java.util.Arrays;

/** Collects a payload, low byte first. Made for one record and used by one thread. */
final class PayloadWriter {
    private byte[] bytes;
    private final boolean grows;
    private int at;
    private String path;

    PayloadWriter(String record) {
        this(record, new byte[64], true);
    }

    /** Writes to this buffer alone. */
    PayloadWriter(String record, byte[] buffer) {
        this(record, buffer, false);
    }

    private PayloadWriter(String record, byte[] buffer, boolean grows) {
        path = record;
        bytes = buffer;
        this.grows = grows;
    }

    int length() {
        return at;
    }

    byte[] toByteArray() {
        return Arrays.copyOf(bytes, at);
    }

    void enter(String member) {
        path = path + '.' + member;
    }

    void leave() {
        path = path.substring(0, path.lastIndexOf('.'));
    }

    void unsigned(String field, long value, int width) {
        if (width < Long.BYTES) {
            requireRange(field, value, 0, (1L << width * 8) - 1);
        }
        put(field, value, width);
    }

    void signed(String field, long value, int width) {
        if (width < Long.BYTES) {
            requireRange(field, value, -(1L << width * 8 - 1), (1L << width * 8 - 1) - 1);
        }
        put(field, value, width);
    }

    void bool(String field, boolean value) {
        put(field, value ? 1 : 0, 1);
    }

    void enumeration(String field, long value, Enumeration set) {
        if (!set.hasValue(value)) {
            throw refused(RecordException.Reason.BAD_ENUM, field, "a value of " + set.name(), value);
        }
        put(field, value, set.bits() / Byte.SIZE);
    }

    /** The number of elements of an array that follows; {@link #maximum} is asked in the array's own place. */
    void count(String field, int count, int width) {
        put(field, count, width);
    }

    void maximum(String field, int count, int maximum) {
        if (count > maximum) {
            throw refused(RecordException.Reason.ARRAY_TOO_LONG, field, "at most " + maximum + " elements", count);
        }
    }

    void bytes(String field, byte[] values) {
        require(field, values.length);
        System.arraycopy(values, 0, bytes, at, values.length);
        at += values.length;
    }

    void fixedBytes(String field, byte[] values, int size) {
        if (values.length != size) {
            throw refused(RecordException.Reason.OUT_OF_RANGE, field, size + " bytes", values.length);
        }
        bytes(field, values);
    }

    /** Room for a whole array of integers, which goes in at once or not at all. */
    void require(String field, int size) {
        if (size <= bytes.length - at) {
            return;
        }
        if (!grows) {
            throw refused(RecordException.Reason.BUFFER_TOO_SMALL, field, "at least " + (at + size) + " bytes",
                    bytes.length);
        }
        bytes = Arrays.copyOf(bytes, Math.max(2 * bytes.length, at + size));
    }

    private void requireRange(String field, long value, long least, long most) {
        if (value < least || value > most) {
            throw refused(RecordException.Reason.OUT_OF_RANGE, field, least + " to " + most, value);
        }
    }

    private RecordException refused(RecordException.Reason reason, String field, String expected, long received) {
        return RecordException.packing(reason, at, path + '.' + field, expected, Long.toString(received));
    }

    private void put(String field, long value, int width) {
        require(field, width);
        for (int i = 0; i < width; i++) {
            bytes[at++] = (byte) (value >>> 8 * i);
        }
    }
}
