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
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "values/EveSources.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class KOR_EXPORT EvecFormat
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
    static constexpr auto korTexts = Kor::texts(
        "", "One egress VLAN edit command: how the tags of a leaving packet are rebuilt, in 19 bits",
        "value", "All fields in one word, at most 0x7ffff. The default 0x40000 checks the membership and does nothing else",
        "nTagsToRemove", "How many tags are removed, 0 to 3",
        "innerPcpDeiSrc", "Where PCP and DEI of the inner tag come from, a number of EvePcpDeiSource",
        "outerPcpDeiSrc", "Where PCP and DEI of the outer tag come from, a number of EvePcpDeiSource",
        "innerVidSrc", "Where the VLAN id of the inner tag comes from, a number of EveVlanIdSource. 6 and 7 are none, and are not refused",
        "outerVidSrc", "Where the VLAN id of the outer tag comes from, a number of EveVlanIdSource. 6 and 7 are none, and are not refused",
        "innerTpidIdx", "The index of the inner tag's TPID, 0 to 7. Chips 3, 4, 5 and 7 get its low 2 bits only",
        "outerTpidIdx", "The index of the outer tag's TPID, 0 to 7. Chips 3, 4, 5 and 7 get its low 2 bits only",
        "membershipCheckType", "1 in every command made from a number. Chips 8, 9 and 10 always get 1; the others have no such field",
        "innerVlanIdSrc", "The field innerVidSrc as an enumerator; nothing checks that it is one",
        "innerVlanIdSrcIs", "Sets the field innerVidSrc to the low 3 bits of the number",
        "outerVlanIdSrc", "The field outerVidSrc as an enumerator; nothing checks that it is one",
        "outerVlanIdSrcIs", "Sets the field outerVidSrc to the low 3 bits of the number");

    static constexpr U32 limit = 0x7ffff;
    /// What is made from a number always checks the membership.
    static constexpr U32 korAlways = 0x40000;

    using ValueOf::ValueOf;

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
