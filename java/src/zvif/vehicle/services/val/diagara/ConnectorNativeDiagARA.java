package zvif.vehicle.services.val.diagara;

import zvif.vehicle.services.val.IValMessageCallback;

/**
 * The door to {@code libdiag_ara.so}: VAL messages in both directions, as a number and packed bytes.
 *
 * <p>There is one bridge a process, whatever the number of objects of this class: the natives use no state of the
 * object. All three may be called on any Java thread, but none of them from inside
 * {@link IValMessageCallback#handleMsg}, see there.
 *
 * <p>The bridge may be registered again after {@link #unregister}. A process that ends without it does no harm.
 */
public final class ConnectorNativeDiagARA {
    private static final String LIBRARY = "diag_ara";

    static {
        try {
            System.loadLibrary(LIBRARY);
        } catch (UnsatisfiedLinkError error) {
            throw linkError(error);
        }
    }

    /**
     * Takes the listener and starts all services; returns when every one of them is offered.
     *
     * <p>-1 without an exception means that a service could not be started, because its port is taken or the
     * deployment is unusable, for instance. The library's log has the reason, in a line of level error that begins with
     * "register: ended by an exception"; with {@code logLevel} 0 nothing is logged. Whatever had been started is ended
     * again before the return, so the same call may be repeated at any time, and {@link #unregister} is not needed first.
     *
     * @param listener gets every message until {@link #unregister}
     * @param logLevel 0: the library writes no log; any positive number: it does (the platform's logging filters
     *     by level)
     * @return 0 when all services are offered; -1 when the bridge did not come up, see above; -6 for a negative log level
     * @throws Exception with a text that tells why the bridge did not come up: no listener was given, it is
     *     registered already (and goes on running), or the JVM has no memory for it
     */
    public native int register(IValMessageCallback listener, int logLevel) throws Exception;

    /**
     * Withdraws all services, ends their threads and lets go of the listener. No message arrives after the return.
     *
     * @return 0, or -1 when nothing was registered, also after a {@link #register} that returned -1
     */
    public native int unregister();

    /**
     * Hands a message to the services that are meant to get it, on this thread.
     *
     * @param msgId the VAL message id
     * @param length the number of bytes of {@code data} that are the record. Only the low 16 bits count. Bytes
     *     beyond the array's end are taken as zeros
     * @param data the packed record
     * @return 0 when it was handed over, also if a service had no use for it; -1 when nothing is registered, no
     *     service receives this id, or {@code data} is null
     */
    public native int write(int msgId, int length, byte[] data);

    private static UnsatisfiedLinkError linkError(UnsatisfiedLinkError cause) {
        var error = new UnsatisfiedLinkError("Cannot load " + System.mapLibraryName(LIBRARY) + ": " + cause.getMessage()
                + ". Start Java with -Djava.library.path=FOLDER, the folder that holds it."
                + " If the text names another library, such as libara_com.so.0, that one is missing:"
                + " put its folder into LD_LIBRARY_PATH, or install it and run ldconfig.");
        error.initCause(cause);
        return error;
    }
}
