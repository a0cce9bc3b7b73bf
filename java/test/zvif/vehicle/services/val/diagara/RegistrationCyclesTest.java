package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Optional;

import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

import zvif.vehicle.services.val.testing.Inbox;
import zvif.vehicle.services.val.testing.ProcessFigures;
import zvif.vehicle.services.val.testing.SomeIpClient;

/** Up and down a thousand times: nothing of it may stay. */
@Tag("native")
class RegistrationCyclesTest {
    private static final int WARM_UP = 200;
    private static final int CYCLES = 1000;
    // Allocators keep what they once had, sanitizers more so; a leak of one kilobyte a cycle is above this.
    private static final long MOST_RESIDENT_GROWTH_KB = Optional.ofNullable(System.getenv("JVM_PRELOAD")).isPresent()
            ? 64 * 1024 : 900;

    private final ConnectorNativeDiagARA m_sut = new ConnectorNativeDiagARA();

    @Test
    void aThousandCyclesLeaveNoThreadNoDescriptorAndNoMemory() throws Exception {
        cycles(WARM_UP);
        var before = ProcessFigures.now();
        var start = System.nanoTime();

        cycles(CYCLES);

        var after = ProcessFigures.now();
        System.out.printf("%d cycles: %d ms each 1000, before %s, after %s%n", CYCLES,
                (System.nanoTime() - start) / 1_000_000 * 1000 / CYCLES, before, after);
        assertEquals(before.threads(), after.threads());
        assertEquals(before.descriptors(), after.descriptors());
        assertTrue(after.residentKb() - before.residentKb() < MOST_RESIDENT_GROWTH_KB, before + " -> " + after);
    }

    /** Each with a read that Java has seen and not answered when the bridge goes down. */
    private void cycles(int count) throws Exception {
        var inbox = new Inbox();
        for (var cycle = 0; cycle < count; ++cycle) {
            assertEquals(0, m_sut.register(inbox, 1));
            try (var tester = SomeIpClient.toThisProcess()) {
                tester.request(0x54DF);
                inbox.next();
                assertEquals(0, m_sut.unregister());
            }
        }
    }
}
