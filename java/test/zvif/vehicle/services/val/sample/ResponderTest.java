package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertTimeoutPreemptively;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.EnumMap;
import java.util.HexFormat;
import java.util.Map;
import java.util.Optional;
import java.util.Set;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

class ResponderTest {
    private static final byte[] REQUEST_54DF = {(byte) 0xDF, 0x54};
    private static final byte[] REQUEST_54DE = {(byte) 0xDE, 0x54};

    private record Written(int id, int length, String data, Thread thread) { }

    private final Map<DataIdentifier, byte[]> m_values = new EnumMap<>(Map.of(
            DataIdentifier.PARAMETER_LIST, new byte[] {7, 8, 9}, DataIdentifier.METADATA_SHADOW_COPY, new byte[0]));
    private final BlockingQueue<Written> m_written = new LinkedBlockingQueue<>();
    private final BlockingQueue<String> m_log = new LinkedBlockingQueue<>();
    private Sender m_sender = (id, length, data) -> {
        m_written.add(new Written(id, length, HexFormat.of().formatHex(data), Thread.currentThread()));
        return 0;
    };
    private Responder m_sut;

    private void start(Set<DataIdentifier> silent, Duration delay) {
        m_sut = new Responder(identifier -> Optional.ofNullable(m_values.get(identifier)),
                (id, length, data) -> m_sender.write(id, length, data), silent, delay, m_log::add);
    }

    private void start() {
        start(Set.of(), Duration.ZERO);
    }

    @AfterEach
    void close() {
        m_sut.close();
    }

    private static <T> T next(BlockingQueue<T> queue) throws InterruptedException {
        var taken = queue.poll(10, TimeUnit.SECONDS);
        assertTrue(taken != null, "nothing came within 10 s");
        return taken;
    }

    /** Everything before it has been handled when its answer is there. */
    private Written afterOneMore() throws InterruptedException {
        m_sut.handleMsg(2349, REQUEST_54DF);
        return next(m_written);
    }

    @Test
    void aRequestIsAnsweredWithTheIdentifierTheLengthsAndTheValue() throws Exception {
        start();

        m_sut.handleMsg(2349, REQUEST_54DF);

        var answer = next(m_written);
        assertEquals(2350, answer.id);
        assertEquals("df54" + "0300" + "0000" + "0300" + "0300" + "070809", answer.data);
        assertEquals(13, answer.length);
    }

    @Test
    void theLongestAndTheEmptyValueAreAnswered() throws Exception {
        m_values.put(DataIdentifier.PARAMETER_LIST, new byte[4083]);
        start();

        m_sut.handleMsg(2349, REQUEST_54DF);
        m_sut.handleMsg(2349, REQUEST_54DE);

        assertEquals("df54" + "f30f" + "0000" + "f30f" + "f30f" + "00".repeat(4083), next(m_written).data);
        assertEquals("de54" + "0000" + "0000" + "0000" + "0000", next(m_written).data);
    }

    @Test
    void theAnswerIsWrittenByAnotherThreadWhileTheCallbackReturns() throws Exception {
        var release = new CountDownLatch(1);
        var thread = new LinkedBlockingQueue<Thread>();
        m_sender = (id, length, data) -> {
            thread.add(Thread.currentThread());
            try {
                release.await(10, TimeUnit.SECONDS);
            } catch (InterruptedException closed) {
                // the test is over
            }
            return 0;
        };
        start();

        assertTimeoutPreemptively(Duration.ofSeconds(10), () -> m_sut.handleMsg(2349, REQUEST_54DF));

        assertNotSame(Thread.currentThread(), next(thread));
        release.countDown();
    }

    @Test
    void identifierWithoutAValueGetsNoAnswerAndALineForEachRequest() throws Exception {
        start();

        m_sut.handleMsg(2349, new byte[] {0x47, (byte) 0xB0});
        m_sut.handleMsg(2349, new byte[] {0x34, 0x12});
        afterOneMore();

        assertEquals("0xB047 has no value; no answer", next(m_log));
        assertEquals("0x1234 has no value; no answer", next(m_log));
        assertTrue(m_written.isEmpty());
    }

    @Test
    void silentIdentifierGetsNoAnswer() throws Exception {
        start(Set.of(DataIdentifier.METADATA_SHADOW_COPY), Duration.ZERO);

        m_sut.handleMsg(2349, REQUEST_54DE);

        assertTrue(afterOneMore().data.startsWith("df54"));
        assertEquals("0x54DE is to stay silent; no answer", next(m_log));
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 3})
    void requestOfAWrongLengthGetsNoAnswer(int length) throws Exception {
        start();

        m_sut.handleMsg(2349, new byte[length]);

        assertTrue(afterOneMore().data.startsWith("df54"));
        assertTrue(next(m_log).startsWith("message 2349 is malformed and gets no answer: VALUInt16_t"));
    }

    @Test
    void otherMessagesAreLeftAlone() throws Exception {
        start();

        m_sut.handleMsg(2943, new byte[] {1, 0, 0, 0});
        m_sut.handleMsg(2350, REQUEST_54DF);
        afterOneMore();

        assertTrue(m_written.isEmpty());
        assertTrue(m_log.isEmpty());
    }

    @Test
    void valueOfAWrongLengthIsSentWithAComplaint() throws Exception {
        m_values.put(DataIdentifier.FUNCTION_ON_DEMAND_VERSION_INFO, new byte[] {1});
        start();

        m_sut.handleMsg(2349, new byte[] {0x7D, 0x01});

        assertEquals("7d01" + "0100" + "0000" + "0100" + "0100" + "01", next(m_written).data);
        assertEquals("0x017D has a value of 1 bytes, but the bridge accepts exactly 8: its reader will get no answer",
                next(m_log));
    }

    @Test
    void anAnswerThatTheBridgeRefusesIsTold() throws Exception {
        m_sender = (id, length, data) -> -1;
        start();

        m_sut.handleMsg(2349, REQUEST_54DF);

        assertEquals("the bridge did not take the answer for 0x54DF", next(m_log));
    }

    @Test
    void theDelayPassesBeforeTheAnswer() throws Exception {
        start(Set.of(), Duration.ofMillis(50));
        var start = System.nanoTime();

        m_sut.handleMsg(2349, REQUEST_54DF);

        next(m_written);
        assertTrue(System.nanoTime() - start >= 50_000_000);
    }

    @Test
    void closeDoesNotWaitForTheDelay() {
        start(Set.of(), Duration.ofMinutes(5));
        m_sut.handleMsg(2349, REQUEST_54DF);

        assertTimeoutPreemptively(Duration.ofSeconds(10), m_sut::close);

        assertTrue(m_written.isEmpty());
    }

    @Test
    void closeSucceedsThoughTheSenderSwallowsTheInterrupt() throws Exception {
        var started = new CountDownLatch(1);
        m_sender = (id, length, data) -> {
            started.countDown();
            try {
                Thread.sleep(Duration.ofMinutes(5).toMillis());
            } catch (InterruptedException swallowed) {
                // as careless code does
            }
            return 0;
        };
        start();
        m_sut.handleMsg(2349, REQUEST_54DF);
        started.await();

        assertTimeoutPreemptively(Duration.ofSeconds(10), m_sut::close);
    }

    @Test
    void requestsBeyondTheQueueAreDroppedWithALineAndTheCallbackReturns() throws Exception {
        start(Set.of(), Duration.ofMinutes(5));

        assertTimeoutPreemptively(Duration.ofSeconds(10), () -> {
            for (var request = 0; request < Mailbox.CAPACITY + 2; ++request) {
                m_sut.handleMsg(2349, REQUEST_54DF);
            }
        });

        assertEquals("message 2349 dropped: 1024 others are waiting", next(m_log));
    }
}
