package zvif.vehicle.services.val.sample;

import java.util.Arrays;
import java.util.stream.Collectors;

/** The trouble codes that the bridge carries to the diagnostic event manager. */
enum TroubleCode {
    CODE_81A2E0(0x81A2E0), CODE_81A2E1(0x81A2E1), CODE_81A2E2(0x81A2E2);

    /** What is told of a code; the number is the {@code status} of message 2937. */
    enum State {
        PASSED(0), FAILED(1);

        private final int m_number;

        State(int number) {
            m_number = number;
        }

        int number() {
            return m_number;
        }

        static State parse(String text) {
            return switch (text) {
                case "passed" -> PASSED;
                case "failed" -> FAILED;
                default -> throw new IllegalArgumentException("'" + text + "' is neither failed nor passed");
            };
        }

        @Override
        public String toString() {
            return this == PASSED ? "passed" : "failed";
        }
    }

    /** A code and its state. */
    record Report(TroubleCode code, State state) { }

    private final int m_number;

    TroubleCode(int number) {
        m_number = number;
    }

    int number() {
        return m_number;
    }

    /**
     * Reads 8495840, 0x81A2E0 or the like.
     *
     * @throws IllegalArgumentException when the bridge has no such code; the text names those that it has
     */
    static TroubleCode parse(String text) {
        try {
            var number = Numbers.unsigned(text);
            return Arrays.stream(values()).filter(code -> code.m_number == number).findFirst().orElseThrow();
        } catch (RuntimeException notOneOfThem) {
            throw new IllegalArgumentException("'" + text + "' is no trouble code of the bridge; known are " + all(),
                    notOneOfThem);
        }
    }

    static String all() {
        return Arrays.stream(values()).map(TroubleCode::toString).collect(Collectors.joining(", "));
    }

    @Override
    public String toString() {
        return "0x%06X (%d)".formatted(m_number, m_number);
    }
}
