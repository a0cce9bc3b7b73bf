package zvif.vehicle.services.val.records;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.lang.reflect.Field;
import java.net.URI;
import java.net.URISyntaxException;
import java.nio.file.FileSystem;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;

/** The ids, names, widths and values that are agreed with the other side: a list that is kept apart from the schemas. */
class AgreedTest {
    private static final Path FILE = Path.of(System.getProperty("codec.agreed"));

    @Test
    void everyMessageStandsUnderItsIdWithItsPayload() throws IOException {
        TreeSet<String> messages = new TreeSet<>();
        for (Message each : Messages.all()) {
            String record = each.newRecord().name();
            messages.add(each.id() + " " + each.name() + " " + each.payload()
                    + (record.equals(each.payload()) ? "" : " " + record));
        }
        assertSame(lines("message"), messages);
    }

    @Test
    void everyEnumerationTakesTheValuesOfItsSetAndNoneBesideThem() throws Exception {
        Map<String, Enumeration> declared = enumerations();
        TreeSet<String> names = new TreeSet<>();
        for (String line : lines("enum")) {
            String[] words = line.replace(",", "").split(" ");
            names.add(words[0]);
            Enumeration set = declared.get(words[0]);
            if (set == null) {
                continue;
            }
            assertEquals(words[0], set.name());
            assertEquals(Integer.parseInt(words[1]), set.bits(), line);
            TreeMap<Long, Boolean> edges = edges(List.of(words).subList(2, words.length), set.bits());
            edges.forEach((value, held) -> assertEquals(held, set.hasValue(value), line + ": " + value));
            assertEquals(edges.firstKey() < -1, set.isSigned(), line);
        }
        assertSame(names, new TreeSet<>(declared.keySet()));
    }

    @Test
    void valuesHaveTheirNames() throws IOException, ReflectiveOperationException {
        for (String line : lines("value")) {
            String[] words = line.split(" ");
            Field constant = Class.forName(ValRecord.class.getPackageName() + "." + words[0]).getField(words[1]);
            assertEquals(Long.parseLong(words[2]), constant.getLong(null), line);
        }
    }

    /** The first and last value of each range, and those beside them: whether the set holds them. */
    private static TreeMap<Long, Boolean> edges(List<String> set, int bits) {
        TreeMap<Long, Boolean> edges = new TreeMap<>();
        long most = (1L << bits) - 1;
        if (set.get(0).equals("any") || set.get(0).equals("mask")) {
            long mask = set.get(0).equals("any") ? most : Long.decode(set.get(1));
            for (long bit = 1; bit <= most; bit <<= 1) {
                edges.put(bit, (mask & bit) != 0);
            }
            edges.put(0L, true);
            edges.put(mask, true);
            return edges;
        }
        for (String range : set) {
            String[] ends = range.split("\\.\\.");
            edges.putIfAbsent(Long.parseLong(ends[0]) - 1, false);
            edges.putIfAbsent(Long.parseLong(ends[ends.length - 1]) + 1, false);
        }
        for (String range : set) {
            String[] ends = range.split("\\.\\.");
            edges.put(Long.parseLong(ends[0]), true);
            edges.put(Long.parseLong(ends[ends.length - 1]), true);
        }
        return edges;
    }

    /** By name: the constants of the classes of the families, which stand where their records do. */
    private static Map<String, Enumeration> enumerations() throws IOException, ReflectiveOperationException,
            URISyntaxException {
        Map<String, Enumeration> all = new TreeMap<>();
        Path place = Path.of(ValRecord.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        if (Files.isDirectory(place)) {
            collect(place, all);
        } else {
            try (FileSystem jar = FileSystems.newFileSystem(URI.create("jar:" + place.toUri()), Map.of())) {
                collect(jar.getPath("/"), all);
            }
        }
        return all;
    }

    private static void collect(Path root, Map<String, Enumeration> all) throws IOException,
            ReflectiveOperationException {
        List<String> classes;
        try (Stream<Path> files = Files.list(root.resolve(ValRecord.class.getPackageName().replace('.', '/')))) {
            classes = files.map(each -> each.getFileName().toString())
                    .filter(each -> each.endsWith("Enumerations.class")).toList();
        }
        for (String each : classes) {
            String name = ValRecord.class.getPackageName() + "." + each.replace(".class", "");
            for (Field constant : Class.forName(name).getFields()) {
                all.put(constant.getName(), (Enumeration) constant.get(null));
            }
        }
    }

    private static TreeSet<String> lines(String keyword) throws IOException {
        TreeSet<String> lines = new TreeSet<>();
        for (String line : Files.readAllLines(FILE)) {
            if (line.startsWith(keyword + " ")) {
                lines.add(line.substring(keyword.length() + 1));
            }
        }
        return lines;
    }

    private static void assertSame(TreeSet<String> wanted, TreeSet<String> declared) {
        TreeSet<String> missing = new TreeSet<>(wanted);
        missing.removeAll(declared);
        TreeSet<String> invented = new TreeSet<>(declared);
        invented.removeAll(wanted);
        assertEquals("missing [], invented []", "missing " + missing + ", invented " + invented);
    }
}
