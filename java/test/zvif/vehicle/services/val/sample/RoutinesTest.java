package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertTimeoutPreemptively;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.EnumMap;
import java.util.HexFormat;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.ValueSource;

import zvif.vehicle.services.val.records.tDiagmgrJavaRoutineReqds;
import zvif.vehicle.services.val.records.tDiagmgrJavaRoutineRespds;

class RoutinesTest {
    private static final int START = 1;
    private static final int STOP = 2;
    private static final int RESULTS = 3;
    private static final int CANCEL = 4;
    private static final Routine ANY = Routine.REBUILD_PARAMETERS;
    private static final Routine OTHER = Routine.STORE_PARAMETERS_IN_ATN;
    private static final long MILLISECOND = 1_000_000;

    private record Written(int id, byte[] data, Thread thread) { }

    private final Map<Routine, RoutineSettings> m_settings = new EnumMap<>(Map.of(
            ANY, new RoutineSettings(Duration.ofMillis(300), 3, 1), OTHER, new RoutineSettings(Duration.ofDays(1), 5, 2)));
    private final BlockingQueue<Written> m_written = new LinkedBlockingQueue<>();
    private final BlockingQueue<String> m_printed = new LinkedBlockingQueue<>();
    private final BlockingQueue<String> m_log = new LinkedBlockingQueue<>();
    private final AtomicLong m_now = new AtomicLong(Long.MAX_VALUE - 100 * MILLISECOND); // it will wrap around
    private Sender m_sender = (id, length, data) -> {
        assertEquals(length, data.length);
        m_written.add(new Written(id, data, Thread.currentThread()));
        return 0;
    };
    private long m_transaction = 40;
    private Routines m_sut;

    private void start(Set<Routine> silent, Duration delay) {
        m_sut = new Routines(routine -> m_settings.getOrDefault(routine, RoutineSettings.DEFAULT),
                (id, length, data) -> m_sender.write(id, length, data), silent, delay, m_now::get, m_printed::add,
                m_log::add);
    }

    @AfterEach
    void close() {
        m_sut.close();
    }

    private static <T> T next(BlockingQueue<T> queue) throws InterruptedException {
        var taken = queue.poll(20, TimeUnit.SECONDS);
        assertTrue(taken != null, "nothing came within 20 s");
        return taken;
    }

    private byte[] request(long routineId, int controlParameter) {
        var request = new tDiagmgrJavaRoutineReqds();
        request.routineId = routineId;
        request.transactionId = ++m_transaction;
        request.controlParameter = controlParameter;
        return request.encode();
    }

    /** Status and result of the answer, as a tester gets them, after a look at what has to be copied. */
    private String outcome(Routine routine, int controlParameter) throws InterruptedException {
        m_sut.handleMsg(665, request(routine.messageNumber(), controlParameter));
        var answer = tDiagmgrJavaRoutineRespds.decode(next(m_written).data);
        assertEquals(routine.messageNumber(), answer.routineId);
        assertEquals(m_transaction, answer.transactionId);
        assertEquals(controlParameter, answer.controlParameter);
        return answer.routineStatus + "/" + answer.routineResult;
    }

    private void pass(long milliseconds) {
        m_now.addAndGet(milliseconds * MILLISECOND);
    }

    @Test
    void answerIsMessage666WithTheWordsOfTheRequest() throws Exception {
        start(Set.of(), Duration.ZERO);

        m_sut.handleMsg(665, request(311, START));

        var answer = next(m_written);
        assertEquals(666, answer.id);
        assertEquals("37010000" + "29000000" + "00000000" + "01" + "01" + "00000000",
                HexFormat.of().formatHex(answer.data));
        assertNotSame(Thread.currentThread(), answer.thread);
        assertEquals("routine 0x0687 start: status 1, result 0 (transaction 41)", next(m_printed));
    }

    @ParameterizedTest
    @EnumSource
    void everyRoutineIsNeverStartedThenRunningThenFinishedAsItsSettingsSay(Routine routine) throws Exception {
        m_settings.put(routine, new RoutineSettings(Duration.ofMillis(300), 5, 2));
        start(Set.of(), Duration.ZERO);

        assertEquals("0/0", outcome(routine, RESULTS));
        assertEquals("1/0", outcome(routine, START));
        pass(299);
        assertEquals("1/0", outcome(routine, RESULTS));
        pass(1);
        assertEquals("5/2", outcome(routine, RESULTS));
        assertEquals("5/2", outcome(routine, RESULTS));
    }

    @Test
    void whatIsStoppedNeverFinishes() throws Exception {
        start(Set.of(), Duration.ZERO);
        outcome(ANY, START);

        assertEquals("4/0", outcome(ANY, STOP));

        pass(1000);
        assertEquals("4/0", outcome(ANY, RESULTS));
        assertEquals("4/0", outcome(ANY, STOP));
    }

    @Test
    void stopOfWhatDoesNotRunChangesNothing() throws Exception {
        start(Set.of(), Duration.ZERO);

        assertEquals("0/0", outcome(ANY, STOP));
        outcome(ANY, START);
        pass(300);
        assertEquals("3/1", outcome(ANY, STOP));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, START, STOP})
    void cancelForgetsARoutineInAnyState(int before) throws Exception {
        start(Set.of(), Duration.ZERO);
        if (before != 0) {
            outcome(ANY, START);
            outcome(ANY, before);
        }

        assertEquals("0/0", outcome(ANY, CANCEL));

        pass(1000);
        assertEquals("0/0", outcome(ANY, RESULTS));
    }

    @Test
    void aSecondStartBeginsAgainWithTheSettingsOfThen() throws Exception {
        start(Set.of(), Duration.ZERO);
        outcome(ANY, START);
        pass(200);
        m_settings.put(ANY, new RoutineSettings(Duration.ofMillis(500), 3, 2));

        assertEquals("1/0", outcome(ANY, START));

        pass(499);
        assertEquals("1/0", outcome(ANY, RESULTS));
        pass(1);
        assertEquals("3/2", outcome(ANY, RESULTS));
        outcome(ANY, START);
        outcome(ANY, STOP);
        assertEquals("1/0", outcome(ANY, START));
    }

    @Test
    void routinesRunSideBySide() throws Exception {
        start(Set.of(), Duration.ZERO);
        for (var routine : Routine.values()) {
            outcome(routine, START);
        }
        outcome(OTHER, STOP);
        pass(300);

        assertEquals("3/1", outcome(ANY, RESULTS));
        assertEquals("4/0", outcome(OTHER, RESULTS));
        assertEquals("3/1", outcome(Routine.INITIALIZE_PARAMETERS, RESULTS));
    }

    @Test
    void theDelayOfOneAnswerHoldsUpNoOther() throws Exception {
        start(Set.of(), Duration.ofMinutes(5));

        for (var routine : Routine.values()) {
            m_sut.handleMsg(665, request(routine.messageNumber(), START));
        }

        for (var routine : Routine.values()) {
            assertTrue(next(m_printed).startsWith("routine " + routine + " start: status 1"));
        }
        assertTrue(m_written.isEmpty());
        assertTimeoutPreemptively(Duration.ofSeconds(20), m_sut::close);
        assertTrue(m_written.isEmpty());
    }

    @Test
    void theDelayPassesBeforeTheAnswer() throws Exception {
        start(Set.of(), Duration.ofMillis(50));
        var begin = System.nanoTime();

        assertEquals("0/0", outcome(ANY, RESULTS));

        assertTrue(System.nanoTime() - begin >= 50 * MILLISECOND);
    }

    @Test
    void theCallbackReturnsWhileAnAnswerIsBeingWritten() throws Exception {
        var writing = new CountDownLatch(1);
        var release = new CountDownLatch(1);
        m_sender = (id, length, data) -> {
            writing.countDown();
            try {
                release.await();
            } catch (InterruptedException closed) {
                // the test is over
            }
            return 0;
        };
        start(Set.of(), Duration.ZERO);
        m_sut.handleMsg(665, request(311, START));
        writing.await();

        assertTimeoutPreemptively(Duration.ofSeconds(20), () -> m_sut.handleMsg(665, request(311, RESULTS)));

        release.countDown();
    }

    @Test
    void silentRoutineRunsButGetsNoAnswer() throws Exception {
        start(Set.of(ANY), Duration.ZERO);

        m_sut.handleMsg(665, request(ANY.messageNumber(), START));

        assertEquals("1/0", outcome(OTHER, START));
        assertEquals("0x0687 is to stay silent; no answer", next(m_log));
        assertTrue(m_written.isEmpty());
    }

    @Test
    void unknownRoutineAndMalformedRequestGetNoAnswerAndALine() throws Exception {
        start(Set.of(), Duration.ZERO);

        m_sut.handleMsg(665, request(180, START));
        m_sut.handleMsg(665, new byte[12]);
        m_sut.handleMsg(2349, new byte[2]);
        outcome(ANY, RESULTS);

        assertEquals("routine id 180 is not known here; no answer", next(m_log));
        assertTrue(next(m_log).startsWith("message 665 is malformed and gets no answer: tDiagmgrJavaRoutineReqds"));
        assertTrue(m_written.isEmpty());
        assertTrue(m_log.isEmpty());
    }

    @Test
    void anAnswerThatTheBridgeRefusesIsTold() throws Exception {
        m_sender = (id, length, data) -> -1;
        start(Set.of(), Duration.ZERO);

        m_sut.handleMsg(665, request(ANY.messageNumber(), START));

        assertEquals("the bridge did not take the answer for routine 0x0687", next(m_log));
    }

    @Test
    void requestsAfterTheEndAreDroppedWithALine() throws Exception {
        start(Set.of(), Duration.ZERO);
        m_sut.close();

        m_sut.handleMsg(665, request(ANY.messageNumber(), START));

        assertEquals("message 665 dropped: the service ends", next(m_log));
    }
}
