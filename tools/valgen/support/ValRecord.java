package zvif.vehicle.services.val.records;

/**
 * A VAL message's payload, or a part of one. Its fields are its public members; what they may hold is tested when it
 * is packed. Used by one thread at a time.
 */
public abstract class ValRecord {
    ValRecord() {
    }

    /** The payload; throws {@link RecordException} if a member breaks the record's rules. */
    public final byte[] encode() {
        PayloadWriter out = new PayloadWriter(name());
        write(out);
        return out.toByteArray();
    }

    /**
     * Writes the payload to the front of a buffer and returns its length; throws {@link RecordException} if it does
     * not fit or a member breaks the record's rules. The buffer then holds what came before.
     */
    public final int pack(byte[] buffer) {
        PayloadWriter out = new PayloadWriter(name(), buffer);
        write(out);
        return out.length();
    }

    /**
     * Takes the members from a payload of exactly this record; throws {@link RecordException} if it is none. The
     * members read before the fault have then changed, all of them if the payload was only too long.
     */
    public final void unpack(byte[] payload) {
        PayloadReader in = new PayloadReader(name(), payload);
        read(in);
        in.end();
    }

    /** The record's name in the catalogue. */
    public final String name() {
        return getClass().getSimpleName();
    }

    abstract void write(PayloadWriter out);

    abstract void read(PayloadReader in);
}
