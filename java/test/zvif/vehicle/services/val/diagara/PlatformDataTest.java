package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.HexFormat;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

import zvif.vehicle.services.val.testing.Inbox;

/** Requests for adaptations, datasets, coding and the monitor path through the real library, without a data service. */
@Tag("native")
class PlatformDataTest {
    private static final String MONITOR_PATH_REQUEST = "0300000009000000";

    private final ConnectorNativeDiagARA m_sut = new ConnectorNativeDiagARA();
    private final Inbox m_inbox = new Inbox();

    @BeforeEach
    void register() throws Exception {
        assertEquals(0, m_sut.register(m_inbox, 2));
    }

    @AfterEach
    void unregister() {
        assertEquals(0, m_sut.unregister());
    }

    private void write(int id, String hex) {
        var payload = HexFormat.of().parseHex(hex);
        assertEquals(0, m_sut.write(id, payload.length, payload));
    }

    private void assertNext(int id, String hex) throws InterruptedException {
        var message = m_inbox.next();
        assertEquals(id + " " + hex, message.id() + " " + HexFormat.of().formatHex(message.payload()));
    }

    @ParameterizedTest
    @CsvSource({
        "586, be00000005000000,   587, be00000005000000002d2d2d2d00",
        "588, be0000000500000007, 589, be000000050000000001" + "0000",
        "647, 0300000005000000,   648, 070000000500000080808080",
        "546, 9500000005000000,   547, 95000000050000000000",
        "546, 6900000005000000,   547, 69000000050000000000",
        "547, 950000000500000001002a, 548, 9500000080",
        "548, 9500000080,         546, 9500000000000000"})
    void answersThatNeedNoDataService(int id, String request, int answerId, String answer) throws Exception {
        write(id, request);

        assertNext(answerId, answer);
    }

    @ParameterizedTest
    @CsvSource({"''", "00", "ffffffffffff"})
    void theCodingIsAnsweredWhateverTheRequestHolds(String request) throws Exception {
        write(600, request);

        assertNext(601, "02000000" + "00".repeat(58));
    }

    @ParameterizedTest
    @CsvSource({
        "546, 95000000050000", "546, 0100000005000000", "547, 95000000050000000100", "548, 95000000",
        "549, 02000500000095000000", "549, 01000500000095000000", "586, 0100000005000000", "588, be00000005000000",
        "647, 03000000050000"})
    void whatIsNoRequestOrHasNobodyToAskGetsNoAnswer(int id, String request) throws Exception {
        write(id, request);

        write(647, MONITOR_PATH_REQUEST);
        assertNext(648, "070000000900000080808080");
        assertTrue(m_inbox.isEmpty());
    }

    @Test
    void unregisterWaitsForNoAnswer() {
        for (var request = 0; request < 50; ++request) {
            write(647, MONITOR_PATH_REQUEST);
            write(546, "9500000005000000");
        }
    }
}
