package zvif.vehicle.services.val.sample;

import java.time.Duration;

import zvif.vehicle.services.val.records.DiagmgrEnumerations;

/**
 * What a routine does when it is started.
 *
 * @param takes from its start to its end
 * @param status what it tells when it has ended; 16 to 19 do not fit into the four bits of a tester's reply, which
 *     then says that there is no result
 * @param result what came of it
 */
record RoutineSettings(Duration takes, int status, int result) {
    /** At once, finished, correct. */
    static final RoutineSettings DEFAULT = new RoutineSettings(Duration.ZERO, Routines.FINISHED, Routines.CORRECT);

    static final int LONGEST_RUN_MS = 3_600_000;

    /** How the numbers that {@link DiagmgrEnumerations#tRoutineStatus} allows are told to a person. */
    static final String STATUSES = Numbers.listed(DiagmgrEnumerations.tRoutineStatus::hasValue);

    /** How the numbers that {@link DiagmgrEnumerations#tRoutineResult} allows are told to a person. */
    static final String RESULTS = Numbers.listed(DiagmgrEnumerations.tRoutineResult::hasValue);

    static boolean isStatus(long number) {
        return DiagmgrEnumerations.tRoutineStatus.hasValue(number);
    }

    static boolean isResult(long number) {
        return DiagmgrEnumerations.tRoutineResult.hasValue(number);
    }
}
