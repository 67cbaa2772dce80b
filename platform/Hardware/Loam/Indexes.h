#pragma once

/// The indexes by which a driver names a place in a chip table. Each has a null, which is its default.

#include "platform/PlatformNames.h"
#include "reflect/Value.h"

namespace Hardware::Loam {

using Kor::U16;
using Kor::U32;
using Kor::U8;

/// An out-AC: 16 bits, null 65535.
class OutAcIndex : public Kor::ValueOf<OutAcIndex, Kor::Settable<Kor::name::value, U16, 65535>>,
                   public Kor::Ordered<OutAcIndex> {
public:
    using ValueOf::ValueOf;

    constexpr bool operator!() const { return *this == OutAcIndex(); }
};

/// A slot of the egress VLAN edit commands: 16 bits, null 1024.
class EvecIndex : public Kor::ValueOf<EvecIndex, Kor::Settable<Kor::name::value, U16, 1024>>,
                  public Kor::Ordered<EvecIndex> {
public:
    using ValueOf::ValueOf;

    constexpr bool operator!() const { return *this == EvecIndex(); }
    constexpr U32 hash() const noexcept { return value(); }
    /// As part of a key it is two bytes, the low half of its hash.
    constexpr void foldInto(Kor::OneAtATime& running) const { running.add(static_cast<U16>(hash())); }
};

/// A slot of the ingress VLAN edit commands: three words, null 64, 7, 0.
class AradIvecIndex
    : public Kor::ValueOf<AradIvecIndex, Kor::Settable<Kor::name::word0, U32, 64>,
                          Kor::Settable<Kor::name::word1, U32, 7>, Kor::Settable<Kor::name::word2, U32>>,
      public Kor::Ordered<AradIvecIndex> {
public:
    using ValueOf::ValueOf;

    constexpr bool operator!() const { return *this == AradIvecIndex(); }
    /// As part of a key it is the low byte of its first word.
    constexpr void foldInto(Kor::OneAtATime& running) const { running.add(static_cast<U8>(word0())); }
};

} // namespace Hardware::Loam
