package zvif.vehicle.services.val.records;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.lang.reflect.Array;
import java.lang.reflect.Field;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import org.junit.jupiter.api.DynamicTest;
import org.junit.jupiter.api.TestFactory;

/** Runs the hand-written payloads that the C++ codec is tested with; the first of the files tells how to read them. */
class VectorsTest {
    private static final Path FOLDER = Path.of(System.getProperty("codec.vectors"));

    private static final class Vector {
        String place;
        String message;
        String record;
        final Map<String, String> fields = new LinkedHashMap<>();
        String text;
        String refused;
        byte[] payload;

        ValRecord newRecord() {
            try {
                Class<?> type = Class.forName("zvif.vehicle.services.val.records." + record);
                return (ValRecord) type.getConstructor().newInstance();
            } catch (ReflectiveOperationException noSuchRecord) {
                throw new AssertionError(place, noSuchRecord);
            }
        }

        ValRecord decode() {
            ValRecord made = newRecord();
            made.unpack(payload);
            return made;
        }

        ValRecord filled() {
            ValRecord made = newRecord();
            fields.forEach((way, value) -> set(made, way, value));
            return made;
        }
    }

    @TestFactory
    Stream<DynamicTest> fieldsEncodeToTheirPayload() throws IOException {
        return vectors().stream().filter(vector -> vector.refused == null)
                .map(vector -> DynamicTest.dynamicTest(vector.place,
                        () -> assertArrayEquals(vector.payload, vector.filled().encode())));
    }

    @TestFactory
    Stream<DynamicTest> payloadsDecodeToTheirFields() throws IOException {
        return vectors().stream().filter(vector -> vector.refused == null)
                .map(vector -> DynamicTest.dynamicTest(vector.place, () -> {
                    ValRecord record = vector.decode();
                    vector.fields.forEach((way, value) -> check(record, way, value));
                    assertArrayEquals(vector.payload, record.encode());
                }));
    }

    @TestFactory
    Stream<DynamicTest> badPayloadsAreRefusedWithTheFieldAndTheReason() throws IOException {
        return vectors().stream().filter(vector -> vector.refused != null)
                .map(vector -> DynamicTest.dynamicTest(vector.place, () -> {
                    String[] words = vector.refused.split(" ");
                    RecordException refused = assertThrows(RecordException.class, vector::decode);
                    assertEquals(reason(words[0]), refused.reason());
                    assertEquals(code(words[0]), refused.code());
                    String field = words.length > 1 ? "." + words[1] : "";
                    assertEquals(vector.record + field, refused.field());
                    assertEquals(refused.field() + ": expected " + refused.expected() + ", received "
                            + refused.received(), refused.getMessage());
                }));
    }

    @TestFactory
    Stream<DynamicTest> recordsReadAsTheirTexts() throws IOException {
        return vectors().stream().filter(vector -> vector.text != null)
                .map(vector -> DynamicTest.dynamicTest(vector.place,
                        () -> assertEquals(vector.text, ((TextRecord) vector.filled()).text())));
    }

    @TestFactory
    Stream<DynamicTest> messagesHaveTheirIds() {
        return Map.of("ValDiagnosticsrequestInd", 2349, "ValDiagnosticsresponseInd", 2350, "DiagmgrSetEvent", 545,
                "ValNetworkServiceDiagStatusInd", 2943).entrySet().stream()
                .map(each -> DynamicTest.dynamicTest(each.getKey(),
                        () -> assertEquals(each.getValue(), MessageIds.class.getField(each.getKey()).getInt(null))));
    }

    private static RecordException.Reason reason(String code) {
        return switch (code) {
            case "eUnpackTruncated" -> RecordException.Reason.TRUNCATED;
            case "eUnpackTrailingBytes" -> RecordException.Reason.TRAILING_BYTES;
            case "eUnpackArrayTooLong" -> RecordException.Reason.ARRAY_TOO_LONG;
            case "eUnpackBadEnum" -> RecordException.Reason.BAD_ENUM;
            default -> throw new IllegalArgumentException(code);
        };
    }

    private static int code(String code) {
        return switch (code) {
            case "eUnpackTruncated" -> 4;
            case "eUnpackTrailingBytes" -> 5;
            case "eUnpackArrayTooLong" -> 8;
            case "eUnpackBadEnum" -> 11;
            default -> throw new IllegalArgumentException(code);
        };
    }

    private static List<Vector> vectors() throws IOException {
        List<Vector> all = new ArrayList<>();
        try (DirectoryStream<Path> files = Files.newDirectoryStream(FOLDER, "*.txt")) {
            for (Path file : files) {
                read(file, all);
            }
        }
        assertTrue(all.size() > 50, "only " + all.size() + " vectors");
        return all;
    }

    private static void read(Path file, List<Vector> all) throws IOException {
        Vector next = new Vector();
        int number = 0;
        for (String line : Files.readAllLines(file)) {
            number++;
            if (line.isEmpty() || line.startsWith("#")) {
                continue;
            }
            String[] words = line.split(" ", 2);
            String rest = words.length > 1 ? words[1] : "";
            switch (words[0]) {
                case "message" -> {
                    next = new Vector();
                    next.message = rest;
                    next.place = file.getFileName() + ":" + number + " " + rest;
                }
                case "record" -> next.record = rest;
                case "refused" -> next.refused = rest;
                case "hex" -> {
                    next.payload = bytes(rest);
                    all.add(next);
                }
                case "text" -> next.text = rest.substring(2);
                default -> next.fields.put(words[0], rest.substring(2));
            }
        }
    }

    /** Hexadecimal bytes; b0*3 is one byte three times. */
    private static byte[] bytes(String text) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        for (String word : text.isBlank() ? new String[0] : text.trim().split(" ")) {
            int times = word.length() > 2 ? Integer.parseInt(word.substring(3)) : 1;
            for (int i = 0; i < times; i++) {
                out.write(Integer.parseInt(word.substring(0, 2), 16));
            }
        }
        return out.toByteArray();
    }

    /** A member of a record, possibly of a nested one. */
    private record Member(Object owner, String name) {
        /** Null for a count, which is no member in Java. */
        Field field() {
            try {
                return owner.getClass().getField(name);
            } catch (NoSuchFieldException isCount) {
                return null;
            }
        }

        Object value() {
            try {
                return field().get(owner);
            } catch (IllegalAccessException impossible) {
                throw new AssertionError(impossible);
            }
        }

        void set(Object value) {
            try {
                field().set(owner, value);
            } catch (IllegalAccessException impossible) {
                throw new AssertionError(impossible);
            }
        }
    }

    /** Follows a way such as {@code coding.Brand} or {@code pairs[1].value}; an array of records grows on the way. */
    private static Member find(Object record, String way) {
        int dot = way.indexOf('.');
        if (dot < 0) {
            return new Member(record, way);
        }
        String step = way.substring(0, dot);
        int bracket = step.indexOf('[');
        Member member = new Member(record, bracket < 0 ? step : step.substring(0, bracket));
        if (bracket < 0) {
            return find(member.value(), way.substring(dot + 1));
        }
        int index = Integer.parseInt(step.substring(bracket + 1, step.length() - 1));
        return find(Array.get(member.value(), index), way.substring(dot + 1));
    }

    private static void set(Object record, String way, String value) {
        Member member = find(record, way);
        if (member.field() == null) {
            growArrayOfRecords(member, Math.toIntExact(Long.decode(value)));
        } else {
            member.set(parse(member.field().getType(), value));
        }
    }

    /** {@code pairCount = 2} makes room in {@code pairs}; other arrays come whole and bring their count along. */
    private static void growArrayOfRecords(Member count, int length) {
        Field array;
        try {
            array = count.owner().getClass().getField(count.name().replace("Count", "s"));
        } catch (NoSuchFieldException otherArray) {
            return;
        }
        Class<?> type = array.getType().getComponentType();
        if (type.isPrimitive()) {
            return;
        }
        Object grown = Array.newInstance(type, length);
        for (int i = 0; i < length; i++) {
            try {
                Array.set(grown, i, type.getConstructor().newInstance());
            } catch (ReflectiveOperationException impossible) {
                throw new AssertionError(impossible);
            }
        }
        new Member(count.owner(), array.getName()).set(grown);
    }

    private static void check(Object record, String way, String value) {
        Member member = find(record, way);
        if (member.field() == null) {
            long count = Long.decode(value);
            assertTrue(Stream.of(member.owner().getClass().getFields())
                    .filter(each -> each.getType().isArray())
                    .anyMatch(each -> Array.getLength(new Member(member.owner(), each.getName()).value()) == count), way);
            return;
        }
        Object expected = parse(member.field().getType(), value);
        Object actual = member.value();
        if (expected.getClass().isArray()) {
            assertEquals(Array.getLength(expected), Array.getLength(actual), way);
            for (int i = 0; i < Array.getLength(expected); i++) {
                assertEquals(Array.get(expected, i), Array.get(actual, i), way);
            }
        } else {
            assertEquals(expected, actual, way);
        }
    }

    private static Object parse(Class<?> type, String value) {
        if (type == boolean.class) {
            return Boolean.valueOf(value);
        }
        if (type == int.class) {
            return Integer.decode(value);
        }
        if (type == long.class) {
            return Long.decode(value);
        }
        if (type == byte[].class) {
            return bytes(value);
        }
        String[] words = value.split(", ");
        Object array = Array.newInstance(type.getComponentType(), words.length);
        for (int i = 0; i < words.length; i++) {
            Array.set(array, i, parse(type.getComponentType(), words[i]));
        }
        return array;
    }
}
