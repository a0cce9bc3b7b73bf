package zvif.vehicle.services.val.testing;

import java.util.concurrent.BlockingQueue;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

import zvif.vehicle.services.val.IValMessageCallback;

/** A listener that keeps its messages for the test. */
public final class Inbox implements IValMessageCallback {
    private final BlockingQueue<Message> m_messages = new LinkedBlockingQueue<>();

    /**
     * A message, as it came.
     *
     * @param thread the thread that brought it
     */
    public record Message(int id, byte[] payload, Thread thread) { }

    @Override
    public void handleMsg(int messageId, byte[] payload) {
        m_messages.add(new Message(messageId, payload, Thread.currentThread()));
    }

    public Message next() throws InterruptedException {
        var message = m_messages.poll(10, TimeUnit.SECONDS);
        if (message == null) {
            throw new AssertionError("no message within 10 s");
        }
        return message;
    }

    public boolean isEmpty() {
        return m_messages.isEmpty();
    }
}
