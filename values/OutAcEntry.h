#pragma once

/// An out-AC as applications ask for it, and with the index they get.
///
///     OutAcKey key(Sideband::Fapmask::of({0}), ac);
///     OutAcEntry entry(key, Hardware::Loam::OutAcIndex(7));
///
/// Both are immutable.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

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
    static constexpr auto korTexts = Kor::texts(
        "", "Which out-AC, and on which chips",
        "fapMask", "The chips; the default is none",
        "acFormat", "What the out-AC does to a packet",
        "hash", "One-at-a-time hash of the chips and of acFormat's hash, by which maps find the key");

    using ValueOf::ValueOf;
};

class OutAcEntry
    : public Kor::ValueOf<OutAcEntry,
          Stored<name::acKey, OutAcKey>,
          Stored<name::acIndex, Loam::OutAcIndex>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "An out-AC and the index that it was given",
        "acKey", "Which out-AC, and on which chips",
        "acIndex", "The index that the out-AC was given; the default 65535 stands for none");

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
