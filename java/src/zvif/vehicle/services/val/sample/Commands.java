package zvif.vehicle.services.val.sample;

import java.util.List;
import java.util.function.Consumer;
import java.util.function.LongPredicate;

import zvif.vehicle.services.val.records.DiagmgrEnumerations;

/**
 * What a person may type while the service runs, line by line.
 *
 * <p>Used by one thread, which is not the bridge's callback.
 */
final class Commands {
    /** The adaptations that the bridge knows a record of. */
    private static final List<Long> MAPPED = List.of(149L, 255L, 312L, 316L);

    static final String USAGE = """
            Commands on the standard input while it runs:
              dtc CODE failed|passed    report a trouble code: %s
              adaptation ID...          ask for adaptations, a message each; 'all' stands for %s
              adaptation-set ID...      ask for up to 64 adaptations in one message; 'all' as above
              dataset ID [SEGMENT]      ask for a segment of a dataset
              dataset-version ID        ask for the version of a dataset
              coding                    ask for the coding
              monitor-path ID           ask for the monitor path of a component
              help                      print this
              quit                      end the service
            Numbers are decimal, or hexadecimal as in 0x81A2E0. Answers are printed when they come.
            """.formatted(TroubleCode.all(), MessageText.ids(MAPPED));

    private static final int MOST_IN_A_SET = 64;
    private static final int LARGEST_SEGMENT = 255;

    private final Platform m_platform;
    private final Runnable m_quit;
    private final Consumer<String> m_print;

    Commands(Platform platform, Runnable quit, Consumer<String> print) {
        m_platform = platform;
        m_quit = quit;
        m_print = print;
    }

    /**
     * Does what a line says; nothing for an empty one or a comment.
     *
     * @throws IllegalArgumentException with a text for the user
     */
    void run(String line) {
        var text = line.strip();
        if (text.isEmpty() || text.startsWith("#")) {
            return;
        }
        var words = List.of(text.split("\\s+"));
        var arguments = words.subList(1, words.size());
        switch (words.get(0)) {
            case "dtc" -> {
                expect(arguments, 2, 2, "dtc CODE failed|passed");
                m_platform.report(new TroubleCode.Report(TroubleCode.parse(arguments.get(0)),
                        TroubleCode.State.parse(arguments.get(1))));
            }
            case "adaptation" -> {
                expect(arguments, 1, Integer.MAX_VALUE, "adaptation ID...");
                adaptations(arguments).forEach(m_platform::askAdaptation);
            }
            case "adaptation-set" -> {
                expect(arguments, 1, MOST_IN_A_SET, "adaptation-set ID..., 64 of them at most");
                m_platform.askAdaptationSet(adaptations(arguments));
            }
            case "dataset" -> {
                expect(arguments, 1, 2, "dataset ID [SEGMENT]");
                m_platform.askDataset(dataset(arguments.get(0)), arguments.size() < 2 ? 0 : segment(arguments.get(1)));
            }
            case "dataset-version" -> {
                expect(arguments, 1, 1, "dataset-version ID");
                m_platform.askDatasetVersion(dataset(arguments.get(0)));
            }
            case "coding" -> {
                expect(arguments, 0, 0, "coding, and nothing else");
                m_platform.askCoding();
            }
            case "monitor-path" -> {
                expect(arguments, 1, 1, "monitor-path ID");
                m_platform.askMonitorPath(Numbers.unsigned(arguments.get(0)));
            }
            case "help" -> m_print.accept(USAGE.stripTrailing());
            case "quit" -> m_quit.run();
            default -> throw new IllegalArgumentException("unknown command '" + words.get(0)
                    + "'; known are dtc, adaptation, adaptation-set, dataset, dataset-version, coding, monitor-path,"
                    + " help, quit");
        }
    }

    private static void expect(List<String> arguments, int fewest, int most, String form) {
        if (arguments.size() < fewest || arguments.size() > most) {
            throw new IllegalArgumentException("the command is: " + form);
        }
    }

    private static List<Long> adaptations(List<String> texts) {
        if (texts.equals(List.of("all"))) {
            return MAPPED;
        }
        return texts.stream().map(text -> oneOf(text, DiagmgrEnumerations.tDiagMgrAdaptationID::hasValue, "adaptation")).toList();
    }

    private static long dataset(String text) {
        return oneOf(text, DiagmgrEnumerations.tDiagMgrDatasetID::hasValue, "dataset");
    }

    private static int segment(String text) {
        var number = Numbers.unsigned(text);
        if (number > LARGEST_SEGMENT) {
            throw new IllegalArgumentException("'" + text + "' is no segment; it is a number from 0 to "
                    + LARGEST_SEGMENT);
        }
        return (int) number;
    }

    private static long oneOf(String text, LongPredicate allowed, String what) {
        var number = Numbers.unsigned(text);
        if (!allowed.test(number)) {
            throw new IllegalArgumentException("'" + text + "' is no " + what + "; allowed are "
                    + Numbers.listed(allowed));
        }
        return number;
    }
}
