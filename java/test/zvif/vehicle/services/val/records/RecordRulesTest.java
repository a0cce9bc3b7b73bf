package zvif.vehicle.services.val.records;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
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
    void aSignedValueIsHeldInItsWidthAsWell() {
        VALSampleScalars_t scalars = new VALSampleScalars_t();
        scalars.signed_1 = -128;
        refusedBy(scalars::encode, RecordException.Reason.BAD_ENUM);  // of a field behind it that has no good value yet
        for (int value : new int[] {-129, 128}) {
            scalars.signed_1 = value;
            assertEquals("VALSampleScalars_t.signed_1: expected -128 to 127, received " + value,
                    refusedBy(scalars::encode, RecordException.Reason.OUT_OF_RANGE).getMessage());
        }
    }

    @Test
    void aFieldBehindANestedRecordIsNamedWithoutIt() {
        VALSampleArrays_t arrays = new VALSampleArrays_t();
        arrays.pairs = new VALSamplePair_t[] {new VALSamplePair_t()};
        arrays.reasons = new int[] {1};
        assertEquals("VALSampleArrays_t.reasons",
                refusedBy(arrays::encode, RecordException.Reason.BAD_ENUM).field());
    }

    @Test
    void aPayloadThatEndsTooEarlyIsToldWithWhatItNeeds() {
        RecordException refused = refusedBy(() -> VALDiagnosticsResponse_t.decode(new byte[] {1, 2, 3}),
                RecordException.Reason.TRUNCATED);
        assertEquals("VALDiagnosticsResponse_t.totalLength: expected at least 4 bytes, received 3",
                refused.getMessage());
        assertEquals(2, refused.offset());
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
    void aFaultTellsTheNumberOfCppAndWhereItBegins() {
        tDiagmgrGetDatasetVersionReqds request = new tDiagmgrGetDatasetVersionReqds();
        request.datasetId = 189;
        RecordException refused = refusedBy(request::encode, RecordException.Reason.BAD_ENUM);
        assertEquals(9, refused.code());
        assertEquals(0, refused.offset());
        request.datasetId = 190;
        request.transactionId = -1;
        refused = refusedBy(request::encode, RecordException.Reason.OUT_OF_RANGE);
        assertEquals(RecordException.NONE, refused.code());
        assertEquals(4, refused.offset());
        VALDiagnosticsResponse_t response = new VALDiagnosticsResponse_t();
        response.data = new byte[4084];
        refused = refusedBy(response::encode, RecordException.Reason.ARRAY_TOO_LONG);
        assertEquals(6, refused.code());
        assertEquals(10, refused.offset());
        refused = refusedBy(() -> VALDTCStatus_t.decode(new byte[] {1, 2, 3, 4, 5, 6, 7, 8, 4, 0, 0, 0}),
                RecordException.Reason.BAD_ENUM);
        assertEquals(11, refused.code());
        assertEquals(8, refused.offset());
    }

    @Test
    void aBufferThatIsTooSmallIsTold() {
        VALDiagnosticsResponse_t response = new VALDiagnosticsResponse_t();
        response.data = new byte[] {1, 2, 3};
        byte[] buffer = new byte[14];
        assertEquals(13, response.pack(buffer));
        assertArrayEquals(response.encode(), Arrays.copyOf(buffer, 13));
        RecordException refused =
                refusedBy(() -> response.pack(new byte[12]), RecordException.Reason.BUFFER_TOO_SMALL);
        assertEquals("VALDiagnosticsResponse_t.data: expected at least 13 bytes, received 12", refused.getMessage());
        assertEquals(3, refused.code());
        assertEquals(10, refused.offset());
    }

    @Test
    void arraysOfIntegersGoInAtOnceOrNotAtAll() {
        VALSampleArrays_t arrays = new VALSampleArrays_t();
        arrays.words = new int[] {0x0101, 0x0202};
        byte[] buffer = new byte[14];
        assertEquals(11, refusedBy(() -> arrays.pack(buffer), RecordException.Reason.BUFFER_TOO_SMALL).offset());
        assertEquals(0, buffer[11]);
        assertEquals(0, buffer[12]);
    }

    @Test
    void anUnpackedRecordIsFilledEvenIfBytesAreLeft() {
        VALUInt16_t value = new VALUInt16_t();
        refusedBy(() -> value.unpack(new byte[] {1, 2, 3}), RecordException.Reason.TRAILING_BYTES);
        assertEquals(0x0201, value.value);
    }

    @Test
    void aTextIsCutToItsBuffer() {
        VALDiagnosticsResponse_t response = new VALDiagnosticsResponse_t();
        response.requestId = 381;
        assertEquals("", response.text(0));
        assertEquals("", response.text(1));
        assertEquals("requestId:381;t", response.text(16));
    }

    @Test
    void aTextShowsTwentyElementsAndCountsAll() {
        VALDiagnosticsResponse_t response = new VALDiagnosticsResponse_t();
        response.data = new byte[4083];
        assertTrue(response.text().endsWith("data[4083]:" + "00,".repeat(19) + "00;"), response.text());
    }

    @Test
    void aTextShowsNoMoreElementsThanTheArrayMayHave() {
        VALSampleArrays_t arrays = new VALSampleArrays_t();
        arrays.words = new int[] {1, 2, 3, 4, 5};
        assertTrue(arrays.text().contains("bytes[0]:words[5]:1,2,3,4;longs[0]:"), arrays.text());
    }

    @Test
    void anyByteButZeroIsTrue() {
        assertTrue(VALBool_t.decode(new byte[] {2}).value);
        assertFalse(VALBool_t.decode(new byte[] {0}).value);
    }

    @Test
    void aMeasurementIsNamedByItsIdentifier() {
        assertEquals(0xB047, tVALMeasurementID.VALMEASUREMENT_AUTHENTIC_TIME_LAST_CLIENT_PACKAGE);
        assertTrue(DiagnosticsEnumerations.tVALMeasurementID.hasValue(0x54DE));
        assertFalse(DiagnosticsEnumerations.tVALMeasurementID.hasValue(0x54DD));
    }
}
