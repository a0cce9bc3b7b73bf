package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

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
    private static final int ROUNDS = 3;
    private static final long MOST_RESIDENT_GROWTH_KB = 900; // a leak of one kilobyte a cycle is above this

    private final ConnectorNativeDiagARA m_sut = new ConnectorNativeDiagARA();

    @Test
    void aThousandCyclesLeaveNoThreadNoDescriptorAndNoMemory() throws Exception {
        cycles(WARM_UP);
        // The JVM grows for reasons of its own now and then; a leak of ours shows in every round.
        var grown = aThousandCycles();
        for (var round = 1; round < ROUNDS && grown >= MOST_RESIDENT_GROWTH_KB; ++round) {
            grown = aThousandCycles();
        }
        if (System.getenv("JVM_PRELOAD") == null) { // a sanitizer keeps much of what is freed
            assertTrue(grown < MOST_RESIDENT_GROWTH_KB, "grown by " + grown + " KB in each of " + ROUNDS + " rounds");
        }
    }

    /** Returns by how many KB the process has grown. */
    private long aThousandCycles() throws Exception {
        var before = ProcessFigures.now();
        var start = System.nanoTime();

        cycles(CYCLES);

        var after = ProcessFigures.now();
        System.out.printf("%d cycles in %d ms, before %s, after %s%n", CYCLES,
                (System.nanoTime() - start) / 1_000_000, before, after);
        assertEquals(before.threads(), after.threads());
        assertEquals(before.descriptors(), after.descriptors());
        return after.residentKb() - before.residentKb();
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
