#pragma once

/// Hardware::EvecTable and its data sheet. What a row costs, what it requires and who may use it: chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT EvecTableSheet {
    // clang-format off
    using Whole = U64;

    using Fields = FieldList<
        Field<47, Kor::name::entry0InnerPcpDeiSrc, U8>,
        Field<48, Kor::name::entry0InnerTpidIdx, U8>,
        Field<49, Kor::name::entry0InnerVidSrc, U8>,
        Field<50, Kor::name::entry0MembershipCheckType, U8>,
        Field<51, Kor::name::entry0NTagsToRemove, U8>,
        Field<52, Kor::name::entry0OuterPcpDeiSrc, U8>,
        Field<53, Kor::name::entry0OuterTpidIdx, U8>,
        Field<54, Kor::name::entry0OuterVidSrc, U8>,
        Field<55, Kor::name::entry1InnerPcpDeiSrc, U8>,
        Field<56, Kor::name::entry1InnerTpidIdx, U8>,
        Field<57, Kor::name::entry1InnerVidSrc, U8>,
        Field<58, Kor::name::entry1MembershipCheckType, U8>,
        Field<59, Kor::name::entry1NTagsToRemove, U8>,
        Field<60, Kor::name::entry1OuterPcpDeiSrc, U8>,
        Field<61, Kor::name::entry1OuterTpidIdx, U8>,
        Field<62, Kor::name::entry1OuterVidSrc, U8>,
        Field<91, Kor::name::evecTableData, U64>,
        Field<144, Kor::name::parity, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base      block last identifier
        {chips(3, 4), anyVariant, 256,    1,    2,    0x280000, 0x3,  0},
        {chips(5, 7), anyVariant, 512,    1,    2,    0x260000, 0x30, 1},
        {chips(8, 9), anyVariant, 512,    1,    2,    0x250000, 0x30, 0},
        {chips(10),   anyVariant, 512,    1,    2,    0x1c0000, 0x34, 1},
    };

    static constexpr SheetRow rows[] = {
        // field                      3, 4, 5, 7 8, 9, 10
        {"entry0NTagsToRemove",       {0, 2},    {0, 2}},
        {"evecTableData",             {0, 32},   {0, 38}},
        {"entry0InnerPcpDeiSrc",      {2, 2},    {2, 2}},
        {"entry0OuterPcpDeiSrc",      {4, 2},    {4, 2}},
        {"entry0InnerVidSrc",         {6, 3},    {6, 3}},
        {"entry0OuterVidSrc",         {9, 3},    {9, 3}},
        {"entry0InnerTpidIdx",        {12, 2},   {12, 3}},
        {"entry0OuterTpidIdx",        {14, 2},   {15, 3}},
        {"entry1NTagsToRemove",       {16, 2},   {19, 2}},
        {"entry0MembershipCheckType", none,      {18, 1}},
        {"entry1InnerPcpDeiSrc",      {18, 2},   {21, 2}},
        {"entry1OuterPcpDeiSrc",      {20, 2},   {23, 2}},
        {"entry1InnerVidSrc",         {22, 3},   {25, 3}},
        {"entry1OuterVidSrc",         {25, 3},   {28, 3}},
        {"entry1InnerTpidIdx",        {28, 2},   {31, 3}},
        {"entry1OuterTpidIdx",        {30, 2},   {34, 3}},
        {"parity",                    {32, 1},   {38, 2}},
        {"entry1MembershipCheckType", none,      {37, 1}},
    };

    static constexpr Sheet sheets[] = {
        {anyVariant, {chips(3, 4, 5, 7), chips(8, 9, 10)}, rows},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One row of the egress VLAN edit command table: 64 bits that hold two commands, entry 0 and entry 1.
///
///     U8 buffer[8] = {};
///     Hardware::EvecTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.entry0OuterVidSrcIs(1);
///
/// The variant is ignored. `evecTableData` is both commands as one number. On chips 8, 9 and 10 the TPID
/// indexes have 3 bits and each entry ends in a membership check, so that the second entry starts at bit 19
/// and not at 16.
class KOR_EXPORT EvecTable final : public RowOf<EvecTable, layout::EvecTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<EvecTable, layout::EvecTableSheet>;

} // namespace Hardware
