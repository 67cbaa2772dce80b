#pragma once

/// The data sheet that two tables share. No table by itself.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

/// The row of an ingress VLAN edit command: EpniIvecTable and EgqIvecTable hold the same one at different
/// addresses.
struct KOR_EXPORT IvecCommandSheet {
    // clang-format off
    using Whole = U32;

    using Fields = FieldList<
        Field<94, Kor::name::innerPcpDeiSrc, U8>,
        Field<95, Kor::name::innerTpidIndex, U8>,
        Field<96, Kor::name::innerVidSrc, U8>,
        Field<134, Kor::name::outerPcpDeiSrc, U8>,
        Field<135, Kor::name::outerTpidIndex, U8>,
        Field<136, Kor::name::outerVidSrc, U8>,
        Field<149, Kor::name::tagsToRemove, U8>,
        Field<161, Kor::name::tpidProfile, U8>>;

    static constexpr SheetRow rows[] = {
        // field           all
        {"tpidProfile",    {0, 3}},
        {"outerTpidIndex", {3, 2}},
        {"outerVidSrc",    {5, 3}},
        {"outerPcpDeiSrc", {8, 3}},
        {"innerTpidIndex", {11, 2}},
        {"innerVidSrc",    {13, 3}},
        {"innerPcpDeiSrc", {16, 3}},
        {"tagsToRemove",   {19, 2}},
    };

    static constexpr Sheet sheets[] = {
        {anyVariant, {allChips}, rows},
    };
    // clang-format on
};

} // namespace Hardware::layout
