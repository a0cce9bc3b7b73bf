package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.Optional;

import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

import zvif.vehicle.services.val.testing.Addresses;
import zvif.vehicle.services.val.testing.ChildJvm;
import zvif.vehicle.services.val.testing.SomeIpClient;

/** The sample as its user has it: a process, a file of values and a tester on the wire. */
class SampleValServiceTest {
    private static final int PARAMETER_LIST = 0x54DF;
    private static final int REBUILD_PARAMETERS = 0x0687;
    private static final int ROUTINE_RESULTS = 2;
    private static final int ROUTINE_START = 3;
    private static final int ROUTINE_STOP = 4;

    private Path m_file;

    @BeforeEach
    void chooseFile(@TempDir Path folder) {
        m_file = folder.resolve("mine.txt");
    }

    private static ChildJvm started(String... arguments) throws IOException {
        var service = new ChildJvm(SampleValService.class, arguments);
        var line = service.nextLine();
        assertEquals("VAL service is up", line, service.errors());
        return service;
    }

    /** The bytes of an output whose fields stand behind their lengths. */
    private static byte[] fields(SomeIpClient.Reply reply) {
        var payload = ByteBuffer.wrap(reply.payload());
        var fields = new ByteArrayOutputStream();
        while (payload.hasRemaining()) {
            var field = new byte[payload.getInt()];
            payload.get(field);
            fields.writeBytes(field);
        }
        return fields.toByteArray();
    }

    @Test
    @Tag("native")
    void everyIdentifierIsAnsweredWithItsValue() throws Exception {
        var values = Values.open(null, System.err::println);
        try (var service = started(); var tester = new SomeIpClient(Addresses.CHILD)) {
            for (var identifier : DataIdentifier.values()) {
                var reply = tester.read(identifier.number());

                assertEquals(0, reply.returnCode());
                var allNumbers = identifier == DataIdentifier.FUNCTION_ON_DEMAND_VERSION_INFO; // they have no lengths
                assertArrayEquals(values.of(identifier).orElseThrow(), allNumbers ? reply.payload() : fields(reply),
                        identifier::toString);
            }
            assertEquals("", service.errors());
        }
    }

    @Test
    @Tag("native")
    void anEditShowsInTheNextReadAndAMistakeInIt() throws Exception {
        Files.writeString(m_file, "[0x54DF]\nbytes = 01 02");
        try (var service = started("--values", m_file.toString()); var tester = new SomeIpClient(Addresses.CHILD)) {
            assertArrayEquals(new byte[] {1, 2}, fields(tester.read(PARAMETER_LIST)));

            Files.writeString(m_file, "[0x54DF]\nbytes = 03");
            assertArrayEquals(new byte[] {3}, fields(tester.read(PARAMETER_LIST)));

            Files.writeString(m_file, "[0x54DF]\nbytes = 04 05 0x06");
            assertArrayEquals(new byte[] {3}, fields(tester.read(PARAMETER_LIST)));
            assertTrue(service.errors().startsWith("VAL service: " + m_file + ":2: '0x06' is neither a hex byte"),
                    service.errors());
        }
    }

    @Test
    @Tag("native")
    void silentAndMissingIdentifiersGetNoAnswerAndOneLineForEachRequest() throws Exception {
        Files.writeString(m_file, "[0x54DF]\nbytes = 01\n[0x54DE]\nbytes = 02");
        try (var service = started("--values", m_file.toString(), "--silent", "0x54DE");
                var tester = new SomeIpClient(Addresses.CHILD)) {
            tester.request(0x54DE);
            assertEquals(Optional.empty(), tester.reply(200));
            tester.request(0xB047);
            assertEquals(Optional.empty(), tester.reply(200));

            tester.read(PARAMETER_LIST);

            assertEquals("VAL service: 0x54DE is to stay silent; no answer\n"
                    + "VAL service: 0xB047 has no value; no answer\n",
                    service.errors());
        }
    }

    @Test
    @Tag("native")
    void aRoutineRunsAsItsBlockSaysAtItsStart() throws Exception {
        Files.writeString(m_file, "[0x0687]\ntakes = 3600000 ms");
        try (var service = started("--values", m_file.toString()); var tester = new SomeIpClient(Addresses.CHILD)) {
            assertEquals("00", routine(tester, ROUTINE_RESULTS));
            assertEquals("", routine(tester, ROUTINE_START));
            assertEquals("10", routine(tester, ROUTINE_RESULTS));
            assertEquals("", routine(tester, ROUTINE_STOP));
            assertEquals("40", routine(tester, ROUTINE_RESULTS));

            Files.writeString(m_file, "[0x0687]\nresult = 2");
            assertEquals("", routine(tester, ROUTINE_START));
            assertEquals("32", routine(tester, ROUTINE_RESULTS));

            assertEquals("routine 0x0687 results: status 0, result 0 (transaction 0)", service.nextLine());
            assertEquals("routine 0x0687 start: status 1, result 0 (transaction 1)", service.nextLine());
        }
    }

    private static String routine(SomeIpClient tester, int method) throws IOException {
        tester.request(REBUILD_PARAMETERS, method);
        var reply = tester.reply(20_000).orElseThrow(() -> new IOException("no answer"));
        assertEquals(0, reply.returnCode());
        return HexFormat.of().formatHex(reply.payload());
    }

    @Test
    @Tag("native")
    void itsInputIsObeyedAndItLivesOnWhenThatEnds() throws Exception {
        try (var service = started(); var tester = new SomeIpClient(Addresses.CHILD)) {
            service.type("dtc 0x81A2E0 failed");
            assertEquals("-> 2937  E0 A2 81 00 00 00 00 00 01 00 00 00  trouble code 0x81A2E0 (8495840) failed",
                    service.nextLine());

            service.type("dtc 0x81A2E9 failed");
            service.endInput();

            assertEquals(0, tester.read(PARAMETER_LIST).returnCode());
            service.awaitErrors("VAL service: '0x81A2E9' is no trouble code of the bridge; known are"
                    + " 0x81A2E0 (8495840), 0x81A2E1 (8495841), 0x81A2E2 (8495842)\n");
            assertEquals(0, tester.read(PARAMETER_LIST).returnCode());
        }
    }

    @Test
    @Tag("native")
    void quitEndsItWithZero() throws Exception {
        try (var service = started("--dtc", "8495841=passed")) {
            assertEquals("-> 2937  E1 A2 81 00 00 00 00 00 00 00 00 00  trouble code 0x81A2E1 (8495841) passed",
                    service.nextLine());

            service.type("quit");

            assertEquals(0, service.exitCode());
            assertEquals("VAL service: stopped\n", service.errors());
        }
    }

    @ParameterizedTest
    @Tag("native")
    @CsvSource({"TERM, 143", "INT, 130"})
    void aSignalUnregistersAndEndsItWithinASecond(String signal, int expected) throws Exception {
        try (var service = started("--delay", "30000"); var tester = new SomeIpClient(Addresses.CHILD)) {
            tester.request(PARAMETER_LIST);
            var start = System.nanoTime();

            new ProcessBuilder("kill", "-" + signal, Long.toString(service.pid())).start().waitFor();

            assertEquals(expected, service.exitCode());
            var milliseconds = (System.nanoTime() - start) / 1_000_000;
            System.out.println("end on SIG" + signal + ": " + milliseconds + " ms");
            assertTrue(milliseconds < (System.getenv("JVM_PRELOAD") == null ? 1000 : 3000), milliseconds + " ms");
            assertEquals("", service.restOfOutput());
            assertEquals("VAL service: stopped\n", service.errors());
        }
    }

    @Test
    void aMistakeInTheFileEndsItBeforeItIsUp() throws Exception {
        Files.writeString(m_file, "[0xB047]\nfield 2 = 01 02 03");
        try (var service = new ChildJvm(SampleValService.class, "--values", m_file.toString())) {
            assertEquals(2, service.exitCode());
            assertEquals("", service.restOfOutput());
            assertEquals("VAL service: " + m_file + ":2: 3 bytes do not fit into 2\n", service.errors());
        }
    }

    @Test
    void aWrongOptionEndsItAndHelpExplains() throws Exception {
        try (var service = new ChildJvm(SampleValService.class, "--vaules", "x")) {
            assertEquals(2, service.exitCode());
            assertEquals("VAL service: unknown option '--vaules'; --help lists them\n", service.errors());
        }
        try (var service = new ChildJvm(SampleValService.class, "--help")) {
            assertEquals(0, service.exitCode());
            assertTrue(service.restOfOutput().startsWith("Usage: java "));
        }
    }

    @Test
    void thePrintedValuesAreAFileThatCanBeUsed() throws Exception {
        try (var service = new ChildJvm(SampleValService.class, "--print-values")) {
            assertEquals(0, service.exitCode());
            Files.writeString(m_file, service.restOfOutput());
        }
        var log = new ArrayList<String>();
        var printed = Values.open(m_file, log::add);
        for (var identifier : DataIdentifier.values()) {
            assertArrayEquals(Values.open(null, log::add).of(identifier).orElseThrow(),
                    printed.of(identifier).orElseThrow());
        }
    }
}
