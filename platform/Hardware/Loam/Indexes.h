#pragma once

/// The indexes by which a driver names a place in a chip table. Each has a null, which is its default.
///
///     EvecIndex const index(17);
///     !EvecIndex();                                        // true: the default, 1024, is none
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/PlatformNames.h"
#include "reflect/Value.h"
#include "runtime/Exception.h"

// clang-format off
namespace Hardware::Loam {

using Kor::U16;
using Kor::U32;
using Kor::U8;

/// An out-AC: 16 bits, null 65535.
class OutAcIndex : public Kor::ValueOf<OutAcIndex, Kor::Settable<Kor::name::value, U16, 65535>>,
                   public Kor::Ordered<OutAcIndex>,
                   public Kor::Nullable<OutAcIndex> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The index of an out-AC",
        "value", "16 bits; the default 65535 stands for none");

    using ValueOf::ValueOf;
};

/// A slot of the egress VLAN edit commands: 16 bits, null 1024.
class EvecIndex : public Kor::ValueOf<EvecIndex, Kor::Settable<Kor::name::value, U16, 1024>>,
                  public Kor::Ordered<EvecIndex>,
                  public Kor::Nullable<EvecIndex> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The number of a slot for an egress VLAN edit command",
        "value", "16 bits; the default 1024 stands for none",
        "U32 hash() const", "The number");

    using ValueOf::ValueOf;

    constexpr U32 hash() const noexcept { return value(); }
    /// As part of a key it is two bytes, the low half of its hash.
    constexpr void foldInto(Kor::OneAtATime& running) const { running.add(static_cast<U16>(hash())); }
};

/// A slot of the ingress VLAN edit commands: three words, null 64, 7, 0.
class AradIvecIndex
    : public Kor::ValueOf<AradIvecIndex, Kor::Settable<Kor::name::word0, U32, 64>,
                          Kor::Settable<Kor::name::word1, U32, 7>, Kor::Settable<Kor::name::word2, U32>>,
      public Kor::Ordered<AradIvecIndex>,
      public Kor::Nullable<AradIvecIndex> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The place of a slot for an ingress VLAN edit command; the default 64, 7, 0 stands for none",
        "word0", "The first word. Its low byte alone enters the hash of a key",
        "word1", "The second word",
        "word2", "The third word");

    using ValueOf::ValueOf;

    /// As part of a key it is the low byte of its first word.
    constexpr void foldInto(Kor::OneAtATime& running) const { running.add(static_cast<U8>(word0())); }
};

/// A forwarding chip: 0 to 2048, 2048 being null. A larger number raises Kor::RangeException.
class FapId : public Kor::ValueOf<FapId, Kor::Constant<Kor::name::min, U16, 0>,
                                  Kor::Constant<Kor::name::null, U16, 2048>,
                                  Kor::Settable<Kor::name::value, U16, 2048>>,
              public Kor::Ordered<FapId>,
              public Kor::Nullable<FapId> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A forwarding chip",
        "min", "The smallest number",
        "null", "The number that stands for none",
        "value", "The number of the chip, 0 to 2048; the default 2048 stands for none");

    using ValueOf::ValueOf;
    static constexpr bool korChecksWire = true;

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
    static constexpr auto korTexts = Kor::texts(
        "", "The tag protocol identifier (TPID) of an interface",
        "value", "16 bits; the default is 0x8100");

    using ValueOf::ValueOf;
};

/// Which of the chip's tag protocol identifiers an interface uses: 8 bits, null 4.
class IntfTpidIndex : public Kor::ValueOf<IntfTpidIndex, Kor::Settable<Kor::name::value, U8, 4>>,
                      public Kor::Ordered<IntfTpidIndex>,
                      public Kor::Nullable<IntfTpidIndex> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which of the chip's tag protocol identifiers (TPIDs) an interface uses",
        "value", "8 bits; the default 4 stands for none");

    using ValueOf::ValueOf;
};

} // namespace Hardware::Loam
// clang-format on
