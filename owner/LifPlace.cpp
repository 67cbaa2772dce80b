#include "owner/LifPlace.h"

#include "platform/LoamLib/LoamLibCommonUtils.h"
#include "runtime/Exception.h"
#include "tables/LifTable.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace Hardware::LoamTunnel {

namespace {

/// Of those that an index can start in.
constexpr U32 managedBanks = 2;

[[noreturn]] void outOfRange(std::string const& message) {
    Kor::throwRangeException(Kor::String8(message));
}

std::string onChip(ChipType chip) {
    return " on chip " + std::to_string(U32{chip});
}

layout::GeometryRow const& geometryOf(ChipType chip) {
    auto const& rows = LifTable::SheetType::geometry;
    auto const* const found =
        std::ranges::find_if(rows, [&](layout::GeometryRow const& row) { return row.chips.has(chip); });
    if (found == std::end(rows)) {
        outOfRange("no LIF table" + onChip(chip) + "; there are chips 3, 4, 5, 7, 8, 9 and 10");
    }
    return *found;
}

} // namespace

LifPlaces::LifPlaces(ChipType chip) : chip_(chip) {
    layout::GeometryRow const& geometry = geometryOf(chip);
    Loam::FapType const family = chipTypeToFapType(chip);
    family_ = fapTypePropertiesFactory()->properties(family);
    // A bank of the chip is half of one that an index can start in where neighbours lie in two.
    U32 const split = family == Loam::fapTypeJericho ? 2 : 1;
    bankRows_ = family_->lifEntriesPerBank() / split;
    arrayRows_ = geometry.entries;
    U32 const firstManaged = U32{lifBankManaged} * split;
    U32 const rowsOfAll = (firstManaged + managedBanks * split) * bankRows_;
    firstBank_ = rowsOfAll > geometry.entries * geometry.arrayElements ? firstManaged : 0;
}

U32 LifPlaces::capacity(AradLifBank startingBank) const noexcept {
    U32 const perBank = family_->lifEntriesPerBank();
    switch (startingBank) {
    case lifBankManaged:
        return managedBanks * perBank;
    case lifBankTunnelTermination:
        return firstBank_ == 0 ? perBank : 0;
    default:
        return 0;
    }
}

LifPlace LifPlaces::at(AradLifIndex const& index) const {
    if (index.index() >= capacity(index.startingBank())) {
        refuse(index);
    }
    LifPlace place{};
    place.bank = family_->lifBankFromIndex(index);
    place.offset = family_->lifOffsetFromIndex(index);
    U32 const row = (place.bank - firstBank_) * bankRows_ + place.offset;
    place.array = row / arrayRows_;
    place.entry = row % arrayRows_;
    LifTable::getSchanAddress(chip_, 0, place.address, place.aux, place.block, 0, place.entry,
                              static_cast<U16>(place.array));
    return place;
}

void LifPlaces::refuse(AradLifIndex const& index) const {
    if (!index) {
        outOfRange("the LIF index is null, and has no place");
    }
    std::string const bank = Kor::enumeratorText(index.startingBank(), "AradLifBank");
    U32 const places = capacity(index.startingBank());
    if (places == 0) {
        outOfRange("no LIF can start in " + bank + onChip(chip_) + "; right would be lifBankManaged");
    }
    outOfRange("LIF index " + std::to_string(index.index()) + " is too large; " + bank + onChip(chip_) +
               " has " + std::to_string(places) + " places, at most " + std::to_string(places - 1));
}

} // namespace Hardware::LoamTunnel
