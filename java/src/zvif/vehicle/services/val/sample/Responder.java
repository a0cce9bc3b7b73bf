package zvif.vehicle.services.val.sample;

import java.time.Duration;
import java.util.Optional;
import java.util.Set;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.BlockingQueue;
import java.util.function.Consumer;
import java.util.function.Function;

import zvif.vehicle.services.val.IValMessageCallback;

/**
 * Answers requests for the value of a data identifier (message 2349) with that value (message 2350).
 *
 * <p>The callback only puts the message into a queue: the library holds its locks while it runs. A thread of this
 * object takes the messages out, one after another, and is the only one that writes. It is started by the
 * constructor and ends in {@link #close}.
 */
final class Responder implements IValMessageCallback, AutoCloseable {
    static final int REQUEST = 2349;
    static final int RESPONSE = 2350;
    static final int REQUEST_SIZE = 2;
    static final int RESPONSE_HEAD_SIZE = 10;

    /** More requests than this are waiting only if the answering thread is stuck; the bridge must not be. */
    static final int QUEUE_CAPACITY = 1024;

    /** The way back to the bridge; {@code ConnectorNativeDiagARA::write}. */
    @FunctionalInterface
    interface Sender {
        int write(int msgId, int length, byte[] data);
    }

    private record Message(int id, byte[] payload) { }

    private final Function<DataIdentifier, Optional<byte[]>> m_values;
    private final Sender m_sender;
    private final Set<DataIdentifier> m_silent;
    private final Duration m_delay;
    private final Consumer<String> m_log;
    private final BlockingQueue<Message> m_queue = new ArrayBlockingQueue<>(QUEUE_CAPACITY);
    private final Thread m_thread = new Thread(this::answerAll, "VAL answers");

    Responder(Function<DataIdentifier, Optional<byte[]>> values, Sender sender, Set<DataIdentifier> silent,
            Duration delay, Consumer<String> log) {
        m_values = values;
        m_sender = sender;
        m_silent = silent;
        m_delay = delay;
        m_log = log;
        m_thread.start();
    }

    @Override
    public void handleMsg(int messageId, byte[] payload) {
        if (!m_queue.offer(new Message(messageId, payload))) {
            m_log.accept("message " + messageId + " dropped: " + QUEUE_CAPACITY + " others are waiting");
        }
    }

    /** Ends the thread; a message that is still waiting gets no answer. Returns when the thread is gone, or this one is interrupted. */
    @Override
    public void close() {
        m_thread.interrupt();
        try {
            m_thread.join();
        } catch (InterruptedException hurried) {
            Thread.currentThread().interrupt();
        }
    }

    private void answerAll() {
        try {
            while (!Thread.currentThread().isInterrupted()) {
                answer(m_queue.take());
            }
        } catch (InterruptedException closed) {
            // the end of this thread
        }
    }

    private void answer(Message message) throws InterruptedException {
        if (message.id != REQUEST) {
            return; // the bridge also tells which services of the platform are there
        }
        if (message.payload.length < REQUEST_SIZE) {
            m_log.accept("a request of " + message.payload.length + " bytes is too short; no answer");
            return;
        }
        var number = (message.payload[0] & 0xFF) | (message.payload[1] & 0xFF) << 8;
        var identifier = DataIdentifier.of(number);
        var value = identifier.flatMap(m_values);
        if (identifier.isPresent() && m_silent.contains(identifier.get())) {
            m_log.accept("%s is to stay silent; no answer".formatted(identifier.get()));
        } else if (value.isEmpty()) {
            m_log.accept("0x%04X has no value; no answer".formatted(number));
        } else {
            identifier.get().complaintAbout(value.get().length).ifPresent(m_log);
            Thread.sleep(m_delay.toMillis());
            send(number, value.get());
        }
    }

    private void send(int number, byte[] value) {
        var response = response(number, value);
        if (m_sender.write(RESPONSE, response.length, response) != 0) {
            m_log.accept("the bridge did not take the answer for 0x%04X".formatted(number));
        }
    }

    static byte[] response(int number, byte[] value) {
        var response = new byte[RESPONSE_HEAD_SIZE + value.length];
        var head = new int[] {number, value.length, 0, value.length, value.length};
        for (var field = 0; field < head.length; ++field) {
            response[2 * field] = (byte) head[field];
            response[2 * field + 1] = (byte) (head[field] >> 8);
        }
        System.arraycopy(value, 0, response, RESPONSE_HEAD_SIZE, value.length);
        return response;
    }
}
