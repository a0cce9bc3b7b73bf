package zvif.vehicle.services.val.sample;

import java.util.Arrays;
import java.util.Optional;

/**
 * The fourteen UDS data identifiers that the bridge asks for, with the number of bytes that it accepts as a value.
 *
 * <p>An answer of another length is dropped by the bridge, and the reader waits in vain.
 */
enum DataIdentifier implements Identifier {
    FUNCTION_ON_DEMAND_VERSION_INFO(0x017D, "FunctionOnDemandVersionInfo", 8, 8),
    FOD_MANAGER_EXTENDED_STATE_2(0x0234, "FoDManagerExtendedState2", 1, 1501),
    FOD_MANAGER_EXTENDED_STATE_1(0x0235, "FoDManagerExtendedState1", 44, 3144),
    FOD_SOMEIP_DATA_BUS_SERVICE_NOT_AVAILABLE(0x117C, "FoDSomeipDataBusServiceNotAvailable", 2, 1281),
    FOD_SOMEIP_DATA_BUS_SERVICE_ERROR_VALUE_RECEIVED(0x117D, "FoDSomeipDataBusServiceErrorValueReceived", 2, 1409),
    FOD_SOMEIP_DATA_BUS_SERVICE_IMPLAUSIBLE(0x117E, "FoDSomeipDataBusServiceImplausible", 2, 1409),
    AUTHENTIC_TIME_LAST_VALID_BACKEND_REQUEST(0x15FD, "AuthenticTimeLastValidBackendRequest", 74, 74),
    AUTHENTIC_TIME_LAST_FAILED_BACKEND_REQUEST(0x15FE, "AuthenticTimeLastFailedBackendRequest", 74, 74),
    FUNCTION_ON_DEMAND_PRODUCT_TO_FSID_ASSOCIATION(0x488B, "FunctionOnDemandProductToFsidAssociation", 2, 4002),
    FUNCTION_ON_DEMAND_PRODUCT_LIST(0x488C, "FunctionOnDemandProductList", 1, 3201),
    HISTORY_MEMORY_SYNCHRONIZATION(0x54DC, "HistoryMemorySynchronization", 0, 4083),
    METADATA_SHADOW_COPY(0x54DE, "MetadataShadowCopy", 0, 4083),
    PARAMETER_LIST(0x54DF, "ParameterList", 0, 4083),
    AUTHENTIC_TIME_LAST_CLIENT_PACKAGE(0xB047, "AuthenticTimeLastClientPackage", 42, 42);

    private final int m_number;
    private final String m_title;
    private final int m_shortest;
    private final int m_longest;

    DataIdentifier(int number, String title, int shortest, int longest) {
        m_number = number;
        m_title = title;
        m_shortest = shortest;
        m_longest = longest;
    }

    @Override
    public int number() {
        return m_number;
    }

    @Override
    public String title() {
        return m_title;
    }

    /** The sentence that says what is wrong with a value of this length, if anything is. */
    Optional<String> complaintAbout(int length) {
        if (length >= m_shortest && length <= m_longest) {
            return Optional.empty();
        }
        var expected = m_shortest == m_longest ? "exactly " + m_shortest : m_shortest + " to " + m_longest;
        return Optional.of(this + " has a value of " + length + " bytes, but the bridge accepts " + expected
                + ": its reader will get no answer");
    }

    static Optional<DataIdentifier> of(int number) {
        return Arrays.stream(values()).filter(identifier -> identifier.m_number == number).findFirst();
    }

    @Override
    public String toString() {
        return "0x%04X".formatted(m_number);
    }
}
