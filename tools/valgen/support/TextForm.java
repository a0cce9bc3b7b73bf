package zvif.vehicle.services.val.records;

/**
 * Renders a record as one line, cut to a size. Room is counted as in C++: an array's byte or integer takes 3 characters
 * however long it is, and an array ends with the element before which fewer than 4 were left.
 */
final class TextForm {
    private static final int MAX_ELEMENTS = 20;
    private static final int ELEMENT_CHARGE = 3;

    private final StringBuilder text = new StringBuilder();
    private final int size;
    /** Room as counted, the terminator included; 0 once the text is cut. */
    private int left;

    TextForm(int size) {
        this.size = size;
        left = size;
    }

    @Override
    public String toString() {
        return text.toString();
    }

    void number(String name, long value) {
        item(name + ':' + value + ';');
    }

    void bool(String name, boolean value) {
        item(name + ':' + value + ';');
    }

    void record(TextRecord record) {
        int before = text.length();
        int room = left;
        record.appendText(this);
        int written = text.length() - before;
        left = left == 0 || room <= written ? 0 : room - written;
    }

    void bytes(String name, byte[] values, int maximum) {
        int shown = bracket(name, values.length, maximum);
        for (int i = 0; i < shown && left != 0; i++) {
            element(values[i], Byte.SIZE, i + 1 == shown);
        }
    }

    void elements(String name, int[] values, int maximum, int bits) {
        int shown = bracket(name, values.length, maximum);
        for (int i = 0; i < shown && left != 0; i++) {
            element(values[i], bits, i + 1 == shown);
        }
    }

    void elements(String name, long[] values, int maximum, int bits) {
        int shown = bracket(name, values.length, maximum);
        for (int i = 0; i < shown && left != 0; i++) {
            element(values[i], bits, i + 1 == shown);
        }
    }

    void records(String name, TextRecord[] records, int maximum) {
        int shown = bracket(name, records.length, maximum);
        for (int i = 0; i < shown && left != 0; i++) {
            record(records[i]);
        }
    }

    /** Returns how many elements follow. */
    private int bracket(String name, int count, int maximum) {
        item(name + '[' + count + "]:");
        return Math.min(Math.min(count, maximum), MAX_ELEMENTS);
    }

    private void item(String item) {
        if (left == 0) {
            return;
        }
        int room = room();
        print(item);
        left = item.length() < room ? left - item.length() : 0;
    }

    private void element(long value, int bits, boolean isLast) {
        print(switch (bits) {
            case Byte.SIZE -> String.format("%02x", value & 0xFF);
            case Short.SIZE -> Long.toString(value & 0xFFFF);
            default -> Integer.toString((int) value);
        } + (isLast ? ';' : ','));
        left = left <= ELEMENT_CHARGE ? 0 : left - ELEMENT_CHARGE;
    }

    private void print(String item) {
        int room = room();
        text.append(item, 0, Math.min(item.length(), Math.max(room - 1, 0)));
    }

    private int room() {
        return Math.min(left, size - text.length());
    }
}
