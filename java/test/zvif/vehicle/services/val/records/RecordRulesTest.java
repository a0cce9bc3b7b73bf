package zvif.vehicle.services.val.records;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import org.junit.jupiter.api.Test;

/** What a record refuses to become a payload of. */
class RecordRulesTest {
    private static RecordException refusedBy(org.junit.jupiter.api.function.Executable encoding,
            RecordException.Reason reason) {
        RecordException refused = assertThrows(RecordException.class, encoding);
        assertEquals(reason, refused.reason());
        return refused;
    }

    @Test
    void anArrayAtItsMaximumPassesAndOneElementMoreIsRefused() {
        VALDiagnosticsResponse_t response = new VALDiagnosticsResponse_t();
        response.data = new byte[4083];
        assertEquals(4093, response.encode().length);
        response.data = new byte[4084];
        assertEquals("VALDiagnosticsResponse_t.data: expected at most 4083 elements, received 4084",
                refusedBy(response::encode, RecordException.Reason.ARRAY_TOO_LONG).getMessage());
    }

    @Test
    void aValueThatTheWidthCannotHoldIsRefused() {
        VALUInt16_t request = new VALUInt16_t();
        request.value = 65535;
        assertArrayEquals(new byte[] {-1, -1}, request.encode());
        for (int value : new int[] {-1, 65536}) {
            request.value = value;
            assertEquals("VALUInt16_t.value: expected 0 to 65535, received " + value,
                    refusedBy(request::encode, RecordException.Reason.OUT_OF_RANGE).getMessage());
        }
    }

    @Test
    void aValueOutsideItsEnumerationIsRefused() {
        VALDTCStatus_t status = new VALDTCStatus_t();
        status.status = 4;
        assertEquals("VALDTCStatus_t.status: expected a value of tVALDTCStatus, received 4",
                refusedBy(status::encode, RecordException.Reason.BAD_ENUM).getMessage());
    }

    @Test
    void aFixedArrayHasItsSize() {
        tDiagmgrSetEventds event = new tDiagmgrSetEventds();
        event.event = new byte[3];
        assertEquals("tDiagmgrSetEventds.event: expected 4 bytes, received 3",
                refusedBy(event::encode, RecordException.Reason.OUT_OF_RANGE).getMessage());
    }

    @Test
    void aNestedFieldIsNamedWithTheWayToIt() {
        tDiagmgrJavaGetCodingRespds answer = new tDiagmgrJavaGetCodingRespds();
        answer.coding.Brand = 12;
        assertEquals("tDiagmgrJavaGetCodingRespds.coding.Brand",
                refusedBy(answer::encode, RecordException.Reason.BAD_ENUM).field());
    }

    @Test
    void anyByteButZeroIsTrue() {
        assertTrue(VALBool_t.decode(new byte[] {2}).value);
        assertFalse(VALBool_t.decode(new byte[] {0}).value);
    }

    @Test
    void aMeasurementIsNamedByItsIdentifier() {
        assertEquals(0xB047, tVALMeasurementID.VALMEASUREMENT_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE);
        assertTrue(tVALMeasurementID.hasValue(0x54DE));
        assertFalse(tVALMeasurementID.hasValue(0x54DD));
    }
}
