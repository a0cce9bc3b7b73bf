#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

/**
 * Renders a record as one line for the log into a buffer of its caller: `requestId:381;data[2]:11,22;`.
 *
 * The text is terminated after every call. When something does not fit, the text is cut there and everything
 * added later is left away. Lives on the stack of one ToString call.
 *
 * Room is counted by a rule of its own: an array's byte or integer takes 3 characters however long it is, and
 * an array ends with the element before which fewer than 4 were left. Whatever the rule says, nothing is
 * written beyond the buffer.
 */
class TextForm {
public:
    static constexpr std::uint64_t MAX_ELEMENTS = 20;  ///< of an array; its bracket shows the full count

    /** With a null buffer or a size of 0 nothing is ever written. */
    TextForm(char* buffer, std::size_t size);

    void addUnsigned(const char* name, unsigned int value);
    void addSigned(const char* name, int value);
    void addLong(const char* name, long value);
    void addBool(const char* name, unsigned char value);

    template <class Record>
    void addRecord(const Record& record) {
        const Mark before = mark();
        appendText(*this, record);
        charge(before);
    }

    /**
     * An array whose elements take `Wire` on the wire: bytes in two hexadecimal digits, 16 bits unsigned, 32
     * bits signed. `count` may be a bad one; no more than `capacity` elements are read.
     */
    template <class Wire, class Element>
    void addArray(const char* name, const Element* elements, std::uint64_t count, std::uint64_t capacity) {
        addBracket(name, count);
        const std::uint64_t shown = std::min({count, MAX_ELEMENTS, capacity});
        for (std::uint64_t i = 0; i < shown && m_left != 0; ++i) {
            addElement(static_cast<Wire>(elements[i]), i + 1 == shown ? ';' : ',');
        }
    }

    template <class Record>
    void addRecords(const char* name, const Record* records, std::uint64_t count, std::uint64_t capacity) {
        addBracket(name, count);
        const std::uint64_t shown = std::min({count, MAX_ELEMENTS, capacity});
        for (std::uint64_t i = 0; i < shown && m_left != 0; ++i) addRecord(records[i]);
    }

private:
    struct Mark {
        char* at;
        std::size_t left;
    };

    Mark mark() const { return {m_at, m_left}; }
    /** Takes what has been written since `before` off the room that there was then. */
    void charge(const Mark& before);

    void addBracket(const char* name, std::uint64_t count);
    void addElement(std::uint8_t value, char after);
    void addElement(std::uint16_t value, char after);
    void addElement(std::uint32_t value, char after);

    [[gnu::format(printf, 2, 3)]] void addItem(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void addElementText(const char* format, ...);
    /** Writes what fits and returns the length that the whole would have. */
    std::size_t print(const char* format, __builtin_va_list arguments);
    std::size_t room() const;

    char* m_at;          ///< the terminator of the text so far
    char* const m_end;   ///< one past the buffer
    std::size_t m_left;  ///< room as counted, the terminator included; 0 once the text is cut
};
