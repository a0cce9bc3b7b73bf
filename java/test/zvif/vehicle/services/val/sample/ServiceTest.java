package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.Optional;
import java.util.Set;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;

import zvif.vehicle.services.val.records.tDiagmgrJavaRoutineReqds;

class ServiceTest {
    private final LinkedBlockingQueue<String> m_said = new LinkedBlockingQueue<>();
    private final Sender m_sender = (id, length, data) -> {
        m_said.add("wrote " + id);
        return 0;
    };

    private String next() throws InterruptedException {
        var taken = m_said.poll(20, TimeUnit.SECONDS);
        assertTrue(taken != null, "nothing came within 20 s");
        return taken;
    }

    @Test
    void everyMessageReachesTheOnePartThatItIsFor() throws Exception {
        var routineRequest = new tDiagmgrJavaRoutineReqds();
        routineRequest.routineId = 311;
        routineRequest.controlParameter = 1;
        try (var sut = new Service(
                new Responder(identifier -> Optional.of(new byte[0]), m_sender, Set.of(), Duration.ZERO, m_said::add),
                new Routines(routine -> RoutineSettings.DEFAULT, m_sender, Set.of(), Duration.ZERO, System::nanoTime,
                        m_said::add, m_said::add),
                new Platform(m_sender, m_said::add, m_said::add))) {
            sut.handleMsg(2349, new byte[] {(byte) 0xDF, 0x54});
            assertEquals("wrote 2350", next());

            sut.handleMsg(665, routineRequest.encode());
            assertEquals("routine 0x0687 start: status 1, result 0 (transaction 0)", next());
            assertEquals("wrote 666", next());

            sut.handleMsg(2943, new byte[] {1, 0, 0, 0});
            assertEquals("<- 2943  01 00 00 00  data service found (service 1)", next());
        }
        assertTrue(m_said.isEmpty());
    }
}
