#pragma once

/// Kor::NboAttrLog::Demuxer, one connection of an attribute log: the two streams, and the entities that are
/// mounted on them. Pure bytes: a caller carries them, by whatever means, and calls receive() and flow().
///
///     auto demuxer = Kor::makePtr<Kor::NboAttrLog::Demuxer>(Kor::NboAttrLog::Side::connecting);
///     demuxer->mount(lifAppConfigDir);                      // the peer gets it, and each change from now on
///     demuxer->rootHookIs([&](Kor::Ptr<Kor::Entity> const& offered) { return mine(offered); });
///     for (;;) {
///         while (demuxer->flow(), !demuxer->out()->readable().empty()) { ... send ...; demuxer->out()->nextBytes(sent); }
///         demuxer->in()->feed(received);
///         if (!demuxer->receive()) { puts(demuxer->closeReason().charPtr()); break; }
///     }
///     demuxer->close("hung up");                            // a new connection starts with a new one
///
/// Mounting. The side that mounts an entity owns its state: the peer gets all of it, whatever it had before.
/// Both sides can write, unless the flags say otherwise. If both mount the same entity, or add the same
/// child, at once, that of the side that was connected to stays. An entity is mounted with its children and
/// all that it refers to; it is held while it is mounted, unless its flags have StreamAdapter::Bit::weak.
///
/// Hostile bytes. A record that is unsound closes the connection, with a reason; one that is sound but is
/// refused (a value out of its range, a write to what is read-only, an entity or attribute that is not known
/// here) is passed over and counted. The entities are whole in either case.
///
/// Cost. Nothing but flow() takes time for what waits, which takes turns, a few records each: a large entity
/// holds up no small one. A peer that never reads costs the ring and one mark a changed key. One thread, all
/// the time; a handler within receive() may do anything but call receive().

#include "attrlog/adapter/StreamAdapter.h"

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Kor::NboAttrLog {

/// Which side of the connection this is; it tells the ids of the two sides apart.
enum class Side : U8 { accepting = 0, connecting = 1 };

/// What a connection has done. Nothing is merged or passed over without being counted.
struct Stats {
    U64 recordsIn = 0, bytesIn = 0, recordsOut = 0, bytesOut = 0;
    /// Changes of a key that was marked already.
    U64 coalescedChanges = 0;
    /// Keys that wait for room now, and the most there ever were.
    U64 dirtyKeys = 0, dirtyKeysHighWater = 0;
    /// How often the stream became full.
    U64 streamFull = 0;
    /// Enumerators that only the peer knows.
    U64 unknownEnums = 0;
    U64 unknownAttributes = 0;
    /// Records of entities that are no longer, or not, mounted.
    U64 unknownEntities = 0;
    U64 refusedRecords = 0;
    /// The peer's full passes that have ended.
    U64 passesIn = 0;
};

/// An entity that the peer announces.
struct Announcement {
    /// Made anew from its key or name. Null if its type is not known here, or its key, as `refusal` says.
    Ptr<Entity> made;
    String8 refusal;
    EntityId id;
    RootName name;
};

/// A session: what speaks in the stream, too. receive() calls all of it but failed(), which flow() calls.
class DemuxerControl {
public:
    /// Each record, before all else; true if it was for the session.
    virtual bool control(MsgHeader const& header, In& in) = 0;
    /// A root that the peer announces; what it returns is mounted, null refuses it.
    virtual Ptr<Entity> root(Announcement const& announcement) = 0;
    virtual void mounted(EntityId id) = 0;
    /// The peer mounts it no more.
    virtual void retired(EntityId id) = 0;
    virtual void syncModeTold(EntityId id, StreamAdapter::SyncMode mode) = 0;
    /// An entity of this side cannot be announced, or has outgrown what the peer takes, and is let go.
    virtual void failed(EntityId id, String8 const& why) = 0;

protected:
    ~DemuxerControl() = default;
};

class KOR_EXPORT Demuxer : public PtrInterface {
public:
    explicit Demuxer(Side side, StreamLimits const& limits = {});
    ~Demuxer() override;

    // What the carrier does.

    Ptr<Out> const& out() const noexcept { return out_; }
    Ptr<In> const& in() const noexcept { return in_; }
    /// Applies the whole records that have arrived. False when the connection is closed.
    bool receive();
    /// Writes what waits, as far as there is room. True when something still waits.
    bool flow();
    /// What waits for the peer's full state, or for flags that allow to send, is not counted.
    bool hasWork() const noexcept { return !queue_.empty() || !retired_.empty() || !completed_.empty(); }
    /// Ends the connection: all entities are unmounted and stay as they are. The first reason stands.
    void close(String8 reason);
    bool isOpen() const noexcept { return isOpen_; }
    /// The reason of a connection whose objects end while it is open.
    static String8 const& endedReason();
    String8 const& closeReason() const noexcept { return reason_; }

    // What the application does.

    /// Mounts an entity, so that the peer gets it; one that is mounted stays so and has its flags replaced.
    /// Kor::RangeException for a null entity, one without an attribute log, or a closed connection.
    ValidPtr<StreamAdapter> mount(Ptr<Entity> const& entity, Entity::Kor_BitSet flags = {}) {
        return mountFor(entity, flags, {}, {});
    }
    /// Unmounts an entity on both sides; nothing happens if it is not mounted.
    void unmount(Ptr<Entity> const& entity);

    /// Called with each entity that the peer mounts, as made anew from its key or name. What it returns is
    /// mounted until the peer unmounts it or the connection is closed: the one that is offered, as without a
    /// hook; another one of the same class; or null to refuse it.
    using RootHook = std::function<Ptr<Entity>(Ptr<Entity> const& offered)>;
    void rootHookIs(RootHook hook) { rootHook_ = std::move(hook); }
    /// The flags with which what the peer mounts is mounted here.
    void peerFlagsIs(Entity::Kor_BitSet flags) noexcept { peerFlags_ = flags; }

    Name const& peerName() const noexcept { return peerName_; }
    void peerNameIs(Name name) noexcept { peerName_ = std::move(name); }
    /// The protocol that the two sides have agreed on.
    U32 protocol() const noexcept { return protocol_; }
    void protocolIs(U32 protocol) noexcept { protocol_ = protocol; }
    Stats stats() const;
    U32 mounted() const noexcept { return adapters_.count(); }

    // What a session does.

    /// Not owned; null takes it away.
    void controlIs(DemuxerControl* control) noexcept { control_ = control; }
    /// The longest record that both sides take.
    void recordLimitIs(U32 record) noexcept {
        out_->recordLimitIs(record);
        in_->recordLimitIs(record);
    }
    /// How many entities of this side the peer takes. One more root is refused; if a root grows beyond it, it
    /// is let go with the next flow(), since the trees could not be equal.
    void peerLimitIs(U32 entities) noexcept { peerLimit_ = entities; }
    /// Mounts an entity as a root: the peer is told its path, and when all of it and of what is below it has
    /// been sent. Kor::RangeException also if it, or a part of it, is mounted already.
    ValidPtr<StreamAdapter> mountRoot(Ptr<Entity> const& entity, RootName name);
    /// The name of a root that was mounted here; null for all else.
    RootName const* rootName(EntityId id) const noexcept;

    // What the adapters do.

    StreamAdapter* reactor(EntityId id) const noexcept;
    /// Takes an adapter in, under that id or a new one.
    void reactorIs(StreamAdapter& adapter, EntityId id = {});
    /// Lets the adapter of that id go; it leaves stream and entity. Its children go, too.
    void reactorDel(EntityId id);
    /// The same, and the peer is told to let its own go.
    void reactorRetire(EntityId id);
    /// Gives the adapter a place in the queue, if it may send what it has.
    void resume(StreamAdapter& adapter);
    /// Tells the peer of the entities that are not mounted any more; false while there is no room for that.
    bool writeRetired();
    /// How many of them the peer has yet to be told of.
    std::size_t retiredWaiting() const noexcept { return retired_.size(); }
    Ptr<FlowOut> createFlowOut(Ptr<StreamAdapter> const& adapter, ConnectDesc const& connection, bool flag,
                               AttributeId start);
    /// Whether the adapter whose turn it is may go on.
    bool continueFlowOut() const noexcept {
        return out_->hasSufficientBuffer() && out_->records() < sliceEnd_;
    }
    FlowIn* flowIn(EntityId id) const noexcept {
        StreamAdapter const* const adapter = reactor(id);
        return adapter != nullptr ? adapter->flowIn() : nullptr;
    }
    FlowIn* flowInIs(EntityId id);
    /// Counts a walk over a map for which a marker of the peer asks. Kor::AttrLogRecordException if there are
    /// far more of them than its records account for: a marker of six bytes must not cost a walk each time.
    void noteWalk(U64 members);
    /// The id of an entity, which is mounted for it. Kor::EntityIdUnavailableException if there is no room.
    EntityId entityIdOf(Entity& entity, Entity::Kor_BitSet flags, EntityId root);

    // Barriers, see attrlog/adapter/FlowOutOf.h.

    /// Raises a barrier: a place behind all that has been changed so far, here and on this connection. What
    /// was changed before leaves before it, or a later state of it; what is changed later may, too. Costs one
    /// entry a key that waits, and nothing where nothing waits.
    U64 barrierIs();
    /// Whether all of it has been written; so is all that earlier ones wait for.
    bool isBarrierPassed(U64 barrier);
    void barrierPaid(U64 barrier) noexcept {
        if (barrier >= firstBarrier()) {
            --barriers_[barrier - firstBarrier()];
        }
    }
    /// The barrier to which what begins to be sent is owed, 0 for none.
    U64& owing() noexcept { return owing_; }
    /// The flow-out of an adapter is about to be replaced.
    void flowOutChanges(StreamAdapter& adapter, FlowOut* next);
    /// More keys are marked than ever before.
    void marksGrow() noexcept { hasTooManyMarks_ = limits_.marks != 0 && stats_.dirtyKeys > limits_.marks; }

    /// A full pass of an adapter that belongs to that root begins or is over.
    void passBegins(EntityId root, EntityId id) noexcept;
    void passEnds(EntityId root);
    /// The peer has told how far an entity is.
    void syncModeTold(EntityId id, StreamAdapter::SyncMode mode) { syncModeTold_.emplace(id, mode); }
    /// Whether a child that is mounted here under another id gives way to the one that the peer announces.
    bool checkEphemeralEntityDeletion(StreamAdapter const& child, EntityId announced) const noexcept;
    /// Raises unless the peer may give that id to an entity now.
    void peerIdMustBeFree(EntityId id);
    bool isMine(EntityId id) const noexcept { return (id.low >> 1 & 1) == static_cast<U32>(side_); }

    void noteFull() noexcept { stats_.streamFull += !std::exchange(wasFull_, true); }
    void unknownEnumsInc(unsigned int n) noexcept { stats_.unknownEnums += n; }
    Stats& counters() noexcept { return stats_; }
    MsgChannel::Constrainer& constrainer() noexcept { return channel_->constrainer(); }

private:
    /// How many records of one adapter leave before it is the turn of the next.
    static constexpr U64 slice = 32;
    static constexpr U64 noSlice = ~U64{0};

    using Adapters = HashMap<MapEntry<EntityId, Ptr<StreamAdapter>>, EntityId, Ptr<StreamAdapter>>;

    void dispatch(MsgHeader const& header);
    void announcement();
    ValidPtr<StreamAdapter> mountFor(Ptr<Entity> const& entity, Entity::Kor_BitSet flags, EntityId root,
                                     RootName name);
    void enqueue(StreamAdapter& adapter);
    void topIs(StreamAdapter const& adapter);
    bool isPartMounted(Entity const& entity) const;
    bool isPeerFull() const noexcept { return adapters_.count() - peerEntities_ >= peerLimit_; }
    bool writeCompleted();
    bool refuseOverLimit(EntityId root);
    String8 peerLimitText() const { return format("the peer takes at most %u entities", peerLimit_); }
    U64 firstBarrier() const noexcept { return lastBarrier_ + 1 - barriers_.size(); }
    void owe(StreamAdapter& adapter, U64 barrier);

    /// A root of this side.
    struct Root {
        RootName name;
        /// The full passes below it, itself included, that are not over.
        U32 passes = 0;
        /// The peer has yet to be told that all of it is there.
        bool isAwaited = false;
    };

    Side side_;
    StreamLimits limits_;
    Ptr<Out> out_;
    Ptr<In> in_;
    Adapters adapters_;
    // The one that was asked for last, while it is here.
    mutable StreamAdapter* recent_ = nullptr;
    mutable EntityId recentId_;
    U32 peerEntities_ = 0;
    U32 peerLimit_ = ~U32{0};
    /// What has grown beyond that: a root, or unassigned for what is mounted without one.
    std::optional<EntityId> overLimit_;
    U64 walked_ = 0;
    /// Adapters that are mounted for themselves, not as a child, with what is above their entities; and how
    /// often an entity is above one, which says at once that nothing below it is mounted. Not looked into: it
    /// may be gone.
    std::map<EntityId, std::vector<Entity const*>> tops_;
    std::unordered_map<Entity const*, U32> above_;
    U64 nextId_ = 1;
    std::deque<Ptr<StreamAdapter>> queue_;
    std::deque<EntityId> retired_;
    std::map<EntityId, Root> roots_;
    std::deque<EntityId> completed_;
    /// By a record, for when it has been applied.
    std::optional<std::pair<EntityId, StreamAdapter::SyncMode>> syncModeTold_;
    /// All adapters with a flow-out.
    std::vector<StreamAdapter*> flowing_;
    /// How much each open barrier still waits for.
    std::deque<U64> barriers_;
    U64 lastBarrier_ = 0;
    U64 owing_ = 0;
    DemuxerControl* control_ = nullptr;
    U64 sliceEnd_ = noSlice;
    Ptr<MsgChannel> channel_ = makePtr<MsgChannel>();
    RootHook rootHook_;
    Entity::Kor_BitSet peerFlags_{0};
    Name peerName_;
    String8 reason_;
    U32 protocol_ = 2;
    Stats stats_;
    bool isOpen_ = true;
    bool receiving_ = false;
    bool isFlowing_ = false;
    bool wasFull_ = false;
    bool hasTooManyMarks_ = false;
};

} // namespace Kor::NboAttrLog

namespace Kor {

/// All demultiplexers of this thread.
class KOR_EXPORT NboAttrLogDemuxerManager {
public:
    std::vector<NboAttrLog::Demuxer*> const& demuxers() const noexcept { return demuxers_; }

private:
    friend class NboAttrLog::Demuxer;
    std::vector<NboAttrLog::Demuxer*> demuxers_;
};
KOR_EXPORT NboAttrLogDemuxerManager& globalNboAttrLogDemuxerManager();

/// The demultiplexer of a stream, or null.
KOR_EXPORT NboAttrLog::Demuxer* demuxFor(NboAttrLog::Out const* out) noexcept;

} // namespace Kor
