package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.time.Duration;
import java.util.Collections;
import java.util.HexFormat;
import java.util.Map;
import java.util.Set;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

class ValuesFileTest {
    private static final DataIdentifier ANY = DataIdentifier.PARAMETER_LIST;

    static Stream<Arguments> lines() {
        return Stream.of(
                arguments("", ""),
                arguments("# only a comment", ""),
                arguments("bytes =", ""),
                arguments("bytes = 00 fF", "00ff"),
                arguments("  bytes=01\t02  # three", "0102"),
                arguments("bytes = \"a\" 00 \"b\"", "610062"),
                arguments("bytes = \"a\"\"b\"01", "616201"),
                arguments("bytes = \"# no comment\" # one", "23206e6f20636f6d6d656e74"),
                arguments("bytes = \"say \\\"x\\\" \\\\\"", "73617920227822" + "205c"),
                arguments("bytes = \"\u00fc\"", "c3bc"),
                arguments("field 4 = \"ab\"", "61620000"),
                arguments("field 2 = \"ab\"", "6162"),
                arguments("field 3 =", "000000"),
                arguments("field 1 = 7f", "7f"),
                arguments("number 1 = 255", "ff"),
                arguments("number 2 = 517", "0205"),
                arguments("number 2 = 0x205", "0205"),
                arguments("number 2 = 0010", "000a"),
                arguments("number 4 = 4294967295", "ffffffff"),
                arguments("number 4 = 0", "00000000"),
                arguments("count 1", "00"),
                arguments("count 2\nentry 2 = 01 02\nentry 2 = 03", "000201020300"),
                arguments("count 1\nentry 1 = aa", "01aa"),
                arguments("field 1 = 05\ncount 1\nentry 1 = aa\nbytes = 09", "0501aa09"),
                arguments("entry 2 = 01", "0100"),
                arguments("count 1\n" + "entry 1 = 07\n".repeat(255), "ff" + "07".repeat(255)),
                arguments("count 2\n" + "entry 1 = 07\n".repeat(256), "0100" + "07".repeat(256)));
    }

    @ParameterizedTest
    @MethodSource("lines")
    void linesOfABlockBecomeItsBytes(String lines, String expected) throws Exception {
        var values = ValuesFile.read("t.val", ("[0x54DF]\n" + lines).lines().toList()).values();

        assertEquals(expected, HexFormat.of().formatHex(values.get(ANY)));
    }

    static Stream<Arguments> mistakes() {
        return Stream.of(
                arguments("bytes = 0g", "2: '0g' is neither a hex byte (00 to ff) nor a \"text\""),
                arguments("bytes = 1", "2: '1' is neither a hex byte (00 to ff) nor a \"text\""),
                arguments("bytes = 0102", "2: '0102' is neither a hex byte (00 to ff) nor a \"text\""),
                arguments("bytes = \"open", "2: a text without its closing quote"),
                arguments("bytes = \"open\\\"", "2: a text without its closing quote"),
                arguments("bytes = \"open # quote", "2: a text without its closing quote"),
                arguments("bytes", "2: bytes needs a value, as in 'bytes ... = \"text\" 00 ff'"),
                arguments("bytes 3 = 01", "2: bytes take no size; field 3 fills up to 3 bytes"),
                arguments("\n\nfield 2 = 01 02 03", "4: 3 bytes do not fit into 2"),
                arguments("field = 01", "2: field needs a size in bytes, as in 'field 2'"),
                arguments("field 2", "2: field needs a value, as in 'field ... = \"text\" 00 ff'"),
                arguments("field 0 = 01", "2: '0' is no size; it is a number from 1 to 4083"),
                arguments("field 4084 = 01", "2: '4084' is no size; it is a number from 1 to 4083"),
                arguments("field 99999999999 = 01", "2: '99999999999' is no size; it is a number from 1 to 4083"),
                arguments("field -1 = 01", "2: '-1' is no size; it is a number from 1 to 4083"),
                arguments("number 1 = 256", "2: 256 does not fit into 1 byte"),
                arguments("number 2 = 0x10000", "2: 0x10000 does not fit into 2 bytes"),
                arguments("number 4 = 4294967296", "2: 4294967296 does not fit into 4 bytes"),
                arguments("number 2 = -1", "2: '-1' is no number; one looks like 517 or 0x205"),
                arguments("number 2 = 1 2", "2: '1 2' is no number; one looks like 517 or 0x205"),
                arguments("number 2", "2: '' is no number; one looks like 517 or 0x205"),
                arguments("number 5 = 1", "2: a number takes 1 to 4 bytes, not 5"),
                arguments("feild 2 = 01", "2: unknown word 'feild'; known are field, number, bytes, count, entry"),
                arguments("count", "2: count needs a size in bytes, as in 'count 2'"),
                arguments("count 3", "2: a count takes 1 or 2 bytes, not 3"),
                arguments("count 1\ncount 1", "3: a second count in 0x54DF"),
                arguments("count 1 = 5", "2: count takes no value: it is the number of entry lines that follow."
                        + " To send a false one, write number 1 = 5"),
                arguments("\ncount 1\n" + "entry 1 = 07\n".repeat(256),
                        "3: 256 entries do not fit into a count of 1 byte"),
                arguments("entry 2 = 01\nentry 3 = 01", "3: an entry of 3 bytes among entries of 2"),
                arguments("entry = 01", "2: entry needs a size in bytes, as in 'entry 2'"),
                arguments("field 4083 =\nbytes = 01", "3: 0x54DF has become longer than 4083 bytes"),
                arguments("= 01", "2: '= 01' is not understood; a line is a word, a size, '=' and a value"),
                arguments("field 1 2 = 01",
                        "2: 'field 1 2 = 01' is not understood; a line is a word, a size, '=' and a value"),
                arguments("[0x54DF]", "2: a second block for 0x54DF"),
                arguments("[0x54DF", "2: '[0x54DF' is no block; one looks like [0xB047]"),
                arguments("[]", "2: '[]' is no block; one looks like [0xB047]"),
                arguments("[0x0000]",
                        "2: '0x0000' is neither a data identifier nor a routine; known are 0x017D, 0x0234, 0x0235, 0x117C, 0x117D,"
                        + " 0x117E, 0x15FD, 0x15FE, 0x488B, 0x488C, 0x54DC, 0x54DE, 0x54DF, 0xB047,"
                        + " 0x0687, 0x0688, 0x0689, 0x068A"));
    }

    @ParameterizedTest
    @MethodSource("mistakes")
    void mistakesAreToldWithFileLineAndWhatIsWrong(String lines, String expected) {
        var mistake = assertThrows(ValuesFile.Mistake.class,
                () -> ValuesFile.read("t.val", ("[0x54DF]\n" + lines).lines().toList()));

        assertEquals("t.val:" + expected, mistake.getMessage());
    }

    @Test
    void valueBeforeTheFirstBlockIsAMistake() {
        var mistake = assertThrows(ValuesFile.Mistake.class,
                () -> ValuesFile.read("t.val", Collections.singletonList("bytes = 01")));

        assertEquals("t.val:1: a value before the first block, such as [0xB047]", mistake.getMessage());
    }

    @Test
    void blocksDoNotMix() throws Exception {
        var values = ValuesFile.read("t.val", """
                [0x488c]
                count 1
                entry 1 = 01
                [ 488B ]
                count 2
                entry 3 = 02
                """.lines().toList()).values();

        assertEquals(Set.of(DataIdentifier.FUNCTION_ON_DEMAND_PRODUCT_LIST,
                DataIdentifier.FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSOCIATION), values.keySet());
        assertEquals("0101", HexFormat.of().formatHex(values.get(DataIdentifier.FUNCTION_ON_DEMAND_PRODUCT_LIST)));
        assertEquals("0001020000", HexFormat.of().formatHex(
                values.get(DataIdentifier.FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSOCIATION)));
    }

    @Test
    void aRoutineDoesWhatItsBlockSaysAndTheRestIsItsDefault() throws Exception {
        var content = ValuesFile.read("t.val", """
                [0x0687]
                takes  = 300 ms
                status = 4
                result = 2
                [0x0688]
                [068a]
                takes=3600000ms   # an hour
                [0x54DF]
                bytes = 01
                [0x0689]
                status = 19
                """.lines().toList());

        assertEquals(Map.of(
                Routine.REBUILD_PARAMETERS, new RoutineSettings(Duration.ofMillis(300), 4, 2),
                Routine.INITIALIZE_PARAMETERS, new RoutineSettings(Duration.ZERO, 3, 1),
                Routine.STORE_PARAMETERS_IN_ATN, new RoutineSettings(Duration.ofHours(1), 3, 1),
                Routine.TRANSFER_PARAMETERS_FROM_ATN, new RoutineSettings(Duration.ZERO, 19, 1)), content.routines());
        assertEquals("01", HexFormat.of().formatHex(content.values().get(ANY)));
    }

    static Stream<Arguments> mistakesOfARoutine() {
        return Stream.of(
                arguments("takes = 300", "2: '300' is no time; one looks like 300 ms, and is 3600000 ms at most"),
                arguments("takes = 3600001 ms",
                        "2: '3600001 ms' is no time; one looks like 300 ms, and is 3600000 ms at most"),
                arguments("takes = 999999999 ms",
                        "2: '999999999 ms' is no time; one looks like 300 ms, and is 3600000 ms at most"),
                arguments("takes 300 ms", "2: 'takes 300 ms' is not understood; a line is a word, a size, '=' and a value"),
                arguments("takes 300", "2: a line of a routine is a word, '=' and a value, as in 'takes = 300 ms'"),
                arguments("status", "2: a line of a routine is a word, '=' and a value, as in 'takes = 300 ms'"),
                arguments("status 1 = 3", "2: a line of a routine is a word, '=' and a value, as in 'takes = 300 ms'"),
                arguments("status = 6", "2: '6' is no status of a routine; allowed are 0 to 5, 16 to 19"),
                arguments("status = 20", "2: '20' is no status of a routine; allowed are 0 to 5, 16 to 19"),
                arguments("status = running",
                        "2: 'running' is no status of a routine; allowed are 0 to 5, 16 to 19"),
                arguments("result = 3", "2: '3' is no result of a routine; allowed are 0 to 2"),
                arguments("result = 99999999999", "2: '99999999999' is no result of a routine; allowed are 0 to 2"),
                arguments("bytes = 01", "2: unknown word 'bytes'; known for a routine are takes, status, result"),
                arguments("takes = 1 ms\n[0x687]", "3: a second block for 0x0687"));
    }

    @ParameterizedTest
    @MethodSource("mistakesOfARoutine")
    void mistakesInARoutineAreToldWithFileLineAndWhatIsAllowed(String lines, String expected) {
        var mistake = assertThrows(ValuesFile.Mistake.class,
                () -> ValuesFile.read("t.val", ("[0x0687]\n" + lines).lines().toList()));

        assertEquals("t.val:" + expected, mistake.getMessage());
    }
}
