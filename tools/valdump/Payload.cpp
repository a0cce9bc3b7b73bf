#include "tools/valdump/Payload.h"

#include <algorithm>
#include <array>
#include <exception>
#include <stdexcept>

#include "tools/valdump/RecordMemory.h"

namespace valdump {

namespace {

constexpr std::size_t LONGEST_TEXT = 1 << 18;  // an array shows 20 elements, and nests once or twice

std::string inTicks(std::string_view name) {
    return "`" + std::string(name) + "`";
}

std::string counted(std::size_t number, std::string_view noun) {
    return std::to_string(number) + " " + std::string(noun) + (number == 1 ? "" : "s");
}

class Reader {
public:
    explicit Reader(Bytes bytes) : m_bytes(bytes) {}

    Payload read(Message const& message) {
        Payload payload;
        try {
            readRecord(*message.record, "", payload.fields);
            if (m_at < m_bytes.size()) fail(eUnpackTrailingBytes, "", trailing());
        } catch (Failure const& failure) {
            payload.failure = failure;
        }
        return payload;
    }

private:
    /// Takes away the last value if a failure left nothing of it.
    struct Unread {
        std::vector<Value>& values;
        int const failures = std::uncaught_exceptions();

        ~Unread() {
            if (std::uncaught_exceptions() > failures && values.back().inner.empty()) values.pop_back();
        }
    };

    [[noreturn]] void fail(tUnpackErrorCode code, std::string const& path, std::string const& text) const {
        throw Failure{code, path, m_at, text};
    }

    std::string trailing() const {
        Bytes const rest = m_bytes.subspan(m_at);
        std::string text = "the record ends at offset " + std::to_string(m_at) + ", and " +
                           counted(rest.size(), "byte") + (rest.size() == 1 ? " follows: " : " follow: ");
        return text + spacedHex(rest.first(std::min<std::size_t>(rest.size(), 8))) +
               (rest.size() > 8 ? " ..." : "");
    }

    void need(std::size_t size, std::string const& path) const {
        if (size <= m_bytes.size() - m_at) return;
        fail(eUnpackTruncated, path,
             inTicks(path) + " needs " + counted(size, "byte") + " at offset " + std::to_string(m_at) +
                 ", the payload ends at " + std::to_string(m_bytes.size()));
    }

    /// Adds to `values` as it goes, so that what was read before a failure is kept.
    void readRecord(Record const& record, std::string const& prefix, std::vector<Value>& values) {
        values.reserve(record.fields.size());
        for (Field const& field : record.fields) {
            std::string const path = prefix + std::string(field.name);
            values.push_back({&field, std::string(field.name), m_at});
            Unread const unread{values};
            if (field.isArray) {
                readArray(record, field, path, values);
            } else {
                readOne(field, path, values.back());
            }
        }
    }

    void readArray(Record const& record, Field const& field, std::string const& path,
                   std::vector<Value>& values) {
        std::size_t const own = values.size() - 1;
        std::size_t count = field.capacity;
        if (field.countField != Field::NO_COUNT) {
            Value const& counter = values[field.countField];
            count = counter.number;
            if (counter.number > field.capacity) {
                fail(eUnpackArrayTooLong, path,
                     inTicks(prefixOf(path) + std::string(record.fields[field.countField].name)) +
                         " at offset " + std::to_string(counter.offset) + " counts " +
                         counted(counter.number, "element") + " of " + inTicks(path) +
                         ", which holds at most " + std::to_string(field.capacity));
            }
        }
        Value& array = values[own];
        if (field.kind == Field::Kind::UNSIGNED) {
            need(count * (field.wireBits / 8), path);  // a block: all of it or nothing
        }
        if (isBytes(field)) {
            m_at += count;
        } else {
            array.inner.reserve(count);
            for (std::size_t i = 0; i < count; ++i) {
                std::string const index = "[" + std::to_string(i) + "]";
                array.inner.push_back({&field, index, m_at});
                Unread const unread{array.inner};
                readOne(field, path + index, array.inner.back());
            }
        }
        array.size = m_at - array.offset;
    }

    static std::string prefixOf(std::string const& path) {
        return path.substr(0, path.find_last_of('.') + 1);
    }

    void readOne(Field const& field, std::string const& path, Value& value) {
        if (field.kind == Field::Kind::RECORD) {
            readRecord(*field.record, path + ".", value.inner);
        } else {
            std::size_t const size = field.wireBits / 8;
            need(size, path);
            for (std::size_t i = 0; i < size; ++i)
                value.number |= std::uint64_t{m_bytes[m_at + i]} << (8 * i);
            auto const wire = static_cast<std::uint32_t>(value.number);
            if (field.enumeration != nullptr && !field.enumeration->hasValue(wire)) {
                widen(field, value.number);
                fail(eUnpackBadEnum, path,
                     inTicks(path) + " at offset " + std::to_string(m_at) + " is " +
                         numberText(field, value.number) + ", and " + inTicks(field.enumeration->name) +
                         " accepts " + valuesText(*field.enumeration));
            }
            widen(field, value.number);
            m_at += size;
        }
        value.size = m_at - value.offset;
    }

    static void widen(Field const& field, std::uint64_t& number) {
        if (isSigned(field) && (number >> (field.wireBits - 1) & 1) != 0 && field.wireBits < 64) {
            number |= ~std::uint64_t{0} << field.wireBits;
        }
    }

    Bytes m_bytes;
    std::size_t m_at = 0;
};

/// The codec's own verdict and the line for the log.
void askCodec(Message const& message, Bytes bytes, Payload& payload) {
    static unsigned char const nothing = 0;
    RecordMemory record(*message.record);
    sQlet1Mod4MessageHdr const header{0, message.id, static_cast<std::uint32_t>(bytes.size())};
    tUnpackErrorCode const code =
        message.unpack(&header, bytes.empty() ? &nothing : bytes.data(), record.get());
    tUnpackErrorCode const own = payload.failure ? payload.failure->code : eUnpackOk;
    if (code != own) {
        throw std::logic_error("a defect of this program: the codec says " + codeText(code) +
                               ", this program " + codeText(own) + ", of " + std::string(message.name) + " " +
                               plainHex(bytes));
    }
    if (code != eUnpackOk || message.record->toString == nullptr) return;
    std::vector<char> text(LONGEST_TEXT);
    message.record->toString(record.get(), text.data(), text.size());
    payload.text = text.data();
}

}  // namespace

Payload readPayload(Message const& message, Bytes bytes) {
    Payload payload = Reader(bytes).read(message);
    askCodec(message, bytes, payload);
    return payload;
}

bool isBytes(Field const& field) {
    return field.isArray && field.kind == Field::Kind::UNSIGNED && field.wireBits == 8;
}

bool isSigned(Field const& field) {
    return field.enumeration != nullptr ? field.enumeration->isSigned : field.kind == Field::Kind::SIGNED;
}

std::string numberText(Field const& field, std::uint64_t number) {
    return isSigned(field) ? std::to_string(static_cast<std::int64_t>(number)) : std::to_string(number);
}

std::string_view valueName(Field const& field, std::uint64_t number) {
    if (field.enumeration == nullptr) return {};
    for (auto const& each : field.enumeration->names) {
        if (each.value == static_cast<std::int64_t>(number)) return each.name;
    }
    return {};
}

std::string valuesText(Enumeration const& enumeration) {
    if (enumeration.kind == Enumeration::Kind::ANY) return "any value";
    if (enumeration.kind == Enumeration::Kind::MASK) {
        std::array<unsigned char, 4> const mask{static_cast<unsigned char>(enumeration.mask >> 24),
                                                static_cast<unsigned char>(enumeration.mask >> 16),
                                                static_cast<unsigned char>(enumeration.mask >> 8),
                                                static_cast<unsigned char>(enumeration.mask)};
        return "bits of 0x" + plainHex(Bytes(mask).last(enumeration.wireBits / 8));
    }
    std::string text;
    for (auto const& [first, last] : enumeration.ranges) {
        if (!text.empty()) text += ", ";
        text += std::to_string(first) + (first == last ? "" : " to " + std::to_string(last));
    }
    return text;
}

std::string_view codeName(tUnpackErrorCode code) {
    switch (code) {
        case eUnpackOk:
            return "eUnpackOk";
        case eUnpackNoHeader:
            return "eUnpackNoHeader";
        case eUnpackWrongMessageId:
            return "eUnpackWrongMessageId";
        case eUnpackNoBuffer:
            return "eUnpackNoBuffer";
        case eUnpackTruncated:
            return "eUnpackTruncated";
        case eUnpackTrailingBytes:
            return "eUnpackTrailingBytes";
        case eUnpackNoRecord:
            return "eUnpackNoRecord";
        case eUnpackArrayTooLong:
            return "eUnpackArrayTooLong";
        case eUnpackNoCursor:
            return "eUnpackNoCursor";
        case eUnpackBadEnum:
            return "eUnpackBadEnum";
    }
    return "unknown";
}

std::string codeText(tUnpackErrorCode code) {
    return std::string(codeName(code)) + " (" + std::to_string(code) + ")";
}

}  // namespace valdump
