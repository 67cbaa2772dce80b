#pragma once

/// The parts of a session. Each is told what concerns it by attrlog/session/Session.cpp.

#include "attrlog/session/internal/SessionCore.h"

#include <optional>
#include <set>
#include <string>

namespace Kor::NboAttrLog::detail {

/// What each side says first: a magic and the protocols, which are no record, and the hello.
class Hello {
public:
    explicit Hello(SessionCore& core) : core_(core) {}

    static constexpr U32 preambleLength = static_cast<U32>(Session::magic.size()) + 4;

    void send();
    /// False while the preamble has not arrived. Refuses the peer at the first byte that is wrong.
    bool readPreamble();
    /// Takes the hello in, and sets the connection up by it; a fault if it does not fit.
    void read(In& in);

private:
    SessionCore& core_;
    std::array<U8, preambleLength> preamble_{};
    std::size_t read_ = 0;
};

/// What this side offers: it is told to the peer, and mounted when the peer wants it.
class Offers {
public:
    explicit Offers(SessionCore& core) : core_(core) {}

    /// After the hello: all that the service has is to be told.
    void begin();
    /// Something else is offered under the path, or nothing.
    void changed(Name const& path);
    void write();
    bool hasWork() const { return !toTell_.empty() || !areTold_; }

    void wanted(Name const& path, U32 number);
    void unwanted(Name const& path, U32 number);
    /// Whether it was one of these that could not be mounted.
    bool failed(EntityId id, String8 const& why);
    void retired(EntityId id);
    void ended();
    bool hasMounted(Name const& path) const { return mounts_.contains(path); }

private:
    /// What is mounted because the peer wants it.
    struct Mount {
        Ptr<Entity> entity;
        EntityId id;
        U32 number = 0;
    };

    void unmount(Name const& path);
    void writeOffer(std::set<Name>::iterator next);

    SessionCore& core_;
    std::map<Name, Mount> mounts_;
    std::set<Name> toTell_, told_;
    /// More than the peer takes; they are told when others are withdrawn.
    std::set<Name> untold_;
    bool areTold_ = false;
};

/// What the peer offers, and what of it this side wants.
class Wishes {
public:
    explicit Wishes(SessionCore& core) : core_(core) {}

    void want(Name const& path, Session::WantHook hook, Session::Take take);
    void unwant(Name const& path);
    Ptr<Entity> root(Name const& path) const;
    RootState state(Name const& path) const noexcept;
    std::map<Name, Session::PeerOffer> const& peerOffers() const noexcept { return peerOffers_; }
    bool areOffersKnown() const noexcept { return areKnown_; }

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

private:
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

    SessionCore& core_;
    std::map<Name, Session::PeerOffer> peerOffers_;
    bool areKnown_ = false;
    std::map<Name, Wish> wishes_;
};

/// Entities of this side's own that are mounted towards the peer, and those that the peer mounts here.
class Pushes {
public:
    explicit Pushes(SessionCore& core) : core_(core) {}

    void push(Name const& path, Ptr<Entity> const& entity, Access access, Session::PushHook hook,
              PushPlace place);
    void unpush(Name const& path);
    /// After the hello: mounts those that were made before it.
    void begin();

    /// The peer's verdict over the push of that number.
    void readVerdict(Name const& path, U32 number, bool isAccepted, String8 const& reason);
    void failed(EntityId id, String8 const& why);
    void retired(EntityId id);
    void ended(String8 const& reason);

    // What the peer pushes.

    /// The entity that one of the peer's becomes here, or null.
    Ptr<Entity> root(Announcement const& announcement);
    void stateIs(EntityId id, RootState state);
    /// Its place is given to another one.
    void lost(Name const& path, String8 const& why);

private:
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

    SessionCore& core_;
    std::map<Name, Push> pushes_;
    std::map<EntityId, Taken> taken_;
};

/// Requests to the peer, and the answers to its own. Both go in pieces that fit a record.
class Calls {
public:
    explicit Calls(SessionCore& core) : core_(core) {}

    void request(Name const& verb, String8 const& argument, Session::Reply reply, CallOrder order);
    /// A few pieces, so that the entities have their turn, too.
    void write();
    bool hasWork() const { return !requests_.empty() || !answers_.empty(); }

    void readRequest(In& in);
    void readAnswer(In& in);
    /// Every request that waits is answered with the reason.
    void ended(String8 const& reason);
    void drop();

private:
    /// A request or an answer on its way.
    struct Call {
        U32 id = 0;
        Name verb{};
        std::string text{};
        std::size_t sent = 0;
        bool isError = false;
    };
    struct Waiting {
        Call call;
        Session::Reply reply;
    };

    void ready(U32 id);
    void writePiece(AttributeId attribute, Call& call);
    Call answerTo(Call const& request);
    void reply(bool ok, String8 const& text);
    static bool takePiece(std::string& text, String8 const& piece, U64 bits);

    SessionCore& core_;
    U32 last_ = 0;
    /// Those that wait for changes made before them.
    std::map<U32, Waiting> waiting_;
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
class Fences {
public:
    explicit Fences(SessionCore& core) : core_(core) {}

    /// `hops` bounds how far one that asks for all is passed on.
    void fence(FenceLevel level, FenceHook hook, FenceExtent extent, U32 hops);
    /// How many the peer has not answered.
    std::size_t open() const noexcept { return asked_.size(); }
    void readFence(In& in);
    void readFenced(In& in);
    /// The peer is gone.
    void ended(String8 const& reason);

private:
    struct Asked {
        FenceLevel level;
        FenceExtent extent;
        U32 hops;
        FenceHook hook;
        bool isSent = false;
    };

    void send(U32 number);
    void answer(U32 number, FenceResult const& result);

    SessionCore& core_;
    U32 last_ = 0;
    std::map<U32, Asked> asked_;
    /// Those of the peer that have not been answered; null for one whose answer is on its way.
    std::map<U32, Ptr<FenceSum>> answers_;
};

} // namespace Kor::NboAttrLog::detail
