package zvif.vehicle.services.val.records;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.BufferedReader;
import java.io.IOException;
import java.lang.reflect.Array;
import java.lang.reflect.Field;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.HexFormat;
import java.util.List;
import java.util.Set;
import org.junit.jupiter.api.Test;

/**
 * Random payloads of every message are read, written and told as by the C++ codec, whose codec_outcomes wrote the file:
 * the seed, and then in each line index, id, payload, code, cursor; and of a record that was filled its text, a size,
 * the text in a buffer of that size, the record packed again, a size, and what a buffer of that size gets of it.
 */
class OutcomesTest {
    private static final Path FILE = Path.of(System.getProperty("codec.outcomes"));
    private static final int ENOUGH = 10;

    private final List<String> differences = new ArrayList<>();

    @Test
    void payloadsAreReadWrittenAndToldAsByTheCppCodec() throws IOException {
        Set<Integer> messages = new HashSet<>();
        Set<Integer> codes = new HashSet<>();
        String seed;
        try (BufferedReader in = Files.newBufferedReader(FILE)) {
            seed = in.readLine();
            for (String line = in.readLine(); line != null && differences.size() < ENOUGH; line = in.readLine()) {
                String[] columns = line.split("\t", -1);
                messages.add(Integer.parseInt(columns[1]));
                codes.add(Integer.parseInt(columns[3]));
                compare(columns);
            }
        }
        assertEquals("", String.join("\n", differences), () -> FILE + ", " + seed + "\n");
        assertEquals(Messages.all().size(), messages.size());
        assertEquals(Set.of(0, 4, 5, 8, 11), codes);
    }

    private void compare(String[] columns) {
        Message message = Messages.byId(Integer.parseInt(columns[1])).orElseThrow();
        String about = "input " + columns[0] + ", " + message + ", " + columns[2];
        ValRecord record = message.newRecord();
        int cursor = Integer.parseInt(columns[4]);
        int code = 0;
        RecordException tooLong = null;
        try {
            record.unpack(HexFormat.of().parseHex(columns[2]));
        } catch (RecordException refused) {
            code = refused.code();
            tooLong = refused;
            // The cursor has passed a value that is outside its enumeration.
            int passed = cursor - refused.offset();
            boolean stops = refused.reason() == RecordException.Reason.BAD_ENUM ? Set.of(1, 2, 4).contains(passed)
                    : passed == 0;
            expect(about + ": where it stops, " + refused.getMessage(), true, stops);
        }
        expect(about + ": code of unpacking", Integer.parseInt(columns[3]), code);
        if (code == 8) {
            compareTooLong(about, record, tooLong);
        }
        if (code != 0 && code != 5 || columns.length < 11) {
            expect(about + ": columns", code == 0 || code == 5 ? 11 : 5, columns.length);
            return;
        }
        compareTexts(about, message, record, columns);
        expect(about + ": packed again", columns[8], HexFormat.of().formatHex(record.encode()));
        comparePacking(about, record, columns);
    }

    /** An array of so many elements can't be written either. */
    private void compareTooLong(String about, ValRecord record, RecordException refused) {
        int count = (int) Math.min(Long.parseLong(refused.received()), 1 << 16);
        setLength(record, refused.field().substring(record.name().length() + 1), count);
        RecordException packing = null;
        try {
            record.encode();
        } catch (RecordException again) {
            packing = again;
        }
        expect(about + ": packing " + count + " elements", refused.field() + " 6",
                packing == null ? "passes" : packing.field() + " " + packing.code());
    }

    /** Of the array that a way such as {@code numbers[1].number} leads to. */
    private static void setLength(Object record, String way, int length) {
        String[] steps = way.split("\\.", 2);
        String[] words = steps[0].split("[\\[\\]]");
        try {
            Field member = record.getClass().getField(words[0]);
            if (steps.length == 1) {
                member.set(record, Array.newInstance(member.getType().getComponentType(), length));
                return;
            }
            Object inner = member.get(record);
            setLength(words.length == 1 ? inner : Array.get(inner, Integer.parseInt(words[1])), steps[1], length);
        } catch (ReflectiveOperationException impossible) {
            throw new AssertionError(way, impossible);
        }
    }

    private void compareTexts(String about, Message message, ValRecord record, String[] columns) {
        boolean hasText = record instanceof TextRecord;
        expect(about + ": has a text", message.payload().matches("VAL.*|tVal.*"), hasText);
        expect(about + ": text", columns[5], hasText ? ((TextRecord) record).text() : "");
        expect(about + ": text in " + columns[6], columns[7],
                hasText ? ((TextRecord) record).text(Integer.parseInt(columns[6])) : "");
    }

    /** The buffer is always smaller than the record. */
    private void comparePacking(String about, ValRecord record, String[] columns) {
        byte[] buffer = new byte[Integer.parseInt(columns[9])];
        int code = 0;
        try {
            record.pack(buffer);
        } catch (RecordException refused) {
            code = refused.code();
        }
        expect(about + ": code of packing into " + columns[9], 3, code);
        expect(about + ": packed into " + columns[9], columns[10], HexFormat.of().formatHex(buffer));
    }

    private void expect(String what, Object expected, Object actual) {
        if (!expected.equals(actual)) {
            differences.add(what + ": expected " + expected + ", got " + actual);
        }
    }
}
