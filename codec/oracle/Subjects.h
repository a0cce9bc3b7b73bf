#pragma once

#include "codec/oracle/Oracle.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace oracle {

/** A record type's generated functions under one signature, beside its table. */
struct Subject {
    const char* name;
    const Record* table;
    std::function<int(const sQlet1Mod4MessageHdr*, unsigned char*, unsigned*, const void*)> pack;
    std::function<int(const sQlet1Mod4MessageHdr*, const unsigned char*, unsigned*, void*)> unpack;
    std::function<std::uint64_t(const void*)> packedSize;
    std::function<void(const void*, char*, std::size_t)> toString;  ///< empty for records without a text

    // Of the message that carries the record; a nested record has none.
    const char* message = nullptr;
    std::uint16_t id = 0;
    std::function<int(sQlet1Mod4MessageHdr*, unsigned char*, unsigned, const void*)> packMessage;
    std::function<int(sQlet1Mod4MessageHdr*, const unsigned char*, void*)> unpackMessage;
};

/** Every record of the product's families and of the golden one, forwarders included. */
const std::vector<Subject>& subjects();
const Subject& subjectOfMessage(const std::string& message);

const Record& codingTable();
const std::vector<Subject>& diagmgrSubjects();
const std::vector<Subject>& diagnosticsSubjects();
const std::vector<Subject>& sampleSubjects();

/** What gtest prints and names a test by. */
inline void PrintTo(const Subject& subject, std::ostream* out) {
    *out << subject.name;
}

}  // namespace oracle

// A subject whose functions end in `record`; `table` may be another record's, for a forwarder.
#define SUBJECT(record, table)                                                                       \
    oracle::Subject {                                                                                \
#record, &(table),                                                                                 \
            [](const sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned* cursor,                \
               const void* memory) -> int {                                                                \
                return Pack##record(header, buffer, cursor, static_cast<const record*>(memory));           \
            },                                                                                             \
            [](const sQlet1Mod4MessageHdr* header, const unsigned char* buffer, unsigned* cursor,          \
               void* memory) -> int {                                                                      \
                return Unpack##record(header, buffer, cursor, static_cast<record*>(memory));               \
            },                                                                                             \
            [](const void* memory) { return PackedSizeOf##record(nullptr, static_cast<const record*>(memory)); }, \
            nullptr, nullptr, 0, nullptr, nullptr \
    }

#define TEXT_SUBJECT(record, table)                                               \
    [] {                                                                          \
        oracle::Subject subject = SUBJECT(record, table);                         \
        subject.toString = [](const void* memory, char* text, std::size_t size) { \
            ToString##record(static_cast<const record*>(memory), text, size);     \
        };                                                                        \
        return subject;                                                           \
    }()

#define MESSAGE(subjectOfRecord, record, message_, id_)                                              \
    [] {                                                                                             \
        oracle::Subject subject = subjectOfRecord;                                                   \
        subject.message = #message_;                                                                 \
        subject.id = id_;                                                                            \
        subject.packMessage = [](sQlet1Mod4MessageHdr* header, unsigned char* buffer, unsigned size, \
                                 const void* memory) -> int {                                        \
            return Pack##message_(header, buffer, size, static_cast<const record*>(memory));         \
        };                                                                                           \
        subject.unpackMessage = [](sQlet1Mod4MessageHdr* header, const unsigned char* buffer,        \
                                   void* memory) -> int {                                            \
            return Unpack##message_(header, buffer, static_cast<record*>(memory));                   \
        };                                                                                           \
        return subject;                                                                              \
    }()

// The payload of a family message, and that of a Val message.
#define FAMILY_MESSAGE(name, id, table) MESSAGE(SUBJECT(t##name##ds, table), t##name##ds, name, id)
#define VAL_MESSAGE(name, id, table) \
    MESSAGE(TEXT_SUBJECT(tVal##name##Indds, table), tVal##name##Indds, Val##name##Ind, id)
