package zvif.vehicle.services.val.integration;

import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import zvif.vehicle.services.val.IValMessageCallback;

/** Keeps what the native library sends, for a test to take; throws on demand. */
public final class RecordingListener implements IValMessageCallback {
    private final LinkedBlockingQueue<byte[]> received = new LinkedBlockingQueue<>();
    private final AtomicInteger throwsLeft = new AtomicInteger();

    @Override
    public void handleMsg(int messageId, byte[] payload) {
        if (throwsLeft.getAndUpdate(left -> Math.max(0, left - 1)) > 0) {
            throw new IllegalStateException("the listener refuses message " + messageId);
        }
        byte[] message = new byte[4 + payload.length];
        for (int i = 0; i < 4; i++) {
            message[i] = (byte) (messageId >>> (24 - 8 * i));
        }
        System.arraycopy(payload, 0, message, 4, payload.length);
        received.add(message);
    }

    /** The next calls of handleMsg throw. */
    public void throwTimes(int times) {
        throwsLeft.set(times);
    }

    /** The next message, its id big-endian in the first four bytes, or null after the time. */
    public byte[] take(long milliseconds) throws InterruptedException {
        return received.poll(milliseconds, TimeUnit.MILLISECONDS);
    }
}
