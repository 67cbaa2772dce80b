#pragma once

/// Ids, headers, tokens, sections and limits of an attribute log; docs/attribute-log.md has their bytes.
///
///     Kor::Ptr<Kor::NboAttrLog::Out> const& out = demuxer->out();
///     out->nextHeaderIs({adapter.entityId(), 259, true});
///     out << TransactToken(1) << key << count << TransactToken(3);
///
/// All are plain values: they allocate nothing, and any thread may have its own.

#include "runtime/Exception.h"
#include "runtime/String8.h"
#include "runtime/Types.h"

#include <algorithm>
#include <compare>

namespace Kor {

/// The id of an entity on one connection: two words, of which bit 0 of the lower says that the id is an
/// assigned one and bit 1 which side has assigned it.
struct EntityId {
    U32 low = 0;
    U32 high = 0;

    constexpr bool isAssigned() const noexcept { return (low & 1) != 0; }
    constexpr U64 number() const noexcept { return U64{high} << 32 | low; }
    static constexpr EntityId ofNumber(U64 number) noexcept {
        return {static_cast<U32>(number), static_cast<U32>(number >> 32)};
    }
    /// The demultiplexer's table is hashed by it.
    constexpr U32 hash() const noexcept { return low >> 1; }

    friend constexpr bool operator==(EntityId, EntityId) noexcept = default;
    friend constexpr std::strong_ordering operator<=>(EntityId a, EntityId b) noexcept {
        return a.number() <=> b.number();
    }
};

/// A type as it is named on a log: by its full name.
class TypeId {
public:
    TypeId() = default;
    explicit TypeId(String8 name) : name_(std::move(name)) {}
    String8 const& name() const noexcept { return name_; }
    friend bool operator==(TypeId const&, TypeId const&) noexcept = default;

private:
    String8 name_;
};

/// The attribute that a record sets or deletes.
constexpr AttributeId magnitudeOf(AttributeId attribute) noexcept {
    return attribute < 0 ? -attribute : attribute;
}

/// Attributes of records that are no attributes of a class.
inline constexpr AttributeId syncModeAttribute = 135;
inline constexpr AttributeId newEntityAttribute = 136;
inline constexpr AttributeId directoryAttribute = 144;
/// The secondary attribute of a record that announces a child.
inline constexpr AttributeId announcedChildAttribute = 151;
/// What a session says, in records of the entity that is being announced (attrlog/session/Session.h).
inline constexpr AttributeId helloAttribute = 160;
inline constexpr AttributeId goodbyeAttribute = 161;
inline constexpr AttributeId offerAttribute = 162;
inline constexpr AttributeId offersKnownAttribute = 163;
inline constexpr AttributeId wantAttribute = 164;
inline constexpr AttributeId verdictAttribute = 165;
inline constexpr AttributeId requestAttribute = 166;
inline constexpr AttributeId answerAttribute = 167;
inline constexpr AttributeId fenceAttribute = 168;
inline constexpr AttributeId fencedAttribute = 169;

namespace NboAttrLog {

/// What a stream may hold. `record` is the longest record in bytes, header included; a stream with room for
/// one and a few markers has a sufficient buffer. Both sides must agree on it. `ring` is the size of the
/// buffer of each direction, which is all that a reader who never reads costs; `entities` bounds how many a
/// peer can announce. `marks` bounds how many changed keys may wait for a peer that does not read; the peer
/// is then let go, and gets a full pass when it is back. 0: there is no such bound.
struct StreamLimits {
    U32 ring = 1u << 18;
    U32 record = 4096;
    U32 entities = 1u << 16;
    U64 marks = 0;
};
/// Room that is kept for markers beside a record.
inline constexpr U32 markerRoom = 64;
inline constexpr U32 minRecord = 128;
inline constexpr U32 maxRecord = 65535;
/// The nearest limits that a stream can have whose records may be that long.
constexpr StreamLimits soundLimits(StreamLimits limits, U32 leastRecord = minRecord) {
    limits.record = std::clamp(limits.record, leastRecord, maxRecord);
    limits.ring = std::clamp(limits.ring, 2 * (limits.record + markerRoom), 1u << 30);
    return limits;
}

/// What stands before each record.
struct MsgHeader {
    /// The adapter's id, or `announcing` in a record that announces a new entity.
    EntityId entityId{};
    /// Positive to set, negative to delete a key.
    AttributeId attributeId = 0;
    /// Whether the payload has no fixed size; otherwise its size is `fixedLength`.
    bool variableLength = false;
    U32 fixedLength = 0;
    /// 151 in a record that announces a child, else 0.
    U32 secondaryAttribute = 0;
    U32 reserved = 0;
    /// A transaction marker: the payload is its type and a number.
    bool isMarker = false;

    static constexpr EntityId announcing{1, 0};
    friend constexpr bool operator==(MsgHeader const&, MsgHeader const&) noexcept = default;
};

/// 1 begins the payload of a record after its header, 3 ends the record.
enum class TransactToken : U32 {};

/// A part of the payload of an announcement or of a hello.
enum class PayloadSection : U8 {
    types = 1,
    argument = 3,
    entityId = 4,
    root = 5,
    helloName = 16,
    helloSchema = 17,
    helloLimits = 18,
    helloToken = 19,
};

/// What a side may do to an entity of the other one.
enum class Access : U8 { readOnly = 0, writable = 1 };

/// Under which path, and why, an entity is announced; an empty path for one that is not a root of a session.
struct RootName {
    Name path;
    /// Its owner has sent it unasked, and the other side has to find a place for it.
    bool isPushed = false;
    /// What the other side may do.
    Access access = Access::writable;
    /// The number of the wish that it answers, or of the push that is to be answered.
    U32 number = 0;
    /// It is pushed, and takes the place of who pushes it now.
    bool takesOver = false;
};

/// The forms of a header's second byte.
namespace form {
inline constexpr U8 variableLength = 1;
inline constexpr U8 secondary = 2;
inline constexpr U8 marker = 4;
inline constexpr U8 all = 7;
} // namespace form

/// Signed numbers travel with the sign in bit 0.
constexpr U64 zigzag(S64 number) noexcept {
    return static_cast<U64>(number) << 1 ^ static_cast<U64>(number >> 63);
}
constexpr S64 unzigzag(U64 number) noexcept {
    return static_cast<S64>(number >> 1) ^ -static_cast<S64>(number & 1);
}

} // namespace NboAttrLog

[[noreturn, gnu::cold]] KOR_EXPORT void throwAttrLogRecordException(char const* message);

} // namespace Kor
