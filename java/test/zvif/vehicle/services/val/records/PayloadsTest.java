package zvif.vehicle.services.val.records;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.HexFormat;
import java.util.Set;
import org.junit.jupiter.api.Test;

/** Payloads of every message are read, written and told as by the C++ codec, whose codec_payloads wrote the file. */
class PayloadsTest {
    private static final Path FILE = Path.of(System.getProperty("codec.payloads"));

    @Test
    void everyMessageIsReadAsByTheCppCodec() throws IOException {
        Set<Integer> seen = new HashSet<>();
        Set<Integer> codes = new HashSet<>();
        try (BufferedReader in = Files.newBufferedReader(FILE)) {
            for (String line = in.readLine(); line != null; line = in.readLine()) {
                String[] words = line.split(" ");
                Message message = Messages.byId(Integer.parseInt(words[0])).orElseThrow();
                byte[] payload = bytes(words[1]);
                int code = Integer.parseInt(words[2]);
                if (code == 0) {
                    compare(message, message.decode(payload), words);
                } else {
                    compare(code, Integer.parseInt(words[3]), assertThrows(RecordException.class,
                            () -> message.decode(payload), () -> message + " " + words[1]));
                }
                seen.add(message.id());
                codes.add(code);
            }
        }
        assertEquals(Messages.all().size(), seen.size());
        assertEquals(Set.of(0, 4, 5, 8, 11), codes);
    }

    private static void compare(Message message, ValRecord record, String[] words) {
        assertArrayEquals(bytes(words[4]), record.encode(), () -> message + " " + words[1]);
        assertEquals(record instanceof TextRecord, message.payload().matches("VAL.*|tVal.*"), message::toString);
        if (record instanceof TextRecord text) {
            assertEquals(words[6], orNothing(text.text()), message::toString);
            assertEquals(words[7], orNothing(text.text(Integer.parseInt(words[5]))), message::toString);
        }
    }

    private static void compare(int code, int cursor, RecordException refused) {
        assertEquals(code, refused.code(), refused.getMessage());
        // The cursor has passed a value that is outside its enumeration.
        int passed = cursor - refused.offset();
        assertTrue(refused.reason() == RecordException.Reason.BAD_ENUM ? Set.of(1, 2, 4).contains(passed) : passed == 0,
                () -> refused.getMessage() + " at " + refused.offset() + " and not " + cursor);
    }

    private static byte[] bytes(String hexadecimal) {
        return hexadecimal.equals("-") ? new byte[0] : HexFormat.of().parseHex(hexadecimal);
    }

    private static String orNothing(String text) {
        return text.isEmpty() ? "-" : text;
    }
}
