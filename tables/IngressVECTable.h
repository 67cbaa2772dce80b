#pragma once

/// Hardware::IngressVECTable and its data sheet. What a row costs, what it requires and who may use it stand
/// in chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT IngressVECTableSheet {
    // clang-format off
    using Whole = U32;

    using Fields = FieldList<
        Field<127, Kor::name::ivec, U8>,
        Field<144, Kor::name::parity, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base       block last identifier
        {chips(3, 4), anyVariant, 256,    1,    1,    0x1150000, 0x34, 0},
        {chips(5, 7), anyVariant, 256,    1,    1,    0x430000,  0x3a, 1},
        {chips(8, 9), anyVariant, 256,    1,    1,    0x430000,  0x3a, 0},
        {chips(10),   anyVariant, 256,    1,    1,    0x430000,  0x3e, 1},
    };

    static constexpr SheetRow rows[] = {
        // field   3, 4    5, 7, 8, 9, 10
        {"ivec",   {0, 6}, {0, 6}},
        {"parity", {8, 1}, {6, 1}},
    };

    static constexpr Sheet sheets[] = {
        {anyVariant, {chips(3, 4), chips(5, 7, 8, 9, 10)}, rows},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One row of the table that chooses the ingress VLAN edit command: 32 bits. The variant is ignored.
///
///     U8 buffer[4] = {};
///     Hardware::IngressVECTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.ivecIs(12);
class KOR_EXPORT IngressVECTable final : public RowOf<IngressVECTable, layout::IngressVECTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<IngressVECTable, layout::IngressVECTableSheet>;

} // namespace Hardware
