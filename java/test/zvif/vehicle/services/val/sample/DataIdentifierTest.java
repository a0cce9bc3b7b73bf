package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Optional;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class DataIdentifierTest {
    @ParameterizedTest
    @CsvSource({
        "0xB047, 42, 42", "0x15FD, 74, 74", "0x15FE, 74, 74", "0x017D, 8, 8", "0x488C, 1, 3201", "0x488B, 2, 4002",
        "0x117C, 2, 1281", "0x117D, 2, 1409", "0x117E, 2, 1409", "0x0235, 44, 3144", "0x0234, 1, 1501",
        "0x54DC, 0, 4083", "0x54DE, 0, 4083", "0x54DF, 0, 4083"})
    void lengthsOutsideTheLimitsGiveAComplaint(String identifier, int shortest, int longest) {
        var sut = (DataIdentifier) Identifier.parse(identifier);

        assertEquals(Optional.empty(), sut.complaintAbout(shortest));
        assertEquals(Optional.empty(), sut.complaintAbout(longest));
        assertTrue(sut.complaintAbout(longest + 1).isPresent());
        assertTrue(sut.complaintAbout(shortest - 1).isPresent());
    }

    @Test
    void complaintNamesWhatIsAndWhatIsExpected() {
        assertEquals("0xB047 has a value of 41 bytes, but the bridge accepts exactly 42: its reader will get no answer",
                DataIdentifier.AUTHENTIC_TIME_LAST_CLIENT_PACKAGE.complaintAbout(41).orElseThrow());
        assertEquals("0x117C has a value of 1 bytes, but the bridge accepts 2 to 1281: its reader will get no answer",
                DataIdentifier.FOD_SOMEIP_DATA_BUS_SERVICE_NOT_AVAILABLE.complaintAbout(1).orElseThrow());
    }
}
