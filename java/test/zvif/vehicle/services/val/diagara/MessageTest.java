package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import java.util.Optional;
import java.util.stream.Stream;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.testing.Inbox;
import zvif.vehicle.services.val.testing.SomeIpClient;

/** Messages of all kinds through the real library, with a read in progress that shows what became of them. */
@Tag("native")
class MessageTest {
    private static final int RESPONSE = 2350;
    private static final int PARAMETER_LIST = 0x54DF;
    private static final int NOT_LONG_MS = 200;

    private final ConnectorNativeDiagARA m_sut = new ConnectorNativeDiagARA();
    private final Inbox m_inbox = new Inbox();
    private final Listener m_listener = new Listener();
    private SomeIpClient m_tester;

    private final class Listener implements IValMessageCallback {
        private volatile RuntimeException m_toThrow;

        @Override
        public void handleMsg(int messageId, byte[] payload) {
            m_inbox.handleMsg(messageId, payload);
            if (m_toThrow != null) {
                throw m_toThrow;
            }
        }
    }

    @BeforeEach
    void register() throws Exception {
        assertEquals(0, m_sut.register(m_listener, 2));
        m_tester = SomeIpClient.toThisProcess();
    }

    @AfterEach
    void unregister() throws Exception {
        m_tester.close();
        assertEquals(0, m_sut.unregister());
    }

    private static byte[] response(int identifier, int dataLength, byte[] data) {
        var bytes = ByteBuffer.allocate(10 + data.length).order(ByteOrder.LITTLE_ENDIAN);
        bytes.putShort((short) identifier).putShort((short) data.length).putShort((short) 0);
        bytes.putShort((short) data.length).putShort((short) dataLength).put(data);
        return bytes.array();
    }

    private static byte[] response(byte... data) {
        return response(PARAMETER_LIST, data.length, data);
    }

    private void startRead() throws Exception {
        m_tester.request(PARAMETER_LIST);
        m_inbox.next();
    }

    private byte[] value(Optional<SomeIpClient.Reply> reply) {
        assertEquals(0, reply.orElseThrow(() -> new AssertionError("no reply")).returnCode());
        var bytes = ByteBuffer.wrap(reply.get().payload());
        var value = new byte[bytes.getInt()];
        bytes.get(value);
        return value;
    }

    private void assertNextReadIsAnswered() throws Exception {
        startRead();
        assertEquals(0, m_sut.write(RESPONSE, 11, response((byte) 42)));
        assertArrayEquals(new byte[] {42}, value(m_tester.reply(5000)));
    }

    @Test
    void readsAreAnsweredOneAfterAnother() throws Exception {
        assertNextReadIsAnswered();
        assertNextReadIsAnswered();
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 511, 2349, 2351, 67886, -1, Integer.MIN_VALUE, Integer.MAX_VALUE})
    void messageThatNoServiceReceivesIsRefused(int id) throws Exception {
        assertEquals(-1, m_sut.write(id, 1, new byte[1]));
        assertNextReadIsAnswered();
    }

    @Test
    void nullDataIsRefused() throws Exception {
        startRead();
        assertEquals(-1, m_sut.write(RESPONSE, 0, null));
        assertEquals(-1, m_sut.write(RESPONSE, 11, null));
        assertEquals(0, m_sut.write(RESPONSE, 11, response((byte) 1)));
        assertArrayEquals(new byte[] {1}, value(m_tester.reply(5000)));
    }

    /** Taken by the bridge, refused by the service: the read is not answered, and the next one is. */
    static Stream<Arguments> uselessMessages() {
        var good = response((byte) 1, (byte) 2, (byte) 3);
        return Stream.of(
                arguments("no length", 0, good),
                arguments("no length, no bytes", 0, new byte[0]),
                arguments("half a head", 5, good),
                arguments("shorter than its count", 12, good),
                arguments("trailing byte", 14, Arrays.copyOf(good, 14)),
                arguments("trailing byte beyond the array", 14, good),
                arguments("one byte of which nothing exists", 1, new byte[0]),
                arguments("zeros beyond the array: identifier 0", 10, new byte[0]),
                arguments("the longest record beyond the array", 4093, good),
                arguments("the longest length beyond the array", 65535, good),
                arguments("65536 is 0", 65536, good),
                arguments("negative: 65535", -1, good),
                arguments("negative: 0", Integer.MIN_VALUE, good),
                arguments("count above the maximum", 10 + 4084, response(PARAMETER_LIST, 4084, new byte[4084])),
                arguments("longest count", 10 + 4083, response(PARAMETER_LIST, 65535, new byte[4083])),
                arguments("identifier of another service", 13, response(0xB047, 3, new byte[3])),
                arguments("unknown identifier", 13, response(0xFFFF, 3, new byte[3])));
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("uselessMessages")
    void messageThatTheServiceRefusesHarmsNobody(String name, int length, byte[] data) throws Exception {
        startRead();

        assertEquals(0, m_sut.write(RESPONSE, length, data));

        assertEquals(Optional.empty(), m_tester.reply(NOT_LONG_MS));
        assertNextReadIsAnswered();
    }

    @Test
    void lengthBeyondTheArrayReadsZeros() throws Exception {
        startRead();
        var head = Arrays.copyOf(response(PARAMETER_LIST, 4083, new byte[] {9}), 11);

        assertEquals(0, m_sut.write(RESPONSE, 10 + 4083, head));

        var expected = new byte[4083];
        expected[0] = 9;
        assertArrayEquals(expected, value(m_tester.reply(5000)));
    }

    @Test
    void onlyTheLow16BitsOfTheLengthCount() throws Exception {
        startRead();

        assertEquals(0, m_sut.write(RESPONSE, 65536 + 12, response((byte) 4, (byte) 5)));

        assertArrayEquals(new byte[] {4, 5}, value(m_tester.reply(5000)));
    }

    @Test
    void writtenArrayIsNotChanged() throws Exception {
        startRead();
        var data = response((byte) 4, (byte) 5);

        m_sut.write(RESPONSE, data.length, data);

        assertArrayEquals(response((byte) 4, (byte) 5), data);
    }

    @Test
    void listenerThatThrowsLeavesNoExceptionBehind() throws Exception {
        m_listener.m_toThrow = new IllegalStateException("thrown by the test: its trace is expected");

        startRead();

        assertArrayEquals(new byte[0], value(m_tester.reply(5000)),
                "a read that Java did not take gives an empty value");
        m_listener.m_toThrow = null;
        assertNextReadIsAnswered();
    }

    @Test
    void listenerThatGoesOnThrowingStopsNothing() throws Exception {
        m_listener.m_toThrow = new IllegalStateException("thrown by the test: its trace is expected");
        for (var repetition = 0; repetition < 20; ++repetition) {
            m_tester.request(PARAMETER_LIST);
            m_inbox.next();
            assertTrue(m_tester.reply(5000).isPresent());
        }
        m_listener.m_toThrow = null;
        assertNextReadIsAnswered();
    }

    @Test
    void writesOfManyThreadsAreAllTaken() throws Exception {
        var data = response((byte) 1);
        var refused = Stream.generate(() -> 0).limit(8).parallel().mapToInt(ignored -> {
            var count = 0;
            for (var write = 0; write < 200; ++write) {
                count += m_sut.write(RESPONSE, data.length, data) == 0 ? 0 : 1;
            }
            return count;
        }).sum();

        assertEquals(0, refused);
        assertNextReadIsAnswered();
    }

    @Test
    void brokenConnectionIsNoneOfTheOthersBusiness() throws Exception {
        startRead();
        m_tester.close();
        assertEquals(0, m_sut.write(RESPONSE, 11, response((byte) 1)));

        m_tester = SomeIpClient.toThisProcess();
        assertNextReadIsAnswered();
    }
}
