#pragma once

/// The chips on which tap aggregation runs in its normal mode. There are two classes of this name, one in
/// Hardware::LoamTunnel and one in the global namespace: two types, told apart by their full names, with the
/// same content.
///
///     auto mask = Hardware::LoamTunnel::tapAggNormalFapMaskFactory();
///     mask->fapMaskIs(Sideband::Fapmask::of({0, 1}));
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Sideband/Fapmask.h"

// clang-format off
namespace Hardware::LoamTunnel {

inline constexpr auto tapAggNormalFapMaskTexts = Kor::texts(
    "", "The chips on which tap aggregation runs in its normal mode",
    "fapMask", "The chips; the default is none");

template <class Self>
using TapAggNormalFapMaskOf = Kor::EntityOf<Self, Singleton<name::fapMask, Sideband::Fapmask>>;

class TapAggNormalFapMask final : public TapAggNormalFapMaskOf<TapAggNormalFapMask> {
public:
    static constexpr auto korTexts = tapAggNormalFapMaskTexts;
};
KOR_FACTORY(tapAggNormalFapMaskFactory, TapAggNormalFapMask)

} // namespace Hardware::LoamTunnel

class TapAggNormalFapMask final : public Hardware::LoamTunnel::TapAggNormalFapMaskOf<TapAggNormalFapMask> {
public:
    static constexpr auto korTexts = Hardware::LoamTunnel::tapAggNormalFapMaskTexts;
};
KOR_FACTORY(tapAggNormalFapMaskFactory, TapAggNormalFapMask)
// clang-format on
