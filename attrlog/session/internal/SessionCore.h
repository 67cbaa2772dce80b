#pragma once

/// What the parts of a session share: hello, offers, wishes, pushes and calls each write, read and end their
/// own (the other headers of this folder); attrlog/session/Session.cpp hands them what arrives. Not
/// installed.

#include "attrlog/session/Session.h"

#include <deque>
#include <functional>
#include <map>
#include <string>

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
    SessionCore(Session& session, Side side, SessionConfig given, Ptr<Service> offered, SessionHooks told);

    Out& out() const { return *demuxer->out(); }
    bool isOpen() const { return demuxer->isOpen(); }
    bool hasRoom() const { return demuxer->out()->hasSufficientBuffer(); }
    /// Kor::RangeException for a closed session.
    void requireOpen() const;
    void close(String8 const& reason);
    void closeGreedy();
    void call(std::function<void(Session&)> const& hook);

    /// A record of the session: `put(out)` writes its payload.
    template <class Put>
    void write(AttributeId attribute, Put const& put) {
        Out& to = out();
        to.nextHeaderIs({MsgHeader::announcing, attribute, true});
        to.token(TransactToken(1));
        put(to);
        to.token(TransactToken(3));
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
               (!due.empty() && !hasRequests && demuxer->isBarrierPassed(due.front().barrier));
    }

    // Words about roots, which wait for room.

    /// Ends a session whose peer causes more of them than it reads.
    void note(Cause cause, AttributeId attribute, Name const& path, U32 number, U64 bits = 0,
              String8 const& reason = {});
    void writeNotes();
    bool hasNotes() const { return !notes.empty(); }

    /// The path in a record; a fault if it is unsound.
    static Name nextPath(In& in);
    /// The one of wishes, pushes or mounts that has the id.
    template <class Map>
    auto ofId(Map& map, EntityId id) {
        auto const path = pathOf.find(id);
        auto const found = path != pathOf.end() ? map.find(path->second) : map.end();
        return found != map.end() && found->second.id == id ? found : map.end();
    }
    /// The entity that a hook gives for what the peer has announced. Kor::RangeException where it does not
    /// fit.
    Ptr<Entity> placeFor(Announcement const& announcement, std::function<Ptr<Entity>()> const& give) const;

    Session& self;
    SessionConfig config;
    Ptr<Service> service;
    SessionHooks hooks;
    Ptr<Demuxer> demuxer;
    /// What the peer has told; complete when the session is established.
    PeerHello peer;
    String8 peerDetail;
    bool isEstablished = false;
    /// Requests are on their way out, and what is due later stays behind them.
    bool hasRequests = false;
    /// Of wishes and pushes.
    U32 lastNumber = 0;
    std::map<EntityId, Name> pathOf;

private:
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

    std::deque<Note> notes;
    std::size_t peersNotes = 0;
    std::deque<std::function<void()>> early;
    std::deque<Due> due;
    std::deque<std::function<void()>> soon;

public:
    void ended() {
        notes.clear();
        early.clear();
        due.clear();
        soon.clear();
        peersNotes = 0;
        pathOf.clear();
    }
};

} // namespace Kor::NboAttrLog::detail
