package zvif.vehicle.services.val.sample;

/** The way to the bridge; {@code ConnectorNativeDiagARA::write}. Used from any thread but the callback's. */
@FunctionalInterface
interface Sender {
    int write(int msgId, int length, byte[] data);

    /** Whether the bridge took the message; what its services made of it is not told. */
    default boolean send(int msgId, byte[] payload) {
        return write(msgId, payload.length, payload) == 0;
    }
}
