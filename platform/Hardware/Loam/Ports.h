#pragma once

/// Ports and LAGs as the drivers number them. Each null is the default.
///
///     PortMap const port(FapId(3), 12);
///     port.fapId() < FapId(2048);                          // as all but the default, which is none
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/Loam/Indexes.h"
#include "reflect/Enumeration.h"

namespace Hardware::Loam {

// clang-format off
/// A port of the whole system: 32 bits, null 0xffffffff.
class SystemPhyPortId
    : public Kor::ValueOf<SystemPhyPortId, Kor::Stored<Kor::name::value, U32, 0xffffffffu>>,
      public Kor::Ordered<SystemPhyPortId>,
      public Kor::Hashed<SystemPhyPortId> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A port of the whole system",
        "value", "32 bits; the default 0xffffffff stands for none",
        "U32 hash() const", "The hash of what is stored");

    using ValueOf::ValueOf;
};

/// A port of one forwarding chip.
class PortMap
    : public Kor::ValueOf<PortMap,
          Kor::Stored<Kor::name::fapId, FapId>,
          Kor::Stored<Kor::name::port, U16, 65535>>,
      public Kor::Ordered<PortMap>,
      public Kor::Hashed<PortMap> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A port of one forwarding chip",
        "fapId", "The chip; the default 2048 stands for none",
        "port", "The port's number on the chip; the default 65535 stands for none",
        "U32 hash() const", "The hash of what is stored");

    using ValueOf::ValueOf;
};

/// The number of a LAG: 16 bits, null 65535.
class LagId
    : public Kor::ValueOf<LagId, Kor::Stored<Kor::name::value, U16, 65535>>,
      public Kor::Ordered<LagId>,
      public Kor::Hashed<LagId> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The number of a LAG",
        "value", "16 bits; the default 65535 stands for none",
        "U32 hash() const", "The hash of what is stored");

    using ValueOf::ValueOf;
};

/// A LAG as the destination of packets: 32 bits, null 0xffffffff.
class LagDestinationId
    : public Kor::ValueOf<LagDestinationId, Kor::Stored<Kor::name::value, U32, 0xffffffffu>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A LAG as the destination of packets",
        "value", "32 bits; the default 0xffffffff stands for none");

    using ValueOf::ValueOf;
};
// clang-format on

} // namespace Hardware::Loam

namespace Hardware::Loam::DrvHelper {

/// How far the driver has brought a port.
enum PortState : U32 {
    portStateUnknown = 0,
    portStateCreated = 1,
    portStateMapped = 2,
    portStateReady = 3,
};
// clang-format off
KOR_ENUMERATION(PortState,
    "", "How far a port has been set up",
    "portStateUnknown", "Nobody has said yet",
    "portStateCreated", "It exists",
    "portStateMapped", "It is mapped to a chip",
    "portStateReady", "It can be used")
// clang-format on

} // namespace Hardware::Loam::DrvHelper
