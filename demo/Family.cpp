#include "demo/Family.h"

#include "console/Failure.h"
#include "forms/Values.h"
#include "platform/LoamLib/LoamLibCommonUtils.h"
#include "reflect/Text.h"
#include "values/EedbValue.h"
#include "values/EvecValue.h"
#include "values/OutAcValue.h"

#include <algorithm>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

U8* bytesOf(Words& words) {
    return reinterpret_cast<U8*>(words.data());
}

} // namespace

void Lifs::must(Item const& item) const {
    U64 outLif = 0;
    switch (item.lifType()) {
    case lifAcP2pToAc:
        outLif = AradLifAcP2pToAc(item).outLif();
        break;
    case lifAcMp:
    case lifAcP2pToPwe:
    case lifLabelPweP2p:
    case lifLabelProtocolOrLsp:
        break;
    default:
        throw Refused("an entry of that type has no row");
    }
    if (outLif > 0xffff && chip_ >= jerichoChip5) {
        throw Refused("its outLif " + std::to_string(outLif) + " does not fit the row of chip " +
                      std::to_string(chip_));
    }
}

RowAt Lifs::at(U32 index) const {
    LifPlace const place = places_.at(AradLifIndex(index, lifBankManaged));
    return {place.array * rowForm("LifTable", chip_, 0).geometry().entries + place.entry, 0};
}

Words Lifs::row(std::array<Item const*, 2> const& halves) const {
    if (halves[0] == nullptr) {
        return Words(rowForm("LifTable", chip_, 0).table->words);
    }
    must(*halves[0]);
    Words words(form(*halves[0]).table->words);
    halves[0]->writeToChipFormat(chip_, bytesOf(words));
    return words;
}

void Lifs::answer(Status& status, App app, Item const& item, U32 index) {
    status.appStatusIs(app)->lifEntryIs(item, AradLifIndex(index, lifBankManaged));
}
void Lifs::takeBack(Status& status, App app, Item const& item) {
    status.appStatusIs(app)->lifEntryDel(item);
}
std::optional<U32> Lifs::index(Status const& status, App app, Item const& item) {
    auto const of = status.appStatus(app);
    AradLifIndex const index = of ? of->lifEntry(item) : AradLifIndex();
    return !index ? std::nullopt : std::optional<U32>(index.index());
}

Words rowOfLif(AradLifEntry const& lif, ChipType chip) {
    return Lifs(chip, 0).row({&lif, nullptr});
}

Halves::Halves(ChipType chip, ChipTable table, U32 fap)
    : chip_(chip), form_(chipTableForm(table, chip)), fap_(fap),
      rows_(form_.geometry().entries * form_.geometry().arrayElements) {}

void Halves::mustBeHere(Sideband::Fapmask const& chips) const {
    if (!chips.has(fap_)) {
        throw Refused("it is for other chips; fapMask has to have " + std::to_string(fap_));
    }
}

OutAcs::OutAcs(ChipType chip, U32 fap)
    : Halves(chip, table, fap), first_(EedbAcConstants::acBaseIndex(chipTypeToFapType(chip))),
      skipped_(first_ / 2 < rows_ ? 0 : first_ / 2) {
    U32 const null = Loam::OutAcIndex().value();
    capacity_ = std::min(2 * (rows_ + skipped_) - first_, (null - first_) / 2 * 2);
}

void OutAcs::must(Item const& item) const {
    mustBeHere(item.fapMask());
    bool const isNarrow = chip_ == 4 || chip_ == 5 || chip_ == 7;
    if (isNarrow && item.acFormat().format() > 3) {
        throw Refused("format: " + std::to_string(item.acFormat().format()) +
                      " is too large for the row of chip " + std::to_string(chip_) + ", at most 3");
    }
}

Words OutAcs::row(std::array<Item const*, 2> const& halves) const {
    Words words = empty();
    if (halves[0] != nullptr || halves[1] != nullptr) {
        OutAcValue pair;
        for (std::size_t i = 0; i < 2; ++i) {
            pair.acFormatIs(i == 0, halves[i] != nullptr ? halves[i]->acFormat() : OutAcFormat());
        }
        pair.writeToChipFormat(chip_, bytesOf(words));
    }
    return words;
}

void OutAcs::answer(Status& status, App app, Item const& item, U32 index) {
    status.appStatusIs(app)->acEntryIs(OutAcEntry(item, Loam::OutAcIndex(static_cast<U16>(index))));
}
void OutAcs::takeBack(Status& status, App app, Item const& item) {
    status.appStatusIs(app)->acEntryDel(item);
}
std::optional<U32> OutAcs::index(Status const& status, App app, Item const& item) {
    auto const of = status.appStatus(app);
    Loam::OutAcIndex const index = of ? of->acEntry(item).acIndex() : Loam::OutAcIndex();
    return !index ? std::nullopt : std::optional<U32>(index.value());
}

void Evecs::must(Item const& item) const {
    mustBeHere(item.key().fapMask());
    if (slot(item.key()) >= capacity()) {
        throw Refused("index: " + std::to_string(slot(item.key())) + " is too large; chip " +
                      std::to_string(chip_) + " has " + std::to_string(capacity()) + " slots, at most " +
                      std::to_string(capacity() - 1));
    }
}

Words Evecs::row(std::array<Item const*, 2> const& halves) const {
    Words words = empty();
    if (halves[0] != nullptr || halves[1] != nullptr) {
        EvecValue pair;
        for (std::size_t i = 0; i < 2; ++i) {
            if (halves[i] != nullptr) {
                pair.evecFormatIs(i == 0, halves[i]->format());
            }
        }
        pair.writeToChipFormat(chip_, bytesOf(words));
    }
    return words;
}

void Evecs::answer(Status& status, App app, Item const& item, U32 index) {
    static_cast<void>(index);
    status.entryIs(item);
    status.ownerIs(EvecOwner(item.key(), app));
}
void Evecs::takeBack(Status& status, App app, Item const& item) {
    static_cast<void>(app);
    status.entryDel(item.key());
    status.ownerDel(item.key());
}
std::optional<U32> Evecs::index(Status const& status, App app, Item const& item) {
    bool const isThere = status.entry(item.key()) == item && status.owner(item.key()).app() == app;
    return isThere ? std::optional<U32>(slot(item.key())) : std::nullopt;
}

std::vector<Placed> requestsOf(Entry const& entry, U32 fap, U32& slots) {
    auto const chips = Sideband::Fapmask::of({fap});
    std::vector<Placed> requests;
    if (entry.kind->name == "OutAcValue") {
        auto const pair = Kor::strepToValue<OutAcValue>(Kor::String8(textOf(entry.value)));
        for (bool const isFirst : {true, false}) {
            requests.emplace_back(OutAcKey(chips, pair.acFormat(isFirst)));
        }
    } else if (entry.kind->name == "EvecValue") {
        auto const pair = Kor::strepToValue<EvecValue>(Kor::String8(textOf(entry.value)));
        for (bool const isFirst : {true, false}) {
            EvecKey const key(chips, Loam::EvecIndex(static_cast<U16>(slots++)));
            requests.emplace_back(EvecEntry(key, pair.evecFormat(isFirst)));
        }
    } else {
        requests.emplace_back(lifOf(entry));
    }
    return requests;
}

} // namespace tool
