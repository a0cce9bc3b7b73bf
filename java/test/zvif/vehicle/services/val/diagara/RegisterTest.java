package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import zvif.vehicle.services.val.testing.Inbox;
import zvif.vehicle.services.val.testing.SomeIpClient;

@Tag("native")
class RegisterTest {
    private static final int VERSION_INFO = 0x017D;

    private final ConnectorNativeDiagARA m_sut = new ConnectorNativeDiagARA();
    private final Inbox m_inbox = new Inbox();

    @AfterEach
    void unregister() {
        m_sut.unregister();
    }

    @Test
    void registerAndUnregisterGiveZero() throws Exception {
        assertEquals(0, m_sut.register(m_inbox, 2));
        assertEquals(0, m_sut.unregister());
    }

    @Test
    void unregisterWithoutRegisterIsRefused() {
        assertEquals(-1, m_sut.unregister());
    }

    @Test
    void secondUnregisterIsRefused() throws Exception {
        m_sut.register(m_inbox, 2);
        m_sut.unregister();

        assertEquals(-1, m_sut.unregister());
    }

    @Test
    void secondRegisterThrowsAndTheFirstGoesOn() throws Exception {
        m_sut.register(m_inbox, 2);

        var thrown = assertThrows(Exception.class, () -> new ConnectorNativeDiagARA().register(new Inbox(), 2));

        assertEquals(Exception.class, thrown.getClass());
        assertEquals("Service::init(): Native interface was initialized beforehand (references are existing).",
                thrown.getMessage());
        assertReadArrives();
    }

    @Test
    void nullListenerThrowsAndLeavesTheBridgeDown() throws Exception {
        var thrown = assertThrows(Exception.class, () -> m_sut.register(null, 2));

        assertEquals("Service::init(): NO valid listener available.", thrown.getMessage());
        assertEquals(-1, m_sut.write(2350, 0, new byte[0]));
        assertEquals(0, m_sut.register(m_inbox, 2));
        assertReadArrives();
    }

    @ParameterizedTest
    @ValueSource(ints = {-1, Integer.MIN_VALUE})
    void negativeLogLevelIsRefusedAndLeavesTheBridgeDown(int logLevel) throws Exception {
        assertEquals(-6, m_sut.register(m_inbox, logLevel));

        assertEquals(-1, m_sut.write(2350, 0, new byte[0]));
        assertEquals(-1, m_sut.unregister());
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, 6, Integer.MAX_VALUE})
    void anyOtherLogLevelIsTaken(int logLevel) throws Exception {
        assertEquals(0, m_sut.register(m_inbox, logLevel));
    }

    @Test
    void theBridgeCanBeRegisteredAgainWithAnotherListener() throws Exception {
        var first = new Inbox();
        m_sut.register(first, 2);
        m_sut.unregister();

        m_sut.register(m_inbox, 2);

        assertReadArrives();
        assertTrue(first.isEmpty());
    }

    @Test
    void writeBeforeRegisterAndAfterUnregisterIsRefused() throws Exception {
        assertEquals(-1, m_sut.write(2350, 0, new byte[0]));
        m_sut.register(m_inbox, 2);
        m_sut.unregister();
        assertEquals(-1, m_sut.write(2350, 0, new byte[0]));
    }

    private void assertReadArrives() throws Exception {
        try (var tester = SomeIpClient.toThisProcess()) {
            tester.request(VERSION_INFO);

            var message = m_inbox.next();
            assertEquals(2349, message.id());
            assertEquals(2, message.payload().length);
            assertEquals(VERSION_INFO, message.payload()[0] | message.payload()[1] << 8);
            assertNotSame(Thread.currentThread(), message.thread());
        }
    }
}
