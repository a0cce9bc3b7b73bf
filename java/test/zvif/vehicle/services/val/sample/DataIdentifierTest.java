package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Optional;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class DataIdentifierTest {
    @ParameterizedTest
    @CsvSource({
        "0xB047, 42, 42", "0x15FD, 74, 74", "0x15FE, 74, 74", "0x017D, 8, 8", "0x488C, 1, 3201", "0x488B, 2, 4002",
        "0x117C, 2, 1281", "0x117D, 2, 1409", "0x117E, 2, 1409", "0x0235, 44, 3144", "0x0234, 1, 1501",
        "0x54DC, 0, 4083", "0x54DE, 0, 4083", "0x54DF, 0, 4083"})
    void lengthsOutsideTheLimitsGiveAComplaint(String identifier, int shortest, int longest) {
        var sut = DataIdentifier.parse(identifier);

        assertEquals(Optional.empty(), sut.complaintAbout(shortest));
        assertEquals(Optional.empty(), sut.complaintAbout(longest));
        assertTrue(sut.complaintAbout(longest + 1).isPresent());
        assertTrue(sut.complaintAbout(shortest - 1).isPresent());
    }

    @Test
    void complaintNamesWhatIsAndWhatIsExpected() {
        assertEquals("0xB047 has a value of 41 bytes, but the bridge accepts exactly 42: its reader will get no answer",
                DataIdentifier.parse("B047").complaintAbout(41).orElseThrow());
        assertEquals("0x117C has a value of 1 bytes, but the bridge accepts 2 to 1281: its reader will get no answer",
                DataIdentifier.parse("0x117c").complaintAbout(1).orElseThrow());
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "0x", "0xB048", "45127", "-1", "fee1dead", "0x17D "})
    void anythingButTheFourteenIsRefusedWithTheirList(String text) {
        var refused = assertThrows(IllegalArgumentException.class, () -> DataIdentifier.parse(text));

        assertTrue(refused.getMessage().startsWith("'" + text + "' is no data identifier; known are 0x017D, 0x0234, "),
                refused.getMessage());
    }
}
