#pragma once

/// An out-AC as applications ask for it, and with the index they get.
///
///     OutAcKey key(Sideband::Fapmask::of({0}), ac);
///     OutAcEntry entry(key, Hardware::Loam::OutAcIndex(7));
///
/// Both are immutable.

#include "platform/Hardware/Loam/Indexes.h"
#include "platform/Sideband/Fapmask.h"
#include "values/OutAcFormat.h"

// clang-format off
namespace Hardware::LoamTunnel {

/// On which chips, and which out-AC.
class OutAcKey
    : public Kor::ValueOf<OutAcKey,
          Stored<name::fapMask, Sideband::Fapmask>,
          Stored<name::acFormat, OutAcFormat>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<OutAcKey>,
      public Kor::Hashed<OutAcKey> {
public:
    using ValueOf::ValueOf;
};

class OutAcEntry
    : public Kor::ValueOf<OutAcEntry,
          Stored<name::acKey, OutAcKey>,
          Stored<name::acIndex, Loam::OutAcIndex>> {
public:
    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
