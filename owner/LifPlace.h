#pragma once

/// Where a LIF lies on a chip: bank, row of the LIF table, and SCHAN address of an AradLifIndex. Where it is
/// only the bank and the offset within it that is asked for, the arithmetic in model/FapTypeProperties.h is
/// enough.
///
///     LifPlaces const places(Hardware::jerichoChip8);
///     LifPlace const place = places.at(AradLifIndex(4097, lifBankManaged));
///     place.bank;            // 5
///     place.offset;          // 2048
///     place.entry;           // 18432, of array element 0
///     place.address;         // 0x684800
///
/// The rule:
///
/// 1. The family's arithmetic gives the bank and the offset in it. On the Arad family a bank holds
///    `lifEntriesPerBank` rows, and an index goes to the bank that it falls into. On the Jericho family a bank
///    holds half as many, since neighbouring indexes alternate between the two banks of a pair: an even index
///    lies in the first, the odd one after it in the second, at the same offset.
/// 2. The rows of the table are the banks one after the other, from bank 0. A table that is too small for all
///    banks up to the last managed one begins with the first managed one: so on chips 8 and 9.
/// 3. The array elements of the table are its rows one after the other, `entries` rows in each.
///
///     chip        managed indexes   banks      first row of the table
///     3, 4        0 to 32767        2, 3       of bank 0
///     5, 7, 10    0 to 65535        4 to 7     of bank 0
///     8, 9        0 to 65535        4 to 7     of bank 4
///
/// A LifPlaces has the arithmetic for itself and never changes, so any thread may ask it. Make it once: that
/// allocates, and asking does not.

#include "model/FapTypeProperties.h"
#include "platform/Hardware/ChipType.h"

namespace Hardware::LoamTunnel {

/// A row of the LIF table, in the numbers that getSchanAddress takes and gives.
struct LifPlace {
    /// Of the chip, as lifBankFromIndex counts.
    U8 bank;
    /// Within the bank.
    U32 offset;
    /// The array element of the table, and the row in it.
    U32 array;
    U32 entry;
    /// What the row is written to: LifTable::getSchanAddress.
    U32 address;
    U8 block;
    U8 aux;

    friend bool operator==(LifPlace const&, LifPlace const&) = default;
};

/// The places of all LIFs of one chip.
class KOR_EXPORT LifPlaces {
public:
    /// For chips 3, 4, 5, 7, 8, 9 and 10; Kor::RangeException for any other number.
    explicit LifPlaces(ChipType chip);

    ChipType chip() const { return chip_; }

    /// How many indexes, from 0, have a place when they start in that bank: two banks of the family's size
    /// for `lifBankManaged`. For `lifBankTunnelTermination` it is one, or 0 on chips 8 and 9, which have no
    /// rows for it; for any other number it is 0. Constant time.
    U32 capacity(AradLifBank startingBank = lifBankManaged) const noexcept;

    /// The place of that index; two indexes never share one. Some ten integer operations, no allocation.
    /// Kor::RangeException for an index of capacity() or above, the null index among them.
    LifPlace at(AradLifIndex const& index) const;

private:
    [[noreturn]] void refuse(AradLifIndex const& index) const;

    ChipType chip_;
    Kor::Ptr<FapTypeProperties::Properties const> family_;
    /// The rows of a bank of the chip, and of an array element.
    U32 bankRows_;
    U32 arrayRows_;
    /// The bank that the table begins with.
    U32 firstBank_;
};

} // namespace Hardware::LoamTunnel
