#pragma once

#include <cstdint>

/** Travels beside a VAL message's payload, never in it. */
struct sQlet1Mod4MessageHdr {
    std::uint16_t reserved;  ///< the codec neither reads nor writes it
    std::uint16_t messageId;
    /**
     * Packing: the buffer's size on entry, the payload's length on return, 0 after a failure.
     * Unpacking: the received payload's length. Both ways the bound of everything that is moved.
     */
    std::uint32_t length;
};

/** Why a record did not become a payload. Handlers log the number. */
enum tPackErrorCode : int {
    ePackOk = 0,
    ePackNoHeader = 1,
    ePackNoBuffer = 2,
    ePackBufferTooSmall = 3,
    ePackNoRecord = 4,
    ePackArrayTooLong = 6,  ///< a count above its array's maximum
    ePackNoCursor = 7,
    ePackBadEnum = 9,  ///< a value outside its enumeration
};

/** Why a payload did not become a record. Fields read before the failure stay in the record. */
enum tUnpackErrorCode : int {
    eUnpackOk = 0,
    eUnpackNoHeader = 1,
    eUnpackWrongMessageId = 2,
    eUnpackNoBuffer = 3,
    eUnpackTruncated = 4,
    eUnpackTrailingBytes = 5,  ///< the record is complete and filled, and bytes are left
    eUnpackNoRecord = 6,
    eUnpackArrayTooLong = 8,  ///< a count above its array's maximum; the count stays in the record
    eUnpackNoCursor = 9,
    eUnpackBadEnum = 11,  ///< a value outside its enumeration; the member keeps what it held
};
