package zvif.vehicle.services.val.sample;

import java.util.Arrays;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** What a diagnostic tester addresses by a 16-bit number: a data identifier or a routine. */
sealed interface Identifier permits DataIdentifier, Routine {
    int number();

    /** The words of the interface's name. */
    String title();

    static Stream<Identifier> all() {
        return Stream.concat(Arrays.stream(DataIdentifier.values()), Arrays.stream(Routine.values()));
    }

    /**
     * Reads "0xB047", "b047" or the like: always hexadecimal, as identifiers are written.
     *
     * @throws IllegalArgumentException when the bridge has none of this number; the text names those that it has
     */
    static Identifier parse(String text) {
        var digits = text.regionMatches(true, 0, "0x", 0, 2) ? text.substring(2) : text;
        try {
            var number = Integer.parseInt(digits, 16);
            return all().filter(identifier -> identifier.number() == number).findFirst().orElseThrow();
        } catch (RuntimeException notOneOfThem) {
            throw new IllegalArgumentException("'" + text + "' is neither a data identifier nor a routine; known are "
                    + all().map(Identifier::toString).collect(Collectors.joining(", ")), notOneOfThem);
        }
    }
}
