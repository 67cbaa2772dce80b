#include "values/AradLifEntry.h"

#include "chip/RowWriter.h"
#include "platform/Hardware/Loam/DestinationId.h"
#include "platform/LoamLib/LoamLibCommonUtils.h"
#include "tables/LifTable.h"
#include "values/Tracing.h"

#include <ostream>
#include <string>

namespace Hardware::LoamTunnel {

namespace {

constexpr U8 variantP2pToAc = 0;
constexpr U8 variantMp = 1;
constexpr U8 variantP2pToPwe = 2;
constexpr U8 variantPweToP2p = 3;
constexpr U8 variantLabel = 4;
constexpr U8 noVariant = 255;

constexpr U8 variantOf(LifType lifType) {
    switch (lifType) {
    case lifAcP2pToAc:
        return variantP2pToAc;
    case lifAcMp:
        return variantMp;
    case lifAcP2pToPwe:
        return variantP2pToPwe;
    case lifLabelPweP2p:
        return variantPweToP2p;
    case lifLabelProtocolOrLsp:
        return variantLabel;
    default:
        return noVariant;
    }
}

/// An entry holds its destination in the encoding of the Jericho family.
U32 encodeDestIdForFapType(U32 destination, Loam::FapType fapType) {
    if (fapType == Loam::fapTypeJericho) {
        return destination;
    }
    Kor::require(fapType == Loam::fapTypeArad, [&] {
        return Kor::Breach{"encodeDestIdForFapType",
                           "no encoding for family " + std::to_string(U32{fapType})};
    });
    Loam::DestinationId id;
    id.decodeDestId(Loam::fapTypeJericho, destination);
    return id.encodedDestId(Loam::fapTypeArad);
}

// The order of writing matters where row fields share bits: the last one prevails.

void write(auto& row, AradLifAcMp const& lif, Loam::FapType) {
    row.typeIs(acMp);
    copy<name::vsi, name::ttLearnEnable, name::vlanEditVid1, name::vlanEditVid2, name::vlanEditPcpDeiProfile,
         name::vlanEditProfile, name::orientationIsHub, name::cosProfile, name::inLifProfile,
         name::vsiAssignmentMode>(row, lif);
    copyWhereValid<name::useInLif>(row, lif);
}

void write(auto& row, AradLifAcP2pToAc const& lif, Loam::FapType fapType) {
    row.typeIs(acP2pToAc);
    row.destinationIs(encodeDestIdForFapType(lif.destination(), fapType));
    copyWhereValid<name::destinationValid>(row, lif);
    copy<name::vlanEditProfile>(row, lif);
    if (row.isOutLifValid()) {
        row.outLifIs(static_cast<U16>(lif.outLif()));
    }
    if (row.isOutLifLsbValid()) {
        Kor::require(lif.outLif() < 65536, [&] {
            return Kor::Breach{"Hardware::LoamTunnel::AradLifEntry::writeToChipFormat",
                               "outLif " + std::to_string(lif.outLif()) + " is above 65535"};
        });
        row.outLifLsbIs(lif.outLif());
    }
    copy<name::outLifValid>(row, lif);
    copyWhereValid<name::useInLif>(row, lif);
}

void write(auto& row, AradLifAcP2pToPwe const& lif, Loam::FapType) {
    copy<name::destination, name::destinationValid, name::mplsVcLabel, name::mplsPushProfile>(row, lif);
    if (row.isEeiIsLabelValid()) {
        row.eeiIsLabelIs(1);
    }
    copy<name::vlanEditVid1, name::vlanEditPcpDeiProfile, name::vlanEditProfile, name::orientationIsHub,
         name::cosProfile, name::inLifProfile, name::vsiAssignmentMode, name::oamLifSet, name::protectionPath,
         name::protectionPointer>(row, lif);
    copyWhereValid<name::useInLif>(row, lif);
    row.typeIs(acP2pToPwe);
}

void write(auto& row, AradLifPweToP2p const& lif, Loam::FapType fapType) {
    copy<name::orientationIsHub, name::actionProfileIndex, name::modelIsPipe, name::terminationProfileLsb,
         name::terminationProfileMsb, name::inLifProfile, name::tpidProfile, name::cosProfile, name::sysInLif,
         name::outLifValue, name::outLifValidBit>(row, lif);
    row.destinationIs(encodeDestIdForFapType(lif.destination(), fapType));
    copyWhereValid<name::destinationValid>(row, lif);
    copy<name::eeiOrOutLifType, name::vsiAssignmentMode, name::oamLifSet, name::protectionPath,
         name::protectionPointer>(row, lif);
    row.typeIs(labelPweP2p);
}

void write(auto& row, AradLifLabelProtocolOrLsp const& lif, Loam::FapType fapType) {
    copy<name::orientationIsHub, name::actionProfileIndex, name::modelIsPipe, name::terminationTypeLsb,
         name::destinationValidOrTerminationTypeMsb, name::inLifProfile, name::tpidProfile, name::cosProfile,
         name::vsi>(row, lif);
    copyWhereValid<name::vsiMsb>(row, lif);
    copy<name::serviceType, name::inRifMsb, name::inRifValid>(row, lif);
    copyWhereValid<name::expectBos, name::inLifValid>(row, lif);
    copy<name::forwardingCode>(row, lif);
    row.destinationIs(encodeDestIdForFapType(lif.destination(), fapType));
    copy<name::daNotFoundProfile, name::ttLearnEnable, name::oamLifSet, name::vsiAssignmentMode,
         name::protectionPath, name::protectionPointer>(row, lif);
    row.typeIs(labelPweLsp);
}

template <class Lif, U8 Variant>
void writeAs(AradLifEntry const& entry, ChipType chipType, Loam::FapType fapType, Kor::BytePtr dataBuffer) {
    writeRow<LifTable, Variant>(chipType, dataBuffer,
                                [from = &entry, fapType](auto& row) { write(row, Lif(*from), fapType); });
}

[[gnu::cold, gnu::noinline]] void traceWrite(Kor::TraceFacility& facility, bool on, ChipType chipType,
                                             Loam::FapType fapType) {
    Kor::traceCompose(facility, 8, on, {"LoamTunnelTypes", __LINE__, "writeToChipFormat"},
                      [&](std::ostream& text) {
                          text << "AradLifEntry::"
                               << "writeToChipFormat"
                               << ": chipType: " << chipType << ", fapType: " << fapType;
                      });
}

} // namespace

U8 AradLifEntry::variant() const {
    U8 const variant = variantOf(lifType());
    Kor::require(variant != noVariant, [&] {
        return Kor::Breach{"Hardware::LoamTunnel::AradLifEntry::variant",
                           Kor::enumeratorText(lifType(), "LifType") + " has no row format"};
    });
    return variant;
}

void AradLifEntry::writeToChipFormat(ChipType chipType, Kor::BytePtr dataBuffer) const {
    Loam::FapType const fapType = chipTypeToFapType(chipType);
    Kor::TraceFacility& facility = typesTraceHandle().facility();
    if (bool const on = facility.passed(8); on || Kor::coverageStream_) [[unlikely]] {
        traceWrite(facility, on, chipType, fapType);
    }
    switch (variant()) {
    case variantP2pToAc:
        return writeAs<AradLifAcP2pToAc, variantP2pToAc>(*this, chipType, fapType, dataBuffer);
    case variantMp:
        return writeAs<AradLifAcMp, variantMp>(*this, chipType, fapType, dataBuffer);
    case variantP2pToPwe:
        return writeAs<AradLifAcP2pToPwe, variantP2pToPwe>(*this, chipType, fapType, dataBuffer);
    case variantPweToP2p:
        return writeAs<AradLifPweToP2p, variantPweToP2p>(*this, chipType, fapType, dataBuffer);
    case variantLabel:
        return writeAs<AradLifLabelProtocolOrLsp, variantLabel>(*this, chipType, fapType, dataBuffer);
    default:
        return;
    }
}

} // namespace Hardware::LoamTunnel
