#pragma once

/// Kor::NboAttrLog::RecordWalker takes the bytes of a connection apart into records, and says of each what it
/// is, as text. Nothing is applied: it is for looking at what was sent.
///
///     Kor::NboAttrLog::RecordWalker walker;
///     walker.walk(Side::connecting, bytes, [](RecordView const& record) {
///         std::cout << record.offset << ' ' << record.path << ' ' << record.attribute << '\n';
///     });
///
/// Bytes come in pieces of any size, both directions in the order in which they were sent: what an id stands
/// for was told in an announcement or a parent's record before, by either side. A record of an entity whose
/// beginning was missed, or of a type that this program does not know, is of the kind `unknown`.
///
/// Bytes that make no record raise Kor::AttrLogRecordException, and nothing of that direction can be read
/// after them; faultOffset() tells where. A record that is sound but would be refused has the reason in
/// `fault`. Whatever the bytes are, nothing else happens, and no more than `limits.entities` entities of each
/// side are remembered, each until its deletion. One thread.

#include "attrlog/adapter/Demuxer.h"

#include <array>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace Kor::NboAttrLog {

/// One record. Views are valid during the visit alone.
struct RecordView {
    enum class Kind {
        announcement, // `value` has the types, nearest first
        gone,         // the entity is no longer mounted
        syncMode,     // `value` is the mode
        marker,       // of a full pass: `value` is start, abort or end
        set,
        deletion,
        child,   // is there, of the type `value`; `child` is its id
        control, // belongs to nobody's entity
        unknown,
    };
    Kind kind = Kind::unknown;
    /// Which side has sent it, and where in that side's stream it begins.
    Side from{};
    U64 offset = 0;
    std::span<U8 const> bytes{};
    MsgHeader header{};
    /// The entity, as a path of forms/Path.h. Empty for one that is not known.
    std::string path{};
    /// Of an announcement, how the root is called: as the session offers it, or by its name. Empty for what
    /// has but a key; the first that refers to it is its place.
    std::string root{};
    KorType const* type = nullptr;
    /// By name, or by number if it has none here.
    std::string attribute{};
    std::string key{}, value{};
    /// The id of a child or of an announced entity.
    EntityId child{};
    /// Why a reader passes over the record; empty if it does not.
    std::string fault{};
};

/// The name of a kind.
KOR_EXPORT char const* textOf(RecordView::Kind kind) noexcept;

class KOR_EXPORT RecordWalker {
public:
    explicit RecordWalker(StreamLimits const& limits = {});

    /// What may stand before the first record of a direction: given all bytes of it so far, at most
    /// maxPreamble, how many of them are no records, or `more` if that cannot be told yet. Without it there
    /// are none.
    using Preamble = std::function<std::size_t(std::span<U8 const> start)>;
    static constexpr std::size_t more = ~std::size_t{0};
    static constexpr std::size_t maxPreamble = 4096;
    void preambleIs(Preamble preamble) { preamble_ = std::move(preamble); }

    using Visit = std::function<void(RecordView const&)>;
    /// Takes in more bytes of a direction, and calls `visit` with each record that is whole with them.
    void walk(Side from, std::span<U8 const> bytes, Visit const& visit);
    /// Where the first record that is unsound, or not yet whole, begins.
    U64 faultOffset(Side from) const noexcept { return direction(from).offset; }
    /// Bytes behind the last whole record.
    U64 rest(Side from) const noexcept;

private:
    struct Direction {
        Ptr<In> in;
        U64 offset = 0;
        std::vector<U8> start; // until the preamble is over
        bool isRecords = false;
    };
    struct Known {
        KorType const* type;
        std::string path;
        /// The path can be followed.
        bool isPlaced = true;
        /// By attribute and key.
        std::map<std::string, EntityId> children{};
    };

    Direction const& direction(Side from) const noexcept {
        return directions_[static_cast<std::size_t>(from) & 1];
    }
    void take(Direction& direction, Side from, std::span<U8 const> bytes, Visit const& visit);
    void read(In& in, RecordView& record);
    void readAnnouncement(In& in, RecordView& record);
    void readAttribute(In& in, RecordView& record, Known& entity);
    void know(EntityId id, Known entity);
    /// It and all below it.
    void forget(EntityId id);

    StreamLimits limits_;
    Preamble preamble_;
    std::array<Direction, 2> directions_;
    std::map<EntityId, Known> known_;
    std::array<U32, 2> count_{}; // of those ids that a side has given
};

} // namespace Kor::NboAttrLog
