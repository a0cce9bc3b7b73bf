package zvif.vehicle.services.val.records;

/** A message of the catalogue; {@link Messages} lists them. */
public final class Message {
    private final int id;
    private final String name;
    private final String payload;

    Message(int id, String name, String payload) {
        this.id = id;
        this.name = name;
        this.payload = payload;
    }

    public int id() {
        return id;
    }

    public String name() {
        return name;
    }

    /** The type of its payload; many are another name for a record that several messages share. */
    public String payload() {
        return payload;
    }

    /** A record for its payload, with all members 0, false or empty. */
    public ValRecord newRecord() {
        return Messages.newRecord(id);
    }

    /** The record of exactly this payload; throws {@link RecordException} if it is none. */
    public ValRecord decode(byte[] bytes) {
        ValRecord record = newRecord();
        record.unpack(bytes);
        return record;
    }

    @Override
    public String toString() {
        return id + " " + name;
    }
}
