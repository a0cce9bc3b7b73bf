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
        assertEquals(new Options(null, null, 2, Set.of(), Duration.ZERO, List.of()), parse());
    }

    @Test
    void everyOptionIsTaken() {
        assertEquals(new Options(null, Path.of("a.txt"), 0,
                Set.of(DataIdentifier.PARAMETER_LIST, DataIdentifier.AUTHENTIC_TIME_LAST_CLIENT_PACKAGE,
                        Routine.REBUILD_PARAMETERS),
                Duration.ofMillis(250),
                List.of(new TroubleCode.Report(TroubleCode.CODE_81A2E0, TroubleCode.State.FAILED),
                        new TroubleCode.Report(TroubleCode.CODE_81A2E2, TroubleCode.State.PASSED))),
                parse("--silent", "0xB047", "--log-level", "0", "--values", "a.txt", "--silent", "54df",
                        "--delay", "250", "--dtc", "0x81A2E0=failed", "--dtc", "8495842=passed", "--silent", "687"));
        assertEquals(Options.USAGE, parse("--help").text());
        assertEquals(Options.USAGE, parse("-h").text());
        assertEquals(Options.TROUBLE_CODES, parse("--dtc", "help").text());
        assertTrue(parse("--print-values").text().startsWith("# The values that"));
    }

    @Test
    void theUsageTellsTheCommandsAndTheCodes() {
        for (var word : List.of("dtc CODE failed|passed", "0x81A2E0 (8495840), 0x81A2E1 (8495841), 0x81A2E2 (8495842)",
                "adaptation-set ID...", "149 255 312 316", "monitor-path ID", "quit")) {
            assertTrue(Options.USAGE.contains(word), word);
        }
        assertTrue(Options.TROUBLE_CODES.contains("0x81A2E1 (8495841)"));
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
        "--dtc           | --dtc needs a value; --help tells which",
        "--dtc 8495840    | --dtc: '8495840' is not CODE=failed or CODE=passed",
        "--dtc 1=failed   | --dtc: '1' is no trouble code of the bridge; known are 0x81A2E0 (8495840), 0x81A2E1 (8495841), 0x81A2E2 (8495842)",
        "--dtc 8495840=on | --dtc: 'on' is neither failed nor passed",
        "--delay 1s       | --delay: '1s' is no number from 0 to 600000"})
    void whatIsWrongIsTold(String arguments, String expected) {
        var refused = assertThrows(IllegalArgumentException.class, () -> parse(arguments.split(" ")));

        assertEquals(expected, refused.getMessage());
    }

    @Test
    void unknownIdentifierIsToldWithItsOption() {
        var refused = assertThrows(IllegalArgumentException.class, () -> parse("--silent", "0x0001"));

        assertTrue(refused.getMessage().startsWith("--silent: '0x0001' is neither a data identifier nor a routine;"),
                refused.getMessage());
    }
}
