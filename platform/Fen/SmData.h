#pragma once

/// The types of the forwarding layer's state-machine data. The values are the least that a holder of them
/// needs: default, comparison, text. What a helper or a configuration does is the forwarding layer's own
/// affair; here they are objects that can be referred to.
///
///     std::vector const members{Lumen::IntfId::ofName("Ethernet1"), Lumen::IntfId::ofName("Ethernet2")};
///     Fen::FenPortList const ports(members);
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Lumen/IntfId.h"
#include "platform/PlatformNames.h"
#include "reflect/Enumeration.h"
#include "reflect/Value.h"
#include "runtime/PtrInterface.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Fen {

using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

/// What the forwarding hardware is doing.
enum HwOperationalMode : U32 {
    hwModeUnknown = 0,
    hwModeStarting = 1,
    hwModeActive = 2,
    hwModeStandby = 3,
    hwModeShutdown = 4,
};
// clang-format off
KOR_ENUMERATION(HwOperationalMode,
    "", "What the forwarding hardware is doing",
    "hwModeUnknown", "Nobody has said yet",
    "hwModeStarting", "It starts",
    "hwModeActive", "It forwards",
    "hwModeStandby", "It is ready to take over",
    "hwModeShutdown", "It is shut down")
// clang-format on

class KOR_EXPORT VlanHelperBase : public Kor::PtrInterface {
public:
    static constexpr auto korTexts =
        Kor::texts("", "The helper of the VLANs. What it does is the forwarding layer's own affair");
};
class KOR_EXPORT HwCliConfig : public Kor::PtrInterface {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The configuration of the command line. What it holds is the forwarding layer's own affair");
};

/// The ports of a LAG, in order.
///
///     std::cout << Kor::valueToStrep(ports);        // 'Ethernet1,Ethernet2'
class KOR_EXPORT FenPortList {
public:
    // clang-format off
    static constexpr auto korTexts = Kor::texts(
        "", "The ports of a LAG, in order",
        "FenPortList()", "No port",
        "explicit FenPortList(std::vector<Lumen::IntfId> ports)", "Those ports",
        "std::vector<Lumen::IntfId> const& ports() const", "The ports",
        "void appendTextTo(std::string& text) const", "Appends the names in quotes, with commas between them",
        "static std::optional<FenPortList> fromText(std::string_view text)", "The list of such a text without its quotes, or none");
    // clang-format on

    FenPortList() = default;
    explicit FenPortList(std::vector<Lumen::IntfId> ports) : ports_(std::move(ports)) {}

    std::vector<Lumen::IntfId> const& ports() const noexcept { return ports_; }

    /// The names in quotes, with commas between them.
    void appendTextTo(std::string& text) const;
    /// The list of such a text without its quotes, or none.
    static std::optional<FenPortList> fromText(std::string_view text);

    friend bool operator==(FenPortList const&, FenPortList const&) = default;

private:
    std::vector<Lumen::IntfId> ports_;
};

// clang-format off
/// The tags of a port: its tag protocol identifier and the VLAN of untagged packets.
class FenPortVlanTpidData
    : public Kor::ValueOf<FenPortVlanTpidData,
          Kor::Stored<Kor::name::tpid, U16, 0x8100>,
          Kor::Stored<Kor::name::vlanId, U16>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The tags of a port",
        "tpid", "The port's tag protocol identifier (TPID), 16 bits; the default is 0x8100",
        "vlanId", "The VLAN of untagged packets; the default is 0");

    using ValueOf::ValueOf;
};

/// Where the queue of free mirror sessions starts, and the position that the next one gets.
class FreeMirrorSessionMetadata
    : public Kor::ValueOf<FreeMirrorSessionMetadata,
          Kor::Stored<Kor::name::head, U32>,
          Kor::Stored<Kor::name::next, U32>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Where the queue of free mirror sessions stands; no operation of the queue touches it",
        "head", "The position of the first session",
        "next", "The position that the next session gets");

    using ValueOf::ValueOf;
};

/// Fen::ParityEvent::Key: a row of a table.
class ParityEventKey
    : public Kor::ValueOf<ParityEventKey,
          Kor::Stored<Kor::name::table, U32>,
          Kor::Stored<Kor::name::row, U32>>,
      public Kor::Ordered<ParityEventKey>,
      public Kor::Hashed<ParityEventKey> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A row of a chip table",
        "table", "The number of the table",
        "row", "The number of the row",
        "Kor::U32 hash() const", "The hash of what is stored");

    static constexpr std::string_view korTypeName = "Fen::ParityEvent::Key";
    using ValueOf::ValueOf;
};

/// How often a row was found with wrong parity.
class ParityEvent
    : public Kor::ValueOf<ParityEvent,
          Kor::Stored<Kor::name::key, ParityEventKey>,
          Kor::Stored<Kor::name::count, U32>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "How often a row was found with wrong parity",
        "key", "The row",
        "count", "How often; the default is 0");

    using Key = ParityEventKey;
    using ValueOf::ValueOf;
};

/// The log levels of the chip's drivers, a word of bits.
class BriskLogLevels : public Kor::ValueOf<BriskLogLevels, Kor::Stored<Kor::name::value, U64>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The log levels of the chip's drivers",
        "value", "One bit a level; the default is 0");

    using ValueOf::ValueOf;
};
// clang-format on

} // namespace Fen

namespace FenTypes {

enum FenLagType : Kor::U32 {
    fenLagNone = 0,
    fenLagStatic = 1,
    fenLagLacp = 2,
    fenLagRecirc = 3,
};
// clang-format off
KOR_ENUMERATION(FenLagType,
    "", "The kind of a LAG",
    "fenLagNone", "No LAG",
    "fenLagStatic", "Its ports are configured",
    "fenLagLacp", "Its ports are agreed with the peer by LACP",
    "fenLagRecirc", "It sends its packets round again")
// clang-format on

} // namespace FenTypes

namespace Lag::Recirc {

/// The features for which a LAG sends its packets round again, a word of bits.
class RecircFeatureSet : public Kor::ValueOf<RecircFeatureSet, Kor::Stored<Kor::name::value, Kor::U32>> {
public:
    static constexpr auto korTexts =
        Kor::texts("", "The features for which a LAG sends its packets round again", "value",
                   "One bit a feature; the default is 0");

    using ValueOf::ValueOf;
};

} // namespace Lag::Recirc
