#pragma once

/// Hardware::EpniIsidTable and its data sheet. What a row costs, what it requires and who may use it stand in
/// chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT EpniIsidTableSheet {
    // clang-format off
    using Whole = U32;

    using Fields = FieldList<
        Field<126, Kor::name::isid, U32>,
        Field<144, Kor::name::parity, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base      block last identifier
        {chips(3, 4), anyVariant, 4096,   1,    1,    0x130000, 0x3,  0},
        {chips(5, 7), anyVariant, 32768,  1,    1,    0x150000, 0x30, 1},
        {chips(8, 9), anyVariant, 32768,  1,    1,    0x200000, 0x30, 0},
        {chips(10),   anyVariant, 32768,  1,    1,    0x170000, 0x34, 1},
    };

    static constexpr SheetRow rows[] = {
        // field   all
        {"isid",   {0, 24}},
        {"parity", {24, 1}},
    };

    static constexpr Sheet sheets[] = {
        {anyVariant, {allChips}, rows},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One row of the ISID table of the EPNI block: 32 bits, the same on every chip. The variant is ignored.
///
///     U8 buffer[4] = {};
///     Hardware::EpniIsidTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.isidIs(0x123456);
class KOR_EXPORT EpniIsidTable final : public RowOf<EpniIsidTable, layout::EpniIsidTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<EpniIsidTable, layout::EpniIsidTableSheet>;

} // namespace Hardware
