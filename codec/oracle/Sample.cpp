#include "codec/golden/codec.h"
#include "codec/oracle/Expected.h"

namespace oracle::expected {

namespace {

const EnumSet LEVEL{"tSampleLevel", 8, {{0, 2}}};
const EnumSet SOURCE{"tSampleSource", 8, {{0, 1}, {5, 5}, {7, 9}, {255, 255}}};
const EnumSet REASON{"tSampleReason", 16, {{0, 0}, {256, 256}, {65535, 65535}}};
const EnumSet CODE{"tSampleCode", 32, {{100, 200}}};
const EnumSet CAUSE{"tSampleCause", 32, {{-23, 0}}, 0, false, true};
const EnumSet TIDE{"tSampleTide", 8, {{-2, 2}, {100, 100}}, 0, false, true};
const EnumSet DEPTH{"tSampleDepth", 16, {{-32768, 0}}, 0, false, true};
const EnumSet WHOLE{"tSampleWhole", 8, {{0, 255}}};
const EnumSet FLAGS{"tSampleFlags", 32, {}, 0x0FFFFFFF};
const EnumSet NIBBLE{"tSampleNibble", 8, {}, 0x0F};
const EnumSet ANY{"tSampleAny", 8, {}, 0, true};

const Record& scalars() {
    using R = VALSampleScalars_t;
    static const Record table{"VALSampleScalars_t",
                              sizeof(R),
                              {unsignedField(MEMBER(R, byte_1), 1),  unsignedField(MEMBER(R, byte_2), 2),
                               unsignedField(MEMBER(R, byte_4), 4),  unsignedField(MEMBER(R, byte_8), 8),
                               signedField(MEMBER(R, signed_1), 1),  signedField(MEMBER(R, signed_2), 2),
                               signedField(MEMBER(R, signed_4), 4),  signedField(MEMBER(R, signed_8), 8),
                               boolField(MEMBER(R, open)),           enumField(MEMBER(R, level), LEVEL),
                               enumField(MEMBER(R, source), SOURCE), enumField(MEMBER(R, reason), REASON),
                               enumField(MEMBER(R, code), CODE),     enumField(MEMBER(R, flags), FLAGS),
                               enumField(MEMBER(R, nibble), NIBBLE), enumField(MEMBER(R, any), ANY),
                               unsignedField(MEMBER(R, wide), 1),    signedField(MEMBER(R, wide_signed), 2),
                               fixedBytes(MEMBER(R, date)),          enumField(MEMBER(R, cause), CAUSE),
                               enumField(MEMBER(R, tide), TIDE),     enumField(MEMBER(R, depth), DEPTH),
                               enumField(MEMBER(R, whole), WHOLE)},
                              true};
    return table;
}

const Record& pair() {
    using R = VALSamplePair_t;
    static const Record table{"VALSamplePair_t",
                              sizeof(R),
                              {unsignedField(MEMBER(R, state), 1), signedField(MEMBER(R, value), 4)},
                              true};
    return table;
}

const Record& name() {
    using R = VALSampleName_t;
    static const Record table{
        "VALSampleName_t",
        sizeof(R),
        {unsignedField(MEMBER(R, length), 1), counted(unsignedField(MEMBER(R, text), 1), "length", 254)},
        true};
    return table;
}

const Record& arrays() {
    using R = VALSampleArrays_t;
    static const Record table{"VALSampleArrays_t",
                              sizeof(R),
                              {unsignedField(MEMBER(R, idCount), 2),
                               unsignedField(MEMBER(R, wordCount), 1),
                               unsignedField(MEMBER(R, longCount), 4),
                               unsignedField(MEMBER(R, pairCount), 1),
                               unsignedField(MEMBER(R, nameCount), 1),
                               unsignedField(MEMBER(R, byteCount), 1),
                               unsignedField(MEMBER(R, marker), 1),
                               counted(unsignedField(MEMBER(R, bytes), 1), "byteCount", 255),
                               counted(unsignedField(MEMBER(R, words), 2), "wordCount", 4),
                               counted(unsignedField(MEMBER(R, longs), 4), "longCount", 256),
                               counted(enumField(MEMBER(R, sources), SOURCE), "idCount", 300),
                               counted(recordField(MEMBER(R, pairs), pair()), "pairCount", 16),
                               counted(recordField(MEMBER(R, names), name()), "nameCount", 3),
                               unsignedField(MEMBER(R, reasonCount), 1),
                               counted(enumField(MEMBER(R, reasons), REASON), "reasonCount", 2),
                               unsignedField(MEMBER(R, codeCount), 1),
                               counted(enumField(MEMBER(R, codes), CODE), "codeCount", 2),
                               unsignedField(MEMBER(R, causeCount), 1),
                               counted(enumField(MEMBER(R, causes), CAUSE), "causeCount", 2),
                               unsignedField(MEMBER(R, tideCount), 1),
                               counted(enumField(MEMBER(R, tides), TIDE), "tideCount", 2)},
                              true};
    return table;
}

const Record& guess() {
    using R = tSampleGuessds;
    static const Record table{
        "tSampleGuessds",
        sizeof(R),
        {unsignedField(MEMBER(R, marker), 1), recordField(MEMBER(R, arrays), arrays())}};
    return table;
}

const Record& holder() {
    using R = tSampleHolderds;
    static const Record table{"tSampleHolderds",
                              sizeof(R),
                              {recordField(MEMBER(R, scalars), scalars()),
                               recordField(MEMBER(R, name), name()), unsignedField(MEMBER(R, check), 2)}};
    return table;
}

const Record& token() {
    using R = tSampleTokends;
    static const Record table{"tSampleTokends", sizeof(R), {fixedBytes(MEMBER(R, token))}};
    return table;
}

}  // namespace

const Family& sample() {
    static const Family family = {{&scalars(), &pair(), &name(), &arrays(), &guess(), &holder(), &token()},
                                  {
                                      {60001, "SampleHolder", "tSampleHolderds", &holder()},
                                      {60002, "ValSampleArraysInd", "tValSampleArraysIndds", &arrays()},
                                      {60003, "ValSampleScalarsInd", "tValSampleScalarsIndds", &scalars()},
                                      {60004, "SampleGuess", "tSampleGuessds", &guess()},
                                      {60005, "SampleToken", "tSampleTokends", &token()},
                                  }};
    return family;
}

}  // namespace oracle::expected
