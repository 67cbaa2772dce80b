#include "model/FapTypeProperties.h"

#include "runtime/Contract.h"

#include <cstdlib>
#include <optional>

namespace Hardware::LoamTunnel {

namespace {

constexpr U32 firstAradDownloadBank = lifBankManaged;
constexpr U32 firstJerichoDownloadBank = 4;
/// Of the DMA address on the Jericho family; it does not follow the size of a bank.
constexpr U32 jerichoDmaBankEntries = 16384;

struct Sizes {
    U32 isemHwSize;
    U32 esemHwSize;
    U32 evecProfileSize;
    U32 lifEntriesPerBank;
};

constexpr Sizes aradSizes{32768, 16384, 4, 16384};
constexpr Sizes jerichoSizes{65536, 65536, 5, 32768};

U32 fromEnvironment(char const* variable, U32 otherwise) {
    char const* const text = std::getenv(variable);
    return text ? static_cast<U32>(std::strtol(text, nullptr, 10)) : otherwise;
}

void sizesIs(FapTypePropertySet& set, Sizes const& sizes, U32 tcamEntriesPerBank) {
    set.isemHwSizeIs(sizes.isemHwSize);
    set.esemHwSizeIs(sizes.esemHwSize);
    set.evecProfileSizeIs(sizes.evecProfileSize);
    set.lifEntriesPerBankIs(sizes.lifEntriesPerBank);
    set.tcamEntriesPerBankIs(tcamEntriesPerBank);
}

void requireIndex(AradLifIndex const& lifIndex, char const* operation) {
    Kor::require(!!lifIndex, [&] { return Kor::Breach{operation, "the LIF index is null"}; });
}

// A set whose sizes are not set yet, or that a peer has set to 0, has no places: all are 0.
U32 quotient(U32 of, U32 by) {
    return by != 0 ? of / by : 0;
}
U32 rest(U32 of, U32 by) {
    return by != 0 ? of % by : 0;
}

} // namespace

U8 LifArithmetic::lifBankFromIndex(AradLifIndex const&) const {
    return 0;
}
U32 LifArithmetic::lifOffsetFromIndex(AradLifIndex const&) const {
    return 0;
}
U32 LifArithmetic::lifDnldIndexToDmaAddr(U32, U32, U32, U32) const {
    return 0;
}
U32 LifArithmetic::lifDnldIndexToLifBank(U32, U32) const {
    return 0;
}
U32 LifArithmetic::lifDnldIndexToLifOffset(U32, U32) const {
    return 0;
}

template <>
U8 FapTypePropertySetOf<AradFapTypeProperties>::lifBankFromIndex(AradLifIndex const& lifIndex) const {
    requireIndex(lifIndex, "AradProperties::lifBankFromIndex");
    return static_cast<U8>(lifIndex.startingBank() + quotient(lifIndex.index(), lifEntriesPerBank()));
}
template <>
U32 FapTypePropertySetOf<AradFapTypeProperties>::lifOffsetFromIndex(AradLifIndex const& lifIndex) const {
    requireIndex(lifIndex, "AradProperties::lifOffsetFromIndex");
    return rest(lifIndex.index(), lifEntriesPerBank());
}
template <>
U32 FapTypePropertySetOf<AradFapTypeProperties>::lifDnldIndexToDmaAddr(U32 dmaAddrBase, U32 dnldIndex,
                                                                       U32 dnldSize, U32 entrySize) const {
    return dnldIndex * dnldSize * entrySize + dmaAddrBase;
}
template <>
U32 FapTypePropertySetOf<AradFapTypeProperties>::lifDnldIndexToLifBank(U32 dnldIndex, U32 dnldSize) const {
    return quotient(dnldIndex * dnldSize, lifEntriesPerBank()) + firstAradDownloadBank;
}
template <>
U32 FapTypePropertySetOf<AradFapTypeProperties>::lifDnldIndexToLifOffset(U32 dnldIndex, U32 dnldSize) const {
    return rest(dnldIndex * dnldSize, lifEntriesPerBank());
}

template <>
U8 FapTypePropertySetOf<JerichoFapTypeProperties>::lifBankFromIndex(AradLifIndex const& lifIndex) const {
    requireIndex(lifIndex, "JerichoProperties::lifBankFromIndex");
    U32 const pair = lifIndex.startingBank() + quotient(lifIndex.index(), lifEntriesPerBank());
    return static_cast<U8>(pair * 2 + (lifIndex.index() & 1));
}
template <>
U32 FapTypePropertySetOf<JerichoFapTypeProperties>::lifOffsetFromIndex(AradLifIndex const& lifIndex) const {
    requireIndex(lifIndex, "JerichoProperties::lifOffsetFromIndex");
    return rest(lifIndex.index(), lifEntriesPerBank()) >> 1;
}
template <>
U32 FapTypePropertySetOf<JerichoFapTypeProperties>::lifDnldIndexToDmaAddr(U32 dmaAddrBase, U32 dnldIndex,
                                                                          U32 dnldSize, U32 entrySize) const {
    U32 const entry = ((dnldIndex & 1) + 2) * jerichoDmaBankEntries + (dnldIndex >> 1) * dnldSize;
    return entry * entrySize + dmaAddrBase;
}
template <>
U32 FapTypePropertySetOf<JerichoFapTypeProperties>::lifDnldIndexToLifBank(U32 dnldIndex, U32 dnldSize) const {
    return quotient(dnldIndex * dnldSize, lifEntriesPerBank()) * 2 + (dnldIndex & 1) +
           firstJerichoDownloadBank;
}
template <>
U32 FapTypePropertySetOf<JerichoFapTypeProperties>::lifDnldIndexToLifOffset(U32 dnldIndex,
                                                                            U32 dnldSize) const {
    return rest((dnldIndex >> 1) * dnldSize, lifEntriesPerBank() >> 1);
}

FapTypeProperties::FapTypeProperties() : EntityOver(Kor::Name()) {
    handleInitialized();
}

void FapTypeProperties::handleInitialized() {
    U32 const aradTcam = fromEnvironment("MAX_ARAD_TCAM_ENTRIES", 1024);
    U32 const jerichoTcam = fromEnvironment("MAX_JERICHO_TCAM_ENTRIES", 2048);
    auto const arad = aradPropertiesFactory(Loam::fapTypeArad);
    sizesIs(*arad, aradSizes, aradTcam);
    propertiesIs(Loam::fapTypeArad, arad);
    auto const jericho = jerichoPropertiesFactory(Loam::fapTypeJericho);
    sizesIs(*jericho, jerichoSizes, jerichoTcam);
    propertiesIs(Loam::fapTypeJericho, jericho);
    initializedIs(true);
}

Kor::Ptr<FapTypeProperties::Properties> FapTypeProperties::propertiesFactory(Loam::FapType fapType) {
    return Kor::makePtr<Properties>(fapType);
}
Kor::Ptr<FapTypeProperties::AradProperties> FapTypeProperties::aradPropertiesFactory(Loam::FapType fapType) {
    return Kor::makePtr<AradProperties>(fapType);
}
Kor::Ptr<FapTypeProperties::JerichoProperties>
FapTypeProperties::jerichoPropertiesFactory(Loam::FapType fapType) {
    return Kor::makePtr<JerichoProperties>(fapType);
}

namespace {

// AradLifIndex::hwOffset() asks for it.
[[maybe_unused]] bool const isHooked = [] {
    lifEntriesPerBankHookIs(
        [](FapTypeProperties const& properties, Loam::FapType fapType) -> std::optional<U32> {
            auto const set = properties.properties(fapType);
            return set ? std::optional(set->lifEntriesPerBank()) : std::nullopt;
        });
    return true;
}();

} // namespace

} // namespace Hardware::LoamTunnel
