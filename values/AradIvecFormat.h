#pragma once

/// One ingress VLAN edit command: how the tags of an arriving packet are rewritten.
///
///     AradIvecFormat command;
///     command.outerVidSrcIs(iveVidSrcAcEditInfo);
///     command.tagsToRemoveIs(AradIvecFormat::removeOneTag);
///
/// `word` has the layout of a row of Hardware::EpniIvecTable and Hardware::EgqIvecTable on every chip, so it
/// needs no encoder. The views hold the numbers of IveVlanIdSource, IveVlanPcpDeiSource and
/// TagsToRemoveOption, unchecked; bits 21 to 31 belong to none, and count in `==`.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "values/IveSources.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class KOR_EXPORT AradIvecFormat
    : public Kor::ValueOf<AradIvecFormat,
          Settable<name::word, U32>,
          View<name::tpidProfile, U8, name::word, 0, 2>,
          View<name::outerTpidIndex, U8, name::word, 3, 4>,
          View<name::outerVidSrc, U8, name::word, 5, 7>,
          View<name::outerPcpDeiSrc, U8, name::word, 8, 10>,
          View<name::innerTpidIndex, U8, name::word, 11, 12>,
          View<name::innerVidSrc, U8, name::word, 13, 15>,
          View<name::innerPcpDeiSrc, U8, name::word, 16, 18>,
          View<name::tagsToRemove, U8, name::word, 19, 20>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "One ingress VLAN edit command: how the tags of an arriving packet are rewritten",
        "word", "All fields in one word, in the row layout of every chip; the default is 0. Bits 21 to 31 belong to no field and count in ==",
        "tpidProfile", "The TPID profile, 0 to 7",
        "outerTpidIndex", "The index of the outer tag's TPID, 0 to 3",
        "outerVidSrc", "Where the VLAN id of the outer tag comes from, a number of IveVlanIdSource; others are not refused",
        "outerPcpDeiSrc", "Where PCP and DEI of the outer tag come from, a number of IveVlanPcpDeiSource; others are not refused",
        "innerTpidIndex", "The index of the inner tag's TPID, 0 to 3",
        "innerVidSrc", "Where the VLAN id of the inner tag comes from, a number of IveVlanIdSource; others are not refused",
        "innerPcpDeiSrc", "Where PCP and DEI of the inner tag come from, a number of IveVlanPcpDeiSource; others are not refused",
        "tagsToRemove", "How many tags are removed, a number of TagsToRemoveOption; 3 is not refused");

    enum TagsToRemoveOption : U32 {
        nop = 0,
        removeOneTag = 1,
        removeTwoTags = 2,
    };
    KOR_NESTED_ENUMERATION(TagsToRemoveOption,
        "", "How many tags an ingress VLAN edit command removes",
        "nop", "None",
        "removeOneTag", "One",
        "removeTwoTags", "Two")

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
