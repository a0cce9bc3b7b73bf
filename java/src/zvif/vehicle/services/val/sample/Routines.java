package zvif.vehicle.services.val.sample;

import java.time.Duration;
import java.util.EnumMap;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.Executors;
import java.util.concurrent.RejectedExecutionException;
import java.util.concurrent.ScheduledExecutorService;
import java.util.concurrent.TimeUnit;
import java.util.function.Consumer;
import java.util.function.Function;
import java.util.function.LongSupplier;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.records.MessageIds;
import zvif.vehicle.services.val.records.RecordException;
import zvif.vehicle.services.val.records.tControlParameter;
import zvif.vehicle.services.val.records.tDiagmgrJavaRoutineReqds;
import zvif.vehicle.services.val.records.tDiagmgrJavaRoutineRespds;

/**
 * The four routines: keeps the state of each and answers the requests for it (message 665) with what it is in then
 * (message 666), any number at a time.
 *
 * <pre>
 *            Start                  its time has passed
 *   IDLE ────────────► RUNNING ──────────────────────────► FINISHED
 *                         │ Stop
 *                         └───────► STOPPED
 *
 *   Start from any state: RUNNING, from the beginning. Cancel from any state: IDLE, nothing is known any more.
 *   Stop of what does not run, and RequestResults: no change.
 * </pre>
 *
 * <p>The callback only hands over to the one thread of this object, which is started by the constructor, owns all
 * state, and ends in {@link #close}: a request that is still waiting then gets no answer.
 */
final class Routines implements IValMessageCallback, AutoCloseable {
    // The words of this service for routineStatus. It leaves out 2: with result 0 that is what the bridge tells a
    // tester when it has no answer, 0x20.
    static final int IDLE = 0;
    static final int RUNNING = 1;
    static final int FINISHED = 3;
    static final int STOPPED = 4;

    // The words of this service for routineResult; 2 stands for a failure.
    static final int NO_RESULT = 0;
    static final int CORRECT = 1;

    private record State(int status, RoutineSettings settings, long endsAt) { }

    private final Function<Routine, RoutineSettings> m_settings;
    private final Sender m_sender;
    private final Set<? extends Identifier> m_silent;
    private final Duration m_delay;
    private final LongSupplier m_nanoseconds;
    private final Consumer<String> m_print;
    private final Consumer<String> m_log;
    private final Map<Routine, State> m_states = new EnumMap<>(Routine.class); // only the thread touches it
    private final ScheduledExecutorService m_thread = Executors.newSingleThreadScheduledExecutor(
            body -> new Thread(body, "VAL routines"));

    /**
     * Starts the thread.
     *
     * @param settings asked at each start
     * @param silent routines that get no answer
     * @param delay what passes before each answer; it holds up no other
     * @param nanoseconds a clock
     * @param print gets a line for each request
     * @param log gets what goes wrong
     */
    Routines(Function<Routine, RoutineSettings> settings, Sender sender, Set<? extends Identifier> silent,
            Duration delay, LongSupplier nanoseconds, Consumer<String> print, Consumer<String> log) {
        m_settings = settings;
        m_sender = sender;
        m_silent = silent;
        m_delay = delay;
        m_nanoseconds = nanoseconds;
        m_print = print;
        m_log = log;
    }

    @Override
    public void handleMsg(int messageId, byte[] payload) {
        if (messageId != MessageIds.DiagmgrJavaRoutineReq) {
            return;
        }
        try {
            // Its queue needs no bound: the bridge keeps at most ten requests of a routine waiting.
            m_thread.execute(() -> answer(payload));
        } catch (RejectedExecutionException closed) {
            m_log.accept("message " + messageId + " dropped: the service ends");
        }
    }

    @Override
    public void close() {
        m_thread.shutdownNow();
        try {
            m_thread.awaitTermination(Long.MAX_VALUE, TimeUnit.NANOSECONDS);
        } catch (InterruptedException hurried) {
            Thread.currentThread().interrupt();
        }
    }

    private void answer(byte[] payload) {
        tDiagmgrJavaRoutineReqds request;
        try {
            request = tDiagmgrJavaRoutineReqds.decode(payload);
        } catch (RecordException malformed) {
            m_log.accept("message " + MessageIds.DiagmgrJavaRoutineReq + " is malformed and gets no answer: "
                    + malformed.getMessage());
            return;
        }
        var routine = Routine.ofMessage(request.routineId);
        if (routine.isEmpty()) {
            m_log.accept("routine id " + request.routineId + " is not known here; no answer");
            return;
        }
        var state = after(request.controlParameter, routine.get());
        m_states.put(routine.get(), state);
        var response = response(request, state);
        m_print.accept("routine %s %s: status %d, result %d (transaction %d)".formatted(routine.get(),
                name(request.controlParameter), response.routineStatus, response.routineResult,
                request.transactionId));
        if (m_silent.contains(routine.get())) {
            m_log.accept(routine.get() + " is to stay silent; no answer");
        } else {
            m_thread.schedule(() -> send(routine.get(), response), m_delay.toMillis(), TimeUnit.MILLISECONDS);
        }
    }

    private State after(int controlParameter, Routine routine) {
        var state = now(m_states.getOrDefault(routine, new State(IDLE, RoutineSettings.DEFAULT, 0)));
        return switch (controlParameter) {
            case tControlParameter.eControlParameterStart -> started(m_settings.apply(routine));
            case tControlParameter.eControlParameterStop ->
                state.status == RUNNING ? new State(STOPPED, state.settings, 0) : state;
            case tControlParameter.eControlParameterCancel -> new State(IDLE, state.settings, 0);
            default -> state;
        };
    }

    private State started(RoutineSettings settings) {
        return new State(RUNNING, settings, m_nanoseconds.getAsLong() + settings.takes().toNanos());
    }

    private State now(State state) {
        var ended = state.status == RUNNING && m_nanoseconds.getAsLong() - state.endsAt >= 0;
        return ended ? new State(FINISHED, state.settings, 0) : state;
    }

    private static tDiagmgrJavaRoutineRespds response(tDiagmgrJavaRoutineReqds request, State state) {
        var response = new tDiagmgrJavaRoutineRespds();
        response.routineId = request.routineId;
        response.transactionId = request.transactionId;
        response.controlParameter = request.controlParameter;
        response.routineStatus = state.status == FINISHED ? state.settings.status() : state.status;
        response.routineResult = state.status == FINISHED ? state.settings.result() : NO_RESULT;
        return response;
    }

    private void send(Routine routine, tDiagmgrJavaRoutineRespds response) {
        if (!m_sender.send(MessageIds.DiagmgrJavaRoutineResp, response.encode())) {
            m_log.accept("the bridge did not take the answer for routine " + routine);
        }
    }

    private static String name(int controlParameter) {
        return switch (controlParameter) {
            case tControlParameter.eControlParameterStart -> "start";
            case tControlParameter.eControlParameterStop -> "stop";
            case tControlParameter.eControlParameterRequestResults -> "results";
            default -> "cancel";
        };
    }
}
