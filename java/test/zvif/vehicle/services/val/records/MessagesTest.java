package zvif.vehicle.services.val.records;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.lang.reflect.Field;
import java.util.List;
import org.junit.jupiter.api.Test;

/** The table of all messages. */
class MessagesTest {
    @Test
    void everyIdOfTheListIsInTheTable() throws IllegalAccessException {
        Field[] ids = MessageIds.class.getFields();
        assertEquals(ids.length, Messages.all().size());
        for (Field id : ids) {
            Message message = Messages.byId(id.getInt(null)).orElseThrow();
            assertEquals(id.getName(), message.name());
            assertEquals(message, Messages.byName(id.getName()).orElseThrow());
        }
    }

    @Test
    void theTableAscends() {
        List<Message> all = Messages.all();
        for (int i = 1; i < all.size(); i++) {
            assertTrue(all.get(i - 1).id() < all.get(i).id(), all.get(i).toString());
        }
    }

    @Test
    void whatIsNoMessageIsNotFound() {
        for (int id : new int[] {-1, 0, 600, 65536}) {
            assertFalse(Messages.byId(id).isPresent(), "" + id);
        }
        assertFalse(Messages.byName("").isPresent());
        assertThrows(IllegalArgumentException.class, () -> Messages.newRecord(600));
    }

    @Test
    void aMessageMakesAndReadsItsRecord() {
        Message message = Messages.byId(MessageIds.ValDiagnosticsrequestInd).orElseThrow();
        assertEquals("tValDiagnosticsrequestIndds", message.payload());
        assertEquals("2349 ValDiagnosticsrequestInd", message.toString());
        assertEquals(VALUInt16_t.class, message.newRecord().getClass());
        assertNotSame(message.newRecord(), message.newRecord());
        ValRecord record = message.decode(new byte[] {0x7D, 0x01});
        assertEquals("value:381;", ((TextRecord) record).text());
        assertEquals("VALUInt16_t", record.name());
        assertArrayEquals(new byte[] {0x7D, 0x01}, record.encode());
    }
}
