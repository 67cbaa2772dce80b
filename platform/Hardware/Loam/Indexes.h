#pragma once

/// The indexes by which a driver names a place in a chip table. Each has a null, which is its default.

#include "platform/PlatformNames.h"
#include "reflect/Value.h"
#include "runtime/Exception.h"

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

/// A forwarding chip: 0 to 2048, 2048 being null. A larger number raises Kor::RangeException.
class FapId : public Kor::ValueOf<FapId, Kor::Constant<Kor::name::min, U16, 0>,
                                  Kor::Constant<Kor::name::null, U16, 2048>,
                                  Kor::Settable<Kor::name::value, U16, 2048>>,
              public Kor::Ordered<FapId> {
public:
    constexpr FapId() = default;
    FapId(Kor::String8::IteratorConst& it, Kor::String8::IteratorConst const& end) : ValueOf(it, end) {}
    template <Kor::AttrLogReader In>
    FapId(In* in, Kor::StreamBogon) : FapId(in->nextU16()) {}
    constexpr explicit FapId(U16 value) : ValueOf(value) { korCheck(); }

    constexpr bool operator!() const { return *this == FapId(); }
    /// As part of a key it is two bytes.
    constexpr void foldInto(Kor::OneAtATime& running) const { running.add(value()); }

    constexpr void korCheck() const {
        if (value() > null) {
            Kor::throwRangeException("FapId::value < FapId::min or > FapId::null not allowed");
        }
    }
};

/// The tag protocol identifier of an interface: 16 bits, default 0x8100.
class IntfTpid : public Kor::ValueOf<IntfTpid, Kor::Settable<Kor::name::value, U16, 0x8100>>,
                 public Kor::Ordered<IntfTpid> {
public:
    using ValueOf::ValueOf;
};

/// Which of the chip's tag protocol identifiers an interface uses: 8 bits, null 4.
class IntfTpidIndex : public Kor::ValueOf<IntfTpidIndex, Kor::Settable<Kor::name::value, U8, 4>>,
                      public Kor::Ordered<IntfTpidIndex> {
public:
    using ValueOf::ValueOf;

    constexpr bool operator!() const { return *this == IntfTpidIndex(); }
};

} // namespace Hardware::Loam
