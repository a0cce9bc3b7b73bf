package zvif.vehicle.services.val.sample;

import java.io.BufferedReader;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;

import zvif.vehicle.services.val.diagara.ConnectorNativeDiagARA;

/**
 * A VAL service as a program: registers with the bridge, answers as a file says and does what its input says, until it
 * is ended.
 */
public final class SampleValService {
    private static final int EXIT_BRIDGE_FAILED = 1;
    private static final int EXIT_WRONG_INPUT = 2;
    private static final long LONGEST_STOP_MS = 150;

    private SampleValService() { }

    /**
     * Runs the service.
     *
     * @param arguments see {@code --help}
     */
    public static void main(String[] arguments) {
        var status = start(Arrays.asList(arguments));
        if (status != 0) {
            System.exit(status);
        }
    }

    /** Returns 0 when the service is up (its thread goes on) or there was nothing to start. */
    private static int start(List<String> arguments) {
        try {
            var options = Options.parse(arguments);
            if (options.text() == null) {
                return serve(options);
            }
            System.out.print(options.text());
            return 0;
        } catch (IllegalArgumentException | ValuesFile.Mistake wrong) {
            log(wrong.getMessage());
            return EXIT_WRONG_INPUT;
        }
    }

    private static int serve(Options options) throws ValuesFile.Mistake {
        var values = Values.open(options.values(), SampleValService::log);
        for (var identifier : DataIdentifier.values()) {
            values.of(identifier).flatMap(value -> identifier.complaintAbout(value.length))
                    .ifPresent(SampleValService::log);
        }
        ConnectorNativeDiagARA bridge;
        try {
            bridge = new ConnectorNativeDiagARA();
        } catch (LinkageError error) {
            log(error.getMessage());
            return EXIT_BRIDGE_FAILED;
        }
        var service = new Service(new Responder(values::of, bridge::write, options.silent(), options.delay(),
                SampleValService::log), new Routines(values::of, bridge::write, options.silent(), options.delay(),
                System::nanoTime, System.out::println, SampleValService::log),
                new Platform(bridge::write, System.out::println, SampleValService::log));
        var result = register(bridge, service, options.logLevel());
        if (result != 0) {
            service.close();
            return EXIT_BRIDGE_FAILED;
        }
        Runtime.getRuntime().addShutdownHook(new Thread(() -> stop(bridge, service), "VAL stop"));
        System.out.println("VAL service is up");
        options.reports().forEach(service.platform()::report);
        listen(service.platform());
        return 0;
    }

    private static void listen(Platform platform) {
        if (CommandInput.mayBeRead()) {
            var lines = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8));
            CommandInput.start(lines, new Commands(platform, () -> System.exit(0), System.out::println),
                    SampleValService::log);
        } else {
            log("in the background of a terminal no commands are read; give it a pipe to take them from");
        }
    }

    private static int register(ConnectorNativeDiagARA bridge, Service service, int logLevel) {
        try {
            var result = bridge.register(service, logLevel);
            if (result != 0) {
                log("the bridge refused to start, result " + result + "; its log tells why");
            }
            return result;
        } catch (Exception refused) {
            log("the bridge refused to start: " + refused.getMessage());
            return EXIT_BRIDGE_FAILED;
        }
    }

    /**
     * Ends the bridge, but goes on after a while if that waits for a reply of the platform: the end of the process, with
     * its own exit status, ends the bridge as well.
     */
    private static void stop(ConnectorNativeDiagARA bridge, Service service) {
        var unregister = new FutureTask<>(() -> {
            service.close();
            return bridge.unregister();
        });
        new Thread(unregister, "VAL unregister").start();
        try {
            if (unregister.get(LONGEST_STOP_MS, TimeUnit.MILLISECONDS) == 0) {
                log("stopped");
                return;
            }
        } catch (TimeoutException busy) {
            log("the bridge still waits for a reply; the process ends without it");
            return;
        } catch (InterruptedException | ExecutionException failed) {
            // reported below, like a refusal
        }
        log("the bridge did not stop");
        Runtime.getRuntime().halt(EXIT_BRIDGE_FAILED);
    }

    private static void log(String text) {
        System.err.println("VAL service: " + text);
    }
}
