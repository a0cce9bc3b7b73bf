package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;

import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

import zvif.vehicle.services.val.testing.Inbox;
import zvif.vehicle.services.val.testing.ProcessFigures;
import zvif.vehicle.services.val.testing.SomeIpClient;

/** Up and down a thousand times: nothing of it may stay. */
@Tag("native")
class RegistrationCyclesTest {
    /** It keeps much of what is freed, and makes a cycle thirty times as long. */
    private static final boolean SANITIZED = System.getenv("JVM_PRELOAD") != null;
    private static final int CYCLES = SANITIZED ? 200 : 1000;
    private static final int WARM_UP = CYCLES / 5;
    private static final int ROUNDS = 3;
    private static final long MOST_RESIDENT_GROWTH_KB = 900; // a leak of one kilobyte a cycle is above this

    private final ConnectorNativeDiagARA m_sut = new ConnectorNativeDiagARA();

    @Test
    void aThousandCyclesLeaveNoThreadNoDescriptorAndNoMemory() throws Exception {
        cycles(WARM_UP);
        // The JVM grows for reasons of its own now and then; a leak of ours shows in every round.
        var leaks = true;
        for (var round = 0; round < ROUNDS && leaks; ++round) {
            leaks = aThousandCyclesLeak();
        }
        assertFalse(leaks, "in each of " + ROUNDS + " rounds, see above");
    }

    /** Whether there is more of anything after them. */
    private boolean aThousandCyclesLeak() throws Exception {
        var before = ProcessFigures.now();
        var start = System.nanoTime();

        cycles(CYCLES);

        var after = ProcessFigures.now();
        System.out.printf("%d cycles in %d ms, before %s, after %s%n", CYCLES,
                (System.nanoTime() - start) / 1_000_000, before, after);
        var grown = !SANITIZED && after.residentKb() - before.residentKb() >= MOST_RESIDENT_GROWTH_KB;
        return after.threads() > before.threads() || after.descriptors() > before.descriptors() || grown;
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
