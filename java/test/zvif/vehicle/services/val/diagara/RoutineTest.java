package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.util.Optional;
import java.util.function.Consumer;
import java.util.stream.Stream;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

import zvif.vehicle.services.val.records.tDiagmgrJavaRoutineReqds;
import zvif.vehicle.services.val.records.tDiagmgrJavaRoutineRespds;
import zvif.vehicle.services.val.testing.Inbox;
import zvif.vehicle.services.val.testing.SomeIpClient;

/** Requests of routines and answers of all kinds through the real library. */
@Tag("native")
class RoutineTest {
    private static final int ANY = 0x0687;
    private static final int ANY_ID = 311;
    private static final int METHOD_CANCEL = 1;
    private static final int METHOD_RESULTS = 2;
    private static final int METHOD_START = 3;
    private static final int NOT_LONG_MS = 200;
    private static final int PATIENCE_MS = 20_000;

    private final ConnectorNativeDiagARA m_sut = new ConnectorNativeDiagARA();
    private final Inbox m_inbox = new Inbox();
    private SomeIpClient m_tester;

    @BeforeEach
    void register() throws Exception {
        assertEquals(0, m_sut.register(m_inbox, 2));
        m_tester = SomeIpClient.toThisProcess();
    }

    @AfterEach
    void unregister() throws Exception {
        m_tester.close();
        m_sut.unregister();
    }

    private tDiagmgrJavaRoutineReqds nextRequest() throws InterruptedException {
        var message = m_inbox.next();
        assertEquals(665, message.id());
        return tDiagmgrJavaRoutineReqds.decode(message.payload());
    }

    private static tDiagmgrJavaRoutineRespds answer(tDiagmgrJavaRoutineReqds request, int status, int result) {
        var response = new tDiagmgrJavaRoutineRespds();
        response.routineId = request.routineId;
        response.transactionId = request.transactionId;
        response.controlParameter = request.controlParameter;
        response.routineStatus = status;
        response.routineResult = result;
        return response;
    }

    private void write(byte[] payload) {
        assertEquals(0, m_sut.write(666, payload.length, payload));
    }

    private void assertReply(int... payload) throws Exception {
        var reply = m_tester.reply(PATIENCE_MS).orElseThrow(() -> new AssertionError("no reply"));
        assertEquals(0, reply.returnCode());
        assertArrayEquals(payload, toInts(reply.payload()));
    }

    private static int[] toInts(byte[] bytes) {
        var ints = new int[bytes.length];
        for (var index = 0; index < bytes.length; ++index) {
            ints[index] = bytes[index] & 0xFF;
        }
        return ints;
    }

    @ParameterizedTest
    @CsvSource({"0x0687, 311", "0x0688, 310", "0x0689, 309", "0x068A, 308"})
    void requestsNameTheRoutineARisingTransactionAndTheMethod(String routine, int id) throws Exception {
        var controlParameterOfMethod = new int[] {4, 3, 1, 2}; // Cancel, RequestResults, Start, Stop
        for (var method = 1; method <= 4; ++method) {
            m_tester.request(Integer.decode(routine), method);

            var request = nextRequest();
            assertEquals(id, request.routineId);
            assertEquals(method - 1, request.transactionId);
            assertEquals(controlParameterOfMethod[method - 1], request.controlParameter);
            assertEquals(0, request.controlData.length);
            write(answer(request, 3, 1).encode());
            if (method == METHOD_RESULTS) {
                assertReply(0x31);
            } else {
                assertReply();
            }
        }
    }

    @ParameterizedTest
    @CsvSource({"0, 0, 0x00", "5, 2, 0x52", "1, 0, 0x10", "16, 0, 0x20", "19, 2, 0x20"})
    void statusAndResultAreOneByteAndNoneIfTheyDoNotFit(int status, int result, String expected) throws Exception {
        m_tester.request(ANY, METHOD_RESULTS);

        write(answer(nextRequest(), status, result).encode());

        assertReply(Integer.decode(expected));
    }

    static Stream<Arguments> uselessAnswers() {
        return Stream.of(
                change("another routine", response -> response.routineId = 308),
                change("another transaction", response -> ++response.transactionId),
                change("another method", response -> response.controlParameter = 1));
    }

    private static Arguments change(String name, Consumer<tDiagmgrJavaRoutineRespds> change) {
        return arguments(name, change);
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("uselessAnswers")
    void anAnswerToSomethingElseLeavesTheRequestWaiting(String name, Consumer<tDiagmgrJavaRoutineRespds> change)
            throws Exception {
        m_tester.request(ANY, METHOD_RESULTS);
        var request = nextRequest();
        var other = answer(request, 3, 2);
        change.accept(other);

        write(other.encode());

        assertEquals(Optional.empty(), m_tester.reply(NOT_LONG_MS));
        write(answer(request, 3, 1).encode());
        assertReply(0x31);
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 4, 17})
    void anAnswerThatIsCutOffLeavesTheRequestWaiting(int length) throws Exception {
        m_tester.request(ANY, METHOD_RESULTS);
        var request = nextRequest();

        assertEquals(0, m_sut.write(666, length, answer(request, 3, 1).encode()));
        var badStatus = answer(request, 3, 1).encode();
        badStatus[13] = 6;
        write(badStatus);

        assertEquals(Optional.empty(), m_tester.reply(NOT_LONG_MS));
        write(answer(request, 3, 1).encode());
        assertReply(0x31);
    }

    @Test
    void theDataOfAnAnswerMayBeOfAnyLengthAndIsNotPassedOn() throws Exception {
        m_tester.request(ANY, METHOD_RESULTS);
        var response = answer(nextRequest(), 3, 1);
        response.resultData = new byte[4083];

        write(response.encode());

        assertReply(0x31);
    }

    @Test
    void anAnswerThatNobodyWaitsForHarmsNobody() throws Exception {
        m_tester.request(ANY, METHOD_RESULTS);
        var request = nextRequest();
        for (var repetition = 0; repetition < 3; ++repetition) {
            write(answer(request, 3, 1).encode());
        }
        assertReply(0x31);

        m_tester.request(ANY, METHOD_START);
        write(answer(nextRequest(), 1, 0).encode());
        assertReply();
    }

    @Test
    void cancelLeavesAnOpenRequestAlone() throws Exception {
        m_tester.request(ANY, METHOD_RESULTS);
        var open = nextRequest();
        try (var other = SomeIpClient.toThisProcess()) {
            other.request(ANY, METHOD_CANCEL);
            write(answer(nextRequest(), 0, 0).encode());
            assertTrue(other.reply(PATIENCE_MS).isPresent());
        }

        assertEquals(Optional.empty(), m_tester.reply(NOT_LONG_MS));
        write(answer(open, 0, 0).encode());
        assertReply(0x00);
    }

    @Test
    void unregisterAnswersWhatIsOpen() throws Exception {
        m_tester.request(ANY, METHOD_RESULTS);
        nextRequest();

        assertEquals(0, m_sut.unregister());

        assertReply(0x20);
    }

    @Test
    void aTroubleCodeOfAnyKindIsTakenAndHarmsNobody() throws Exception {
        var known = new byte[] {(byte) 0xE0, (byte) 0xA2, (byte) 0x81, 0, 0, 0, 0, 0, 1, 0, 0, 0};
        var unknownCode = known.clone();
        unknownCode[0] = 7;
        var unknownState = known.clone();
        unknownState[8] = 4;

        for (var payload : new byte[][] {known, unknownCode, unknownState, new byte[11], new byte[13], new byte[0]}) {
            assertEquals(0, m_sut.write(2937, payload.length, payload));
        }

        m_tester.request(ANY, METHOD_START);
        assertEquals(ANY_ID, nextRequest().routineId);
    }
}
