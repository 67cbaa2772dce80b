#include "attrlog/adapter/Demuxer.h"

#include "attrlog/internal/Lookup.h"
#include "reflect/type/AttrLogType.h"

namespace Kor {

/// Whether the thread's manager has ended, which a demultiplexer of static storage outlives.
static thread_local bool managerIsGone = false;

NboAttrLogDemuxerManager& globalNboAttrLogDemuxerManager() {
    struct Manager : NboAttrLogDemuxerManager {
        ~Manager() { managerIsGone = true; }
    };
    static thread_local Manager manager;
    return manager;
}

NboAttrLog::Demuxer* demuxFor(NboAttrLog::Out const* out) noexcept {
    NboAttrLog::In const* const in = out != nullptr ? out->reverseLogPtr() : nullptr;
    return in != nullptr ? in->demuxer() : nullptr;
}

namespace NboAttrLog {

Demuxer::Demuxer(Side side, StreamLimits const& limits)
    : side_(side), limits_(limits), out_(makePtr<Out>(limits)), in_(makePtr<In>(limits)) {
    out_->reverseLogIs(in_.ptr());
    in_->demuxerIs(this, [](Demuxer const& self, EntityId id) -> std::optional<Ptr<Entity>> {
        StreamAdapter* const adapter = self.reactor(id);
        return adapter != nullptr ? std::optional(Ptr(adapter->korNotifierEntity())) : std::nullopt;
    });
    endedReason(); // is made while there is memory
    globalNboAttrLogDemuxerManager().demuxers_.push_back(this);
}

String8 const& Demuxer::endedReason() {
    static String8 const& reason = *new String8("ended"); // of sessions that end after main(), too
    return reason;
}

Demuxer::~Demuxer() {
    close(endedReason());
    if (!managerIsGone) {
        std::erase(globalNboAttrLogDemuxerManager().demuxers_, this);
    }
}

bool Demuxer::receive() {
    if (!isOpen_ || receiving_) {
        return isOpen_;
    }
    Ptr<Demuxer> const self(this);
    Kor::detail::Scoped<bool> const receiving(receiving_, true);
    try {
        for (MsgHeader header; isOpen_ && in_->nextRecord(header);) {
            dispatch(header);
        }
        in_->recordDone();
    } catch (std::exception const& exception) {
        close(String8(exception.what()));
    }
    return isOpen_;
}

void Demuxer::dispatch(MsgHeader const& header) {
    try {
        if (control_ != nullptr && control_->control(header, *in_)) {
            return;
        }
        if (header.entityId == MsgHeader::announcing) {
            if (header.attributeId == newEntityAttribute) {
                announcement();
            } else {
                ++stats_.unknownAttributes;
            }
            return;
        }
        Ptr<StreamAdapter> const adapter = reactor(header.entityId);
        if (!adapter) {
            ++stats_.unknownEntities;
        } else if (header.isMarker) {
            U64 const type = in_->nextNumber();
            U64 const n = in_->nextNumber();
            in_->recordEnd();
            if (type > 2) {
                throwAttrLogRecordException("record is an unknown marker");
            }
            adapter->handleAttrTransaction(header.attributeId,
                                           static_cast<StreamAdapter::AttrTransactionType>(type),
                                           static_cast<unsigned int>(n));
        } else if (header.attributeId == -newEntityAttribute) {
            in_->recordEnd();
            reactorDel(header.entityId);
            if (control_ != nullptr) {
                control_->retired(header.entityId);
            }
        } else {
            adapter->handleAttrDeserialization(header.attributeId, {}, 0, nullptr);
            if (auto const told = std::exchange(syncModeTold_, {}); told && control_ != nullptr) {
                control_->syncModeTold(told->first, told->second);
            }
        }
    } catch (AttrLogRecordException const&) {
        throw;
    } catch (Exception const&) {
        ++stats_.refusedRecords;
    }
}

void Demuxer::announcement() {
    KorType const* type = nullptr;
    Announcement announced;
    Ptr<Entity>& offered = announced.made;
    EntityId& id = announced.id;
    for (PayloadSection section; in_->nextSection(section);) {
        if (section == PayloadSection::types) {
            type = nullptr; // of two, the last one counts
            offered = nullptr;
            while (type == nullptr && in_->recordLeft() != 0) {
                String8 const name = in_->next<TypeId>().name();
                type = AttrLogType::named(name.view()) != nullptr ? KorType::named(name.view()) : nullptr;
            }
        } else if (section == PayloadSection::argument && type != nullptr) {
            try {
                offered = type->newEntity(in_, peerFlags_, 0, this);
            } catch (AttrLogRecordException const&) {
                throw;
            } catch (Exception const& exception) { // a key that is not known here: its sender is told
                announced.refusal = exception.message();
            }
        } else if (section == PayloadSection::entityId) {
            id = in_->nextEntityId();
        } else if (section == PayloadSection::root) {
            announced.name.path = in_->next<Name>();
            U64 const bits = in_->nextNumber();
            announced.name.isPushed = (bits & 1) != 0;
            announced.name.access = (bits & 2) != 0 ? Access::writable : Access::readOnly;
            announced.name.takesOver = (bits & 4) != 0;
            announced.name.number = static_cast<U32>(in_->nextNumber());
        }
    }
    if (type == nullptr || !announced.refusal.empty()) {
        ++(type == nullptr ? stats_.unknownEntities : stats_.refusedRecords);
        if (control_ != nullptr && !announced.name.path.empty()) {
            control_->root(announced);
        }
        return;
    }
    if (!offered) {
        throwAttrLogRecordException("announcement without an argument");
    }
    if (StreamAdapter const* const there = reactor(id); there != nullptr && !isMine(id)) {
        return; // announced again
    }
    peerIdMustBeFree(id);
    Ptr<Entity> entity = offered;
    if (control_ != nullptr && !announced.name.path.empty()) {
        entity = control_->root(announced);
    } else if (rootHook_) {
        entity = rootHook_(offered);
    }
    if (!isOpen_) {
        return;
    }
    if (!entity) {
        ++stats_.refusedRecords;
        return;
    }
    if (entity->fwkType() != offered->fwkType()) {
        throw AttrLogEntityException();
    }
    if (Ptr<StreamAdapter> const there = ptrCast<StreamAdapter>(entity->korNboAttrLogSa(out_))) {
        if (!checkEphemeralEntityDeletion(*there, id)) {
            return;
        }
        reactorDel(there->entityId());
    }
    {
        MsgChannel::DeserializingEidAnchor const anchor(constrainer(), id, entity.ptr());
        bool const isReadOnly = announced.name.access == Access::readOnly;
        U32 const more = isReadOnly ? StreamAdapter::readOnlyHere.word() : 0;
        entity->korNboAttrLogSaIs(Entity::Kor_BitSet(peerFlags_.word() | more), 0, out_, this);
    }
    if (StreamAdapter const* const adapter = reactor(id)) {
        topIs(*adapter);
    }
    if (control_ != nullptr) {
        control_->mounted(id);
    }
}

bool Demuxer::checkEphemeralEntityDeletion(StreamAdapter const& child, EntityId announced) const noexcept {
    bool const crossed = isMine(child.entityId()) && !isMine(announced);
    return !crossed || side_ == Side::connecting;
}

void Demuxer::peerIdMustBeFree(EntityId id) {
    if (!id.isAssigned() || isMine(id)) {
        throwAttrLogRecordException("record gives an id that is not the sender's to give");
    }
    if (reactor(id) != nullptr) {
        throwRangeException("record gives an id that is in use");
    }
    if (peerEntities_ >= limits_.entities) {
        throwAttrLogRecordException("peer has more entities than the limit");
    }
}

bool Demuxer::flow() {
    if (!isOpen_ || isFlowing_) {
        return hasWork();
    }
    Ptr<Demuxer> const self(this);
    Kor::detail::Scoped<bool> const flowing(isFlowing_, true);
    if (auto const root = std::exchange(overLimit_, {}); root && !refuseOverLimit(*root)) {
        return false;
    }
    if (hasTooManyMarks_) {
        close(format("the peer does not read: more than %llu changes wait for it",
                     static_cast<unsigned long long>(limits_.marks)));
        return false;
    }
    wasFull_ = wasFull_ && !out_->hasSufficientBuffer();
    std::size_t idle = 0;
    while (isOpen_ && writeRetired() && writeCompleted() && !queue_.empty() && out_->hasSufficientBuffer()) {
        Ptr<StreamAdapter> const adapter = std::move(queue_.front());
        queue_.pop_front();
        adapter->isQueued_ = false;
        if (adapter->flowOut() == nullptr || adapter->isHeldBack() || adapter->isMuted()) {
            continue; // it has left, or comes again with resume()
        }
        U64 const before = out_->records();
        sliceEnd_ = queue_.empty() ? noSlice : before + slice;
        AttributeId next = 0;
        try {
            next = adapter->korFlow();
        } catch (Exception const& exception) { // it cannot be announced
            ++stats_.refusedRecords;
            handlerExceptionNote(*adapter, newEntityAttribute);
            EntityId const id = adapter->entityId();
            reactorRetire(id);
            if (control_ != nullptr) {
                control_->failed(id, exception.message());
            }
        }
        sliceEnd_ = noSlice;
        FlowOut* const flowOut = adapter->flowOut();
        if (flowOut == nullptr) {
            continue;
        }
        if (next == 0 && !flowOut->hasDirtyAttributes() && out_->hasSufficientBuffer()) {
            adapter->korFlowDone();
            continue;
        }
        flowOut->attrIdIs(next);
        enqueue(*adapter);
        idle = out_->records() == before ? idle + 1 : 0;
        if (idle > queue_.size()) {
            break;
        }
    }
    if (!queue_.empty() && !out_->hasSufficientBuffer()) {
        noteFull();
    }
    return hasWork();
}

/// What has grown beyond what the peer takes cannot be equal there: its root is let go, or, of what is
/// mounted without one, the connection. Whether that stays open.
bool Demuxer::refuseOverLimit(EntityId root) {
    bool const isRoot = control_ != nullptr && roots_.contains(root);
    if (isRoot) {
        reactorRetire(root);
        control_->failed(root, peerLimitText());
    } else {
        close(peerLimitText());
    }
    return isRoot;
}

bool Demuxer::writeRetired() {
    while (!retired_.empty() && out_->hasSufficientBuffer()) {
        out_->write({.entityId = retired_.front(), .attributeId = -newEntityAttribute}, [](Out&) {});
        retired_.pop_front();
    }
    return retired_.empty();
}

bool Demuxer::writeCompleted() {
    while (!completed_.empty() && out_->hasSufficientBuffer()) {
        EntityId const id = completed_.front();
        completed_.pop_front();
        Root* const root = lookUp(roots_, id);
        StreamAdapter* const adapter = reactor(id);
        if (root != nullptr && adapter != nullptr && root->isAwaited && root->passes == 0 &&
            !adapter->isMuted()) {
            root->isAwaited = false;
            adapter->sendSyncMode(StreamAdapter::SyncMode::allSynchronized);
        }
    }
    return completed_.empty();
}

void Demuxer::passBegins(EntityId root, EntityId id) noexcept {
    if (Root* const found = lookUp(roots_, root)) {
        ++found->passes;
        found->isAwaited = found->isAwaited || id == root;
    }
}

void Demuxer::passEnds(EntityId root) {
    Root* const found = lookUp(roots_, root);
    if (found != nullptr && --found->passes == 0 && found->isAwaited) {
        completed_.push_back(root);
        out_->stir();
    }
}

void Demuxer::close(String8 reason) {
    if (!isOpen_) {
        return;
    }
    isOpen_ = false;
    recent_ = nullptr;
    reason_ = std::move(reason);
    while (!adapters_.empty()) {
        Adapters::IteratorConst const first(&adapters_);
        Ptr<StreamAdapter> const adapter = first->value;
        adapters_.deleteMember(EntityId(first->key));
        recent_ = nullptr;
        adapter->korDetach();
    }
    peerEntities_ = 0;
    queue_.clear();
    flowing_.clear();
    barriers_.clear();
    retired_.clear();
    roots_.clear();
    tops_.clear();
    above_.clear();
    completed_.clear();
    out_->reverseLogIs(nullptr);
    in_->demuxerIs(nullptr, nullptr);
}

ValidPtr<StreamAdapter> Demuxer::mountRoot(Ptr<Entity> const& entity, RootName name) {
    if (entity) {
        if (entity->korNboAttrLogSa(out_)) {
            throwRangeException("it is on this connection already");
        }
        if (isPartMounted(*entity)) {
            throwRangeException("a part of it is on this connection already");
        }
    }
    bool const isReadOnly = name.access == Access::readOnly;
    return mountFor(entity, isReadOnly ? StreamAdapter::readOnlyThere : Entity::Kor_BitSet(0), {},
                    std::move(name));
}

RootName const* Demuxer::rootName(EntityId id) const noexcept {
    Root const* const found = lookUp(roots_, id);
    return found != nullptr ? &found->name : nullptr;
}

ValidPtr<StreamAdapter> Demuxer::mountFor(Ptr<Entity> const& entity, Entity::Kor_BitSet flags, EntityId root,
                                          RootName name) {
    if (!isOpen_) {
        throwRangeException("the connection is closed");
    }
    if (!entity) {
        throwRangeException("null ValidPtr");
    }
    bool const isNew = !entity->korNboAttrLogSa(out_);
    if (isNew && isPeerFull()) {
        throwRangeException(peerLimitText());
    }
    Ptr<StreamAdapter> const adapter =
        ptrCast<StreamAdapter>(entity->korNboAttrLogSaIs(flags, 0, out_, this));
    if (!adapter) {
        throwRangeException(format("%s has no attribute log", entity->fwkType()->typeName().charPtr()));
    }
    if (isNew) {
        topIs(*adapter);
        if (!name.path.empty()) {
            root = adapter->entityId();
            roots_[root].name = std::move(name);
        }
        adapter->rootIdIs(root);
        try {
            adapter->doSerializeOrphan();
        } catch (...) {
            reactorDel(adapter->entityId());
            throw;
        }
    }
    return adapter;
}

void Demuxer::unmount(Ptr<Entity> const& entity) {
    if (Ptr<StreamAdapter> const adapter = ptrCast<StreamAdapter>(entity->korNboAttrLogSa(out_))) {
        reactorRetire(adapter->entityId());
    }
}

Stats Demuxer::stats() const {
    Stats stats = stats_;
    stats.recordsIn = in_->records();
    stats.bytesIn = in_->bytes();
    stats.recordsOut = out_->records();
    stats.bytesOut = out_->bytes();
    return stats;
}

StreamAdapter* Demuxer::reactor(EntityId id) const noexcept {
    if (recent_ == nullptr || recentId_ != id) {
        auto const* const found = adapters_.member(id);
        recentId_ = id;
        recent_ = found != nullptr ? found->value.ptr() : nullptr;
    }
    return recent_;
}

void Demuxer::reactorIs(StreamAdapter& adapter, EntityId id) {
    auto& given = constrainer();
    Entity* const parent = given.deserializingInParent();
    Entity* const entity = adapter.korNotifierEntity();
    if (!id.isAssigned() && given.deserializingEid().isAssigned() &&
        (parent == entity || (parent != nullptr && parent == entity->parent()))) {
        id = given.deserializingEid();
        given.deserializingEidIs({});
    }
    if (id.isAssigned() && !isMine(id)) {
        adapter.awaitsPassIs(true);
    } else if (!id.isAssigned()) {
        if (isPeerFull()) {
            Ptr<Entity const> const above = entity->parent();
            Ptr<StreamAdapter const> const there =
                above ? ptrCast<StreamAdapter const>(above->korNboAttrLogSa(out_))
                      : Ptr<StreamAdapter const>();
            overLimit_ = there ? there->rootId() : EntityId();
            throwRangeException(peerLimitText());
        }
        id = EntityId::ofNumber(nextId_++ << 2 | static_cast<U64>(side_) << 1 | 1);
    }
    adapters_.newMember(makePtr<MapEntry<EntityId, Ptr<StreamAdapter>>>(id, &adapter));
    peerEntities_ += !isMine(id);
    adapter.entityIdIs(id);
}

void Demuxer::reactorDel(EntityId id) {
    if (auto const gone = adapters_.deleteMember(id)) {
        recent_ = nullptr;
        peerEntities_ -= !isMine(id);
        gone->value->korDetach();
        roots_.erase(id);
        if (auto const top = tops_.extract(id)) {
            for (Entity const* const each : top.mapped()) {
                if (auto const count = above_.find(each); --count->second == 0) {
                    above_.erase(count);
                }
            }
        }
    }
}

void Demuxer::topIs(StreamAdapter const& adapter) {
    auto& above = tops_[adapter.entityId()];
    for (Ptr<Entity const> each = adapter.korNotifierEntity()->parent(); each; each = each->parent()) {
        above.push_back(each.ptr());
        ++above_[each.ptr()];
    }
}

bool Demuxer::isPartMounted(Entity const& entity) const {
    if (!above_.contains(&entity)) {
        return false;
    }
    return std::any_of(tops_.begin(), tops_.end(), [&](auto const& top) {
        StreamAdapter const* const adapter = reactor(top.first);
        return adapter != nullptr && isWithin(adapter->korNotifierEntity()->parent(), entity);
    });
}

void Demuxer::reactorRetire(EntityId id) {
    StreamAdapter const* const adapter = reactor(id);
    if (adapter == nullptr) {
        return;
    }
    if (!adapter->announcePending()) {
        retired_.push_back(id);
        out_->stir();
    }
    reactorDel(id);
    writeRetired();
}

Ptr<FlowOut> Demuxer::createFlowOut(Ptr<StreamAdapter> const& adapter, ConnectDesc const& connection,
                                    bool flag, AttributeId start) {
    Ptr<FlowOut> flowOut = adapter->flowOutIs(out_, connection, flag, start);
    adapter->flowOutIs(flowOut);
    if (owing_ != 0) {
        owe(*adapter, owing_);
    }
    enqueue(*adapter);
    return flowOut;
}

U64 Demuxer::barrierIs() {
    ++lastBarrier_;
    barriers_.push_back(0);
    for (StreamAdapter* const each : flowing_) {
        owe(*each, lastBarrier_);
    }
    return lastBarrier_;
}

void Demuxer::owe(StreamAdapter& adapter, U64 barrier) {
    if (barrier >= firstBarrier()) {
        barriers_[barrier - firstBarrier()] += adapter.owe(barrier);
    }
}

bool Demuxer::isBarrierPassed(U64 barrier) {
    bool const wereOpen = !barriers_.empty();
    while (!barriers_.empty() && barriers_.front() == 0 && firstBarrier() <= barrier) {
        barriers_.pop_front();
    }
    if (wereOpen && barriers_.empty()) {
        for (StreamAdapter* const each : flowing_) {
            each->flowOut()->oweNothing([](U64) {});
        }
    }
    return barrier < firstBarrier() && writeRetired();
}

void Demuxer::flowOutChanges(StreamAdapter& adapter, FlowOut* next) {
    FlowOut* const before = adapter.flowOut();
    if (before == nullptr && next != nullptr) {
        adapter.flowingAt_ = flowing_.size();
        flowing_.push_back(&adapter);
    } else if (before != nullptr && next == nullptr && !flowing_.empty()) {
        flowing_.back()->flowingAt_ = adapter.flowingAt_;
        flowing_[adapter.flowingAt_] = flowing_.back();
        flowing_.pop_back();
    }
    if (before == nullptr || barriers_.empty()) {
        return;
    }
    // What the earlier one owed, the new one does: first that, so that no barrier is passed in between.
    U64 const oldest = before->oldestOwed();
    if (next != nullptr && oldest >= firstBarrier()) {
        barriers_[oldest - firstBarrier()] += next->owe(oldest);
    }
    before->oweNothing([this](U64 barrier) { barrierPaid(barrier); });
}

void Demuxer::enqueue(StreamAdapter& adapter) {
    if (!adapter.isQueued_ && !adapter.isHeldBack() && !adapter.isMuted()) {
        constexpr std::size_t few = 64;
        if (queue_.size() > few + 2 * std::size_t{adapters_.count()}) { // those that have left since
            std::erase_if(queue_, [](auto const& each) { return each->flowOut() == nullptr; });
        }
        adapter.isQueued_ = true;
        queue_.emplace_back(&adapter);
        out_->stir();
        if (sliceEnd_ == noSlice && isFlowing_) { // one adapter alone needs not yield
            sliceEnd_ = out_->records() + slice;
        }
    }
}

void Demuxer::resume(StreamAdapter& adapter) {
    if (adapter.flowOut() != nullptr) {
        enqueue(adapter);
    } else if (Root const* const root = lookUp(roots_, adapter.entityId());
               root != nullptr && root->isAwaited && root->passes == 0) {
        completed_.push_back(adapter.entityId());
        out_->stir();
    }
}

FlowIn* Demuxer::flowInIs(EntityId id) {
    StreamAdapter* const adapter = reactor(id);
    if (adapter != nullptr && adapter->flowIn() == nullptr) {
        adapter->flowInIs(makePtr<FlowIn>());
    }
    return adapter != nullptr ? adapter->flowIn() : nullptr;
}

void Demuxer::noteWalk(U64 members) {
    constexpr U64 perRecord = 64; // a whole pass takes a few walks and as many records as members
    constexpr U64 free = 1u << 20;
    walked_ += members;
    if (walked_ > free + perRecord * (members + in_->records())) {
        throwAttrLogRecordException("peer begins full passes over and over");
    }
}

EntityId Demuxer::entityIdOf(Entity& entity, Entity::Kor_BitSet flags, EntityId root) {
    Ptr<StreamAdapter> adapter = ptrCast<StreamAdapter>(entity.korNboAttrLogSa(out_));
    if (adapter && !adapter->announcePending()) {
        return adapter->entityId();
    }
    if (!out_->hasSufficientBuffer()) {
        throw EntityIdUnavailableException("no room to announce the entity");
    }
    if (!adapter) {
        if (isPeerFull()) { // it is a part of what refers to it
            overLimit_ = root;
        }
        adapter = mountFor(&entity, flags, root, {}).ptr();
    } else {
        adapter->announce();
    }
    if (adapter->announcePending()) {
        throw EntityIdUnavailableException("the entity cannot be announced yet");
    }
    return adapter->entityId();
}

} // namespace NboAttrLog

} // namespace Kor
