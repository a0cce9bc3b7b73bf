package zvif.vehicle.services.val.diagara;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.LinkedBlockingQueue;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.testing.Addresses;
import zvif.vehicle.services.val.testing.SomeIpClient;

/** A program that ends in the way that its argument names, and should end well. */
public final class ExitScenarios {
    private static final ConnectorNativeDiagARA BRIDGE = new ConnectorNativeDiagARA();

    private ExitScenarios() { }

    public static void main(String[] arguments) throws Exception {
        System.out.println("started");
        switch (arguments[0]) {
            case "returnAfterLoading" -> { }
            case "exitAfterLoading" -> System.exit(0);
            case "returnWhileRegistered" -> BRIDGE.register((id, payload) -> { }, 1);
            case "exitWhileRegistered" -> {
                BRIDGE.register((id, payload) -> { }, 1);
                System.exit(0);
            }
            case "exitWithAReadPending" -> {
                var arrived = new CountDownLatch(1);
                BRIDGE.register((id, payload) -> arrived.countDown(), 1);
                new SomeIpClient(Addresses.OWN).request(0x54DF);
                arrived.await();
                System.exit(0);
            }
            case "exitDuringTraffic" -> {
                startTraffic();
                System.exit(0);
            }
            case "unregisterDuringTrafficAndExit" -> {
                startTraffic();
                System.exit(-BRIDGE.unregister());
            }
            case "exitInsideTheCallback" -> {
                BRIDGE.register((id, payload) -> System.exit(0), 1);
                new SomeIpClient(Addresses.OWN).request(0x54DF);
                Thread.sleep(60_000);
            }
            default -> throw new IllegalArgumentException(arguments[0]);
        }
    }

    /** Readers that read, and Java that answers, until the process ends. Returns when it is going well. */
    private static void startTraffic() throws Exception {
        var requests = new LinkedBlockingQueue<byte[]>();
        IValMessageCallback listener = (id, payload) -> requests.add(payload);
        BRIDGE.register(listener, 1);
        startDaemon(() -> {
            while (true) {
                var response = ByteBuffer.allocate(11).order(ByteOrder.LITTLE_ENDIAN);
                response.put(requests.take()).putShort(8, (short) 1);
                BRIDGE.write(2350, 11, response.array());
            }
        });
        var goingWell = new CountDownLatch(20);
        for (var identifier : new int[] {0x54DC, 0x54DE, 0x54DF}) {
            startDaemon(() -> {
                try (var tester = new SomeIpClient(Addresses.OWN)) {
                    while (true) {
                        tester.request(identifier);
                        tester.reply(20);
                        goingWell.countDown();
                    }
                }
            });
        }
        goingWell.await();
    }

    private interface Work {
        void run() throws IOException, InterruptedException;
    }

    private static void startDaemon(Work work) {
        var thread = new Thread(() -> {
            try {
                work.run();
            } catch (IOException | InterruptedException gone) {
                // the bridge went down, as it should
            }
        });
        thread.setDaemon(true);
        thread.start();
    }
}
