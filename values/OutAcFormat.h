#pragma once

/// One out-AC: how a leaving packet is edited, in 37 bits.
///
///     OutAcFormat ac;
///     ac.vid1Is(20);
///     ac.vlanEditProfileIs(3);
///
/// Compared, ordered and hashed by the whole `value`, `unused` included.

#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class OutAcFormat
    : public Kor::ValueOf<OutAcFormat,
          Settable<name::value, U64>,
          View<name::pcpDeiProfile, U8, name::value, 0, 3>,
          View<name::vid1, U16, name::value, 4, 15>,
          View<name::vid2, U16, name::value, 16, 27>,
          View<name::vlanEditProfile, U8, name::value, 28, 31>,
          View<name::oamLifSet, bool, name::value, 32, 32>,
          View<name::drop, bool, name::value, 33, 33>,
          View<name::format, U8, name::value, 34, 36>,
          View<name::unused, U32, name::value, 37, 63>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<OutAcFormat>,
      public Kor::Hashed<OutAcFormat> {
public:
    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
