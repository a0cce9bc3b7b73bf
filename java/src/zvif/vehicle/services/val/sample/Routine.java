package zvif.vehicle.services.val.sample;

import java.util.Arrays;
import java.util.Optional;

/** The four UDS routines, and the numbers by which the messages name them. */
enum Routine implements Identifier {
    REBUILD_PARAMETERS(0x0687, 0x137, "RebuildParameters"),
    INITIALIZE_PARAMETERS(0x0688, 0x136, "InitializeParameters"),
    TRANSFER_PARAMETERS_FROM_ATN(0x0689, 0x135, "TransferParametersFromATN"),
    STORE_PARAMETERS_IN_ATN(0x068A, 0x134, "StoreParametersInATN");

    private final int m_number;
    private final int m_messageNumber;
    private final String m_title;

    Routine(int number, int messageNumber, String title) {
        m_number = number;
        m_messageNumber = messageNumber;
        m_title = title;
    }

    @Override
    public int number() {
        return m_number;
    }

    @Override
    public String title() {
        return m_title;
    }

    /** The {@code routineId} of messages 665 and 666. */
    int messageNumber() {
        return m_messageNumber;
    }

    static Optional<Routine> ofMessage(long messageNumber) {
        return Arrays.stream(values()).filter(routine -> routine.m_messageNumber == messageNumber).findFirst();
    }

    @Override
    public String toString() {
        return "0x%04X".formatted(m_number);
    }
}
