package zvif.vehicle.services.val.testing;

import java.io.BufferedReader;
import java.io.BufferedWriter;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

/** A Java program in a process of its own, with the same library and class path; killed at the latest by close. */
public final class ChildJvm implements AutoCloseable {
    private static final long LONGEST_LIFE_S = 60;

    private final Path m_errors;
    private final Process m_process;
    private final BufferedReader m_output;
    private final BufferedWriter m_input;

    public ChildJvm(Class<?> program, String... arguments) throws IOException {
        m_errors = Files.createTempFile("child-jvm", ".err");
        var java = ProcessHandle.current().info().command().orElse("java");
        var command = new ArrayList<>(List.of(java, "-Xcheck:jni",
                "-Djava.library.path=" + System.getProperty("java.library.path"), "-cp", classPath(),
                program.getName()));
        command.addAll(List.of(arguments));
        var builder = new ProcessBuilder(command).redirectError(m_errors.toFile());
        builder.environment().put(Addresses.VARIABLE, Addresses.CHILD);
        m_process = builder.start();
        m_output = m_process.inputReader();
        m_input = m_process.outputWriter();
    }

    /** The next line of its standard output; null at the end. */
    public String nextLine() throws IOException {
        return m_output.readLine();
    }

    public String restOfOutput() {
        return String.join("\n", m_output.lines().toList());
    }

    public String errors() throws IOException {
        return Files.readString(m_errors);
    }

    /** Waits until its error output is this. */
    public void awaitErrors(String expected) throws IOException, InterruptedException {
        var end = System.nanoTime() + TimeUnit.SECONDS.toNanos(LONGEST_LIFE_S);
        while (!errors().equals(expected)) {
            if (System.nanoTime() > end) {
                throw new AssertionError("its errors are: " + errors());
            }
            Thread.sleep(10);
        }
    }

    /** A line for its standard input. */
    public void type(String line) throws IOException {
        m_input.write(line);
        m_input.newLine();
        m_input.flush();
    }

    public void endInput() throws IOException {
        m_input.close();
    }

    public long pid() {
        return m_process.pid();
    }

    /** Waits for the end. */
    public int exitCode() throws InterruptedException {
        if (!m_process.waitFor(LONGEST_LIFE_S, TimeUnit.SECONDS)) {
            throw new AssertionError("the process " + pid() + " still runs after " + LONGEST_LIFE_S + " s");
        }
        return m_process.exitValue();
    }

    @Override
    public void close() throws IOException {
        m_process.destroyForcibly().onExit().join();
        Files.deleteIfExists(m_errors);
    }

    /** The two jars that this class and the tested ones come from. */
    private static String classPath() {
        return jarOf(ChildJvm.class) + ":" + jarOf(zvif.vehicle.services.val.IValMessageCallback.class);
    }

    private static Path jarOf(Class<?> type) {
        return Path.of(type.getProtectionDomain().getCodeSource().getLocation().getPath());
    }
}
