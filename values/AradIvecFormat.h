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

#include "values/IveSources.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class __attribute__((visibility("default"))) AradIvecFormat
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
    enum TagsToRemoveOption : U32 {
        nop = 0,
        removeOneTag = 1,
        removeTwoTags = 2,
    };
    KOR_NESTED_ENUMERATION(TagsToRemoveOption)

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
