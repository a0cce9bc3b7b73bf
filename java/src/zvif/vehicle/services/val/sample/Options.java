package zvif.vehicle.services.val.sample;

import java.nio.file.Path;
import java.time.Duration;
import java.util.EnumSet;
import java.util.Iterator;
import java.util.List;
import java.util.Set;

/**
 * What the command line says.
 *
 * @param help the usage is wanted, and nothing else
 * @param printValues the values that came with the program are wanted, and nothing else
 * @param values the file of values; null for those that came with the program
 * @param logLevel as for {@code register}
 * @param silent identifiers that get no answer
 * @param delay what passes before each answer
 */
record Options(boolean help, boolean printValues, Path values, int logLevel, Set<DataIdentifier> silent,
        Duration delay) {
    static final String USAGE = """
            Usage: java -Djava.library.path=FOLDER -jar diag-ara-val.jar [OPTION]...
            A VAL service that answers the reads of fourteen data identifiers from a file of values.

              --values FILE     answer from FILE; an edit of it shows in the next read
                                (default: the values that came with the program)
              --print-values    print those values, as a start for a file of your own, and end
              --log-level N     0: the native library writes no log; above 0: it does (default: 2)
              --silent ID       never answer this identifier, such as 0xB047 (may be repeated)
              --delay MS        wait so many milliseconds before each answer
              --help            print this and end

            Prints "VAL service is up" when reads can come. Ends on SIGTERM or Ctrl-C.
            Exit status: 143 after SIGTERM and 130 after Ctrl-C; 1 the bridge failed; 2 a wrong option or file.
            """;

    private static final int DEFAULT_LOG_LEVEL = 2;
    private static final int LONGEST_DELAY_MS = 600_000;

    /**
     * Reads the command line.
     *
     * @throws IllegalArgumentException with a text for the user
     */
    static Options parse(List<String> arguments) {
        var help = false;
        var printValues = false;
        Path values = null;
        var logLevel = DEFAULT_LOG_LEVEL;
        var silent = EnumSet.noneOf(DataIdentifier.class);
        var delay = Duration.ZERO;
        for (var argument = arguments.iterator(); argument.hasNext();) {
            var option = argument.next();
            switch (option) {
                case "--help", "-h" -> help = true;
                case "--print-values" -> printValues = true;
                case "--values" -> values = Path.of(valueOf(option, argument));
                case "--log-level" -> logLevel = number(option, valueOf(option, argument), Integer.MAX_VALUE);
                case "--silent" -> silent.add(identifier(option, valueOf(option, argument)));
                case "--delay" -> delay = Duration.ofMillis(
                        number(option, valueOf(option, argument), LONGEST_DELAY_MS));
                default -> throw new IllegalArgumentException("unknown option '" + option + "'; --help lists them");
            }
        }
        return new Options(help, printValues, values, logLevel, silent, delay);
    }

    private static String valueOf(String option, Iterator<String> argument) {
        if (!argument.hasNext()) {
            throw new IllegalArgumentException(option + " needs a value; --help tells which");
        }
        return argument.next();
    }

    private static int number(String option, String text, int largest) {
        try {
            var number = Integer.parseInt(text);
            if (number >= 0 && number <= largest) {
                return number;
            }
        } catch (NumberFormatException error) {
            // told below, like a number out of range
        }
        throw new IllegalArgumentException(option + ": '" + text + "' is no number from 0 to " + largest);
    }

    private static DataIdentifier identifier(String option, String text) {
        try {
            return DataIdentifier.parse(text);
        } catch (IllegalArgumentException error) {
            throw new IllegalArgumentException(option + ": " + error.getMessage(), error);
        }
    }
}
