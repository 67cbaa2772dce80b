#pragma once

/// Where an application's LIF lies, independent of the chip: an index within a bank.
///
///     AradLifIndex index(20000, lifBankManaged);
///     if (!index) { ... }          // the null index, which is the default
///
/// Immutable. An index above 131072 raises Kor::RangeException; 131072 itself passes, with any bank, and is
/// null with `lifBankMax` alone.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/Loam/FapType.h"
#include "runtime/Ptr.h"
#include "values/ValueNames.h"

#include <optional>

// clang-format off
namespace Hardware::LoamTunnel {

/// The banks that a LIF can start in. There is no number 3.
enum AradLifBank : U32 {
    lifBankTunnelTermination = 1,
    lifBankManaged = 2,
    lifBankMax = 4,
};
KOR_ENUMERATION(AradLifBank,
    "", "The banks that a LIF index can count from; there is no number 3",
    "lifBankTunnelTermination", "The bank of tunnel termination",
    "lifBankManaged", "The first of the managed banks",
    "lifBankMax", "No bank: part of the null index")

class FapTypeProperties;

/// How many LIFs a bank of a family has in those properties, which are of a layer above and say here, at load, how they
/// are asked; none where the family has no set.
using LifEntriesPerBank = std::optional<U32> (*)(FapTypeProperties const&, Loam::FapType);
KOR_EXPORT void lifEntriesPerBankHookIs(LifEntriesPerBank hook) noexcept;

class KOR_EXPORT AradLifIndex
    : public Kor::ValueOf<AradLifIndex,
          Constant<name::null, U32, 131072>,
          Constant<name::min, U32, 0>,
          Stored<name::index, U32, 131072>,
          Stored<name::startingBank, AradLifBank, lifBankMax>,
          Operation<name::hwOffset, U32(Arg<name::fapType, Loam::FapType>, Arg<name::fapTypeProperties, Kor::Ptr<FapTypeProperties const> const&>)>>,
      public Kor::Ordered<AradLifIndex>,
      public Kor::Nullable<AradLifIndex> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Where a LIF lies, independent of the chip: an index that counts from the start of a bank",
        "null", "The largest index. Together with lifBankMax it is the null index",
        "min", "The smallest index",
        "index", "Counts the LIF entries from the start of startingBank, 0 to 131072; the default is 131072",
        "startingBank", "The bank that the index counts from; a large index runs on into the next banks. The default is lifBankMax, no bank",
        "hwOffset", "The place in the LIF table of that family: startingBank x lifEntriesPerBank + index. lifBankMax is not allowed");

    using ValueOf::ValueOf;

    /// The flat offset into the LIF table of that family: the entries of the banks before, and the index. Requires a bank
    /// other than `lifBankMax`, and the family's set in the properties.
    U32 hwOffset(Loam::FapType fapType, Kor::Ptr<FapTypeProperties const> const& fapTypeProperties) const;

    constexpr void korCheck() const {
        if (index() > null) {
            Kor::throwRangeException("AradLifIndex::index < 0 or > AradLifIndex::null not allowed");
        }
    }
};


} // namespace Hardware::LoamTunnel
// clang-format on
