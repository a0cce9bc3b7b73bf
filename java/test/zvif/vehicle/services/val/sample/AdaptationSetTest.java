package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import java.io.ByteArrayOutputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Collections;
import java.util.HexFormat;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.LongStream;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

class AdaptationSetTest {
    private static final String ID_149 = "95000000";
    private static final String ID_255 = "ff000000";
    private static final String ID_312 = "38010000";

    private static String text(AdaptationSet set) {
        return set.items().stream()
                .map(item -> item.id() + " " + item.kind() + " " + HexFormat.of().formatHex(item.value()))
                .map(String::strip).collect(Collectors.joining(", "))
                + (set.unread().length == 0 ? "" : " | " + HexFormat.of().formatHex(set.unread()));
    }

    private static AdaptationSet read(String hex, Long... asked) {
        return AdaptationSet.read(HexFormat.of().parseHex(hex), List.of(asked));
    }

    static Stream<Arguments> buffers() {
        return Stream.of(
                arguments("two values", ID_149 + "0200" + "0a0b" + ID_255 + "0100" + "07", "149 VALUE 0a0b, 255 VALUE 07"),
                arguments("a value and an empty one", ID_149 + "0100" + "07" + ID_255 + "0000",
                        "149 VALUE 07, 255 EMPTY"),
                arguments("timed out, then a value", ID_149 + ID_255 + "0100" + "07", "149 NO_LENGTH, 255 VALUE 07"),
                arguments("a value, then timed out", ID_149 + "0100" + "07" + ID_255, "149 VALUE 07, 255 NO_LENGTH"),
                arguments("the service is away", ID_149 + ID_255, "149 NO_LENGTH, 255 NO_LENGTH"),
                arguments("a value that looks like the next item", ID_149 + "0600" + ID_255 + "0000" + ID_255 + "0000",
                        "149 VALUE ff0000000000, 255 EMPTY"));
    }

    @ParameterizedTest(name = "{0}")
    @MethodSource("buffers")
    void bufferIsReadWithTheIdsThatWereAskedFor(String name, String hex, String expected) {
        var sut = read(hex, 149L, 255L);

        assertEquals(expected, text(sut));
        assertFalse(sut.ambiguous());
    }

    @Test
    void anIdIsNotTakenForTheLengthOfTheOneInFront() {
        var sut = read(ID_149 + ID_255 + ID_312 + "0100" + "07", 149L, 255L, 312L);

        assertEquals("149 NO_LENGTH, 255 NO_LENGTH, 312 VALUE 07", text(sut));
        assertFalse(sut.ambiguous());
    }

    @Test
    void theSameIdTwiceIsTwoItems() {
        assertEquals("149 VALUE 01, 149 NO_LENGTH", text(read(ID_149 + "0100" + "01" + ID_149, 149L, 149L)));
    }

    @Test
    void aBufferOfSeveralMeaningsIsReadWithALengthWhereThereCanBeOneAndSaysSo() {
        // Either 149 has 105 bytes and 105 none, or 149 has no length and 105 has 107 bytes.
        var sut = read(ID_149 + "69000000" + "6b00" + "00".repeat(101) + "69000000" + "0000", 149L, 105L);

        assertEquals("149 VALUE, 105 EMPTY", text(sut).replaceAll(" [0-9a-f]{210}", ""));
        assertTrue(sut.ambiguous());
    }

    @Test
    void theEmptyResponseOfAnEmptyRequestHasNoItems() {
        assertEquals("", text(read("")));
    }

    static Stream<Arguments> truncated() {
        return Stream.of(
                arguments("9500", " | 9500"),
                arguments(ID_149 + "02", " | 9500000002"),
                arguments(ID_149 + "0200" + "0a", " | 9500000002000a"),
                arguments(ID_149 + "0200" + "0a0b" + "ff0000", "149 VALUE 0a0b | ff0000"),
                arguments(ID_149 + "0200" + "0a0b" + "07000000", "149 VALUE 0a0b | 07000000"),
                arguments(ID_149 + "ffff" + "0a0b", " | 95000000ffff0a0b"),
                arguments(ID_149 + "0000" + ID_255 + "0000" + "00", "149 EMPTY, 255 EMPTY | 00"),
                arguments(ID_149 + "0000", "149 EMPTY"),
                arguments("", ""));
    }

    @ParameterizedTest
    @MethodSource("truncated")
    void whatIsNoItemIsLeftUnread(String hex, String expected) {
        var sut = read(hex, 149L, 255L);

        assertEquals(expected, text(sut));
        assertFalse(sut.ambiguous());
    }

    @ParameterizedTest
    @ValueSource(ints = {4021, 4026}) // with its head: as many bytes that an id and a length have no room behind
    void idsBehindTheRoomAreLeftOut(int length) {
        var data = ByteBuffer.allocate(6 + length).order(ByteOrder.LITTLE_ENDIAN);
        data.putInt(149).putShort((short) length);

        var sut = AdaptationSet.read(data.array(), List.of(149L, 255L, 312L));

        assertEquals(List.of(AdaptationSet.Kind.VALUE, AdaptationSet.Kind.LEFT_OUT, AdaptationSet.Kind.LEFT_OUT),
                sut.items().stream().map(AdaptationSet.Item::kind).toList());
        assertEquals(length, sut.items().get(0).value().length);
        assertEquals(0, sut.unread().length);
    }

    @Test
    void aFullSetOfTimeOutsIsRead() {
        var asked = LongStream.range(0, 64).map(index -> 112 + index % 9).boxed().toList();
        var data = new ByteArrayOutputStream();
        asked.forEach(id -> data.writeBytes(new byte[] {id.byteValue(), 0, 0, 0}));

        var sut = AdaptationSet.read(data.toByteArray(), asked);

        assertEquals(Collections.nCopies(64, AdaptationSet.Kind.NO_LENGTH),
                sut.items().stream().map(AdaptationSet.Item::kind).toList());
    }
}
