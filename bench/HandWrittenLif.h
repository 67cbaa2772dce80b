#pragma once

/// The rows of the LIF table as somebody would write them who has one chip and no library: shift and mask,
/// with the positions as numbers, on two 64-bit words. The measure for the encoder's speed, and an
/// independent check of what it writes.

#include "values/AradLifEntry.h"

#include <cstring>

namespace HandWritten {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Kor::U64;
using Kor::U8;

/// Row bits at..at+width-1 := value.
inline void put(U64* row, unsigned at, unsigned width, U64 value) {
    U64 const ones = (U64{1} << width) - 1;
    value &= ones;
    unsigned const shift = at % 64;
    row[at / 64] = (row[at / 64] & ~(ones << shift)) | (value << shift);
    if (shift + width > 64) {
        row[at / 64 + 1] = (row[at / 64 + 1] & ~(ones >> (64 - shift))) | (value >> (64 - shift));
    }
}

inline U64 bits(U64 word, unsigned first, unsigned width) {
    return (word >> first) & ((U64{1} << width) - 1);
}

/// A destination of the Jericho family as the Arad family writes it.
inline U64 aradDestination(U64 destination) {
    return (destination & 0xffff) << 3 | (7 - (destination >> 16));
}

inline void protection(U64* row, U64 w1) {
    put(row, 80, 1, bits(w1, 16, 1));
    put(row, 81, 1, bits(w1, 17, 1));
    put(row, 82, 14, bits(w1, 18, 14));
}

inline void acMp(U64* row, U64 w0, U64 w1, bool arad) {
    put(row, arad ? 97 : 96, 2, 3);
    put(row, 0, 16, bits(w0, 0, 16));
    put(row, arad ? 32 : 35, 1, bits(w0, 32, 1));
    put(row, 48, 12, bits(w0, 48, 12));
    put(row, 36, 12, bits(w0, 36, 12));
    put(row, 60, 4, bits(w0, 60, 4));
    put(row, 64, 3, bits(w1, 0, 3));
    put(row, 67, 1, bits(w1, 3, 1));
    put(row, 68, 6, bits(w1, 4, 6));
    put(row, 74, 4, bits(w1, 10, 4));
    put(row, 78, 2, bits(w1, 14, 2));
    if (arad) {
        put(row, 96, 1, bits(w1, 32, 1));
    }
}

inline void acP2pToAc(U64* row, U64 w0, U64 w1, bool arad) {
    U64 const destination = bits(w0, 0, 19);
    put(row, 0, 19, arad ? aradDestination(destination) : destination);
    put(row, 64, 3, bits(w1, 0, 3));
    if (arad) {
        put(row, 97, 2, 0);
        put(row, 19, 1, bits(w0, 19, 1));
        put(row, 20, 16, bits(w0, 20, 16));
        put(row, 96, 1, bits(w1, 32, 1));
    } else {
        put(row, 96, 2, 0);
        put(row, 19, 17, bits(w0, 20, 26));
    }
    put(row, 78, 1, bits(w1, 14, 1));
}

inline void acP2pToPwe(U64* row, U64 w0, U64 w1, ChipType chip) {
    bool const arad = chip <= aradChip4;
    put(row, 0, 19, bits(w0, 0, 19));
    put(row, 19, 1, bits(w0, 19, 1));
    put(row, 20, 20, bits(w0, 20, 20));
    put(row, 40, 4, bits(w0, 40, 4));
    if (chip == jerichoChip5 || chip == jerichoChip7 || chip == jerichoChip10) {
        put(row, 44, 1, 1);
    }
    put(row, 48, 12, bits(w0, 48, 12));
    put(row, 60, 4, bits(w0, 60, 4));
    put(row, 64, 3, bits(w1, 0, 3));
    put(row, 67, 1, bits(w1, 3, 1));
    put(row, 68, 6, bits(w1, 4, 6));
    put(row, 74, 4, bits(w1, 10, 4));
    put(row, 78, 2, bits(w1, 14, 2));
    protection(row, w1);
    if (arad) {
        put(row, 96, 1, bits(w1, 32, 1));
    }
    put(row, arad ? 97 : 96, 2, 1);
}

inline void pweToP2p(U64* row, U64 w0, U64 w1, bool arad) {
    put(row, 0, 1, bits(w0, 0, 1));
    put(row, 1, 3, bits(w0, 1, 3));
    put(row, 4, 1, bits(w0, 4, 1));
    put(row, 5, 2, bits(w0, 5, 2));
    put(row, arad ? 96 : 76, 1, bits(w1, 32, 1));
    put(row, 7, 4, bits(w0, 7, 4));
    put(row, 11, 2, bits(w0, 11, 2));
    put(row, 13, 4, bits(w0, 13, 4));
    put(row, 33, arad ? 16 : 18, bits(w0, 33, 16));
    put(row, arad ? 49 : 51, 1, bits(w0, 49, 1));
    U64 const destination = bits(w1, 0, 12) << 7 | bits(w0, 57, 7);
    put(row, 57, 19, arad ? aradDestination(destination) : destination);
    if (arad) {
        put(row, 17, 16, bits(w0, 17, 16));
        put(row, 76, 1, bits(w1, 12, 1));
    } else {
        put(row, 98, 18, bits(w0, 17, 16));
    }
    put(row, 77, 1, bits(w1, 13, 1));
    put(row, 78, 2, bits(w1, 14, 2));
    protection(row, w1);
    put(row, arad ? 97 : 96, 2, 0);
}

inline void label(U64* row, U64 w0, U64 w1, ChipType chip) {
    bool const arad = chip <= aradChip4;
    put(row, 0, 1, bits(w0, 0, 1));
    put(row, 1, 3, bits(w0, 1, 3));
    put(row, 4, 1, bits(w0, 4, 1));
    put(row, 5, 2, bits(w0, 5, 2));
    put(row, 76, 1, bits(w1, 12, 1));
    put(row, 7, 4, bits(w0, 7, 4));
    put(row, 11, 2, bits(w0, 11, 2));
    put(row, 13, 6, bits(w0, 13, 6));
    put(row, 19, 15, bits(w0, 19, 15));
    put(row, 34, 3, bits(w0, 34, 3));
    put(row, 37, arad ? 12 : 13, bits(w0, 37, 12));
    if (arad) {
        put(row, 49, 1, bits(w0, 49, 1));
        put(row, 54, 1, bits(w0, 54, 1));
        put(row, 96, 1, bits(w1, 32, 1));
        put(row, 50, 4, bits(w0, 50, 4));
        put(row, 19, 2, bits(w0, 55, 2));
        put(row, 97, 2, 2);
    } else {
        put(row, 50, 1, bits(w0, 49, 1));
        put(row, 51, 4, bits(w0, 50, 4));
        put(row, 55, 2, bits(w0, 55, 2));
        put(row, 96, 2, 2);
    }
    U64 const destination = bits(w1, 0, 12) << 7 | bits(w0, 57, 7);
    put(row, 57, 19, arad ? aradDestination(destination) : destination);
    put(row, 77, 1, bits(w1, 13, 1));
    put(row, 78, 2, bits(w1, 14, 2));
    protection(row, w1);
}

/// Writes the entry's row into 16 bytes.
inline void encode(AradLifEntry const& entry, ChipType chip, U8* buffer) {
    U64 row[2];
    std::memcpy(row, buffer, sizeof row);
    U64 const w0 = entry.dword0();
    U64 const w1 = entry.dword1();
    bool const arad = chip <= aradChip4;
    switch (entry.lifType()) {
    case lifAcMp:
        acMp(row, w0, w1, arad);
        break;
    case lifAcP2pToAc:
        acP2pToAc(row, w0, w1, arad);
        break;
    case lifAcP2pToPwe:
        acP2pToPwe(row, w0, w1, chip);
        break;
    case lifLabelPweP2p:
        pweToP2p(row, w0, w1, arad);
        break;
    case lifLabelProtocolOrLsp:
        label(row, w0, w1, chip);
        break;
    default:
        break;
    }
    std::memcpy(buffer, row, sizeof row);
}

} // namespace HandWritten
