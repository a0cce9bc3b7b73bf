package zvif.vehicle.services.val.records;

/** The values that a field of an enumeration may hold. */
public final class Enumeration {
    private final String name;
    private final int bits;
    private final boolean signed;
    private final long mask;
    private final long[] ranges;

    private Enumeration(String name, int bits, boolean signed, long mask, long[] ranges) {
        this.name = name;
        this.bits = bits;
        this.signed = signed;
        this.mask = mask;
        this.ranges = ranges;
    }

    /** Ascending ranges: a first and a last value each. */
    static Enumeration ofRanges(String name, int bits, long... ranges) {
        return new Enumeration(name, bits, ranges[0] < 0, 0, ranges);
    }

    /** Any bits of the mask. */
    static Enumeration ofMask(String name, int bits, long mask) {
        return new Enumeration(name, bits, false, mask, new long[0]);
    }

    public String name() {
        return name;
    }

    /** The width on the wire. */
    int bits() {
        return bits;
    }

    boolean isSigned() {
        return signed;
    }

    public boolean hasValue(long value) {
        for (int i = 0; i < ranges.length; i += 2) {
            if (value >= ranges[i] && value <= ranges[i + 1]) {
                return true;
            }
        }
        return ranges.length == 0 && (value & ~mask) == 0;
    }
}
