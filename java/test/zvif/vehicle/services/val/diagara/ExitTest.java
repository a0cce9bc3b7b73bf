package zvif.vehicle.services.val.diagara;

import static org.junit.jupiter.api.Assertions.assertEquals;

import org.junit.jupiter.api.RepeatedTest;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

import zvif.vehicle.services.val.testing.ChildJvm;

@Tag("native")
class ExitTest {
    @ParameterizedTest
    @ValueSource(strings = {"returnAfterLoading", "exitAfterLoading", "returnWhileRegistered", "exitWhileRegistered",
        "exitWithAReadPending", "exitInsideTheCallback"})
    void theProcessEndsWell(String scenario) throws Exception {
        assertEndsWell(scenario);
    }

    @RepeatedTest(10)
    void theProcessEndsWellInTheMidstOfTraffic() throws Exception {
        assertEndsWell("exitDuringTraffic");
    }

    @RepeatedTest(5)
    void theProcessEndsWellAfterUnregisterInTheMidstOfTraffic() throws Exception {
        assertEndsWell("unregisterDuringTrafficAndExit");
    }

    private static void assertEndsWell(String scenario) throws Exception {
        try (var program = new ChildJvm(ExitScenarios.class, scenario)) {
            var exitCode = program.exitCode();
            assertEquals("started", program.restOfOutput());
            assertEquals("", program.errors());
            assertEquals(0, exitCode);
        }
    }
}
