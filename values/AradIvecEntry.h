#pragma once

/// A slot for an ingress VLAN edit command, and the command in it.
///
///     AradIvecKey slot(Sideband::Fapmask::of({0}), Hardware::Loam::AradIvecIndex(5, 0, 0));
///     AradIvecEntry entry(slot, command);
///
/// Both are immutable. The hash of a slot sees the low byte of the index alone.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/Loam/Indexes.h"
#include "platform/Sideband/Fapmask.h"
#include "values/AradIvecFormat.h"

// clang-format off
namespace Hardware::LoamTunnel {

class AradIvecKey
    : public Kor::ValueOf<AradIvecKey,
          Stored<name::fapmask, Sideband::Fapmask>,
          Stored<name::index, Loam::AradIvecIndex>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<AradIvecKey>,
      public Kor::Hashed<AradIvecKey> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A slot for an ingress VLAN edit command",
        "fapmask", "The chips that have the slot; the default is none",
        "index", "The place of the slot, three words; the default 64, 7, 0 stands for none",
        "hash", "One-at-a-time hash of the chips and of the low byte of the index's first word, by which maps find the slot");

    using ValueOf::ValueOf;

    /// Whether no chip has the slot, or it has no place: each is enough.
    constexpr bool operator!() const { return fapmask().isEmpty() || !index(); }
};

class AradIvecEntry
    : public Kor::ValueOf<AradIvecEntry,
          Stored<name::key, AradIvecKey>,
          Stored<name::entryFormat, AradIvecFormat>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A slot and the ingress VLAN edit command in it",
        "key", "The slot",
        "entryFormat", "The command");

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
