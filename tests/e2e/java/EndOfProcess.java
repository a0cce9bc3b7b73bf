package zvif.vehicle.services.val.e2e;

import java.io.IOException;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.LinkedBlockingQueue;

import zvif.vehicle.services.val.diagara.ConnectorNativeDiagARA;

/**
 * A program that does what its argument names, and ends as a line on its standard input says. Each message that it gets
 * is a line with its number.
 */
public final class EndOfProcess {
    private static final ConnectorNativeDiagARA BRIDGE = new ConnectorNativeDiagARA();
    private static final BlockingQueue<byte[]> READS = new LinkedBlockingQueue<>();
    private static final int DIAGNOSTICS_REQUEST = 2349;
    private static final int DIAGNOSTICS_RESPONSE = 2350;
    private static final int NOBODYS_MESSAGE = 601;
    private static final int WRITERS = 4;

    private EndOfProcess() { }

    /** Has threads of native code call the bridge's {@code write} from now on. */
    private static native void startNativeWriters(int number);

    public static void main(String[] arguments) throws Exception {
        BRIDGE.register(EndOfProcess::receive, 1);
        switch (arguments[0]) {
            case "silent" -> { }
            case "answer" -> startDaemon(EndOfProcess::answerReads);
            case "write" -> {
                for (var i = 0; i < WRITERS; ++i) {
                    startDaemon(EndOfProcess::writeOnAndOn);
                }
            }
            case "native" -> {
                System.loadLibrary("native_writers");
                startNativeWriters(WRITERS);
            }
            default -> throw new IllegalArgumentException(arguments[0]);
        }
        System.out.println("up");
        end();
    }

    private static void end() throws IOException, InterruptedException {
        var line = new StringBuilder();
        for (var next = System.in.read(); next != '\n'; next = System.in.read()) {
            line.append((char) next);
        }
        switch (line.toString()) {
            case "return" -> { }
            case "exit" -> System.exit(7);
            case "halt" -> Runtime.getRuntime().halt(9);
            case "unregister" -> {
                var begins = new CountDownLatch(1);
                startDaemon(() -> {
                    begins.countDown();
                    BRIDGE.unregister();
                });
                begins.await();
                System.exit(5);
            }
            default -> throw new IllegalArgumentException(line.toString());
        }
    }

    private static void receive(int id, byte[] payload) {
        System.out.println(id);
        if (id == DIAGNOSTICS_REQUEST) {
            READS.add(payload);
        }
    }

    /** Answers with a byte, which is enough for a list of parameters. */
    private static void answerReads() throws InterruptedException {
        while (true) {
            var response = new byte[11];
            System.arraycopy(READS.take(), 0, response, 0, 2);
            response[8] = 1;
            BRIDGE.write(DIAGNOSTICS_RESPONSE, response.length, response);
        }
    }

    private static void writeOnAndOn() {
        var data = new byte[8];
        while (true) {
            BRIDGE.write(DIAGNOSTICS_RESPONSE, data.length, data);
            BRIDGE.write(NOBODYS_MESSAGE, data.length, data);
        }
    }

    private interface Work {
        void run() throws InterruptedException;
    }

    private static void startDaemon(Work work) {
        var thread = new Thread(() -> {
            try {
                work.run();
            } catch (InterruptedException nobodyDoes) {
                throw new IllegalStateException(nobodyDoes);
            }
        });
        thread.setDaemon(true);
        thread.start();
    }
}
