package zvif.vehicle.services.val.records;

/** A record that has a line for the log, the same as in C++. */
public abstract class TextRecord extends ValRecord {
    TextRecord() {
    }

    /** Such as {@code requestId:381;data[2]:11,22;}. */
    public final String text() {
        return text(Integer.MAX_VALUE);
    }

    /** What is left of the text in a buffer of so many bytes, of which C++ needs one for the end. */
    public final String text(int size) {
        TextForm text = new TextForm(size);
        appendText(text);
        return text.toString();
    }

    abstract void appendText(TextForm text);
}
