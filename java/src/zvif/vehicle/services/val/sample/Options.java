package zvif.vehicle.services.val.sample;

import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.Iterator;
import java.util.List;
import java.util.Set;
import java.util.function.Supplier;

/**
 * What the command line says.
 *
 * @param text what is wanted printed, and nothing else; null: the service is to run
 * @param values the file of values; null for those that came with the program
 * @param logLevel as for {@code register}
 * @param silent data identifiers and routines that get no answer
 * @param delay what passes before each answer
 * @param reports the trouble codes to report at the start
 */
record Options(String text, Path values, int logLevel, Set<Identifier> silent, Duration delay,
        List<TroubleCode.Report> reports) {
    static final String USAGE = """
            Usage: java -Djava.library.path=FOLDER -jar diag-ara-val.jar [OPTION]...
            A VAL service: answers the reads of fourteen data identifiers and runs four routines as a file says,
            reports trouble codes, and asks the platform for adaptations, datasets and coding.

              --values FILE     answer from FILE; an edit of it shows in the next read
                                (default: the values that came with the program)
              --print-values    print those values, as a start for a file of your own, and end
              --log-level N     0: the native library writes no log; above 0: it does (default: 2)
              --silent ID       never answer this data identifier or routine, such as 0xB047 (may be repeated)
              --delay MS        wait so many milliseconds before each answer
              --dtc CODE=STATE  report a trouble code at the start, such as 0x81A2E0=failed (may be repeated);
                                '--dtc help' lists the codes and ends
              --help            print this and end

            %s
            Prints "VAL service is up" when reads can come. Ends on SIGTERM or Ctrl-C, but not with its input.
            Exit status: 143 after SIGTERM, 130 after Ctrl-C, 0 after 'quit'; 1 the bridge failed; 2 a wrong option
            or file.
            """.formatted(Commands.USAGE);

    static final String TROUBLE_CODES = """
            Trouble codes: %s
            At the start:     --dtc CODE=failed or --dtc CODE=passed
            While it runs:    'dtc CODE failed' or 'dtc CODE passed' on its standard input
            A code is decimal, or hexadecimal behind 0x.
            """.formatted(TroubleCode.all());

    private static final int DEFAULT_LOG_LEVEL = 2;
    private static final int LONGEST_DELAY_MS = 600_000;

    /**
     * Reads the command line.
     *
     * @throws IllegalArgumentException with a text for the user
     */
    static Options parse(List<String> arguments) {
        String text = null;
        Path values = null;
        var logLevel = DEFAULT_LOG_LEVEL;
        var silent = new HashSet<Identifier>();
        var delay = Duration.ZERO;
        var reports = new ArrayList<TroubleCode.Report>();
        for (var argument = arguments.iterator(); argument.hasNext();) {
            var option = argument.next();
            switch (option) {
                case "--help", "-h" -> text = USAGE;
                case "--print-values" -> text = String.join("\n", Values.builtInLines()) + "\n";
                case "--values" -> values = Path.of(valueOf(option, argument));
                case "--log-level" -> logLevel = number(option, valueOf(option, argument), Integer.MAX_VALUE);
                case "--silent" -> {
                    var value = valueOf(option, argument);
                    silent.add(named(option, () -> Identifier.parse(value)));
                }
                case "--delay" -> delay = Duration.ofMillis(
                        number(option, valueOf(option, argument), LONGEST_DELAY_MS));
                case "--dtc" -> {
                    var value = valueOf(option, argument);
                    if (value.equals("help")) {
                        text = TROUBLE_CODES;
                    } else {
                        reports.add(named(option, () -> report(value)));
                    }
                }
                default -> throw new IllegalArgumentException("unknown option '" + option + "'; --help lists them");
            }
        }
        return new Options(text, values, logLevel, silent, delay, reports);
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

    private static TroubleCode.Report report(String text) {
        var parts = text.split("=", 2);
        if (parts.length < 2) {
            throw new IllegalArgumentException("'" + text + "' is not CODE=failed or CODE=passed");
        }
        return new TroubleCode.Report(TroubleCode.parse(parts[0]), TroubleCode.State.parse(parts[1]));
    }

    /** Puts the option in front of what is wrong with its value. */
    private static <T> T named(String option, Supplier<T> value) {
        try {
            return value.get();
        } catch (IllegalArgumentException error) {
            throw new IllegalArgumentException(option + ": " + error.getMessage(), error);
        }
    }
}
