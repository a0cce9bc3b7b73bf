package zvif.vehicle.services.val;

/**
 * Receives the VAL messages that the native library sends to Java.
 *
 * <p>One object of this kind is handed to
 * {@link zvif.vehicle.services.val.diagara.ConnectorNativeDiagARA#register register}; the library keeps it
 * alive until {@code unregister}.
 *
 * <p><b>Thread.</b> {@link #handleMsg} runs on a native thread that is attached to the JVM for this one call, so
 * neither its name, its thread-locals nor its class loader mean anything. The library lets one call through at a
 * time, and everything else that it wants to send waits until the call returns.
 *
 * <p><b>Copy, hand over, return.</b> The library holds its send lock during the call, and for some messages its
 * state lock as well. From inside the call never use {@code write}, {@code register} or {@code unregister}, on
 * this thread or by waiting for another one that does: they take the same locks, and the process stands still for
 * good. Put the message into a queue and answer from a thread of your own.
 */
@FunctionalInterface
public interface IValMessageCallback {
    /**
     * Takes one message.
     *
     * <p>An exception that leaves this method is printed on the error output and counts as "not delivered"; it
     * reaches nobody else.
     *
     * @param messageId the VAL message id, 512 to 3002
     * @param payload the packed record, in an array that is made for this call and may be kept
     */
    void handleMsg(int messageId, byte[] payload);
}
