#pragma once

/// The rows of the out-AC bank and of the egress VLAN edit table as somebody would write them who has one
/// chip and no library, as in HandWrittenLif.h.

#include "HandWrittenLif.h"
#include "values/EvecValue.h"
#include "values/OutAcValue.h"

namespace HandWritten {

/// Where the parts of an out-AC lie in the row; a width of 0 means nowhere.
struct AcPlace {
    unsigned pcpDei, vid1, vid2, edit, editWidth, oam, drop, dataBit, format, formatWidth;
};

inline constexpr unsigned nowhere = 0;

inline void outAc(U64* row, U64 ac, AcPlace const& at, bool hasDataBit) {
    put(row, at.pcpDei, 4, bits(ac, 0, 4));
    put(row, at.vid1, 12, bits(ac, 4, 12));
    put(row, at.vid2, 12, bits(ac, 16, 12));
    put(row, at.edit, at.editWidth, bits(ac, 28, 4));
    put(row, at.oam, 1, bits(ac, 32, 1));
    put(row, at.drop, 1, bits(ac, 33, 1));
    if (at.formatWidth) {
        put(row, at.format, at.formatWidth, bits(ac, 34, 3));
    }
    if (hasDataBit) {
        put(row, at.dataBit, 1, 0);
    }
}

/// Writes the pair's row into 12 bytes.
inline void encode(OutAcValue const& value, ChipType chip, U8* buffer) {
    U64 row[2] = {};
    std::memcpy(row, buffer, 12);
    U64 const ac0 = value.word0() | (U64{value.word1()} & 0x1f) << 32;
    U64 const ac1 = U64{value.word1()} >> 5 | (U64{value.word2()} & 0x3ff) << 27;
    if (chip == aradChip3) {
        outAc(row, ac0, {0, 4, 16, 28, 4, 32, 33, nowhere, 34, 3}, false);
        outAc(row, ac1, {37, 41, 53, 65, 4, 69, 70, nowhere, 71, 3}, false);
        put(row, 74, 4, 0);
    } else if (chip == aradChip4) {
        outAc(row, ac0, {0, 4, 16, 28, 4, 32, 33, 34, 35, 2}, true);
        outAc(row, ac1, {37, 41, 53, 65, 4, 69, 70, 71, 72, 2}, true);
        put(row, 74, 4, 0);
    } else if (chip == jerichoChip5 || chip == jerichoChip7) {
        outAc(row, ac0, {0, 4, 16, 28, 5, 33, 37, 38, 39, 2}, true);
        outAc(row, ac1, {41, 45, 57, 69, 5, 74, 78, 79, 80, 4}, true);
        put(row, 84, 4, 0);
    } else {
        outAc(row, ac0, {0, 16, 4, 28, 5, 33, 40, nowhere, nowhere, 0}, false);
        outAc(row, ac1, {41, 57, 45, 69, 5, 74, 81, nowhere, nowhere, 0}, false);
        put(row, 84, 4, 0);
    }
    std::memcpy(buffer, row, 12);
}

inline U64 narrowCommand(U64 command) {
    return bits(command, 0, 12) | bits(command, 12, 2) << 12 | bits(command, 15, 2) << 14;
}

/// Writes the pair's row into 8 bytes.
inline void encode(EvecValue const& value, ChipType chip, U8* buffer) {
    U64 row;
    std::memcpy(&row, buffer, sizeof row);
    U64 const word = value.word0();
    if (chip >= jerichoChip8) {
        put(&row, 0, 18, bits(word, 0, 18));
        put(&row, 18, 1, 1);
        put(&row, 19, 18, bits(word, 19, 18));
        put(&row, 37, 1, 1);
    } else {
        put(&row, 0, 16, narrowCommand(bits(word, 0, 18)));
        put(&row, 16, 16, narrowCommand(bits(word, 19, 18)));
    }
    std::memcpy(buffer, &row, sizeof row);
}

} // namespace HandWritten
