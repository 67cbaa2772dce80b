#pragma once

/// Where a packet goes, independent of the chip family: a type and an id within the type. Each family writes
/// the two into one number in its own way.
///
///     Hardware::Loam::DestinationId destination;
///     destination.decodeDestId(Hardware::Loam::fapTypeJericho, 0x10005);       // type 1, id 5
///     U32 number = destination.encodedDestId(Hardware::Loam::fapTypeArad);
///
/// The Jericho family has the 3-bit type in bits 16 to 18 above the 16-bit id. The Arad family has the id in
/// bits 3 to 18 above the type, and counts the types from the other end: 7 is what Jericho calls 0. Every
/// destination of 19 bits has both forms, and each gives back the other. A family other than these two is a
/// broken contract.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/Loam/FapType.h"
#include "runtime/Contract.h"

#include <string>

namespace Hardware::Loam {

class DestinationId {
public:
    constexpr DestinationId() = default;
    constexpr DestinationId(U32 id, U32 type) : id_(id), type_(type) {}

    constexpr U32 id() const { return id_; }
    constexpr U32 type() const { return type_; }

    /// Takes a number of that family apart. Bits above the nineteenth are ignored.
    constexpr void decodeDestId(FapType fapType, U32 destination) {
        if (isArad(fapType)) {
            id_ = (destination >> 3) & 0xffff;
            type_ = 7 - (destination & 7);
        } else {
            id_ = destination & 0xffff;
            type_ = (destination >> 16) & 7;
        }
    }

    /// The destination as a number of that family.
    constexpr U32 encodedDestId(FapType fapType) const {
        return isArad(fapType) ? (id_ & 0xffff) << 3 | (7 - (type_ & 7)) : (type_ & 7) << 16 | (id_ & 0xffff);
    }

    friend constexpr bool operator==(DestinationId const&, DestinationId const&) = default;

private:
    static constexpr bool isArad(FapType fapType) {
        Kor::require(fapType == fapTypeArad || fapType == fapTypeJericho, [&] {
            return Kor::Breach{"Hardware::Loam::DestinationId",
                               "no encoding for family " + std::to_string(U32{fapType})};
        });
        return fapType == fapTypeArad;
    }

    U32 id_ = 65535;
    U32 type_ = 0;
};

} // namespace Hardware::Loam
