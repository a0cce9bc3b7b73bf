package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.util.HexFormat;
import java.util.List;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

class PlatformTest {
    private record Written(int id, String data) { }

    private final BlockingQueue<Written> m_written = new LinkedBlockingQueue<>();
    private final BlockingQueue<String> m_printed = new LinkedBlockingQueue<>();
    private final BlockingQueue<String> m_log = new LinkedBlockingQueue<>();
    private volatile int m_result;
    private volatile Thread m_writer;
    private final Platform m_sut = new Platform((id, length, data) -> {
        assertEquals(length, data.length);
        m_writer = Thread.currentThread();
        m_written.add(new Written(id, HexFormat.of().formatHex(data)));
        return m_result;
    }, m_printed::add, m_log::add);

    @AfterEach
    void close() {
        m_sut.close();
    }

    private static <T> T next(BlockingQueue<T> queue) throws InterruptedException {
        var taken = queue.poll(20, TimeUnit.SECONDS);
        assertTrue(taken != null, "nothing came within 20 s");
        return taken;
    }

    private void comes(int id, String hex) {
        m_sut.handleMsg(id, HexFormat.of().parseHex(hex));
    }

    @Test
    void requestsCarryRisingTransactionsAndArePrintedWithTheirBytes() throws Exception {
        m_sut.askAdaptation(149);
        m_sut.askAdaptationSet(List.of(149L, 255L));
        m_sut.askDatasetVersion(190);
        m_sut.askDataset(320, 7);
        m_sut.askCoding();
        m_sut.askMonitorPath(3);

        assertEquals(new Written(546, "95000000" + "01000000"), next(m_written));
        assertEquals(new Written(549, "0200" + "02000000" + "95000000" + "ff000000"), next(m_written));
        assertEquals(new Written(586, "be000000" + "03000000"), next(m_written));
        assertEquals(new Written(588, "40010000" + "04000000" + "07"), next(m_written));
        assertEquals(new Written(600, ""), next(m_written));
        assertEquals(new Written(647, "03000000" + "05000000"), next(m_written));
        assertEquals("-> 546  95 00 00 00 01 00 00 00  adaptation 149 (transaction 1)", next(m_printed));
        assertEquals("-> 549  02 00 02 00 00 00 95 00 00 00 FF 00 00 00  adaptation set 149 255 (transaction 2)",
                next(m_printed));
        assertEquals("-> 586  BE 00 00 00 03 00 00 00  version of dataset 190 (transaction 3)", next(m_printed));
        assertEquals("-> 588  40 01 00 00 04 00 00 00 07  dataset 320, segment 7 (transaction 4)", next(m_printed));
        assertEquals("-> 600  (empty)  coding", next(m_printed));
        assertEquals("-> 647  03 00 00 00 05 00 00 00  monitor path of component 3 (transaction 5)", next(m_printed));
    }

    @Test
    void troubleCodesAreReportedAs2937() throws Exception {
        m_sut.report(new TroubleCode.Report(TroubleCode.CODE_81A2E0, TroubleCode.State.FAILED));
        m_sut.report(new TroubleCode.Report(TroubleCode.CODE_81A2E2, TroubleCode.State.PASSED));

        assertEquals(new Written(2937, "e0a2810000000000" + "01000000"), next(m_written));
        assertEquals(new Written(2937, "e2a2810000000000" + "00000000"), next(m_written));
        assertEquals("-> 2937  E0 A2 81 00 00 00 00 00 01 00 00 00  trouble code 0x81A2E0 (8495840) failed",
                next(m_printed));
    }

    @Test
    void aRequestThatTheBridgeRefusesIsTold() throws Exception {
        m_result = -1;

        m_sut.askCoding();

        assertEquals("the bridge did not take message 600", next(m_log));
    }

    static Stream<Arguments> messages() {
        return Stream.of(
                arguments(547, "95000000" + "07000000" + "0200" + "0a0b",
                        "<- 547  95 00 00 00 07 00 00 00 02 00 0A 0B  adaptation 149: 2 bytes 0A 0B (transaction 7)"),
                arguments(547, "95000000" + "07000000" + "0000",
                        "<- 547  95 00 00 00 07 00 00 00 00 00  adaptation 149: no value (transaction 7)"),
                arguments(587, "be000000" + "03000000" + "00" + "2d2d2d2d" + "00",
                        "<- 587  BE 00 00 00 03 00 00 00 00 2D 2D 2D 2D 00  dataset 190: version \"----\", flags false"
                        + " and false (transaction 3)"),
                arguments(589, "be000000" + "03000000" + "00" + "01" + "0000",
                        "<- 589  BE 00 00 00 03 00 00 00 00 01 00 00  dataset 190, segment 0: no data, flag true"
                        + " (transaction 3)"),
                arguments(589, "be000000" + "03000000" + "00" + "01" + "0100" + "fe",
                        "<- 589  BE 00 00 00 03 00 00 00 00 01 01 00 FE  dataset 190, segment 0: 1 byte FE, flag true"
                        + " (transaction 3)"),
                arguments(601, "02000000" + "00".repeat(58),
                        "<- 601  02 00 00 00" + " 00".repeat(58) + "  coding: status 2, 58 bytes of zeros"),
                arguments(601, "01000000" + "02" + "00".repeat(57),
                        "<- 601  01 00 00 00 02" + " 00".repeat(57) + "  coding: status 1, 58 bytes 02"
                        + " 00".repeat(57)),
                arguments(648, "07000000" + "05000000" + "80808080",
                        "<- 648  07 00 00 00 05 00 00 00 80 80 80 80  monitor path: component 7, path 80 80 80 80"
                        + " (transaction 5)"),
                arguments(2943, "01000000", "<- 2943  01 00 00 00  data service found (service 1)"),
                arguments(546, "95000000" + "00000000", "<- 546  95 00 00 00 00 00 00 00  the bridge asks for"
                        + " adaptation 149; no answer, for it would be asked again and again"),
                arguments(548, "95000000" + "80", "<- 548  95 00 00 00 80  adaptation 149 acknowledged (status 0x80)"),
                arguments(1234, "0102", "<- 1234  01 02  nothing that this service knows"),
                arguments(1234, "00".repeat(64), "<- 1234 " + " 00".repeat(64) + "  nothing that this service knows"),
                arguments(547, "95000000" + "07000000" + "4100" + "ab".repeat(65),
                        "<- 547  95 00 00 00 07 00 00 00 41 00" + " AB".repeat(14) + " ..." + " AB".repeat(24)
                        + "  adaptation 149: 65 bytes" + " AB".repeat(24) + " ..." + " AB".repeat(24)
                        + " (transaction 7)"));
    }

    @ParameterizedTest
    @MethodSource("messages")
    void whatComesIsPrintedAndGetsNoAnswer(int id, String hex, String expected) throws Exception {
        comes(id, hex);

        assertEquals(expected, next(m_printed));
        m_sut.close();
        assertTrue(m_written.isEmpty());
        assertTrue(m_log.isEmpty());
    }

    @Test
    void aSetResponseIsReadWithItsRequest() throws Exception {
        m_sut.askAdaptationSet(List.of(149L, 255L, 312L));
        m_sut.askAdaptationSet(List.of(316L));
        next(m_printed);
        next(m_printed);

        comes(550, "0600" + "02000000" + "3c010000" + "0000");
        comes(550, "0f00" + "01000000" + "95000000" + "ff000000" + "38010000" + "0100" + "07");

        assertEquals("<- 550  06 00 02 00 00 00 3C 01 00 00 00 00  adaptation set (transaction 2)\n"
                + "     316: no value", next(m_printed));
        assertEquals("<- 550  0F 00 01 00 00 00 95 00 00 00 FF 00 00 00 38 01 00 00 01 00 07"
                + "  adaptation set (transaction 1)\n"
                + "     149: no length: timed out\n"
                + "     255: no length: timed out\n"
                + "     312: 1 byte 07", next(m_printed));
    }

    @Test
    void aSetResponseThatIsCutOffShowsWhatIsLeft() throws Exception {
        m_sut.askAdaptationSet(List.of(149L, 255L));
        next(m_printed);

        comes(550, "0a00" + "01000000" + "95000000" + "0000" + "ff000009");

        assertEquals("<- 550  0A 00 01 00 00 00 95 00 00 00 00 00 FF 00 00 09  adaptation set (transaction 1)\n"
                + "     149: no value\n"
                + "     not understood: 4 bytes FF 00 00 09", next(m_printed));
    }

    @Test
    void aSetResponseThatNobodyAskedForIsToldSo() throws Exception {
        comes(550, "0000" + "09000000");

        assertEquals("<- 550  00 00 09 00 00 00  adaptation set (transaction 9) that nobody asked for",
                next(m_printed));
    }

    @Test
    void aChangedAdaptationIsAskedForByAnotherThreadThanTheCallback() throws Exception {
        comes(548, "95000000" + "00");

        assertEquals("<- 548  95 00 00 00 00  adaptation 149 changed (status 0x00)", next(m_printed));
        assertEquals("-> 546  95 00 00 00 01 00 00 00  adaptation 149 (transaction 1)", next(m_printed));
        assertEquals(new Written(546, "95000000" + "01000000"), next(m_written));
        assertNotSame(Thread.currentThread(), m_writer);
        m_sut.close();
        assertTrue(m_written.isEmpty());
    }

    @Test
    void malformedMessagesAreToldAndTheNextIsRead() throws Exception {
        comes(547, "95000000");
        comes(550, "0100" + "01000000");
        comes(548, "00000000" + "00");
        comes(2943, "01000000");

        for (var id : List.of(547, 550, 548)) {
            var line = next(m_log);
            assertTrue(line.startsWith("message " + id + " is malformed and gets no answer: "), line);
        }
        assertEquals("<- 2943  01 00 00 00  data service found (service 1)", next(m_printed));
        assertTrue(m_written.isEmpty());
    }
}
