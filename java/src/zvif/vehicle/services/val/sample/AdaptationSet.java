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
    private static final int IMPOSSIBLE = 1_000_000;

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

    /** The fewest ids without a length that explain the rest of the buffer, from each id and position on. */
    private static final class Reading {
        private final byte[] m_data;
        private final List<Long> m_asked;
        private final int[][] m_gaps;
        private final boolean[][] m_severalWays;

        Reading(byte[] data, List<Long> asked) {
            m_data = data;
            m_asked = asked;
            m_gaps = new int[asked.size() + 1][data.length + 1];
            m_severalWays = new boolean[asked.size() + 1][data.length + 1];
            for (var index = asked.size(); index >= 0; --index) {
                for (var at = 0; at <= data.length; ++at) {
                    weigh(index, at);
                }
            }
        }

        private void weigh(int index, int at) {
            if (isEnd(index, at)) {
                m_gaps[index][at] = 0;
                return;
            }
            var counted = behindValue(index, at);
            var bare = behindId(index, at);
            var withLength = counted < 0 ? IMPOSSIBLE : m_gaps[index + 1][counted];
            var withoutLength = bare < 0 ? IMPOSSIBLE : m_gaps[index + 1][bare] + 1;
            m_gaps[index][at] = Math.min(IMPOSSIBLE, Math.min(withLength, withoutLength));
            m_severalWays[index][at] = withLength < IMPOSSIBLE && withoutLength < IMPOSSIBLE
                    || withLength < IMPOSSIBLE && m_severalWays[index + 1][counted]
                    || withoutLength < IMPOSSIBLE && m_severalWays[index + 1][bare];
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

        /** Goes the best way; where none leads to the end, takes what has a length as long as that goes. */
        AdaptationSet result() {
            var items = new ArrayList<Item>();
            var explained = m_gaps[0][0] < IMPOSSIBLE;
            var at = 0;
            for (var index = 0; index < m_asked.size(); ++index) {
                var id = m_asked.get(index);
                var counted = behindValue(index, at);
                if (explained && isEnd(index, at)) {
                    items.add(new Item(id, Kind.LEFT_OUT, new byte[0]));
                } else if (counted >= 0 && (!explained || m_gaps[index + 1][counted] == m_gaps[index][at])) {
                    var value = Arrays.copyOfRange(m_data, at + ID_SIZE + LENGTH_SIZE, counted);
                    items.add(new Item(id, value.length == 0 ? Kind.EMPTY : Kind.VALUE, value));
                    at = counted;
                } else if (explained) {
                    items.add(new Item(id, Kind.NO_LENGTH, new byte[0]));
                    at += ID_SIZE;
                } else {
                    break;
                }
            }
            return new AdaptationSet(items, Arrays.copyOfRange(m_data, at, m_data.length),
                    explained && m_severalWays[0][0]);
        }
    }
}
