#pragma once

/// Where an application's LIF lies, independent of the chip: an index within a bank.
///
///     AradLifIndex index(20000, lifBankManaged);
///     if (!index) { ... }          // the null index, which is the default
///
/// Immutable. An index above 131072 raises Kor::RangeException; 131072 itself passes, with any bank, and is
/// null with `lifBankMax` alone.

#include "platform/Hardware/Loam/FapType.h"
#include "runtime/Ptr.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

/// The banks that a LIF can start in. There is no number 3.
enum AradLifBank : U32 {
    lifBankTunnelTermination = 1,
    lifBankManaged = 2,
    lifBankMax = 4,
};
KOR_ENUMERATION(AradLifBank)

class FapTypeProperties;

class __attribute__((visibility("default"))) AradLifIndex
    : public Kor::ValueOf<AradLifIndex,
          Constant<name::null, U32, 131072>,
          Constant<name::min, U32, 0>,
          Stored<name::index, U32, 131072>,
          Stored<name::startingBank, AradLifBank, lifBankMax>,
          Operation<name::hwOffset, U32(Arg<name::fapType, Loam::FapType>, Arg<name::fapTypeProperties, Kor::Ptr<FapTypeProperties const> const&>)>>,
      public Kor::Ordered<AradLifIndex> {
public:
    constexpr AradLifIndex() = default;
    template <Kor::AttrLogReader In>
    AradLifIndex(In* in, Kor::StreamBogon bogon) : ValueOf(in, bogon) {}
    AradLifIndex(Kor::String8::IteratorConst& it, Kor::String8::IteratorConst const& end) : ValueOf(it, end) {}
    constexpr explicit AradLifIndex(U32 index, AradLifBank startingBank = lifBankMax)
        : ValueOf(index, startingBank) {
        korCheck();
    }

    constexpr bool operator!() const { return *this == AradLifIndex(); }

    /// The flat offset into the LIF table of that family: the entries of the banks before, and the index. Defined in
    /// model/FapTypeProperties.cpp. Requires a bank other than `lifBankMax`, and the family's set in the properties.
    U32 hwOffset(Loam::FapType fapType, Kor::Ptr<FapTypeProperties const> const& fapTypeProperties) const;

    constexpr void korCheck() const {
        if (index() > null) {
            Kor::throwRangeException("AradLifIndex::index < 0 or > AradLifIndex::null not allowed");
        }
    }
};


} // namespace Hardware::LoamTunnel
// clang-format on
