package zvif.vehicle.services.val.sample;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.function.Consumer;

/**
 * Reads commands from the standard input until it ends; the service goes on without it.
 *
 * <p>Its thread keeps nobody alive, for it cannot be woken from a terminal that says nothing.
 */
final class CommandInput {
    private final BufferedReader m_lines;
    private final Commands m_commands;
    private final Consumer<String> m_log;

    private CommandInput(BufferedReader lines, Commands commands, Consumer<String> log) {
        m_lines = lines;
        m_commands = commands;
        m_log = log;
    }

    /** Starts the thread. */
    static void start(BufferedReader lines, Commands commands, Consumer<String> log) {
        var thread = new Thread(new CommandInput(lines, commands, log)::readAll, "VAL commands");
        thread.setDaemon(true);
        thread.start();
    }

    /** Whether a read can be tried: a terminal stops a process of the background that does so. */
    static boolean mayBeRead() {
        try {
            var input = Files.readSymbolicLink(Path.of("/proc/self/fd/0")).toString();
            var terminal = input.startsWith("/dev/pts/") || input.startsWith("/dev/tty") || input.equals("/dev/console");
            return !terminal || isForeground(Files.readString(Path.of("/proc/self/stat")));
        } catch (IOException unknown) {
            return true;
        }
    }

    /** Reads /proc/PID/stat, see proc(5): the process group, and that of the terminal's foreground. */
    static boolean isForeground(String stat) {
        var fields = stat.substring(stat.lastIndexOf(')') + 2).split(" ");
        return fields[2].equals(fields[5]);
    }

    private void readAll() {
        try {
            for (var line = m_lines.readLine(); line != null; line = m_lines.readLine()) {
                run(line);
            }
        } catch (IOException ended) {
            m_log.accept("no more commands: " + ended.getMessage());
        }
    }

    private void run(String line) {
        try {
            m_commands.run(line);
        } catch (IllegalArgumentException wrong) {
            m_log.accept(wrong.getMessage());
        }
    }
}
