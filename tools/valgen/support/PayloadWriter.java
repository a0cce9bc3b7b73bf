package zvif.vehicle.services.val.records;

import java.io.ByteArrayOutputStream;

/** Collects a payload, low byte first. Made for one record and used by one thread. */
final class PayloadWriter {
    private final ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    private String path;

    PayloadWriter(String record) {
        path = record;
    }

    byte[] toByteArray() {
        return bytes.toByteArray();
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
        put(value, width);
    }

    void signed(String field, long value, int width) {
        if (width < Long.BYTES) {
            requireRange(field, value, -(1L << width * 8 - 1), (1L << width * 8 - 1) - 1);
        }
        put(value, width);
    }

    void bool(boolean value) {
        put(value ? 1 : 0, 1);
    }

    void enumeration(String field, long value, int width, boolean known, String name) {
        if (!known) {
            throw new RecordException(RecordException.Reason.BAD_ENUM, path + '.' + field, "a value of " + name,
                    Long.toString(value));
        }
        put(value, width);
    }

    /** The number of elements of an array that follows; {@link #maximum} is asked in the array's own place. */
    void count(int count, int width) {
        put(count, width);
    }

    void maximum(String field, int count, int maximum) {
        if (count > maximum) {
            throw new RecordException(RecordException.Reason.ARRAY_TOO_LONG, path + '.' + field,
                    "at most " + maximum + " elements", Integer.toString(count));
        }
    }

    void bytes(byte[] values) {
        bytes.writeBytes(values);
    }

    void fixedBytes(String field, byte[] values, int size) {
        if (values.length != size) {
            throw new RecordException(RecordException.Reason.OUT_OF_RANGE, path + '.' + field, size + " bytes",
                    Integer.toString(values.length));
        }
        bytes.writeBytes(values);
    }

    private void requireRange(String field, long value, long least, long most) {
        if (value < least || value > most) {
            throw new RecordException(RecordException.Reason.OUT_OF_RANGE, path + '.' + field, least + " to " + most,
                    Long.toString(value));
        }
    }

    private void put(long value, int width) {
        for (int i = 0; i < width; i++) {
            bytes.write((int) (value >>> 8 * i));
        }
    }
}
