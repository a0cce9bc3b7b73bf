package zvif.vehicle.services.val.sample;

import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.time.Duration;
import java.util.Arrays;
import java.util.EnumMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;

/**
 * The reader of a values file: text that a person edits, to the bytes of each data identifier and what each routine
 * does.
 *
 * <pre>
 *   # a comment
 *   [0xB047]                              a block for each data identifier
 *   field 20 = "2026-11-20T08:15:30Z"     texts and hex bytes, filled up with zeros to 20 bytes
 *   number 2 = 517                        an unsigned number in 2 bytes, high byte first (or 0x205)
 *   bytes    = 01 ff "text"               as many bytes as there are
 *   count 1                               the number of entries of this block, in 1 byte
 *   entry 32 = "FOD-NAVIGATION" 00 01     like field; one for each element of the list
 *
 *   [0x0687]                              a block for each routine
 *   takes  = 300 ms                       from its start to its end
 *   status = 3                            what it tells when it has ended
 *   result = 1                            what came of it
 * </pre>
 *
 * <p>The bytes of a block are its lines in their order. An object lives for the reading of one file.
 */
final class ValuesFile {
    /** No value can be longer: it is the capacity of the message that carries it. */
    static final int LONGEST_VALUE = 4083;

    private static final Pattern BLOCK = Pattern.compile("\\[\\s*(\\S+)\\s*\\]");
    private static final Pattern LINE = Pattern.compile("(?<word>[A-Za-z]+)(?:\\s+(?<size>[^\\s=]+))?\\s*"
            + "(?:=\\s*(?<value>.*))?");
    private static final Pattern NUMBER = Pattern.compile("0[xX][0-9a-fA-F]{1,8}|[0-9]{1,10}");
    private static final Pattern HEX_BYTE = Pattern.compile("[0-9a-fA-F]{2}");

    private static final Pattern MILLISECONDS = Pattern.compile("([0-9]{1,8})\\s*ms");

    private final String m_name;
    private final Content m_content = new Content(new EnumMap<>(DataIdentifier.class), new EnumMap<>(Routine.class));
    private int m_line;
    private Identifier m_block;
    private RoutineSettings m_routine;
    private final ByteArrayOutputStream m_bytes = new ByteArrayOutputStream();
    // The list of the block: where its count belongs, in how many bytes, and what has been seen of it.
    private int m_countLine;
    private int m_countPosition;
    private int m_countSize;
    private int m_entries;
    private int m_entrySize;

    private ValuesFile(String name) {
        m_name = name;
    }

    /**
     * What a file says.
     *
     * @param values the bytes of each data identifier that has a block
     * @param routines what each routine that has a block does
     */
    record Content(Map<DataIdentifier, byte[]> values, Map<Routine, RoutineSettings> routines) { }

    /** Says in which line of which file the mistake is, and what the mistake is. */
    static final class Mistake extends Exception {
        private static final long serialVersionUID = 1L;

        Mistake(String where, String what) {
            super(where + ": " + what);
        }
    }

    /**
     * Reads the lines of a file.
     *
     * @param name the file's name for messages
     */
    static Content read(String name, List<String> lines) throws Mistake {
        var file = new ValuesFile(name);
        for (var line : lines) {
            ++file.m_line;
            file.readLine(file.withoutComment(line).strip());
        }
        file.endBlock();
        return file.m_content;
    }

    private void readLine(String line) throws Mistake {
        if (line.isEmpty()) {
            return;
        }
        if (line.startsWith("[")) {
            endBlock();
            startBlock(line);
            return;
        }
        var parts = LINE.matcher(line);
        if (!parts.matches()) {
            throw mistake("'" + line + "' is not understood; a line is a word, a size, '=' and a value");
        }
        if (m_block == null) {
            throw mistake("a value before the first block, such as [0xB047]");
        }
        if (m_block instanceof Routine) {
            readSetting(parts.group("word"), parts.group("size"), parts.group("value"));
            return;
        }
        readValue(parts.group("word"), parts.group("size"), parts.group("value"));
        if (m_bytes.size() > LONGEST_VALUE) {
            throw mistake(m_block + " has become longer than " + LONGEST_VALUE + " bytes");
        }
    }

    private void startBlock(String line) throws Mistake {
        var block = BLOCK.matcher(line);
        if (!block.matches()) {
            throw mistake("'" + line + "' is no block; one looks like [0xB047]");
        }
        try {
            m_block = Identifier.parse(block.group(1));
        } catch (IllegalArgumentException unknown) {
            throw mistake(unknown.getMessage());
        }
        if (m_content.values.containsKey(m_block) || m_content.routines.containsKey(m_block)) {
            throw mistake("a second block for " + m_block);
        }
        m_routine = RoutineSettings.DEFAULT;
        m_bytes.reset();
        m_countSize = 0;
        m_entries = 0;
        m_entrySize = 0;
    }

    private void readValue(String word, String size, String value) throws Mistake {
        switch (word) {
            case "field" -> m_bytes.writeBytes(padded(items(word, value), size(word, size)));
            case "number" -> m_bytes.writeBytes(number(value, size(word, size)));
            case "bytes" -> {
                if (size != null) {
                    throw mistake("bytes take no size; field " + size + " fills up to " + size + " bytes");
                }
                m_bytes.writeBytes(items(word, value));
            }
            case "count" -> startList(size(word, size), value);
            case "entry" -> addEntry(items(word, value), size(word, size));
            default -> throw mistake("unknown word '" + word + "'; known are field, number, bytes, count, entry");
        }
    }

    private void readSetting(String word, String size, String text) throws Mistake {
        if (size != null || text == null) {
            throw mistake("a line of a routine is a word, '=' and a value, as in 'takes = 300 ms'");
        }
        var setting = m_routine;
        m_routine = switch (word) {
            case "takes" -> new RoutineSettings(milliseconds(text), setting.status(), setting.result());
            case "status" -> new RoutineSettings(setting.takes(), status(text), setting.result());
            case "result" -> new RoutineSettings(setting.takes(), setting.status(), result(text));
            default -> throw mistake("unknown word '" + word + "'; known for a routine are takes, status, result");
        };
    }

    private Duration milliseconds(String text) throws Mistake {
        var time = MILLISECONDS.matcher(text);
        var number = time.matches() ? Integer.parseInt(time.group(1)) : Integer.MAX_VALUE;
        if (number > RoutineSettings.LONGEST_RUN_MS) {
            throw mistake("'" + text + "' is no time; one looks like 300 ms, and is "
                    + RoutineSettings.LONGEST_RUN_MS + " ms at most");
        }
        return Duration.ofMillis(number);
    }

    private int status(String text) throws Mistake {
        if (!text.matches("[0-9]{1,4}") || !RoutineSettings.isStatus(Integer.parseInt(text))) {
            throw mistake("'" + text + "' is no status of a routine; allowed are " + RoutineSettings.STATUSES);
        }
        return Integer.parseInt(text);
    }

    private int result(String text) throws Mistake {
        if (!text.matches("[0-9]{1,4}") || !RoutineSettings.isResult(Integer.parseInt(text))) {
            throw mistake("'" + text + "' is no result of a routine; allowed are " + RoutineSettings.RESULTS);
        }
        return Integer.parseInt(text);
    }

    private void startList(int size, String value) throws Mistake {
        if (value != null) {
            throw mistake("count takes no value: it is the number of entry lines that follow."
                    + " To send a false one, write number " + size + " = " + value);
        }
        if (m_countSize > 0) {
            throw mistake("a second count in " + m_block);
        }
        if (size > 2) {
            throw mistake("a count takes 1 or 2 bytes, not " + size);
        }
        m_countLine = m_line;
        m_countPosition = m_bytes.size();
        m_countSize = size;
        m_bytes.writeBytes(new byte[size]);
    }

    private void addEntry(byte[] entry, int size) throws Mistake {
        if (m_entries > 0 && size != m_entrySize) {
            throw mistake("an entry of " + size + " bytes among entries of " + m_entrySize);
        }
        m_entrySize = size;
        ++m_entries;
        m_bytes.writeBytes(padded(entry, size));
    }

    private void endBlock() throws Mistake {
        if (m_block instanceof Routine routine) {
            m_content.routines.put(routine, m_routine);
        } else if (m_block instanceof DataIdentifier identifier) {
            m_content.values.put(identifier, endedValue());
        }
    }

    private byte[] endedValue() throws Mistake {
        var value = m_bytes.toByteArray();
        if (m_countSize > 0) {
            if (m_countSize == 1 && m_entries > 0xFF) {
                throw new Mistake(m_name + ":" + m_countLine, m_entries + " entries do not fit into a count of 1 byte");
            }
            System.arraycopy(bigEndian(m_entries, m_countSize), 0, value, m_countPosition, m_countSize);
        }
        return value;
    }

    private int size(String word, String text) throws Mistake {
        if (text == null) {
            throw mistake(word + " needs a size in bytes, as in '" + word + " 2'");
        }
        var size = text.matches("[0-9]{1,4}") ? Integer.parseInt(text) : 0;
        if (size < 1 || size > LONGEST_VALUE) {
            throw mistake("'" + text + "' is no size; it is a number from 1 to " + LONGEST_VALUE);
        }
        return size;
    }

    private byte[] number(String text, int size) throws Mistake {
        if (text == null || !NUMBER.matcher(text).matches()) {
            throw mistake("'" + (text == null ? "" : text) + "' is no number; one looks like 517 or 0x205");
        }
        if (size > 4) {
            throw mistake("a number takes 1 to 4 bytes, not " + size);
        }
        var number = Long.decode(text.matches("0[0-9]+") ? text.replaceFirst("0+(?=.)", "") : text);
        if (number >>> 8 * size != 0) {
            throw mistake(text + " does not fit into " + size + (size == 1 ? " byte" : " bytes"));
        }
        return bigEndian(number, size);
    }

    private byte[] padded(byte[] value, int size) throws Mistake {
        if (value.length > size) {
            throw mistake(value.length + " bytes do not fit into " + size);
        }
        return Arrays.copyOf(value, size);
    }

    /** A value such as: "text" 00 ff. */
    private byte[] items(String word, String value) throws Mistake {
        if (value == null) {
            throw mistake(word + " needs a value, as in '" + word + " ... = \"text\" 00 ff'");
        }
        var bytes = new ByteArrayOutputStream();
        var at = 0;
        while (at < value.length()) {
            if (Character.isWhitespace(value.charAt(at))) {
                ++at;
            } else if (value.charAt(at) == '"') {
                at = text(value, at + 1, bytes);
            } else {
                var end = at;
                while (end < value.length() && !Character.isWhitespace(value.charAt(end)) && value.charAt(end) != '"') {
                    ++end;
                }
                var item = value.substring(at, end);
                if (!HEX_BYTE.matcher(item).matches()) {
                    throw mistake("'" + item + "' is neither a hex byte (00 to ff) nor a \"text\"");
                }
                bytes.write(Integer.parseInt(item, 16));
                at = end;
            }
        }
        return bytes.toByteArray();
    }

    /** Takes a text from behind its first quote, and returns the place behind its last one. */
    private int text(String value, int start, ByteArrayOutputStream bytes) throws Mistake {
        var text = new StringBuilder();
        for (var at = start; at < value.length(); ++at) {
            var character = value.charAt(at);
            if (character == '"') {
                bytes.writeBytes(text.toString().getBytes(StandardCharsets.UTF_8));
                return at + 1;
            }
            if (character == '\\' && at + 1 < value.length()) {
                character = value.charAt(++at); // \" and \\ stand for the second character
            }
            text.append(character);
        }
        throw mistake("a text without its closing quote");
    }

    private String withoutComment(String line) {
        var quoted = false;
        for (var at = 0; at < line.length(); ++at) {
            switch (line.charAt(at)) {
                case '\\' -> at += quoted ? 1 : 0;
                case '"' -> quoted = !quoted;
                case '#' -> {
                    if (!quoted) {
                        return line.substring(0, at);
                    }
                }
                default -> { }
            }
        }
        return line;
    }

    private static byte[] bigEndian(long number, int size) {
        var bytes = new byte[size];
        for (var at = 0; at < size; ++at) {
            bytes[at] = (byte) (number >>> 8 * (size - 1 - at));
        }
        return bytes;
    }

    private Mistake mistake(String what) {
        return new Mistake(m_name + ":" + m_line, what);
    }
}
