#pragma once

/// A logical interface (LIF) as an application asks for it and as it is written into the chip's LIF table.
///
///     AradLifAcMp lif(lifAcMp);
///     lif.vsiIs(100);
///     lif.vlanEditVid1Is(20);
///
///     U8 row[16] = {};
///     lif.writeToChipFormat(Hardware::jerichoChip8, row);
///
/// An entry is a type tag and two words that hold the row image of the Arad family. Five classes give named
/// views of the words, one for each kind of LIF that can be written to a chip; they add no storage, and no
/// view checks that the tag fits it. The encoder moves each field to its place in the row of the chip, so one
/// entry serves all chips.
///
/// Values are plain copies; any thread may use its own. A setter keeps the low bits of its argument and never
/// fails.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/ChipType.h"
#include "values/LifType.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class KOR_EXPORT AradLifEntry
    : public Kor::ValueOf<AradLifEntry,
          Stored<name::lifType, LifType>,
          Settable<name::dword0, U64>,
          Settable<name::dword1, U64>,
          Operation<name::hash, U32()>,
          Operation<name::variant, U8()>,
          Operation<name::writeToChipFormat, void(Arg<name::chipType, ChipType>, Arg<name::dataBuffer, Kor::BytePtr>)>>,
      public Kor::Ordered<AradLifEntry>,
      public Kor::Hashed<AradLifEntry> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A logical interface (LIF) as an application asks for it: its kind, and two words with the row image of the Arad family",
        "lifType", "The kind of LIF. Only the five kinds that have a view class can be written to a chip; the default lifGeneral has none",
        "dword0", "Bits 0 to 63 of the row image",
        "dword1", "Bits 64 to 127 of the row image",
        "hash", "One-at-a-time hash of the kind and both words, by which maps find the LIF",
        "variant", "The row format of the kind, 0 to 4. Only the five kinds that have a view class have one",
        "writeToChipFormat", "Writes the LIF as one row of Hardware::LifTable for that chip, into the caller's buffer. Bits of other fields stay");

    using ValueOf::ValueOf;

    /// The row format of the entry's kind. Requires one of the five kinds that have a view.
    U8 variant() const;

    /// Writes the entry as one row of Hardware::LifTable, into a buffer of at least `tableWidth(chipType, 0)`
    /// x 4 bytes. Only the bits of the fields that the kind of entry has are written; all others stay as they
    /// are. Allocates nothing unless trace is on (facility "LoamTunnelTypes", level 8).
    ///
    /// Requires a chip that the table supports (3, 4, 5, 7, 8, 9, 10), an entry of the five kinds that have a
    /// view, and an `outLif` below 65536 where the chip has `outLifLsb`.
    void writeToChipFormat(ChipType chipType, Kor::BytePtr dataBuffer) const;
};

/// The view of a `lifAcP2pToAc` entry: an attachment circuit that is cross-connected to another. `outLif` has
/// 26 bits here, more than any row: it must be below 65536 to be written on chips 5, 7, 8, 9 and 10, and
/// chips 3 and 4 take its low 16 bits.
class AradLifAcP2pToAc
    : public Kor::DerivedValueOf<AradLifAcP2pToAc, AradLifEntry,
          View<name::destination, U32, name::dword0, 0, 18>,
          View<name::destinationValid, bool, name::dword0, 19, 19>,
          View<name::outLif, U32, name::dword0, 20, 45>,
          View<name::vlanEditProfile, U8, name::dword1, 0, 2>,
          View<name::outLifValid, bool, name::dword1, 14, 14>,
          View<name::useInLif, bool, name::dword1, 32, 32>,
          View<name::type, U8, name::dword1, 33, 34>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "View of a lifAcP2pToAc entry: an attachment circuit that is cross-connected to another",
        "destination", "Where packets go: 19 bits in the encoding of the Jericho family. Chips 3 and 4 get it converted",
        "destinationValid", "Row field destinationValid, 0 or 1. Only chips 3 and 4 have it; the others drop it",
        "outLif", "The outgoing LIF. Chips 5, 7, 8, 9 and 10 require it below 65536; chips 3 and 4 get its low 16 bits",
        "vlanEditProfile", "The VLAN edit profile, 0 to 7",
        "outLifValid", "Row field outLifValid, 0 or 1",
        "useInLif", "Row field useInLif, 0 or 1. Only chips 3 and 4 have it; the others drop it",
        "type", "Row field type as it is stored. The encoder never reads it; it writes acP2pToAc, 0");

    using DerivedValueOf::DerivedValueOf;
};

/// The view of a `lifAcMp` entry: an attachment circuit of a bridge domain.
class AradLifAcMp
    : public Kor::DerivedValueOf<AradLifAcMp, AradLifEntry,
          View<name::vsi, U16, name::dword0, 0, 15>,
          View<name::ttLearnEnable, bool, name::dword0, 32, 32>,
          View<name::vlanEditVid2, U16, name::dword0, 36, 47>,
          View<name::vlanEditVid1, U16, name::dword0, 48, 59>,
          View<name::vlanEditPcpDeiProfile, U8, name::dword0, 60, 63>,
          View<name::vlanEditProfile, U8, name::dword1, 0, 2>,
          View<name::orientationIsHub, bool, name::dword1, 3, 3>,
          View<name::cosProfile, U8, name::dword1, 4, 9>,
          View<name::inLifProfile, U8, name::dword1, 10, 13>,
          View<name::vsiAssignmentMode, U8, name::dword1, 14, 15>,
          View<name::useInLif, bool, name::dword1, 32, 32>,
          View<name::type, U8, name::dword1, 33, 34>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "View of a lifAcMp entry: an attachment circuit of a bridge domain",
        "vsi", "The virtual switch instance (VSI) of the bridge domain, 0 to 65535",
        "ttLearnEnable", "Row field ttLearnEnable, 0 or 1",
        "vlanEditVid2", "The second VLAN id of the VLAN edit, 12 bits. No other kind of LIF has one",
        "vlanEditVid1", "The first VLAN id of the VLAN edit, 12 bits",
        "vlanEditPcpDeiProfile", "The profile for PCP and DEI of the VLAN edit, 0 to 15",
        "vlanEditProfile", "The VLAN edit profile, 0 to 7",
        "orientationIsHub", "Row field orientationIsHub, 0 or 1",
        "cosProfile", "The class of service profile, 0 to 63",
        "inLifProfile", "The profile of the incoming LIF, 0 to 15",
        "vsiAssignmentMode", "Row field vsiAssignmentMode, 0 to 3",
        "useInLif", "Row field useInLif, 0 or 1. Only chips 3 and 4 have it; the others drop it",
        "type", "Row field type as it is stored. The encoder never reads it; it writes acMp, 3");

    using DerivedValueOf::DerivedValueOf;
};

/// The view of a `lifAcP2pToPwe` entry: an attachment circuit that is cross-connected to a pseudowire.
class AradLifAcP2pToPwe
    : public Kor::DerivedValueOf<AradLifAcP2pToPwe, AradLifEntry,
          View<name::destination, U32, name::dword0, 0, 18>,
          View<name::destinationValid, bool, name::dword0, 19, 19>,
          View<name::mplsVcLabel, U32, name::dword0, 20, 39>,
          View<name::mplsPushProfile, U8, name::dword0, 40, 43>,
          View<name::vlanEditVid1, U16, name::dword0, 48, 59>,
          View<name::vlanEditPcpDeiProfile, U8, name::dword0, 60, 63>,
          View<name::vlanEditProfile, U8, name::dword1, 0, 2>,
          View<name::orientationIsHub, bool, name::dword1, 3, 3>,
          View<name::cosProfile, U8, name::dword1, 4, 9>,
          View<name::inLifProfile, U8, name::dword1, 10, 13>,
          View<name::vsiAssignmentMode, U8, name::dword1, 14, 15>,
          View<name::oamLifSet, U8, name::dword1, 16, 16>,
          View<name::protectionPath, U8, name::dword1, 17, 17>,
          View<name::protectionPointer, U16, name::dword1, 18, 31>,
          View<name::useInLif, bool, name::dword1, 32, 32>,
          View<name::type, U8, name::dword1, 33, 34>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "View of a lifAcP2pToPwe entry: an attachment circuit that is cross-connected to a pseudowire",
        "destination", "Where packets go, 19 bits. Every chip gets it as it is, without conversion",
        "destinationValid", "Row field destinationValid, 0 or 1. Every chip has it",
        "mplsVcLabel", "The MPLS label of the virtual circuit, 0 to 1048575",
        "mplsPushProfile", "The profile of the MPLS push, 0 to 15",
        "vlanEditVid1", "The first VLAN id of the VLAN edit, 12 bits",
        "vlanEditPcpDeiProfile", "The profile for PCP and DEI of the VLAN edit, 0 to 15",
        "vlanEditProfile", "The VLAN edit profile, 0 to 7",
        "orientationIsHub", "Row field orientationIsHub, 0 or 1",
        "cosProfile", "The class of service profile, 0 to 63",
        "inLifProfile", "The profile of the incoming LIF, 0 to 15",
        "vsiAssignmentMode", "Row field vsiAssignmentMode, 0 to 3",
        "oamLifSet", "Row field oamLifSet, 0 or 1",
        "protectionPath", "Row field protectionPath, 0 or 1",
        "protectionPointer", "Row field protectionPointer, 0 to 16383",
        "useInLif", "Row field useInLif, 0 or 1. Only chips 3 and 4 have it; the others drop it",
        "type", "Row field type as it is stored. The encoder never reads it; it writes acP2pToPwe, 1");

    using DerivedValueOf::DerivedValueOf;
};

/// The view of a `lifLabelPweP2p` entry: a pseudowire label that ends in a cross-connect. `outLifValue` and
/// `outLifValidBit` are a second view of the low 17 bits of `eeiOrOutLif`.
class AradLifPweToP2p
    : public Kor::DerivedValueOf<AradLifPweToP2p, AradLifEntry,
          View<name::orientationIsHub, bool, name::dword0, 0, 0>,
          View<name::actionProfileIndex, U8, name::dword0, 1, 3>,
          View<name::modelIsPipe, U8, name::dword0, 4, 4>,
          View<name::terminationProfileLsb, U8, name::dword0, 5, 6>,
          View<name::inLifProfile, U8, name::dword0, 7, 10>,
          View<name::tpidProfile, U8, name::dword0, 11, 12>,
          View<name::cosProfile, U8, name::dword0, 13, 16>,
          View<name::sysInLif, U32, name::dword0, 17, 32>,
          View<name::eeiOrOutLif, U32, name::dword0, 33, 56>,
          View<name::outLifValue, U32, name::dword0, 33, 48>,
          View<name::outLifValidBit, U8, name::dword0, 49, 49>,
          View<name::destinationLo, U32, name::dword0, 57, 63>,
          View<name::destinationHi, U16, name::dword1, 0, 11>,
          View<name::destinationValid, U8, name::dword1, 12, 12>,
          View<name::eeiOrOutLifType, U8, name::dword1, 13, 13>,
          View<name::vsiAssignmentMode, U8, name::dword1, 14, 15>,
          View<name::oamLifSet, U8, name::dword1, 16, 16>,
          View<name::protectionPath, U8, name::dword1, 17, 17>,
          View<name::protectionPointer, U16, name::dword1, 18, 31>,
          View<name::terminationProfileMsb, U8, name::dword1, 32, 32>,
          View<name::type, U8, name::dword1, 33, 34>,
          Operation<name::terminationProfile, U8()>,
          Operation<name::terminationProfileIs, void(Arg<name::termProfile, U8>)>,
          Operation<name::destination, U32()>,
          Operation<name::destinationIs, void(Arg<name::destination, U32>)>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "View of a lifLabelPweP2p entry: a pseudowire label that ends in a cross-connect",
        "orientationIsHub", "Row field orientationIsHub, 0 or 1",
        "actionProfileIndex", "Row field actionProfileIndex, 0 to 7",
        "modelIsPipe", "Row field modelIsPipe, 0 or 1",
        "terminationProfileLsb", "The low 2 bits of terminationProfile",
        "inLifProfile", "The profile of the incoming LIF, 0 to 15",
        "tpidProfile", "The TPID profile, 0 to 3",
        "cosProfile", "The class of service profile, 0 to 15; the other views have 2 bits more",
        "sysInLif", "Row field sysInLif, 0 to 65535",
        "eeiOrOutLif", "24 bits that outLifValue and outLifValidBit name in part. The encoder writes those two and drops the rest",
        "outLifValue", "The outgoing LIF, 0 to 65535: the low 16 bits of eeiOrOutLif",
        "outLifValidBit", "Row field outLifValidBit, 0 or 1: the 17th bit of eeiOrOutLif",
        "destinationLo", "The low 7 bits of destination",
        "destinationHi", "The high 12 bits of destination",
        "destinationValid", "Row field destinationValid, 0 or 1. Only chips 3 and 4 have it; the others drop it",
        "eeiOrOutLifType", "Row field eeiOrOutLifType, 0 or 1",
        "vsiAssignmentMode", "Row field vsiAssignmentMode, 0 to 3",
        "oamLifSet", "Row field oamLifSet, 0 or 1",
        "protectionPath", "Row field protectionPath, 0 or 1",
        "protectionPointer", "Row field protectionPointer, 0 to 16383",
        "terminationProfileMsb", "The high bit of terminationProfile",
        "type", "Row field type as it is stored. The encoder never reads it; it writes labelPweP2p, 0",
        "terminationProfile", "The termination profile, 0 to 7, from terminationProfileMsb and terminationProfileLsb",
        "terminationProfileIs", "Sets terminationProfileMsb and terminationProfileLsb from the low 3 bits of the number",
        "destination", "Where packets go, from destinationHi and destinationLo: 19 bits in the encoding of the Jericho family. Chips 3 and 4 get it converted",
        "destinationIs", "Sets destinationHi and destinationLo from the low 19 bits of the number");

    using DerivedValueOf::DerivedValueOf;

    /// The 3-bit profile that `terminationProfileMsb` and `terminationProfileLsb` share. Higher bits of the
    /// argument are ignored.
    constexpr U8 terminationProfile() const {
        return static_cast<U8>(terminationProfileMsb() << 2 | terminationProfileLsb());
    }
    constexpr void terminationProfileIs(U8 termProfile) {
        terminationProfileMsbIs((termProfile >> 2) & 1);
        terminationProfileLsbIs(termProfile & 3);
    }

    /// The 19-bit destination; it crosses from one word into the other. Higher bits of the argument are
    /// ignored.
    constexpr U32 destination() const { return U32{destinationHi()} << 7 | destinationLo(); }
    constexpr void destinationIs(U32 destination) {
        destinationLoIs(destination & 0x7f);
        destinationHiIs(static_cast<U16>((destination >> 7) & 0xfff));
    }
};

/// The view of a `lifLabelProtocolOrLsp` entry: the label of a protocol or of a label-switched path. `vsiMsb`
/// is the top two bits of `vsi`: setting either changes the other.
class AradLifLabelProtocolOrLsp
    : public Kor::DerivedValueOf<AradLifLabelProtocolOrLsp, AradLifEntry,
          View<name::orientationIsHub, U8, name::dword0, 0, 0>,
          View<name::actionProfileIndex, U8, name::dword0, 1, 3>,
          View<name::modelIsPipe, U8, name::dword0, 4, 4>,
          View<name::terminationTypeLsb, U8, name::dword0, 5, 6>,
          View<name::inLifProfile, U8, name::dword0, 7, 10>,
          View<name::tpidProfile, U8, name::dword0, 11, 12>,
          View<name::cosProfile, U8, name::dword0, 13, 18>,
          View<name::vsi, U16, name::dword0, 19, 33>,
          View<name::vsiMsb, U8, name::dword0, 32, 33>,
          View<name::serviceType, U8, name::dword0, 34, 36>,
          View<name::inRifMsb, U16, name::dword0, 37, 48>,
          View<name::inRifValid, U8, name::dword0, 49, 49>,
          View<name::expectBos, U8, name::dword0, 54, 54>,
          View<name::forwardingCode, U8, name::dword0, 50, 53>,
          View<name::daNotFoundProfile, U8, name::dword0, 55, 56>,
          View<name::destinationLo, U32, name::dword0, 57, 63>,
          View<name::destinationHi, U16, name::dword1, 0, 11>,
          View<name::destinationValidOrTerminationTypeMsb, U8, name::dword1, 12, 12>,
          View<name::ttLearnEnable, U8, name::dword1, 13, 13>,
          View<name::vsiAssignmentMode, U8, name::dword1, 14, 15>,
          View<name::oamLifSet, U8, name::dword1, 16, 16>,
          View<name::protectionPath, U8, name::dword1, 17, 17>,
          View<name::protectionPointer, U16, name::dword1, 18, 31>,
          View<name::inLifValid, U8, name::dword1, 32, 32>,
          View<name::type, U8, name::dword1, 33, 34>,
          Operation<name::destination, U32()>,
          Operation<name::destinationIs, void(Arg<name::destination, U32>)>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "View of a lifLabelProtocolOrLsp entry: the label of a protocol or of a label-switched path",
        "orientationIsHub", "Row field orientationIsHub, 0 or 1",
        "actionProfileIndex", "Row field actionProfileIndex, 0 to 7",
        "modelIsPipe", "Row field modelIsPipe, 0 or 1",
        "terminationTypeLsb", "Row field terminationTypeLsb, 0 to 3",
        "inLifProfile", "The profile of the incoming LIF, 0 to 15",
        "tpidProfile", "The TPID profile, 0 to 3",
        "cosProfile", "The class of service profile, 0 to 63",
        "vsi", "The virtual switch instance (VSI), 0 to 32767. On chips 3 and 4 daNotFoundProfile overrides its low 2 bits in the row",
        "vsiMsb", "The high 2 bits of vsi: setting either changes the other. Chips 3 and 4 have no such row field",
        "serviceType", "Row field serviceType, 0 to 7",
        "inRifMsb", "Row field inRifMsb, 0 to 4095",
        "inRifValid", "Row field inRifValid, 0 or 1",
        "expectBos", "Row field expectBos, 0 or 1. Chips 5, 7 and 10 drop it; on chips 8 and 9 the low bit of forwardingCode overrides it",
        "forwardingCode", "Row field forwardingCode, 0 to 15. On chips 8 and 9 its low bit overrides expectBos",
        "daNotFoundProfile", "Row field daNotFoundProfile, 0 to 3. On chips 3 and 4 it overrides the low 2 bits of vsi in the row",
        "destinationLo", "The low 7 bits of destination",
        "destinationHi", "The high 12 bits of destination",
        "destinationValidOrTerminationTypeMsb", "Row field destinationValidOrTerminationTypeMsb, 0 or 1",
        "ttLearnEnable", "Row field ttLearnEnable, 0 or 1",
        "vsiAssignmentMode", "Row field vsiAssignmentMode, 0 to 3",
        "oamLifSet", "Row field oamLifSet, 0 or 1",
        "protectionPath", "Row field protectionPath, 0 or 1",
        "protectionPointer", "Row field protectionPointer, 0 to 16383",
        "inLifValid", "Row field inLifValid, 0 or 1. Only chips 3 and 4 have it; the others drop it",
        "type", "Row field type as it is stored. The encoder never reads it; it writes labelPweLsp, 2",
        "destination", "Where packets go, from destinationHi and destinationLo: 19 bits in the encoding of the Jericho family. Chips 3 and 4 get it converted",
        "destinationIs", "Sets destinationHi and destinationLo from the low 19 bits of the number");

    using DerivedValueOf::DerivedValueOf;

    /// The 19-bit destination; it crosses from one word into the other. Higher bits of the argument are
    /// ignored.
    constexpr U32 destination() const { return U32{destinationHi()} << 7 | destinationLo(); }
    constexpr void destinationIs(U32 destination) {
        destinationLoIs(destination & 0x7f);
        destinationHiIs(static_cast<U16>((destination >> 7) & 0xfff));
    }
};

} // namespace Hardware::LoamTunnel
// clang-format on
