package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Set;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class OptionsTest {
    private static Options parse(String... arguments) {
        return Options.parse(List.of(arguments));
    }

    @Test
    void withoutArgumentsTheBuiltInValuesAreAnsweredAtOnce() {
        assertEquals(new Options(false, false, null, 2, Set.of(), Duration.ZERO), parse());
    }

    @Test
    void everyOptionIsTaken() {
        assertEquals(new Options(false, false, Path.of("a.txt"), 0,
                Set.of(DataIdentifier.PARAMETER_LIST, DataIdentifier.AUTHENTIC_TIME_LAST_CLIENT_PACKAGE),
                Duration.ofMillis(250)),
                parse("--silent", "0xB047", "--log-level", "0", "--values", "a.txt", "--silent", "54df",
                        "--delay", "250"));
        assertTrue(parse("--help").help());
        assertTrue(parse("-h").help());
        assertTrue(parse("--print-values").printValues());
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "--value x        | unknown option '--value'; --help lists them",
        "x                | unknown option 'x'; --help lists them",
        "--values         | --values needs a value; --help tells which",
        "--silent         | --silent needs a value; --help tells which",
        "--log-level -1   | --log-level: '-1' is no number from 0 to 2147483647",
        "--log-level high | --log-level: 'high' is no number from 0 to 2147483647",
        "--delay 600001   | --delay: '600001' is no number from 0 to 600000",
        "--delay 1s       | --delay: '1s' is no number from 0 to 600000"})
    void whatIsWrongIsTold(String arguments, String expected) {
        var refused = assertThrows(IllegalArgumentException.class, () -> parse(arguments.split(" ")));

        assertEquals(expected, refused.getMessage());
    }

    @Test
    void unknownIdentifierIsToldWithItsOption() {
        var refused = assertThrows(IllegalArgumentException.class, () -> parse("--silent", "0x0001"));

        assertTrue(refused.getMessage().startsWith("--silent: '0x0001' is no data identifier; known are 0x017D"),
                refused.getMessage());
    }
}
