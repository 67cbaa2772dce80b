#include "attrlog/adapter/StreamAdapter.h"

#include "attrlog/adapter/Demuxer.h"
#include "reflect/Text.h"
#include "reflect/type/Dir.h"

namespace Kor {

using NboAttrLog::Demuxer;
using NboAttrLog::FlowOut;
using NboAttrLog::In;
using NboAttrLog::Out;

namespace {
/// The flags that a child has of its parent.
constexpr U32 inherited = 1u << StreamAdapter::Bit::localReadOnly | 1u << StreamAdapter::Bit::remoteReadOnly |
                          1u << StreamAdapter::Bit::alwaysFlowOut;
} // namespace

StreamAdapter::StreamAdapter(Kor_BitSet const& flags, unsigned int, Ptr<Out> const& out,
                             PtrInterface* context)
    : out_(out), context_(context) {
    U32 const mask = Kor_BitSet::notificationBitMask().word();
    kor_bitSetIs(Kor_BitSet((flags.word() & mask) | 1u << Bit::sends | 1u << Bit::noFlowOut));
}

bool StreamAdapter::isOfChannelOf(Entity::KorNboAttrLogSa const& other) const {
    auto const* const adapter = dynamic_cast<StreamAdapter const*>(&other);
    return adapter != nullptr && entityId_.isAssigned() && streamDemuxer() != nullptr &&
           (msgChannel_ == adapter->msgChannel_ || (adapter->msgChannel_ == nullptr && hasUnifiedEntityId()));
}

bool StreamAdapter::korUnmount() {
    Demuxer* const demuxer = streamDemuxer();
    if (demuxer != nullptr) {
        demuxer->reactorDel(entityId_);
    }
    return demuxer != nullptr;
}

// Sending

void StreamAdapter::doSerializeOrphan() {
    announcePending_ = true;
    announce();
    doThis();
}

bool StreamAdapter::announce() {
    Demuxer* const demuxer = streamDemuxer();
    // The peer may have the entity under an earlier id, and must hear of that one's end first.
    if (isMuted() || !out_ || (demuxer != nullptr && !demuxer->writeRetired()) ||
        !out_->hasSufficientBuffer()) {
        return false;
    }
    serializeOrphanNow(*out_);
    announcePending_ = false;
    paid(std::exchange(announcementOwed_, 0));
    return true;
}

void StreamAdapter::awaitsPassIs(bool awaits) {
    flagSet(Bit::awaitsPass, awaits);
    if (Demuxer* const demuxer = streamDemuxer(); demuxer != nullptr && !awaits) {
        demuxer->resume(*this);
    }
}

void StreamAdapter::putRootName(Out& out) const {
    Demuxer const* const demuxer = streamDemuxer();
    if (auto const* const name = demuxer != nullptr ? demuxer->rootName(entityId_) : nullptr) {
        out.currentPayloadSectionIs(NboAttrLog::PayloadSection::root);
        out.put(static_cast<String8 const&>(name->path));
        out.putNumber((name->isPushed ? 1u : 0u) | (name->access == NboAttrLog::Access::writable ? 2u : 0u) |
                      (name->takesOver ? 4u : 0u));
        out.putNumber(name->number);
    }
}

void StreamAdapter::doThis() {
    if (!out_) {
        return;
    }
    Ptr<FlowOut> const before = flowOut_;
    beginFlowOut(FlowOut::everything);
    if (before) {
        if (before->bookmark() != nullptr) {
            flowOut_->pendingAbortIs(before->attrId());
            freeResyncState(before);
        }
        for (auto const& each : before->pendingAbort()) {
            flowOut_->pendingAbortIs(each.key);
        }
    }
    syncModeSent_ = false;
}

void StreamAdapter::beginFlowOut(AttributeId start) {
    if (Demuxer* const demuxer = streamDemuxer()) {
        demuxer->createFlowOut(this, {}, false, start);
    } else {
        flowOutIs(flowOutIs(out_, {}, false, start));
    }
}

void StreamAdapter::doRemountSelf(Ptr<Out> const& out) {
    if (!out) {
        korLeave();
    } else if (out == out_) {
        doThis();
    }
}

void StreamAdapter::doFixChildFlags(Ptr<StreamAdapter> const& child) const {
    child->notificationFlagsIs(
        Kor_BitSet((child->kor_bitSet().word() & ~inherited) | (kor_bitSet().word() & inherited)));
}

std::pair<Ptr<StreamAdapter>, bool> StreamAdapter::childAdapterIs(Entity& child) const {
    bool const isNew = !child.korNboAttrLogSa(out_);
    Ptr<StreamAdapter> const adapter = ptrCast<StreamAdapter>(
        child.korNboAttrLogSaIs(Kor_BitSet(kor_bitSet().word() & inherited), 0, out_, context_));
    if (adapter && isNew) {
        adapter->rootIdIs(rootId_);
    }
    return {adapter, isNew};
}

void StreamAdapter::flowOutIs(Ptr<FlowOut> flowOut) {
    if (Demuxer* const demuxer = streamDemuxer()) {
        auto& counters = demuxer->counters();
        counters.dirtyKeys -= flowOut_ ? flowOut_->dirtyKeys : 0;
        counters.dirtyKeys += flowOut ? flowOut->dirtyKeys : 0;
        counters.dirtyKeysHighWater = std::max(counters.dirtyKeysHighWater, counters.dirtyKeys);
        if (flowOut && flowOut->isFull()) { // begins before the other one ends
            demuxer->passBegins(rootId_, entityId_);
        }
        if (flowOut_ && flowOut_->isFull()) {
            demuxer->passEnds(rootId_);
        }
        demuxer->flowOutChanges(*this, flowOut.ptr());
    }
    flowOut_ = std::move(flowOut);
    flagSet(Bit::noFlowOut, !flowOut_);
}

void StreamAdapter::needFlowOut(AttributeId attribute) {
    if (!flowOut_) {
        beginFlowOut(FlowOut::onlyMarked);
        flowOut_->attrIdIs(attribute);
    }
}

AttributeId StreamAdapter::korFlow() {
    if (announcePending_ && !announce()) {
        return flowOut_->attrId();
    }
    if (flowOut_->isFull() && !syncModeSent_) {
        if (!continueFlowOut()) {
            return flowOut_->attrId();
        }
        sendSyncMode(SyncMode::synchronizing);
        syncModeSent_ = true;
    }
    return handleAttrFlowOut(flowOut_->attrId());
}

void StreamAdapter::korFlowDone() {
    if (flowOut_->isFull()) {
        sendSyncMode(SyncMode::synchronized);
    }
    flowOutIs(nullptr);
}

bool StreamAdapter::mayTell(AttributeId attribute) {
    constexpr U32 stops = 1u << Bit::active | 1u << Bit::noSending | 1u << Bit::noSendingEither;
    constexpr U32 sends = 1u << Bit::sends;
    if (flag(Bit::silent)) {
        return false;
    }
    if ((kor_bitSet().word() & (stops | sends)) != sends) {
        flagSet(Bit::active, false);
        return false;
    }
    if (!out_) {
        return false;
    }
    if (flag(Bit::localReadOnly) && !flag(Bit::inFlowOut) && !convertedToWritable(false)) {
        doThrowReadOnly(attribute);
    }
    return true;
}

StreamAdapter::Sending StreamAdapter::otherSending(AttributeId attribute) {
    if (!mayTell(attribute)) {
        return Sending::no;
    }
    bool const room = out_->hasSufficientBuffer();
    if (flag(Bit::noFlowOut)) {
        constexpr U32 waits = 1u << Bit::alwaysFlowOut | 1u << Bit::awaitsPass;
        if (room && (flag(Bit::inFlowOut) || (kor_bitSet().word() & waits) == 0)) {
            return Sending::now;
        }
        if (Demuxer* const demuxer = streamDemuxer(); demuxer != nullptr && !room) {
            demuxer->noteFull();
        }
        needFlowOut(attribute);
        return Sending::marked;
    }
    return prepareImmediateTransmission(attribute, !room) && room ? Sending::now : Sending::marked;
}

bool StreamAdapter::continueFlowOut() const {
    if (!out_) {
        return false;
    }
    Demuxer const* const demuxer = streamDemuxer();
    return demuxer != nullptr ? demuxer->continueFlowOut() : out_->hasSufficientBuffer();
}

void StreamAdapter::sendTransactionMarker(AttributeId attribute, AttrTransactionType type, unsigned int n) {
    if (out_) {
        out_->write({.entityId = entityId_, .attributeId = attribute, .isMarker = true}, [&](Out& to) {
            to.putNumber(static_cast<U32>(type));
            to.putNumber(n);
        });
    }
}

void StreamAdapter::sendSyncMode(SyncMode mode) {
    out_->write({.entityId = entityId_, .attributeId = syncModeAttribute, .fixedLength = 4},
                [&](Out& to) { to.put(static_cast<U32>(mode)); });
}

void StreamAdapter::doThrowReadOnly(AttributeId attribute) const {
    Entity const& entity = *korNotifierEntity();
    String8 const fullName = entity.fullName();
    throwRangeException(
        format("%s of %s is read-only here", entity.attributeString(attribute).charPtr(),
               fullName.empty() ? entity.fwkType()->typeName().charPtr() : fullName.charPtr()));
}

void StreamAdapter::noteDirty(bool isNew) {
    Demuxer* const demuxer = streamDemuxer();
    flowOut_->dirtyKeys += isNew;
    if (demuxer == nullptr) {
        return;
    }
    auto& counters = demuxer->counters();
    counters.coalescedChanges += !isNew;
    counters.dirtyKeys += isNew;
    if (counters.dirtyKeys > counters.dirtyKeysHighWater) {
        counters.dirtyKeysHighWater = counters.dirtyKeys;
        demuxer->marksGrow();
    }
}

void StreamAdapter::noteClean() {
    --flowOut_->dirtyKeys;
    if (Demuxer* const demuxer = streamDemuxer()) {
        --demuxer->counters().dirtyKeys;
    }
}

U64 StreamAdapter::owe(U64 barrier) {
    bool const owesAnnouncement = announcePending_ && announcementOwed_ == 0;
    announcementOwed_ = owesAnnouncement ? barrier : announcementOwed_;
    return (flowOut_ ? flowOut_->owe(barrier) : 0) + owesAnnouncement;
}

void StreamAdapter::paid(U64 barrier) {
    Demuxer* const demuxer = barrier != 0 ? streamDemuxer() : nullptr;
    if (demuxer != nullptr) {
        demuxer->barrierPaid(barrier);
    }
}

// Applying

void StreamAdapter::peerMustWrite(AttributeId attribute) const {
    if (flag(Bit::remoteReadOnly) && !readOnlyRemoteOk(attribute) && !convertedToWritable(false)) {
        Demuxer const* const demuxer = streamDemuxer();
        throwInternalException(format("write-update from readonly proxy: %s peerName: %s",
                                      korNotifierEntity()->fullName().charPtr(),
                                      demuxer != nullptr ? demuxer->peerName().charPtr() : ""));
    }
}

void StreamAdapter::handleAttrTransaction(AttributeId attribute, AttrTransactionType type, unsigned int) {
    if (type == AttrTransactionType::start || !flowIn_ || !flowIn_->has(attribute)) {
        return;
    }
    if (flowIn_->isDoneWith(attribute)) {
        flowIn_ = nullptr;
    }
    if (Demuxer* const demuxer = streamDemuxer(); demuxer != nullptr && type == AttrTransactionType::end) {
        ++demuxer->counters().passesIn;
    }
}

void StreamAdapter::handleSyncMode(SyncMode mode) {
    if (Demuxer* const own = streamDemuxer()) {
        own->syncModeTold(entityId_, mode);
    }
    if (mode == SyncMode::allSynchronized) {
        return;
    }
    Entity const* const entity = korNotifierEntity();
    if (mode == SyncMode::synchronizing) {
        awaitsPassIs(true);
    }
    // Before protocol 2 it sweeps, and handlers of that may make or drop a demultiplexer.
    auto const& all = globalNboAttrLogDemuxerManager().demuxers();
    for (Ptr<Demuxer> const& demuxer : std::vector<Ptr<Demuxer>>(all.begin(), all.end())) {
        Ptr<StreamAdapter> const adapter = demuxer->reactor(entityId_);
        if (adapter && adapter->korNotifierEntity() == entity && adapter->entityId().isAssigned()) {
            bool const before = adapter->flag(Bit::silent);
            adapter->flagSet(Bit::silent, true);
            adapter->syncModeIs(mode);
            adapter->flagSet(Bit::silent, before);
        }
    }
    if (mode != SyncMode::synchronizing) {
        awaitsPassIs(false);
    }
    if (msgChannel_ != nullptr) {
        msgChannel_->modeIs(MsgChannel::Mode::synchronized);
    }
    if (mode != SyncMode::synchronized) {
        return;
    }
    if (Ptr<Dir const> const dir = ptrCast<Dir const>(entity->parent())) {
        if (dir->entry(entity->name()) == entity) {
            const_cast<Dir&>(*dir).entryModeIs(entity->name(),
                                               static_cast<U32>(MsgChannel::Mode::synchronized));
        }
    }
}

void StreamAdapter::doBaseKorNboAttrLogSaMsg(AttributeId, In& in) {
    in.nextBytes(in.recordLeft());
    if (Demuxer* const demuxer = streamDemuxer()) {
        ++demuxer->counters().unknownAttributes;
    }
}

void StreamAdapter::kor_bitSetIs(Kor_BitSet flags) {
    bool const wasMuted = isMuted();
    Entity::KorNboAttrLogSa::kor_bitSetIs(flags);
    if (Demuxer* const demuxer = streamDemuxer(); demuxer != nullptr && wasMuted && !isMuted()) {
        demuxer->resume(*this);
    }
}

void StreamAdapter::onZeroReferences() {
    if (Demuxer* const demuxer = streamDemuxer(); demuxer != nullptr && entityId_.isAssigned()) {
        demuxer->reactorRetire(entityId_);
    }
}

void StreamAdapter::korDetach() {
    Ptr<StreamAdapter> const self(this);
    flowOutIs(nullptr);
    flowIn_ = nullptr;
    announcePending_ = false;
    paid(std::exchange(announcementOwed_, 0));
    flagSet(Bit::awaitsPass, false);
    msgChannel_ = nullptr;
    out_ = nullptr;
    notifierIs(nullptr);
}

} // namespace Kor
