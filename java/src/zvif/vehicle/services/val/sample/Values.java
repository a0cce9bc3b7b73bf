package zvif.vehicle.services.val.sample;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.util.List;
import java.util.Optional;
import java.util.function.Consumer;

/**
 * The values and routines of the service, as its file says at this moment.
 *
 * <p>The file is read again for every request: an edit shows in the next read. While it has a mistake in it, or is
 * away, what was read before stays and every request says so. Used by any thread.
 */
final class Values {
    private static final String BUILT_IN = "values.txt";

    private final Path m_file; // null: the values that came with the program, which do not change
    private final Consumer<String> m_log;
    private ValuesFile.Content m_content; // guarded by this object

    private Values(Path file, ValuesFile.Content content, Consumer<String> log) {
        m_file = file;
        m_content = content;
        m_log = log;
    }

    /**
     * Opens a file of values.
     *
     * @param file the file; null for the values that came with the program
     * @param log gets what is wrong with the file later on
     */
    static Values open(Path file, Consumer<String> log) throws ValuesFile.Mistake {
        return new Values(file, file == null ? ValuesFile.read(BUILT_IN, builtInLines()) : load(file), log);
    }

    /** The value of an identifier; empty when the file has no block for it. */
    Optional<byte[]> of(DataIdentifier identifier) {
        return Optional.ofNullable(content().values().get(identifier));
    }

    /** What a routine does; it ends at once when the file has no block for it. */
    RoutineSettings of(Routine routine) {
        return content().routines().getOrDefault(routine, RoutineSettings.DEFAULT);
    }

    private synchronized ValuesFile.Content content() {
        if (m_file != null) {
            try {
                m_content = load(m_file);
            } catch (ValuesFile.Mistake mistake) {
                m_log.accept(mistake.getMessage() + "; the values read before stay");
            }
        }
        return m_content;
    }

    static List<String> builtInLines() {
        try (var stream = Values.class.getResourceAsStream(BUILT_IN)) {
            return new String(stream.readAllBytes(), StandardCharsets.UTF_8).lines().toList();
        } catch (IOException error) {
            throw new UncheckedIOException(error);
        }
    }

    private static ValuesFile.Content load(Path file) throws ValuesFile.Mistake {
        try {
            return ValuesFile.read(file.toString(), Files.readAllLines(file, StandardCharsets.UTF_8));
        } catch (NoSuchFileException error) {
            throw new ValuesFile.Mistake(file.toString(), "there is no such file");
        } catch (CharacterCodingException error) {
            throw new ValuesFile.Mistake(file.toString(), "the file is no UTF-8 text");
        } catch (IOException error) {
            throw new ValuesFile.Mistake(file.toString(), "cannot be read: " + error.getMessage());
        }
    }
}
