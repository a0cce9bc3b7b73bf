package zvif.vehicle.services.val.testing;

/** Where the services of this process and of those that it starts are to be found. */
public final class Addresses {
    static final String VARIABLE = "ARA_COM_ADDRESS";

    /** The services of this process. */
    public static final String OWN = System.getenv().getOrDefault(VARIABLE, "127.0.0.1");

    /** A process that a test starts: never the address of this one. Tests run one after another. */
    public static final String CHILD = next(OWN);

    private Addresses() { }

    private static String next(String address) {
        var lastDot = address.lastIndexOf('.') + 1;
        return address.substring(0, lastDot) + (Integer.parseInt(address.substring(lastDot)) + 1);
    }
}
