#pragma once

/// Hardware::TcamActionTable and its data sheet. What a row costs, what it requires and who may use it stand
/// in chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT TcamActionTableSheet {
    // clang-format off
    using Whole = U32;

    using Fields = FieldList<
        Field<0, Kor::name::action, U32>,
        Field<144, Kor::name::parity, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base        block last identifier
        {chips(3, 4), variant(0), 1024,   24,   1,    0x1810000,  0x35, 0},
        {chips(5, 7), variant(0), 2048,   24,   1,    0x1a100000, 0x3f, 0},
        {chips(8, 9), variant(0), 1024,   24,   1,    0x1a100000, 0x3f, 0},
        {chips(10),   variant(0), 2048,   24,   1,    0x1a100000, 0x46, 0},
    };

    static constexpr SheetRow rows[] = {
        // field   3, 4     5, 7, 8, 9, 10
        {"action", {0, 20}, {0, 24}},
        {"parity", {20, 1}, none},
    };

    static constexpr Sheet sheets[] = {
        {variant(0), {chips(3, 4), chips(5, 7, 8, 9, 10)}, rows},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One row of TCAM action memory: 32 bits, in 24 array elements. Variant 0 alone.
///
///     U8 buffer[4] = {};
///     Hardware::TcamActionTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.actionIs(0xabcdef);
class KOR_EXPORT TcamActionTable final : public RowOf<TcamActionTable, layout::TcamActionTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<TcamActionTable, layout::TcamActionTableSheet>;

} // namespace Hardware
