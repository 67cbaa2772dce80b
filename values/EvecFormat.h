#pragma once

/// One egress VLAN edit command: how the tags of a leaving packet are rebuilt, in 19 bits.
///
///     EvecFormat command;                       // only the membership check, 0x40000
///     command.nTagsToRemoveIs(1);
///     command.outerVlanIdSrcIs(eveVidSrcEditInfo0);
///
/// A command made from a number always has `membershipCheckType` 1, whatever the number held there; the
/// setters of `membershipCheckType` and `value` can make it 0. The views of PCP and DEI hold the numbers of
/// EvePcpDeiSource.

#include "values/EveSources.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class __attribute__((visibility("default"))) EvecFormat
    : public Kor::ValueOf<EvecFormat,
          Settable<name::value, U32, 0x40000>,
          View<name::nTagsToRemove, U8, name::value, 0, 1>,
          View<name::innerPcpDeiSrc, U8, name::value, 2, 3>,
          View<name::outerPcpDeiSrc, U8, name::value, 4, 5>,
          View<name::innerVidSrc, U8, name::value, 6, 8>,
          View<name::outerVidSrc, U8, name::value, 9, 11>,
          View<name::innerTpidIdx, U8, name::value, 12, 14>,
          View<name::outerTpidIdx, U8, name::value, 15, 17>,
          View<name::membershipCheckType, U8, name::value, 18, 18>,
          Operation<name::innerVlanIdSrc, EveVlanIdSource()>,
          Operation<name::innerVlanIdSrcIs, void(Arg<name::src, EveVlanIdSource>)>,
          Operation<name::outerVlanIdSrc, EveVlanIdSource()>,
          Operation<name::outerVlanIdSrcIs, void(Arg<name::src, EveVlanIdSource>)>> {
public:
    static constexpr U32 limit = 0x7ffff;

    constexpr EvecFormat() = default;
    template <Kor::AttrLogReader In>
    EvecFormat(In* in, Kor::StreamBogon bogon) : ValueOf(in, bogon) {}
    EvecFormat(Kor::String8::IteratorConst& it, Kor::String8::IteratorConst const& end) : ValueOf(it, end) {}
    /// Raises Kor::RangeException for a number above 0x7ffff.
    constexpr explicit EvecFormat(U32 value) : ValueOf(value) {
        korCheck();
        membershipCheckTypeIs(1);
    }

    /// The bits as they are: 6 and 7 are no enumerators.
    constexpr EveVlanIdSource innerVlanIdSrc() const { return static_cast<EveVlanIdSource>(innerVidSrc()); }
    constexpr void innerVlanIdSrcIs(EveVlanIdSource src) { innerVidSrcIs(static_cast<U8>(src & 7)); }
    constexpr EveVlanIdSource outerVlanIdSrc() const { return static_cast<EveVlanIdSource>(outerVidSrc()); }
    constexpr void outerVlanIdSrcIs(EveVlanIdSource src) { outerVidSrcIs(static_cast<U8>(src & 7)); }

    /// Raises Kor::RangeException when `value` is above 0x7ffff.
    constexpr void korCheck() const {
        if (value() > limit) {
            Kor::throwRangeException("EvecFormat::value < 0 or > 0x7ffff not allowed");
        }
    }
};


} // namespace Hardware::LoamTunnel
// clang-format on
