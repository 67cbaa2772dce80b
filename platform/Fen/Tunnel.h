#pragma once

/// Tunnels as the forwarding layer names them.
///
///     Fen::TunnelKey const key(Fen::tunnelTypeVxlan, source, destination, 0, 7001);
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Lumen/IpAddr.h"
#include "platform/PlatformNames.h"
#include "reflect/Enumeration.h"
#include "reflect/Value.h"

namespace Fen {

using Kor::U32;

enum TunnelType : U32 {
    tunnelTypeNone = 0,
    tunnelTypeIpInIp = 1,
    tunnelTypeGre = 2,
    tunnelTypeVxlan = 3,
    tunnelTypeNvgre = 4,
    tunnelTypeGeneve = 5,
    tunnelTypeMplsOverGre = 6,
};
// clang-format off
KOR_ENUMERATION(TunnelType,
    "", "The kind of a tunnel",
    "tunnelTypeNone", "No tunnel",
    "tunnelTypeIpInIp", "IP in IP",
    "tunnelTypeGre", "GRE",
    "tunnelTypeVxlan", "VXLAN",
    "tunnelTypeNvgre", "NVGRE",
    "tunnelTypeGeneve", "Geneve",
    "tunnelTypeMplsOverGre", "MPLS over GRE")
// clang-format on

// clang-format off
/// A tunnel: its type, its two ends, and a 64-bit number within them in two words. 20 bytes.
class TunnelKey
    : public Kor::ValueOf<TunnelKey,
          Kor::Stored<Kor::name::tunnelType, TunnelType>,
          Kor::Stored<Kor::name::source, Lumen::IpAddr>,
          Kor::Stored<Kor::name::destinationAddr, Lumen::IpAddr>,
          Kor::Stored<Kor::name::idHigh, U32>,
          Kor::Stored<Kor::name::idLow, U32>>,
      public Kor::Ordered<TunnelKey> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A tunnel: its type, its two ends, and a number within them",
        "tunnelType", "The kind of tunnel; the default is tunnelTypeNone",
        "source", "The address that the tunnel begins at",
        "destinationAddr", "The address that the tunnel ends at",
        "idHigh", "The high 32 bits of the number within the two ends",
        "idLow", "The low 32 bits of the number within the two ends",
        "Kor::U64 id() const", "The number within the two ends",
        "U32 hash() const", "The hash of all five");

    using ValueOf::ValueOf;

    constexpr Kor::U64 id() const { return Kor::U64{idHigh()} << 32 | idLow(); }

    constexpr U32 hash() const noexcept {
        return Kor::OneAtATime()
            .add(static_cast<U32>(tunnelType()))
            .add(source().hash())
            .add(destinationAddr().hash())
            .add(id())
            .finish();
    }
};

/// A next hop: 32 bits, null 0xffffffff.
class FenNextHopId
    : public Kor::ValueOf<FenNextHopId, Kor::Settable<Kor::name::value, U32, 0xffffffffu>>,
      public Kor::Ordered<FenNextHopId>,
      public Kor::Nullable<FenNextHopId> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A next hop",
        "value", "32 bits; the default 0xffffffff stands for none");

    using ValueOf::ValueOf;
};
// clang-format on

} // namespace Fen

namespace FenTypes {

/// What became of an entry that a hardware table was to take.
enum TableAddStatus : Kor::U32 {
    tableAddNone = 0,
    tableAddPending = 1,
    tableAddSuccess = 2,
    tableAddTableFull = 3,
    tableAddFailed = 4,
};
// clang-format off
KOR_ENUMERATION(TableAddStatus,
    "", "What became of an entry that a hardware table was to take",
    "tableAddNone", "Nobody has asked for it",
    "tableAddPending", "It has been asked for and is not there yet",
    "tableAddSuccess", "It is in the table",
    "tableAddTableFull", "The table had no room",
    "tableAddFailed", "The table refused it for another reason")
// clang-format on

} // namespace FenTypes
