#pragma once

/// Kor::StreamAdapter, the reactor that carries one entity to one peer: each change becomes a record on the
/// attribute log, and the peer's records are applied to the entity. What depends on the entity's attributes
/// is in Sending.h, Passes.h and StreamAdapterOf.h beside this file; what applications use in Demuxer.h.
///
/// What it sends. While the stream has room, each change goes out at once. When it has none, or while earlier
/// changes wait, the changed key is marked in a flow-out, and leaves with its last state when there is room,
/// also as deleted: nothing is lost, and what changes twice meanwhile is sent once. So a key's records leave
/// in the order of its changes; between keys there is no order.
///
/// What it applies goes through the entity's own setters, with the active bit set, which keeps this adapter
/// from sending it back. What other reactors do about it, in their handlers, is sent as any change.
///
/// While the peer's full state is on its way, from the announcement or sync mode 2 to sync mode 1, what
/// changes here is kept back, and leaves after it; the pass does not remove such keys, and a key that it
/// brings is as the peer has it. So a reactor may write into an entity as soon as it hears of it.
///
/// One key, one writer: if both sides write the same key at the same time, each ends with what the other
/// wrote. A full pass of the peer replaces what is here. So the side that begins one for a mounted entity, by
/// doThis() or doRemountSelf(), owns the state; what the other one writes then may stay on one side alone.
///
/// Where one would expect otherwise:
///   - in a full pass the mark of a key is cleared only if its record was really sent;
///   - while there is a flow-out, changes go through it and never past it;
///   - what a local reactor writes while a pass of the peer is being finished is sent, too: what the pass
///     removes is kept from going back key by key;
///   - a new child with content is sent with its content also outside of a flow-out, and one without is
///     followed by sync mode 1, so that every announcement is followed by one;
///   - the read-only bits hold for the peer's markers, too; this side sends all that it mounts all the same.
///
/// A record that is longer than the stream's limit is a handler's exception (runtime/HandlerExceptions.h),
/// and is not sent, whether it is written by a change or by a pass.
///
/// An adapter belongs to its demultiplexer, and to one thread, like its entity.

#include "attrlog/In.h"
#include "attrlog/MsgChannel.h"
#include "attrlog/adapter/FlowOut.h"
#include "reflect/type/KorType.h"

namespace Kor {

class KOR_EXPORT StreamAdapter : public Entity::KorNboAttrLogSa {
public:
    using Kor_BitSet = Entity::Kor_BitSet;

    enum class SyncMode : U32 {
        none = 0,
        /// The full state has come.
        synchronized = 1,
        /// A full state is on its way.
        synchronizing = 2,
        /// Of a root: its full state has come, and that of all below it.
        allSynchronized = 3,
    };
    enum class AttrTransactionType : U32 { start = 0, abort = 1, end = 2 };
    /// Passed on as it is.
    struct DeserializationOptions {
        U32 word = 0;
    };

    /// The flag word.
    struct Bit {
        static constexpr int localReadOnly = 2;
        static constexpr int remoteReadOnly = 3;
        static constexpr int active = 4;
        static constexpr int noSending = 5;
        static constexpr int weak = 6;
        static constexpr int noSendingEither = 8;
        static constexpr int silent = 13;
        static constexpr int noFlowOut = 20;
        static constexpr int inFlowOut = 22;
        /// The peer's full state is on its way: own changes wait for the end of it.
        static constexpr int awaitsPass = 24;
        static constexpr int announced = 25;
        static constexpr int sends = 26;
        static constexpr int alwaysFlowOut = 27;
    };
    /// Flags to mount with: this side may not write, the peer may not write.
    static constexpr Kor_BitSet readOnlyHere{1u << Bit::localReadOnly};
    static constexpr Kor_BitSet readOnlyThere{1u << Bit::remoteReadOnly};

    // State.

    bool flag(int bit) const { return kor_bitSet().test(bit); }
    void flagSet(int bit, bool on) { flagBitIs(bit, on); }
    EntityId entityId() const noexcept { return entityId_; }
    EntityId realEntityId() const noexcept { return entityId_; }
    void entityIdIs(EntityId id) noexcept { entityId_ = id; }
    /// Whether the entity has the same id on all streams. No entity of this library does.
    bool hasUnifiedEntityId() const noexcept { return false; }
    /// The root of this side on whose behalf the entity is mounted; unassigned if there is none.
    EntityId rootId() const noexcept { return rootId_; }
    void rootIdIs(EntityId root) noexcept { rootId_ = root; }
    /// The stream, or null when the adapter is detached.
    Ptr<NboAttrLog::Out> const& nboAttrLogOut() const noexcept { return out_; }
    /// The demultiplexer of the stream, or null.
    NboAttrLog::Demuxer* streamDemuxer() const noexcept {
        NboAttrLog::In const* const in = out_ ? out_->reverseLogPtr() : nullptr;
        return in != nullptr ? in->demuxer() : nullptr;
    }
    NboAttrLog::FlowOut* flowOut() const noexcept { return flowOut_.ptr(); }
    NboAttrLog::FlowIn* flowIn() const noexcept { return flowIn_.ptr(); }
    SyncMode syncMode() const noexcept { return syncMode_; }
    virtual void syncModeIs(SyncMode mode) { syncMode_ = mode; }
    MsgChannel::Constrainer::KorEntry* msgChannel() const noexcept { return msgChannel_; }
    /// The entry is not owned.
    void msgChannelIs(MsgChannel::Constrainer::KorEntry* entry) noexcept { msgChannel_ = entry; }
    PtrInterface* context() const noexcept { return context_; }
    /// Makes a read-only entity writable here, or not.
    void writableIs(bool writable) noexcept { writable_ = writable; }
    bool convertedToWritable(bool) const noexcept { return writable_; }
    /// True when a peer may write this attribute of a read-only entity.
    virtual bool readOnlyRemoteOk(AttributeId /*attribute*/) const { return false; }
    /// True while what a pass of the peer did not mention is being removed.
    bool handlingFlowInFor(AttributeId attribute) const noexcept {
        return flowIn_ && flowIn_->aid() == attribute && flowIn_->handlingTransaction();
    }
    bool isTowards(NboAttrLog::Out const* out) const override {
        return out != nullptr ? out_ == out : hasUnifiedEntityId() && streamDemuxer() != nullptr;
    }
    bool isOfChannelOf(Entity::KorNboAttrLogSa const& other) const override;
    bool korUnmount() override;
    virtual Entity const* korNotifierEntity() const = 0;
    virtual Entity* korNotifierEntity() = 0;

    // Sending.

    /// Tells the peer of the entity and sends all of it, as soon as there is room.
    void doSerializeOrphan();
    /// Starts to send all of the entity, anew if that had begun.
    void doThis();
    /// A directory begins to send its children.
    virtual void korInstantiateSerialize() = 0;
    /// Sends all anew; with a null stream leaves the stream. Children are mounted again as they are sent.
    virtual void doRemountSelf(Ptr<NboAttrLog::Out> const& out);
    /// As the attribute's hook; `key` points to its key, if it has one.
    virtual void doNotification(AttributeId attribute, void* key) = 0;
    /// Goes on sending from that attribute; returns the one to go on with, 0 when all is done.
    virtual AttributeId handleAttrFlowOut(AttributeId attribute) = 0;
    virtual void freeResyncState(Ptr<NboAttrLog::FlowOut> const& flowOut) { flowOut->freeBookmark(); }
    virtual Ptr<NboAttrLog::FlowOut> flowOutIs(Ptr<NboAttrLog::Out> const& out, ConnectDesc const& connection,
                                               bool flag, AttributeId start) = 0;
    /// Whether the entity differs from a new one.
    virtual bool hasContent() const = 0;
    /// Mounts the children of an attribute.
    virtual void childAttrLogIs(AttributeId attribute) = 0;
    void doFixChildFlags(Ptr<StreamAdapter> const& child) const;
    /// The adapter of a child on this stream, found with its flags replaced, or made; and whether it was
    /// made.
    std::pair<Ptr<StreamAdapter>, bool> childAdapterIs(Entity& child) const;

    // Applying.

    virtual void handleAttrTransaction(AttributeId attribute, AttrTransactionType type, unsigned int n);
    /// One record. With a null `in` it is the one that the reverse side of the stream stands at, and is
    /// applied; otherwise it is read from `in`, and the entity's state for its key is sent.
    virtual void handleAttrDeserialization(AttributeId attribute, DeserializationOptions options,
                                           unsigned int n, Ptr<NboAttrLog::In> const& in) = 0;

    void onNotificationException(AttributeId /*attribute*/) override { flagSet(Bit::active, false); }
    void onZeroReferences() override;
    /// What was kept back by flags that forbid to send leaves when they allow it again.
    void kor_bitSetIs(Kor_BitSet flags) override;

    // What the demultiplexer does.

    void flowOutIs(Ptr<NboAttrLog::FlowOut> flowOut);
    void flowInIs(Ptr<NboAttrLog::FlowIn> flowIn) noexcept { flowIn_ = std::move(flowIn); }
    /// Leaves stream and entity; the children, too.
    virtual void korDetach();
    /// Leaves the demultiplexer, and with it stream and entity; without one the latter alone.
    void korLeave() {
        if (!korUnmount()) {
            korDetach();
        }
    }
    /// Writes the announcement, if one waits for room, and goes on with the flow-out.
    AttributeId korFlow();
    /// Nothing waits any more.
    void korFlowDone();
    bool announcePending() const noexcept { return announcePending_; }
    /// Writes the announcement that waits, if it can be written now; whether it was.
    bool announce();
    /// Nothing is sent, as the flags say.
    bool isMuted() const noexcept {
        constexpr U32 mutes = 1u << Bit::noSending | 1u << Bit::noSendingEither | 1u << Bit::silent;
        return (kor_bitSet().word() & mutes) != 0;
    }
    /// The peer's full state is on its way, or has come.
    void awaitsPassIs(bool awaits);
    /// What waits here is only own changes that wait for the peer's full state.
    bool isHeldBack() const noexcept { return flag(Bit::awaitsPass) && flowOut_ && !flowOut_->isFull(); }
    /// Owes all that waits here to a barrier; how much that is.
    U64 owe(U64 barrier);
    void sendSyncMode(SyncMode mode);

protected:
    StreamAdapter(Kor_BitSet const& flags, unsigned int n, Ptr<NboAttrLog::Out> const& out,
                  PtrInterface* context);

    /// Sets a bit for a scope. The caller holds the adapter.
    template <int bit>
    class BitAnchor {
    public:
        BitAnchor(StreamAdapter& adapter, bool after) : adapter_(adapter), after_(after) {
            adapter.flagSet(bit, true);
        }
        ~BitAnchor() { adapter_.flagSet(bit, after_); }
        BitAnchor(BitAnchor const&) = delete;
        BitAnchor& operator=(BitAnchor const&) = delete;

    private:
        StreamAdapter& adapter_;
        bool after_;
    };
    /// Clear on every exit.
    struct IsActiveAnchor : BitAnchor<Bit::active> {
        explicit IsActiveAnchor(StreamAdapter& adapter) : BitAnchor(adapter, false) {}
    };
    /// A scheduled flow-out is being handled.
    struct HandlingScheduledFlowOutAnchor : BitAnchor<Bit::inFlowOut> {
        explicit HandlingScheduledFlowOutAnchor(StreamAdapter& adapter)
            : BitAnchor(adapter, adapter.flag(Bit::inFlowOut)) {}
    };

    /// What becomes of a change.
    enum class Sending { no, now, marked };
    /// Decides; makes a flow-out if one is needed. `marked`: the caller marks the key in it.
    [[gnu::always_inline]] Sending sending(AttributeId attribute) {
        // The normal case first: nothing waits, nothing forbids, and there is room.
        constexpr U32 needed = 1u << Bit::sends | 1u << Bit::noFlowOut;
        constexpr U32 asked = needed | 1u << Bit::silent | 1u << Bit::active | 1u << Bit::noSending |
                              1u << Bit::noSendingEither | 1u << Bit::localReadOnly | 1u << Bit::awaitsPass |
                              1u << Bit::alwaysFlowOut;
        bool const isNormal = (kor_bitSet().word() & asked) == needed && out_ && out_->hasSufficientBuffer();
        return isNormal ? Sending::now : otherSending(attribute);
    }
    /// What sending() tests before it looks for room.
    bool mayTell(AttributeId attribute);
    /// Whether a record may go out now, past the flow-out: only those of the flow-out itself do.
    bool prepareImmediateTransmission(AttributeId /*attribute*/, bool /*bufferIsShort*/) const {
        return flag(Bit::inFlowOut);
    }
    /// False when the flow-out must yield: the stream is full, or others have their turn.
    bool continueFlowOut() const;
    void sendTransactionMarker(AttributeId attribute, AttrTransactionType type, unsigned int n);
    [[noreturn]] void doThrowReadOnly(AttributeId attribute) const;
    /// Raises unless the peer may write the attribute.
    void peerMustWrite(AttributeId attribute) const;
    void handleSyncMode(SyncMode mode);
    /// Passes over and counts a record of an attribute that every entity has, or that is not known here.
    void doBaseKorNboAttrLogSaMsg(AttributeId attribute, NboAttrLog::In& in);
    void noteDirty(bool isNew);
    void noteClean();
    /// Something has left for which a barrier waited; 0 for none.
    void paid(U64 barrier);
    virtual void serializeOrphanNow(NboAttrLog::Out& out) = 0;
    /// The section of an announcement that names a root; nothing for another entity.
    void putRootName(NboAttrLog::Out& out) const;
    /// Makes or keeps a flow-out.
    void needFlowOut(AttributeId attribute);

private:
    friend class NboAttrLog::Demuxer;
    Sending otherSending(AttributeId attribute);
    void beginFlowOut(AttributeId start);

    Ptr<NboAttrLog::Out> out_;
    PtrInterface* context_;
    EntityId entityId_;
    EntityId rootId_;
    SyncMode syncMode_ = SyncMode::none;
    MsgChannel::Constrainer::KorEntry* msgChannel_ = nullptr;
    Ptr<NboAttrLog::FlowOut> flowOut_;
    Ptr<NboAttrLog::FlowIn> flowIn_;
    U64 announcementOwed_ = 0;
    /// The demultiplexer's: its place among those with a flow-out, and whether it has one in the queue.
    std::size_t flowingAt_ = 0;
    bool isQueued_ = false;
    bool announcePending_ = false;
    bool syncModeSent_ = false;
    bool writable_ = false;
};

} // namespace Kor
