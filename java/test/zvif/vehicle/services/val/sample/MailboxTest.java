package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertTimeoutPreemptively;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.time.Duration;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;

import zvif.vehicle.services.val.records.VALUInt16_t;

class MailboxTest {
    private final BlockingQueue<String> m_log = new LinkedBlockingQueue<>();

    private static <T> T next(BlockingQueue<T> queue) throws InterruptedException {
        var taken = queue.poll(20, TimeUnit.SECONDS);
        assertTrue(taken != null, "nothing came within 20 s");
        return taken;
    }

    @Test
    void messagesAreReadInTheirOrderByAThreadOfItsOwn() throws Exception {
        record Read(int id, int first, Thread thread) { }
        var read = new LinkedBlockingQueue<Read>();
        try (var sut = new Mailbox("box", (id, payload) -> read.add(new Read(id, payload[0], Thread.currentThread())),
                m_log::add)) {
            sut.handleMsg(548, new byte[] {1});
            sut.handleMsg(550, new byte[] {2});

            var first = next(read);
            assertEquals(new Read(548, 1, first.thread), first);
            assertEquals(new Read(550, 2, first.thread), next(read));
            assertNotSame(Thread.currentThread(), first.thread);
            assertEquals("box", first.thread.getName());
        }
    }

    @Test
    void aMalformedMessageIsToldAndTheNextIsRead() throws Exception {
        var read = new LinkedBlockingQueue<Integer>();
        try (var sut = new Mailbox("box", (id, payload) -> read.add(VALUInt16_t.decode(payload).value), m_log::add)) {
            sut.handleMsg(2349, new byte[1]);
            sut.handleMsg(2349, new byte[] {7, 0});

            assertEquals(7, next(read));
            assertTrue(next(m_log).startsWith("message 2349 is malformed and gets no answer: VALUInt16_t"));
        }
    }

    @Test
    void whileItsThreadIsStuckTheCallbackReturnsAndWhatDoesNotFitIsToldAsDropped() throws Exception {
        var stuck = new CountDownLatch(1);
        try (var sut = new Mailbox("box", (id, payload) -> {
            stuck.countDown();
            Thread.sleep(Duration.ofMinutes(5).toMillis());
        }, m_log::add)) {
            sut.handleMsg(1, new byte[0]);
            stuck.await();

            assertTimeoutPreemptively(Duration.ofSeconds(20), () -> {
                for (var message = 0; message <= Mailbox.CAPACITY; ++message) {
                    sut.handleMsg(548, new byte[0]);
                }
            });

            assertEquals("message 548 dropped: 1024 others are waiting", next(m_log));
            assertTrue(m_log.isEmpty());
        }
    }

    @Test
    void closeEndsTheThreadThoughItsReaderSwallowsTheInterrupt() throws Exception {
        var started = new CountDownLatch(1);
        var sut = new Mailbox("box", (id, payload) -> {
            started.countDown();
            try {
                Thread.sleep(Duration.ofMinutes(5).toMillis());
            } catch (InterruptedException swallowed) {
                // as careless code does
            }
        }, m_log::add);
        sut.handleMsg(1, new byte[0]);
        started.await();

        assertTimeoutPreemptively(Duration.ofSeconds(20), sut::close);
    }
}
