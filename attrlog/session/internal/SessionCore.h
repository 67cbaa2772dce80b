#pragma once

/// What the parts of a session share: hello, offers, wishes, pushes and calls each write, read and end their
/// own (Parts.h); attrlog/session/Session.cpp hands them what arrives. Not installed.

#include "attrlog/internal/Lookup.h"
#include "attrlog/session/Session.h"

#include <deque>

namespace Kor::NboAttrLog::detail {

inline constexpr U32 maxNameLength = 64;
inline constexpr U32 maxReasonLength = 256;
/// How many words about roots may wait for a peer that asks and does not read.
inline constexpr std::size_t maxNotes = 4096;

// Bits of a verdict.
inline constexpr U64 pushedBit = 1, acceptedBit = 2;

[[noreturn]] void fault(String8 const& what);

/// Who has caused a word. The application may have any number of wishes.
enum class Cause : U8 { application, peer };

struct SessionCore {
    Out& out() const { return *demuxer.out(); }
    bool isOpen() const { return demuxer.isOpen(); }
    bool hasRoom() const { return out().hasSufficientBuffer(); }
    /// Kor::RangeException for a closed session.
    void requireOpen() const;
    void close(String8 const& reason) const;
    void closeGreedy() const;

    /// A record of the session: `put(out)` writes its payload.
    template <class Put>
    void write(AttributeId attribute, Put const& put) const {
        out().write({MsgHeader::announcing, attribute, true}, put);
    }

    /// Does that when the peer's hello is accepted and what was pushed before it is on its way: now, or then.
    void whenEstablished(std::function<void()> todo);
    void established();
    /// Does that when all that has been changed so far has been written and there is room for a record: now,
    /// or in a later flow(). In the order in which it is asked for.
    void afterChanges(std::function<void()> todo);
    /// The same, without waiting for changes.
    void whenRoom(std::function<void()> todo);
    void doDue();
    bool hasDue() const {
        return !soon.empty() ||
               (!due.empty() && !hasRequests && demuxer.isBarrierPassed(due.front().barrier));
    }

    // Words about roots, which wait for room.

    /// Ends a session whose peer causes more of them than it reads.
    void note(Cause cause, AttributeId attribute, Name const& path, U32 number, U64 bits = 0,
              String8 const& reason = {});
    void writeNotes();

    /// The path in a record; a fault if it is unsound.
    static Name nextPath(In& in);
    /// The one of wishes, pushes or mounts that has the id.
    template <class Map>
    auto ofId(Map& map, EntityId id) {
        auto const path = pathOf.find(id);
        auto const found = path != pathOf.end() ? map.find(path->second) : map.end();
        return found != map.end() && found->second.id == id ? found : map.end();
    }
    /// What a hook gives for what the peer has announced. Kor::RangeException where it does not fit.
    Ptr<Entity> placeFor(Announcement const& announcement, std::function<Ptr<Entity>()> const& give) const;
    void ended();

    struct Note {
        Cause cause;
        AttributeId attribute;
        Name path;
        U32 number = 0;
        U64 bits = 0;
        String8 reason;
    };
    struct Due {
        U64 barrier;
        std::function<void()> todo;
    };

    // The session's own.
    Session& self;
    SessionConfig const& config;
    Service& service;
    SessionHooks const& hooks;
    Demuxer& demuxer;
    PeerHello& peer;
    bool& isEstablished;

    /// Requests are on their way out, and what is due later stays behind them.
    bool hasRequests = false;
    /// Of wishes and pushes.
    U32 lastNumber = 0;
    std::map<EntityId, Name> pathOf{};
    std::deque<Note> notes{};
    std::size_t peersNotes = 0;
    std::deque<std::function<void()>> early{};
    std::deque<Due> due{};
    std::deque<std::function<void()>> soon{};
};

} // namespace Kor::NboAttrLog::detail
