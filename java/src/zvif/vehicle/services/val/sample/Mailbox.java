package zvif.vehicle.services.val.sample;

import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.BlockingQueue;
import java.util.function.Consumer;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.records.RecordException;

/**
 * Hands messages over from the bridge's callback, which must not be held up, to a thread of its own.
 *
 * <p>The thread is started by the constructor, takes the messages out one after another, and ends in {@link #close}.
 */
final class Mailbox implements IValMessageCallback, AutoCloseable {
    /** More messages than this are waiting only if the thread is stuck; the bridge must not be. */
    static final int CAPACITY = 1024;

    /** Takes one message, on the thread of the mailbox. */
    @FunctionalInterface
    interface Reader {
        void read(int messageId, byte[] payload) throws InterruptedException;
    }

    private record Message(int id, byte[] payload) { }

    private final Reader m_reader;
    private final Consumer<String> m_log;
    private final BlockingQueue<Message> m_queue = new ArrayBlockingQueue<>(CAPACITY);
    private volatile boolean m_closed; // beside the interrupt, which a reader may swallow
    private final Thread m_thread;

    Mailbox(String threadName, Reader reader, Consumer<String> log) {
        m_reader = reader;
        m_log = log;
        m_thread = new Thread(this::readAll, threadName);
        m_thread.start();
    }

    @Override
    public void handleMsg(int messageId, byte[] payload) {
        if (!m_queue.offer(new Message(messageId, payload))) {
            m_log.accept("message " + messageId + " dropped: " + CAPACITY + " others are waiting");
        }
    }

    /**
     * Ends the thread; a message that is still waiting is not read. Returns when that thread is gone, or the
     * calling one is interrupted.
     */
    @Override
    public void close() {
        m_closed = true;
        m_thread.interrupt();
        try {
            m_thread.join();
        } catch (InterruptedException hurried) {
            Thread.currentThread().interrupt();
        }
    }

    private void readAll() {
        try {
            while (!m_closed) {
                read(m_queue.take());
            }
        } catch (InterruptedException closed) {
            // the end of this thread
        }
    }

    private void read(Message message) throws InterruptedException {
        try {
            m_reader.read(message.id, message.payload);
        } catch (RecordException malformed) {
            m_log.accept("message " + message.id + " is malformed and gets no answer: " + malformed.getMessage());
        }
    }
}
