#pragma once

/// A slot for an egress VLAN edit command, the command in it, and the application that owns it.
///
///     EvecKey slot(Sideband::Fapmask::of({0}), Hardware::Loam::EvecIndex(4));
///     EvecEntry entry(slot, command);
///     if (!slot) { ... }            // no chip, or a null index
///
/// All are immutable.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/Loam/Indexes.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "platform/Sideband/Fapmask.h"
#include "values/EvecFormat.h"

// clang-format off
namespace Hardware::LoamTunnel {

class EvecKey
    : public Kor::ValueOf<EvecKey,
          Stored<name::fapMask, Sideband::Fapmask>,
          Stored<name::index, Loam::EvecIndex>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<EvecKey>,
      public Kor::Hashed<EvecKey> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A slot for an egress VLAN edit command",
        "fapMask", "The chips that have the slot; the default is none",
        "index", "The number of the slot; the default 1024 stands for none",
        "hash", "One-at-a-time hash of the chips and of the index, by which maps find the slot");

    using ValueOf::ValueOf;

    /// Whether no chip has the slot, or it has no number: each is enough.
    constexpr bool operator!() const { return fapMask().isEmpty() || !index(); }
};

class EvecEntry
    : public Kor::ValueOf<EvecEntry,
          Stored<name::key, EvecKey>,
          CheckedOnWire<name::format, EvecFormat>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A slot and the egress VLAN edit command in it",
        "key", "The slot",
        "format", "The command. Read off an attribute log it always has membershipCheckType 1");

    using ValueOf::ValueOf;

    /// As its slot, whatever the command.
    constexpr bool operator!() const { return !key(); }
};

class EvecOwner
    : public Kor::ValueOf<EvecOwner,
          Stored<name::key, EvecKey>,
          Stored<name::app, Loam::VtAppId>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A slot for an egress VLAN edit command and the application that owns it",
        "key", "The slot",
        "app", "The application that owns the slot; the default is vtAppNone");

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
