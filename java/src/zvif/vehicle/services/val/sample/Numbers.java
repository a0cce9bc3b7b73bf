package zvif.vehicle.services.val.sample;

import java.util.ArrayList;
import java.util.function.LongPredicate;

/** Numbers as a person writes and reads them. */
final class Numbers {
    private static final long LARGEST_UNSIGNED = 0xFFFF_FFFFL;
    private static final int LARGEST_LISTED = 1000; // no set of numbers of a message goes beyond

    private Numbers() { }

    /**
     * Reads an unsigned number of 32 bits, such as 149 or 0x95.
     *
     * @throws IllegalArgumentException with a text for the user
     */
    static long unsigned(String text) {
        try {
            var hexadecimal = text.regionMatches(true, 0, "0x", 0, 2);
            var number = hexadecimal ? Long.parseLong(text.substring(2), 16) : Long.parseLong(text);
            if (number >= 0 && number <= LARGEST_UNSIGNED && text.indexOf('+') < 0) {
                return number;
            }
        } catch (NumberFormatException error) {
            // told below, like a number out of range
        }
        throw new IllegalArgumentException("'" + text + "' is no number; one looks like 149 or 0x95");
    }

    /** The numbers of a set, such as "1, 4 to 9". */
    static String listed(LongPredicate set) {
        var ranges = new ArrayList<String>();
        for (var first = 0; first <= LARGEST_LISTED; ++first) {
            if (set.test(first)) {
                var last = first;
                while (set.test(last + 1)) {
                    ++last;
                }
                ranges.add(last == first ? "" + first : first + " to " + last);
                first = last;
            }
        }
        return String.join(", ", ranges);
    }
}
