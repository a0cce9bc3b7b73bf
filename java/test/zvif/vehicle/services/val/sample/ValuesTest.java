package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.EnumSource;

class ValuesTest {
    private static final DataIdentifier ANY = DataIdentifier.PARAMETER_LIST;

    private final List<String> m_log = new ArrayList<>();
    private Path m_file;

    @BeforeEach
    void chooseFile(@TempDir Path folder) {
        m_file = folder.resolve("mine.txt");
    }

    @ParameterizedTest
    @EnumSource
    void everyIdentifierHasABuiltInValueThatTheBridgeAccepts(DataIdentifier identifier) throws Exception {
        var value = Values.open(null, m_log::add).of(identifier).orElseThrow();

        assertEquals(Optional.empty(), identifier.complaintAbout(value.length));
    }

    @ParameterizedTest
    @CsvSource({"0x488C, 0, 1, 32", "0x488B, 0, 2, 5", "0x117C, 0, 1, 20", "0x117E, 0, 1, 22", "0x117D, 0, 1, 22",
        "0x0235, 43, 1, 31", "0x0234, 0, 1, 15"})
    void builtInListsHoldAsManyEntriesAsTheyCount(String identifier, int position, int countSize, int entrySize)
            throws Exception {
        var value = Values.open(null, m_log::add).of((DataIdentifier) Identifier.parse(identifier))
                .orElseThrow();

        var count = value[position + countSize - 1];
        assertEquals(position + countSize + count * entrySize, value.length);
    }

    @Test
    void anEditShowsInTheNextRead() throws Exception {
        Files.writeString(m_file, "[0x54DF]\nbytes = 01");
        var sut = Values.open(m_file, m_log::add);
        assertArrayEquals(new byte[] {1}, sut.of(ANY).orElseThrow());

        Files.writeString(m_file, "[0x54DF]\nbytes = 02");

        assertArrayEquals(new byte[] {2}, sut.of(ANY).orElseThrow());
        assertEquals(List.of(), m_log);
    }

    @Test
    void identifierWithoutABlockHasNoValue() throws Exception {
        Files.writeString(m_file, "[0x54DF]\nbytes = 01");

        assertEquals(Optional.empty(), Values.open(m_file, m_log::add).of(DataIdentifier.METADATA_SHADOW_COPY));
    }

    @Test
    void whileTheFileHasAMistakeTheLastGoodValuesStay() throws Exception {
        Files.writeString(m_file, "[0x54DF]\nbytes = 01");
        var sut = Values.open(m_file, m_log::add);

        Files.writeString(m_file, "[0x54DF]\nbytes = xx");
        var kept = sut.of(ANY);
        Files.delete(m_file);
        var keptStill = sut.of(ANY);

        assertArrayEquals(new byte[] {1}, kept.orElseThrow());
        assertArrayEquals(new byte[] {1}, keptStill.orElseThrow());
        assertEquals(List.of(
                m_file + ":2: 'xx' is neither a hex byte (00 to ff) nor a \"text\"; the values read before stay",
                m_file + ": there is no such file; the values read before stay"), m_log);
    }

    @Test
    void aFileThatCannotBeReadIsRefusedAtTheStart(@TempDir Path folder) throws Exception {
        assertEquals(m_file + ": there is no such file", refusal(m_file));
        Files.write(m_file, new byte[] {'#', (byte) 0xFF});
        assertEquals(m_file + ": the file is no UTF-8 text", refusal(m_file));
        assertEquals(folder + ": cannot be read: Is a directory", refusal(folder));
    }

    private String refusal(Path file) {
        return assertThrows(ValuesFile.Mistake.class, () -> Values.open(file, m_log::add)).getMessage();
    }

    @ParameterizedTest
    @EnumSource
    void everyRoutineHasABuiltInBlock(Routine routine) throws Exception {
        assertTrue(ValuesFile.read("values.txt", Values.builtInLines()).routines().containsKey(routine));
    }

    @Test
    void anEditShowsInTheNextStartOfARoutine() throws Exception {
        Files.writeString(m_file, "[0x0687]\ntakes = 5 ms");
        var sut = Values.open(m_file, m_log::add);
        assertEquals(Duration.ofMillis(5), sut.of(Routine.REBUILD_PARAMETERS).takes());
        assertEquals(RoutineSettings.DEFAULT, sut.of(Routine.INITIALIZE_PARAMETERS));

        Files.writeString(m_file, "[0x0687]\ntakes = 6 ms");

        assertEquals(Duration.ofMillis(6), sut.of(Routine.REBUILD_PARAMETERS).takes());
    }
}
