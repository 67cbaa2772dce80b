#pragma once

/// Hardware::EpniIvecTable and its data sheet. What a row costs, what it requires and who may use it stand in
/// chip/Row.h.

#include "chip/Row.h"
#include "tables/IvecCommandSheet.h"

namespace Hardware::layout {

struct KOR_EXPORT EpniIvecTableSheet : IvecCommandSheet {
    // clang-format off
    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base      block last identifier
        {chips(3, 4), anyVariant, 64,     1,    1,    0x2d0000, 0x3,  0},
        {chips(5, 7), anyVariant, 64,     1,    1,    0x2b0000, 0x30, 1},
        {chips(8, 9), anyVariant, 64,     1,    1,    0x2e0000, 0x30, 0},
        {chips(10),   anyVariant, 64,     1,    1,    0x250000, 0x34, 1},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One ingress VLAN edit command, in the EPNI block: 32 bits, the same on every chip. The variant is ignored.
///
///     U8 buffer[4] = {};
///     Hardware::EpniIvecTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.tagsToRemoveIs(1);
class KOR_EXPORT EpniIvecTable final : public RowOf<EpniIvecTable, layout::EpniIvecTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<EpniIvecTable, layout::EpniIvecTableSheet>;

} // namespace Hardware
