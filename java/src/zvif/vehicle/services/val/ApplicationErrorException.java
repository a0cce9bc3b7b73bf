package zvif.vehicle.services.val;

/** A service of the platform answered with an error of its own. The native library throws it by this name. */
public class ApplicationErrorException extends Exception {
    private static final long serialVersionUID = 1L;

    /**
     * Makes one with the text that the native library gives.
     *
     * @param message the error's own text
     */
    public ApplicationErrorException(String message) {
        super(message);
    }
}
