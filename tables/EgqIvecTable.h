#pragma once

/// Hardware::EgqIvecTable and its data sheet. What a row costs, what it requires and who may use it stand in
/// chip/Row.h.

#include "chip/Row.h"
#include "tables/IvecCommandSheet.h"

namespace Hardware::layout {

struct KOR_EXPORT EgqIvecTableSheet : IvecCommandSheet {
    // clang-format off
    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base      block last identifier
        {chips(3, 4), anyVariant, 64,     1,    1,    0x600000, 0x2,  0},
        {chips(5, 7), anyVariant, 64,     1,    1,    0x6b0000, 0x2e, 1},
        {chips(8, 9), anyVariant, 64,     1,    1,    0x760000, 0x2e, 0},
        {chips(10),   anyVariant, 64,     1,    1,    0x6c0000, 0x32, 1},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One ingress VLAN edit command, in the EGQ block: the row of Hardware::EpniIvecTable at another address.
/// The variant is ignored.
///
///     U8 buffer[4] = {};
///     Hardware::EgqIvecTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.tagsToRemoveIs(1);
class KOR_EXPORT EgqIvecTable final : public RowOf<EgqIvecTable, layout::EgqIvecTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<EgqIvecTable, layout::EgqIvecTableSheet>;

} // namespace Hardware
