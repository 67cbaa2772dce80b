#pragma once

/// The inside of a session: what its parts share, the parts, and what hands them what arrives. Each part
/// writes, reads and ends its own, and its file also holds what Session does of it. Not installed.

#include "attrlog/internal/Lookup.h"
#include "attrlog/session/Session.h"

#include <deque>
#include <optional>
#include <set>
#include <string>
#include <tuple>

namespace Kor::NboAttrLog {

inline constexpr U32 maxNameLength = 64;
inline constexpr U32 maxReasonLength = 256;
/// How many words about roots may wait for a peer that asks and does not read.
inline constexpr std::size_t maxNotes = 4096;

// Bits of a verdict.
inline constexpr U64 pushedBit = 1, acceptedBit = 2;

[[noreturn]] inline void fault(String8 const& what) {
    throw AttrLogRecordException(what);
}
/// Whether a text has at most so many bytes, and no control characters.
bool isSoundName(std::string_view text, std::size_t most) noexcept;
/// A peer's text as it can be shown: cut, and plain (runtime/PlainText.h).
String8 peerText(std::string_view text, std::size_t most);

// Kor::RangeException for an unsound path or verb, and for an entity that cannot be a root.
void requireName(char const* what, Name const& name, U32 most);
inline void requirePath(Name const& path) {
    requireName("path", path, maxPathLength);
}
inline void requireVerb(Name const& verb) {
    requireName("verb", verb, maxVerbLength);
}
void requireRoot(Name const& path, Ptr<Entity> const& entity);

/// Who has caused a word. The application may have any number of wishes.
enum class Cause : U8 { application, peer };

struct SessionCore {
    Out& out() const { return *demuxer.out(); }
    bool isOpen() const { return demuxer.isOpen(); }
    bool hasRoom() const { return out().hasSufficientBuffer(); }
    /// Kor::RangeException for a closed session.
    void requireOpen() const {
        if (!isOpen()) {
            throwRangeException("the connection is closed");
        }
    }
    void close(String8 const& reason) const { demuxer.close(reason.empty() ? String8("closed") : reason); }
    void closeGreedy() const { close("peer asks for more than it reads answers"); }

    /// A record of the session: numbers in as many bytes as they need, all else as Out::put() does.
    template <class... T>
    void write(AttributeId attribute, T const&... values) const {
        auto const put = [](Out& to, auto const& value) {
            if constexpr (std::integral<std::remove_cvref_t<decltype(value)>>) {
                to.putNumber(value);
            } else {
                to.put(value);
            }
        };
        out().write({MsgHeader::announcing, attribute, true}, [&](Out& to) { (put(to, values), ...); });
    }
    /// What such a record has next.
    template <class... T>
    static std::tuple<T...> read(In& in) {
        auto const next = [&]<class Each>(Each const*) {
            if constexpr (std::integral<Each>) {
                return static_cast<Each>(in.nextNumber());
            } else {
                return in.next<Each>();
            }
        };
        return {next(static_cast<T const*>(nullptr))...}; // braces: in order
    }
    /// A path; a fault if it is unsound.
    static Name readPath(In& in);
    /// A text for people, as it can be shown.
    static String8 readReason(In& in) { return peerText(in.nextString().view(), maxReasonLength); }

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
    SessionHooks& hooks;
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
    std::deque<std::function<void()>> early{}, soon{};
    std::deque<Due> due{};
};

struct Part {
    explicit Part(SessionCore& core) : core_(core) {}
    SessionCore& core_;
};

/// What each side says first: a magic and the protocols, which are no record, and the hello.
struct Hello : Part {
    using Part::Part;
    static constexpr U32 preambleLength = static_cast<U32>(Session::magic.size()) + 4;

    void send();
    /// False while the preamble has not arrived. Refuses the peer at the first byte that is wrong.
    bool readPreamble();
    /// Takes the hello in, and sets the connection up by it; a fault if it does not fit.
    void read(In& in);

    std::array<U8, preambleLength> preamble_{};
    std::size_t read_ = 0;
};

/// What this side offers: it is told to the peer, and mounted when the peer wants it.
struct Offers : Part {
    using Part::Part;

    /// After the hello: all that the service has is to be told.
    void begin();
    void write();
    bool hasWork() const { return !toTell_.empty() || !areTold_; }
    void readWant(In& in, bool isGivenUp);
    /// Whether it was one of these that could not be mounted.
    bool failed(EntityId id, String8 const& why);
    void retired(EntityId id);
    void ended() {
        toTell_.clear();
        mounts_.clear();
    }

    /// What is mounted because the peer wants it.
    struct Mount {
        Ptr<Entity> entity;
        EntityId id;
        U32 number = 0;
    };

    void wanted(Name const& path, U32 number);
    void unmount(Name const& path);
    void writeOffer(std::set<Name>::iterator next);

    std::map<Name, Mount> mounts_;
    std::set<Name> toTell_, told_;
    /// More than the peer takes; they are told when others are withdrawn.
    std::set<Name> untold_;
    bool areTold_ = false;
};

/// What the peer offers, and what of it this side wants.
struct Wishes : Part {
    using Part::Part;

    void readOffer(In& in, bool isWithdrawn);
    void offersKnown();
    /// The peer does not give the root that was asked for under that number.
    void refused(Name const& path, U32 number, String8 const& reason);
    /// The entity that a wanted root becomes here, or null.
    Ptr<Entity> root(Announcement const& announcement);
    void mounted(EntityId id);
    void retired(EntityId id);
    /// The peer has told how far a root is.
    void stateTold(EntityId id, RootState state);
    void ended(String8 const& reason);

    struct Wish {
        Session::WantHook hook;
        Session::Take take;
        RootState state = RootState::absent;
        Ptr<Entity> root;
        EntityId id;
        /// Of the last time that it was asked for, so that what answers an earlier one is known.
        U32 number = 0;
        /// The peer has let it go, and may yet say why.
        bool isRetired = false;

        bool isThere() const { return state == RootState::synchronizing || state == RootState::synchronized; }
    };

    void ask(Cause cause, Name const& path, Wish& wish);
    void stateIs(Name const& path, RootState state, String8 const& why = {});

    std::map<Name, Session::PeerOffer> peerOffers_;
    bool areKnown_ = false;
    std::map<Name, Wish> wishes_;
};

/// Entities of this side's own that are mounted towards the peer, and those that the peer mounts here.
struct Pushes : Part {
    using Part::Part;

    /// After the hello: mounts those that were made before it.
    void begin();
    /// The peer's verdict over the push of that number.
    void readVerdict(Name const& path, U32 number, bool isAccepted, String8 const& reason);
    void failed(EntityId id, String8 const& why);
    void retired(EntityId id);
    void ended(String8 const& reason);

    /// The entity that one of the peer's becomes here, or null.
    Ptr<Entity> root(Announcement const& announcement);
    void stateIs(EntityId id, RootState state);

    struct Push {
        Ptr<Entity> entity;
        Access access = Access::writable;
        Session::PushHook hook;
        EntityId id;
        U32 number = 0;
        PushPlace place = PushPlace::ifFree;
    };
    /// One that the peer has made.
    struct Taken {
        Name path;
        Ptr<Entity> entity;
        Service::AcceptHook hook;
        U32 number = 0;
        RootState state = RootState::requested;
    };

    void mount(Name const& path, Push& push);
    void refused(Name const& path, String8 const& why);
    void placeMustBeFree(Entity const& entity, bool takesOver);
    void letGo(EntityId id, String8 const& why);

    std::map<Name, Push> pushes_;
    std::map<EntityId, Taken> taken_;
};

/// Requests to the peer, and the answers to its own. Both go in pieces that fit a record.
struct Calls : Part {
    using Part::Part;

    /// A few pieces, so that the entities have their turn, too.
    void write();
    bool hasWork() const { return !requests_.empty() || !answers_.empty(); }
    void readRequest(In& in);
    void readAnswer(In& in);
    /// Every request that waits is answered with the reason.
    void ended(String8 const& reason);

    /// A request or an answer on its way.
    struct Call {
        U32 id = 0;
        Name verb{};
        std::string text{};
        std::size_t sent = 0;
        bool isError = false;
        Session::Reply reply{};
    };

    void ready(U32 id);
    void writePiece(AttributeId attribute, Call& call);
    Call answerTo(Call const& request);
    void reply(bool ok, String8 const& text);
    static bool takePiece(std::string& text, String8 const& piece, U64 bits);

    U32 last_ = 0;
    /// Those that wait for changes made before them.
    std::map<U32, Call> waiting_;
    /// In the order in which the requests go out.
    std::deque<std::pair<U32, Session::Reply>> replies_;
    std::deque<Call> requests_, answers_;
    std::optional<Call> requestIn_;
    std::string answerIn_;
};

/// Puts the answers of all who are asked together, for one who waits for them.
class FenceSum final : public PtrInterface {
public:
    explicit FenceSum(FenceHook hook) : hook_(std::move(hook)) {}

    /// One more is asked. The last one to answer ends it.
    FenceHook part() {
        ++missing_;
        return [self = Ptr<FenceSum>(this)](FenceResult const& result) {
            self->result_.add(result);
            if (--self->missing_ == 0) {
                tell(std::exchange(self->hook_, {}), self->result_);
            }
        };
    }
    /// Nobody waits for it any more.
    void drop() { hook_ = {}; }

private:
    FenceHook hook_;
    std::size_t missing_ = 0;
    FenceResult result_{.outcome = FenceOutcome::done, .peers = 0};
};

/// Fences towards the peer, and those that it sends. Each goes out behind what was changed before it.
struct Fences : Part {
    using Part::Part;

    void readFence(In& in);
    void readFenced(In& in);
    void ended(String8 const& reason);

    struct Asked {
        FenceLevel level;
        FenceExtent extent;
        U32 hops;
        FenceHook hook;
        bool isSent = false;
    };

    void send(U32 number);
    void answer(U32 number, FenceResult const& result);

    U32 last_ = 0;
    std::map<U32, Asked> asked_;
    /// Those of the peer that have not been answered; null for one whose answer is on its way.
    std::map<U32, Ptr<FenceSum>> answers_;
};

/// What the connection and the peer say, handed to the part that it is for.
struct __attribute__((visibility("hidden"))) Session::Impl final : DemuxerControl {
    explicit Impl(Session& session)
        : core{session,           session.config_, *session.service_,     session.hooks_,
               *session.demuxer_, session.peer_,   session.isEstablished_} {
        core.demuxer.controlIs(this);
        core.service.sessionIs(session);
        hello.send();
    }
    ~Impl() {
        core.demuxer.controlIs(nullptr);
        core.service.sessionDel(core.self);
    }
    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    bool control(MsgHeader const& header, In& in) override;
    bool read(AttributeId attribute, In& in);
    Ptr<Entity> root(Announcement const& announcement) override {
        if (!isSoundName(announcement.name.path.view(), maxPathLength)) {
            fault("record has an unsound path");
        }
        return announcement.name.isPushed ? pushes.root(announcement) : wishes.root(announcement);
    }
    void mounted(EntityId id) override {
        wishes.mounted(id);
        pushes.stateIs(id, RootState::synchronizing);
    }
    void retired(EntityId id) override {
        wishes.retired(id);
        pushes.retired(id);
        offers.retired(id);
        core.pathOf.erase(id);
    }
    void syncModeTold(EntityId id, StreamAdapter::SyncMode mode) override {
        bool const begins = mode == StreamAdapter::SyncMode::synchronizing;
        if (begins || mode == StreamAdapter::SyncMode::allSynchronized) {
            RootState const state = begins ? RootState::synchronizing : RootState::synchronized;
            wishes.stateTold(id, state);
            pushes.stateIs(id, state);
        }
    }
    void failed(EntityId id, String8 const& why) override {
        if (!offers.failed(id, why)) {
            pushes.failed(id, why);
        }
        core.pathOf.erase(id);
    }
    /// Whether something goes before the entities' records.
    bool hasControl() const {
        return !core.notes.empty() || offers.hasWork() || calls.hasWork() || core.hasDue();
    }
    void flow();
    /// Tells everybody here, once.
    void ended();

    SessionCore core;
    Hello hello{core};
    Offers offers{core};
    Wishes wishes{core};
    Pushes pushes{core};
    Calls calls{core};
    Fences fences{core};
    bool isCut = false;
    bool saysGoodbye = false;
    bool toldEnd = false;
};

} // namespace Kor::NboAttrLog
