package zvif.vehicle.services.val.testing;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * What this process holds of the system at one moment.
 *
 * @param threads native threads, those of the JVM among them
 * @param descriptors open files and sockets
 * @param residentKb memory in RAM
 */
public record ProcessFigures(long threads, long descriptors, long residentKb) {
    public static ProcessFigures now() throws IOException {
        System.gc();
        return new ProcessFigures(status("Threads:"), openDescriptors(), status("VmRSS:"));
    }

    private static long openDescriptors() throws IOException {
        try (var open = Files.list(Path.of("/proc/self/fd"))) {
            return open.count() - 1; // not the one that lists them
        }
    }

    private static long status(String key) throws IOException {
        try (var lines = Files.lines(Path.of("/proc/self/status"))) {
            return lines.filter(line -> line.startsWith(key)).findFirst()
                    .map(line -> Long.parseLong(line.replaceAll("\\D", ""))).orElseThrow();
        }
    }
}
