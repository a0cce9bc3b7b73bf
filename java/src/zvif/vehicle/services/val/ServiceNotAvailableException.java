package zvif.vehicle.services.val;

/** A service of the platform is not there. The native library throws it by this name. */
public class ServiceNotAvailableException extends Exception {
    private static final long serialVersionUID = 1L;

    /**
     * Makes one with the text that the native library gives.
     *
     * @param message what was not available
     */
    public ServiceNotAvailableException(String message) {
        super(message);
    }
}
