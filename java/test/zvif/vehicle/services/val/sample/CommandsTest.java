package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.Reader;
import java.io.StringReader;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class CommandsTest {
    private final List<String> m_written = new ArrayList<>();
    private final List<String> m_printed = new ArrayList<>();
    private final BlockingQueue<String> m_log = new LinkedBlockingQueue<>();
    private final BlockingQueue<String> m_quits = new LinkedBlockingQueue<>();
    private final Platform m_platform = new Platform((id, length, data) -> {
        m_written.add(id + " " + HexFormat.of().formatHex(data));
        return 0;
    }, text -> { }, m_log::add);
    private final Commands m_sut = new Commands(m_platform, () -> m_quits.add("quit"), m_printed::add);

    @AfterEach
    void close() {
        m_platform.close();
    }

    private static String next(BlockingQueue<String> queue) throws InterruptedException {
        var taken = queue.poll(20, TimeUnit.SECONDS);
        assertTrue(taken != null, "nothing came within 20 s");
        return taken;
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "dtc 8495840 failed              | 2937 e0a281000000000001000000",
        "dtc 0x81A2E0 failed             | 2937 e0a281000000000001000000",
        "dtc 0x81a2e1 passed             | 2937 e1a281000000000000000000",
        "'  dtc\t8495842   failed '      | 2937 e2a281000000000001000000",
        "adaptation 149                  | 546 9500000001000000",
        "adaptation 0x95 255             | 546 9500000001000000, 546 ff00000002000000",
        "adaptation all                  | 546 9500000001000000, 546 ff00000002000000, 546 3801000003000000, "
            + "546 3c01000004000000",
        "adaptation-set 149 255          | 549 02000100000095000000ff000000",
        "adaptation-set all              | 549 04000100000095000000ff000000380100003c010000",
        "dataset 190                     | 588 be0000000100000000",
        "dataset 190 255                 | 588 be00000001000000ff",
        "dataset-version 320             | 586 4001000001000000",
        "coding                          | '600 '",
        "monitor-path 4294967295         | 647 ffffffff01000000",
        "''                              | ''",
        "'  # dtc 8495840 failed'        | ''"})
    void commandsBecomeMessages(String line, String expected) {
        m_sut.run(line);

        assertEquals(expected, String.join(", ", m_written));
    }

    @Test
    void sixtyFourAdaptationsGoIntoASetAndNotOneMore() {
        m_sut.run("adaptation-set" + " 149".repeat(64));
        assertEquals(("549 4000" + "01000000" + "95000000".repeat(64)), m_written.get(0));

        var refused = assertThrows(IllegalArgumentException.class,
                () -> m_sut.run("adaptation-set" + " 149".repeat(65)));
        assertEquals("the command is: adaptation-set ID..., 64 of them at most", refused.getMessage());
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', value = {
        "dtc                        | the command is: dtc CODE failed|passed",
        "dtc 8495840                | the command is: dtc CODE failed|passed",
        "dtc 8495840 failed now     | the command is: dtc CODE failed|passed",
        "dtc 8495843 failed         | '8495843' is no trouble code of the bridge; known are",
        "dtc 81A2E0 failed          | '81A2E0' is no trouble code of the bridge; known are",
        "dtc 8495840 FAILED         | 'FAILED' is neither failed nor passed",
        "adaptation                 | the command is: adaptation ID...",
        "adaptation all 149         | 'all' is no number; one looks like 149 or 0x95",
        "adaptation 149 148         | '148' is no adaptation; allowed are 105 to 106, 112 to 120, 122 to 147, 149 to 171",
        "adaptation-set             | the command is: adaptation-set ID..., 64 of them at most",
        "adaptation-set 0           | '0' is no adaptation; allowed are",
        "dataset                    | the command is: dataset ID [SEGMENT]",
        "dataset 190 1 2            | the command is: dataset ID [SEGMENT]",
        "dataset 190 256            | '256' is no segment; it is a number from 0 to 255",
        "dataset 149                | '149' is no dataset; allowed are 190 to 198, 211 to 229, 284 to 285, 293, 320",
        "dataset-version            | the command is: dataset-version ID",
        "coding now                 | the command is: coding, and nothing else",
        "monitor-path               | the command is: monitor-path ID",
        "monitor-path -1            | '-1' is no number; one looks like 149 or 0x95",
        "monitor-path 4294967296    | '4294967296' is no number; one looks like 149 or 0x95",
        "monitor-path 0x            | '0x' is no number; one looks like 149 or 0x95",
        "monitor-path +1            | '+1' is no number; one looks like 149 or 0x95",
        "DTC 8495840 failed         | unknown command 'DTC'; known are dtc, adaptation, adaptation-set, dataset,"})
    void whatIsWrongIsToldWithWhatIsAllowedAndSendsNothing(String line, String expected) {
        var refused = assertThrows(IllegalArgumentException.class, () -> m_sut.run(line));

        assertTrue(refused.getMessage().startsWith(expected), refused.getMessage());
        assertEquals(List.of(), m_written);
    }

    @Test
    void helpNamesEveryCommand() {
        m_sut.run("help");

        for (var word : List.of("dtc", "adaptation", "adaptation-set", "dataset", "dataset-version", "coding",
                "monitor-path", "help", "quit")) {
            assertTrue(m_printed.get(0).lines().anyMatch(line -> line.startsWith("  " + word + " ")), word);
        }
    }

    private void readAll(Reader reader) {
        CommandInput.start(new BufferedReader(reader), m_sut, m_log::add);
    }

    @Test
    void linesAreReadOneAfterAnotherAndAWrongOneIsTold() throws Exception {
        readAll(new StringReader("coding\nnonsense\n\ndtc 8495840 on\r\ncoding\nquit"));

        assertEquals("quit", next(m_quits));
        assertEquals(List.of("600 ", "600 "), m_written);
        assertTrue(next(m_log).startsWith("unknown command 'nonsense'"));
        assertEquals("'on' is neither failed nor passed", next(m_log));
        assertTrue(m_log.isEmpty());
    }

    @Test
    void anInputThatFailsIsTold() throws Exception {
        readAll(new Reader() {
            @Override
            public int read(char[] buffer, int offset, int length) throws IOException {
                throw new IOException("Input/output error");
            }

            @Override
            public void close() { }
        });

        assertEquals("no more commands: Input/output error", next(m_log));
    }

    @Test
    void aProcessOfTheBackgroundLeavesItsTerminalAlone() {
        assertTrue(CommandInput.isForeground("17 (java) S 1 17 17 34816 17 4194304 0"));
        assertTrue(!CommandInput.isForeground("17 (java) S 1 17 17 34816 42 4194304 0"));
        assertTrue(CommandInput.isForeground("17 (a) b) S 1 17 17 34816 17 4194304 0"));
    }

    @Test
    void numbersAreListedAsRanges() {
        assertEquals("0, 2 to 5, 9", Numbers.listed(number -> number < 6 && number != 1 || number == 9));
        assertEquals("", Numbers.listed(number -> false));
    }
}
