package zvif.vehicle.services.val.sample;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

class IdentifierTest {
    @Test
    void allEighteenAreFoundByTheirNumber() {
        assertEquals(18, Identifier.all().map(Identifier::number).distinct().count());
        Identifier.all().forEach(identifier -> {
            assertEquals(identifier, Identifier.parse(identifier.toString()));
            assertEquals(identifier, Identifier.parse("%x".formatted(identifier.number())));
        });
    }

    @ParameterizedTest
    @ValueSource(strings = {"", "0x", "0xB048", "45127", "-1", "fee1dead", "0x17D "})
    void anythingElseIsRefusedWithTheirList(String text) {
        var refused = assertThrows(IllegalArgumentException.class, () -> Identifier.parse(text));

        assertTrue(refused.getMessage().startsWith(
                "'" + text + "' is neither a data identifier nor a routine; known are 0x017D, 0x0234, "),
                refused.getMessage());
        assertTrue(refused.getMessage().endsWith(", 0xB047, 0x0687, 0x0688, 0x0689, 0x068A"), refused.getMessage());
    }
}
