package zvif.vehicle.services.val.sample;

import java.time.Duration;
import java.util.Optional;
import java.util.Set;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.BlockingQueue;
import java.util.function.Consumer;
import java.util.function.Function;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.records.MessageIds;
import zvif.vehicle.services.val.records.RecordException;
import zvif.vehicle.services.val.records.VALDiagnosticsResponse_t;
import zvif.vehicle.services.val.records.VALUInt16_t;

/**
 * Answers requests for the value of a data identifier (message 2349) with that value (message 2350).
 *
 * <p>The callback only puts the message into a queue: the library holds its locks while it runs. A thread of this
 * object takes the messages out, one after another, and is the only one that writes. It is started by the
 * constructor and ends in {@link #close}.
 */
final class Responder implements IValMessageCallback, AutoCloseable {
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
    private volatile boolean m_closed; // beside the interrupt, which a sender may swallow
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

    /**
     * Ends the thread; a message that is still waiting gets no answer. Returns when that thread is gone, or the
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

    private void answerAll() {
        try {
            while (!m_closed) {
                answer(m_queue.take());
            }
        } catch (InterruptedException closed) {
            // the end of this thread
        }
    }

    private void answer(Message message) throws InterruptedException {
        if (message.id != MessageIds.ValDiagnosticsrequestInd) {
            return; // the bridge also tells which services of the platform are there
        }
        int number;
        try {
            number = VALUInt16_t.decode(message.payload).value;
        } catch (RecordException malformed) {
            m_log.accept("a request is malformed; no answer: " + malformed.getMessage());
            return;
        }
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
        var record = new VALDiagnosticsResponse_t();
        record.requestId = number;
        record.totalLength = value.length;
        record.length = value.length;
        record.data = value;
        var response = record.encode();
        if (m_sender.write(MessageIds.ValDiagnosticsresponseInd, response.length, response) != 0) {
            m_log.accept("the bridge did not take the answer for 0x%04X".formatted(number));
        }
    }
}
