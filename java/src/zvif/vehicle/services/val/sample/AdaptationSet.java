package zvif.vehicle.services.val.sample;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * The items in the data of a set response (message 550).
 *
 * <p>An item is an id of 4 bytes, a length of 2 and as many bytes, low byte first. But where the bridge could not ask
 * the data service (it is away, or was silent for 3 s), the id stands without a length and the next item follows
 * directly. A buffer alone does not tell these apart; together with the ids that were asked for it does: the items
 * come in their order, all of them until the room ends.
 *
 * @param items what was read, in the order of the request
 * @param unread the bytes behind them that are no item
 * @param ambiguous the buffer can be read in another way as well
 */
record AdaptationSet(List<Item> items, byte[] unread, boolean ambiguous) {
    private static final int ID_SIZE = 4;
    private static final int LENGTH_SIZE = 2;
    private static final int CAPACITY = 4032;

    /** What the response says of an adaptation. */
    enum Kind {
        /** It has bytes. */
        VALUE,
        /** Its length is 0: it is not mapped, the data service has no value or refused, or no room was left. */
        EMPTY,
        /** Its id stands there without a length: the data service was not asked, or did not answer in time. */
        NO_LENGTH,
        /** The room had ended before it. */
        LEFT_OUT
    }

    /** An adaptation and its bytes; these are empty unless it is a {@link Kind#VALUE}. */
    record Item(long id, Kind kind, byte[] value) { }

    /**
     * Reads the data of a response.
     *
     * @param asked the ids of the request
     */
    static AdaptationSet read(byte[] data, List<Long> asked) {
        return new Reading(data, asked).result();
    }

    /** In how many ways (0, 1, or 2 for several) the rest of the buffer can be read, from each id and position on. */
    private static final class Reading {
        private static final int SEVERAL = 2;

        private final byte[] m_data;
        private final List<Long> m_asked;
        private final byte[][] m_ways;

        Reading(byte[] data, List<Long> asked) {
            m_data = data;
            m_asked = asked;
            m_ways = new byte[asked.size() + 1][data.length + 1];
            for (var index = asked.size(); index >= 0; --index) {
                for (var at = 0; at <= data.length; ++at) {
                    m_ways[index][at] = ways(index, at);
                }
            }
        }

        private byte ways(int index, int at) {
            if (isEnd(index, at)) {
                return 1;
            }
            var value = behindValue(index, at);
            var id = behindId(index, at);
            var ways = (value < 0 ? 0 : m_ways[index + 1][value]) + (id < 0 ? 0 : m_ways[index + 1][id]);
            return (byte) Math.min(SEVERAL, ways);
        }

        /** The buffer ends here: no id is left, or there was no room for an id and a length. */
        private boolean isEnd(int index, int at) {
            return at == m_data.length && (index == m_asked.size() || at + ID_SIZE + LENGTH_SIZE > CAPACITY);
        }

        private int behindId(int index, int at) {
            var found = index < m_asked.size() && at + ID_SIZE <= m_data.length
                    && number(at, ID_SIZE) == m_asked.get(index);
            return found ? at + ID_SIZE : -1;
        }

        private int behindValue(int index, int at) {
            var length = behindId(index, at);
            if (length < 0 || length + LENGTH_SIZE > m_data.length) {
                return -1;
            }
            var end = length + LENGTH_SIZE + (int) number(length, LENGTH_SIZE);
            return end <= m_data.length ? end : -1;
        }

        private long number(int at, int size) {
            var number = 0L;
            for (var index = 0; index < size; ++index) {
                number |= (m_data[at + index] & 0xFFL) << 8 * index;
            }
            return number;
        }

        /** Takes a length wherever there can be one; goes as far as that if no way leads to the end. */
        AdaptationSet result() {
            var items = new ArrayList<Item>();
            var ways = m_ways[0][0];
            var at = 0;
            for (var index = 0; index < m_asked.size(); ++index) {
                var id = m_asked.get(index);
                var end = behindValue(index, at);
                if (ways > 0 && isEnd(index, at)) {
                    items.add(new Item(id, Kind.LEFT_OUT, new byte[0]));
                } else if (end >= 0 && (ways == 0 || m_ways[index + 1][end] > 0)) {
                    var value = Arrays.copyOfRange(m_data, at + ID_SIZE + LENGTH_SIZE, end);
                    items.add(new Item(id, value.length == 0 ? Kind.EMPTY : Kind.VALUE, value));
                    at = end;
                } else if (ways > 0) {
                    items.add(new Item(id, Kind.NO_LENGTH, new byte[0]));
                    at += ID_SIZE;
                } else {
                    break;
                }
            }
            return new AdaptationSet(items, Arrays.copyOfRange(m_data, at, m_data.length), ways == SEVERAL);
        }
    }
}
