#include "values/AradLifEntry.h"

#include "chip/RowWriter.h"
#include "platform/Hardware/Loam/DestinationId.h"
#include "platform/LoamLib/LoamLibCommonUtils.h"
#include "tables/LifTable.h"
#include "values/Tracing.h"

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
    row.vsiIs(lif.vsi());
    row.ttLearnEnableIs(lif.ttLearnEnable());
    row.vlanEditVid1Is(lif.vlanEditVid1());
    row.vlanEditVid2Is(lif.vlanEditVid2());
    row.vlanEditPcpDeiProfileIs(lif.vlanEditPcpDeiProfile());
    row.vlanEditProfileIs(lif.vlanEditProfile());
    row.orientationIsHubIs(lif.orientationIsHub());
    row.cosProfileIs(lif.cosProfile());
    row.inLifProfileIs(lif.inLifProfile());
    row.vsiAssignmentModeIs(lif.vsiAssignmentMode());
    if (row.isUseInLifValid()) {
        row.useInLifIs(lif.useInLif());
    }
}

void write(auto& row, AradLifAcP2pToAc const& lif, Loam::FapType fapType) {
    row.typeIs(acP2pToAc);
    row.destinationIs(encodeDestIdForFapType(lif.destination(), fapType));
    if (row.isDestinationValidValid()) {
        row.destinationValidIs(lif.destinationValid());
    }
    row.vlanEditProfileIs(lif.vlanEditProfile());
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
    row.outLifValidIs(lif.outLifValid());
    if (row.isUseInLifValid()) {
        row.useInLifIs(lif.useInLif());
    }
}

void write(auto& row, AradLifAcP2pToPwe const& lif, Loam::FapType) {
    row.destinationIs(lif.destination());
    row.destinationValidIs(lif.destinationValid());
    row.mplsVcLabelIs(lif.mplsVcLabel());
    row.mplsPushProfileIs(lif.mplsPushProfile());
    if (row.isEeiIsLabelValid()) {
        row.eeiIsLabelIs(1);
    }
    row.vlanEditVid1Is(lif.vlanEditVid1());
    row.vlanEditPcpDeiProfileIs(lif.vlanEditPcpDeiProfile());
    row.vlanEditProfileIs(lif.vlanEditProfile());
    row.orientationIsHubIs(lif.orientationIsHub());
    row.cosProfileIs(lif.cosProfile());
    row.inLifProfileIs(lif.inLifProfile());
    row.vsiAssignmentModeIs(lif.vsiAssignmentMode());
    row.oamLifSetIs(lif.oamLifSet());
    row.protectionPathIs(lif.protectionPath());
    row.protectionPointerIs(lif.protectionPointer());
    if (row.isUseInLifValid()) {
        row.useInLifIs(lif.useInLif());
    }
    row.typeIs(acP2pToPwe);
}

void write(auto& row, AradLifPweToP2p const& lif, Loam::FapType fapType) {
    row.orientationIsHubIs(lif.orientationIsHub());
    row.actionProfileIndexIs(lif.actionProfileIndex());
    row.modelIsPipeIs(lif.modelIsPipe());
    row.terminationProfileLsbIs(lif.terminationProfileLsb());
    row.terminationProfileMsbIs(lif.terminationProfileMsb());
    row.inLifProfileIs(lif.inLifProfile());
    row.tpidProfileIs(lif.tpidProfile());
    row.cosProfileIs(lif.cosProfile());
    row.sysInLifIs(lif.sysInLif());
    row.outLifValueIs(lif.outLifValue());
    row.outLifValidBitIs(lif.outLifValidBit());
    row.destinationIs(encodeDestIdForFapType(lif.destination(), fapType));
    if (row.isDestinationValidValid()) {
        row.destinationValidIs(lif.destinationValid());
    }
    row.eeiOrOutLifTypeIs(lif.eeiOrOutLifType());
    row.vsiAssignmentModeIs(lif.vsiAssignmentMode());
    row.oamLifSetIs(lif.oamLifSet());
    row.protectionPathIs(lif.protectionPath());
    row.protectionPointerIs(lif.protectionPointer());
    row.typeIs(labelPweP2p);
}

void write(auto& row, AradLifLabelProtocolOrLsp const& lif, Loam::FapType fapType) {
    row.orientationIsHubIs(lif.orientationIsHub());
    row.actionProfileIndexIs(lif.actionProfileIndex());
    row.modelIsPipeIs(lif.modelIsPipe());
    row.terminationTypeLsbIs(lif.terminationTypeLsb());
    row.destinationValidOrTerminationTypeMsbIs(lif.destinationValidOrTerminationTypeMsb());
    row.inLifProfileIs(lif.inLifProfile());
    row.tpidProfileIs(lif.tpidProfile());
    row.cosProfileIs(lif.cosProfile());
    row.vsiIs(lif.vsi());
    if (row.isVsiMsbValid()) {
        row.vsiMsbIs(lif.vsiMsb());
    }
    row.serviceTypeIs(lif.serviceType());
    row.inRifMsbIs(lif.inRifMsb());
    row.inRifValidIs(lif.inRifValid());
    if (row.isExpectBosValid()) {
        row.expectBosIs(lif.expectBos());
    }
    if (row.isInLifValidValid()) {
        row.inLifValidIs(lif.inLifValid());
    }
    row.forwardingCodeIs(lif.forwardingCode());
    row.destinationIs(encodeDestIdForFapType(lif.destination(), fapType));
    row.daNotFoundProfileIs(lif.daNotFoundProfile());
    row.ttLearnEnableIs(lif.ttLearnEnable());
    row.oamLifSetIs(lif.oamLifSet());
    row.vsiAssignmentModeIs(lif.vsiAssignmentMode());
    row.protectionPathIs(lif.protectionPath());
    row.protectionPointerIs(lif.protectionPointer());
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
