#pragma once

/// Kor::StreamAdapterOf<X>, the stream adapter of the entity class X, also named X::KorNboAttrLogSa: all
/// decisions that depend on the attributes of X, made from its attribute list, those of its bases first.
/// attrlog/adapter/StreamAdapter.h tells what an adapter does.
///
/// It is heavy, and only the source file that makes the classes of a library known needs it:
///
///     static Kor::AttrLogTypes<MyTypes> const attrLogAtLoad;            // attrlog/adapter/AttrLogTypes.h
///
/// What travels are the scalars and maps of values, children and references to entities. Keys go with the
/// announcement; operations, queues and single references stay here.

#include "attrlog/adapter/Demuxer.h"
#include "attrlog/adapter/FlowOutOf.h"
#include "reflect/type/AttrLogType.h"
#include "runtime/NotifieeOf.h"

#include <array>

namespace Kor {

template <class X>
class StreamAdapterTwin;
namespace detail {
template <class X>
struct Sent {
    using Notifier = X;
    using Attributes = WireList<X>;
    using Hearer = StreamAdapterTwin<X>;
};
/// The adapters of an attribute's children on the same stream.
template <class A>
struct Mounted {
    using Entry = MapEntry<typename A::Key, Ptr<StreamAdapter>>;
    HashMap<Entry, typename A::Key, Ptr<StreamAdapter>> children;
};

/// The next key of an attribute; that of a child may be an enumerator that only the peer knows.
template <class A>
typename A::Key nextKey(NboAttrLog::In& in) {
    if constexpr (A::shape.child && std::is_enum_v<typename A::Key>) {
        return static_cast<typename A::Key>(in.nextU32());
    } else {
        return in.next<typename A::Key>();
    }
}
/// Takes a record of an attribute apart: calls `visit` with the value of a scalar, the key of a deletion, or
/// a key and its value, which is an id where that is an entity.
template <class A, class Visit>
void takeApart(NboAttrLog::In& in, bool isDelete, Visit const& visit) {
    if constexpr (!A::shape.keyed) {
        visit(in.next<typename A::Type>());
    } else if (isDelete) {
        visit(nextKey<A>(in));
    } else if constexpr (A::shape.child) {
        auto const key = nextKey<A>(in);
        visit(key, in.nextEntityId());
    } else if constexpr (A::shape.keyInside) {
        auto const value = in.next<typename A::Value>();
        visit(typename A::Key(A::KeyName::call(value)), value);
    } else if constexpr (A::shape.reference) {
        auto const key = nextKey<A>(in);
        visit(key, EntityId::ofNumber(in.nextU64()));
    } else {
        auto const key = nextKey<A>(in);
        visit(key, in.next<typename A::Value>());
    }
}
} // namespace detail
/// The reactor in the entity's list that stands for the adapter.
template <class X>
class StreamAdapterTwin final : public NotifieeAdapter<StreamAdapterOf<X>, detail::Sent<X>> {
public:
    using StreamAdapterTwin::NotifieeAdapter::NotifieeAdapter;
    template <class A, class... Key>
    void changed(Key const&... key) {
        if (auto* const owner = this->korReactorAdapter()) {
            owner->template changed<A>(key...);
        }
    }
};

template <class X>
class StreamAdapterOf final : public AdapterOwner<StreamAdapter, StreamAdapterTwin<X>> {
    using Base = AdapterOwner<StreamAdapter, StreamAdapterTwin<X>>;
    using Wire = detail::WireList<X>;
    using Children = detail::Where<&Shape::child, Wire>;
    using In = NboAttrLog::In;
    using Out = NboAttrLog::Out;
    using Sending = StreamAdapter::Sending;
    using Bit = StreamAdapter::Bit;

public:
    using KorNboAttrLogSaAdapter_ = StreamAdapterTwin<X>;
    using FlowOut = FlowOutOf<X>;
    using typename StreamAdapter::AttrTransactionType;
    using typename StreamAdapter::DeserializationOptions;
    using typename StreamAdapter::SyncMode;

    StreamAdapterOf(Entity::Kor_BitSet const& flags, unsigned int n, Ptr<Out> const& out,
                    PtrInterface* context, Ptr<X> const& entity)
        : Base(flags, n, out, context) {
        if (this->flag(Bit::weak)) {
            this->isWeakReferenceIs(true);
        }
        StreamAdapter::notifierIs(entity);
        this->adapterIs(makePtr<KorNboAttrLogSaAdapter_>(this), entity);
        peerPassesFromSyncMode();
    }
    ~StreamAdapterOf() override { this->adapterDel(); }

    X* notifier() const noexcept {
        return const_cast<X*>(static_cast<X const*>(StreamAdapter::notifier().ptr()));
    }
    Entity const* korNotifierEntity() const override { return notifier(); }
    Entity* korNotifierEntity() override { return notifier(); }
    FlowOut* flowOut() const noexcept { return static_cast<FlowOut*>(StreamAdapter::flowOut()); }

    /// The hook of a keyed attribute.
    template <class A>
    requires(A::shape.keyed) void changed(typename A::Key const& key) {
        if constexpr (A::shape.child) {
            childChanged<A>(key);
        } else if (Sending const what = this->sending(idOf<A>); what != Sending::no) {
            send<A>(what, key, A::Name::map(*notifier()).recent(key));
        }
    }
    /// The hook of a scalar one.
    template <class A>
    void changed() {
        Sending const what = this->sending(idOf<A>);
        if (what == Sending::marked) {
            mark<A>();
        } else if (what == Sending::now) {
            unmark<A>();
            constexpr std::size_t size = NboAttrLog::detail::fixedSize<typename A::Type>();
            NboAttrLog::MsgHeader fixed = header(idOf<A>);
            fixed.variableLength = size == 0;
            fixed.fixedLength = static_cast<U32>(size);
            write(*this->nboAttrLogOut(), fixed, A::Name::call(*notifier()));
        }
    }

    void doNotification(AttributeId attribute, void* key) override {
        with(magnitudeOf(attribute), [&]<class A>() {
            if constexpr (A::shape.keyed) {
                changed<A>(*static_cast<typename A::Key const*>(key));
            } else {
                changed<A>();
            }
        });
    }

    AttributeId handleAttrFlowOut(AttributeId from) override {
        if (flowOut() == nullptr) {
            return 0;
        }
        typename StreamAdapter::HandlingScheduledFlowOutAnchor const handling(*this);
        flowOut()->isStalledIs(false);
        for (auto const& each : flowOut()->pendingAbort()) {
            if (!this->continueFlowOut()) {
                return from == 0 ? Entity::nameAttr : from;
            }
            AttributeId const attribute = each.key;
            this->sendTransactionMarker(attribute, AttrTransactionType::abort, 0);
            flowOut()->pendingAbortDel(attribute);
        }
        AttributeId resume = 0;
        bool yields = false; // at the next attribute, once the current one is over
        FlowOut::each([&]<class A>() {
            if (resume != 0 || idOf<A> < from) {
                return;
            }
            if (yields || !this->continueFlowOut()) {
                resume = idOf<A>;
                return;
            }
            flowOut()->attrIdIs(idOf<A>);
            if constexpr (A::shape.keyed) {
                bool const isOver = korHandleSerializeColl<A>();
                if (flowOut()->isStalled() || (!isOver && !this->continueFlowOut())) {
                    resume = idOf<A>;
                }
                yields = !this->continueFlowOut();
            } else if (marks<A>().dirty) {
                if (!contained<A>([&] { changed<A>(); })) {
                    unmark<A>();
                }
            }
        });
        return resume;
    }
    void freeResyncState(Ptr<NboAttrLog::FlowOut> const& flowOut) override {
        static_cast<FlowOut&>(*flowOut).freeBookmark();
    }
    Ptr<NboAttrLog::FlowOut> flowOutIs(Ptr<Out> const&, ConnectDesc const&, bool,
                                       AttributeId start) override {
        return makePtr<FlowOut>(static_cast<U32>(start));
    }
    void korInstantiateSerialize() override {
        detail::forEach(Children(), [&]<class A>() {
            if (this->nboAttrLogOut()) {
                this->needFlowOut(idOf<A>);
                marks<A>().hasSynced = false;
            }
        });
    }
    void doRemountSelf(Ptr<Out> const& out) override {
        Ptr<StreamAdapter> const self(this);
        childrenGone();
        StreamAdapter::doRemountSelf(out);
    }
    void korDetach() override {
        Ptr<StreamAdapter> const self(this);
        childrenGone();
        this->adapterDel();
        StreamAdapter::korDetach();
    }
    void syncModeIs(SyncMode mode) override {
        bool const isNewAndEmpty = mode == SyncMode::synchronized &&
                                   this->syncMode() != SyncMode::synchronizing && this->flag(Bit::active) &&
                                   this->flag(Bit::awaitsPass);
        StreamAdapter::syncModeIs(mode);
        peerPassesFromSyncMode();
        if (isNewAndEmpty) {
            forgetContent();
        }
    }
    bool hasContent() const override {
        bool any = false;
        FlowOut::each([&]<class A>() {
            if constexpr (A::shape.keyed) {
                any = any || !A::Name::map(*notifier()).empty();
            } else {
                any = any || !(A::Name::call(*notifier()) == A::initial());
            }
        });
        return any;
    }
    void childAttrLogIs(AttributeId attribute) override {
        with<Children>(attribute, [&]<class A>() {
            for (auto& child : A::Name::map(*notifier())) {
                korHandleSerializeSing<A>(child.fwkKey(), const_cast<typename A::Type*>(&child));
            }
        });
    }

    void handleAttrTransaction(AttributeId attribute, AttrTransactionType type, unsigned int n) override {
        this->peerMustWrite(attribute);
        auto* const demuxer = this->streamDemuxer();
        bool const begins = type == AttrTransactionType::start;
        NboAttrLog::FlowIn* flowIn = this->flowIn();
        if (flowIn == nullptr && begins && !this->flag(Bit::silent) && demuxer != nullptr) {
            flowIn = demuxer->flowInIs(this->entityId());
        }
        bool const ends = type == AttrTransactionType::end && flowIn != nullptr && flowIn->has(attribute);
        if (flowIn != nullptr && (begins || ends)) {
            flowIn->aidIs(attribute); // others may be on their way
            flowIn->handlingTransactionIs(ends);
        }
        bool const isOpen = flowIn != nullptr && flowIn->has(attribute);
        bool const known = with(attribute, [&]<class A>() {
            if constexpr (A::shape.keyed) {
                if (isOpen || (demuxer != nullptr && demuxer->protocol() < 2)) {
                    Ptr<X> const entity = notifier();
                    sweep<A>(*entity, type);
                }
            }
        });
        if (!known && demuxer != nullptr) {
            ++demuxer->counters().unknownAttributes;
        }
        StreamAdapter::handleAttrTransaction(attribute, type, n);
    }
    void handleAttrDeserialization(AttributeId attribute, DeserializationOptions /*options*/,
                                   unsigned int /*n*/, Ptr<In> const& given) override {
        Ptr<Out> const& out = this->nboAttrLogOut();
        In* const in = given ? given.ptr() : out ? out->reverseLogPtr() : nullptr;
        Ptr<X> const entity = notifier();
        if (in == nullptr || !entity) {
            return;
        }
        bool const applies = !given;
        std::optional<typename StreamAdapter::IsActiveAnchor> active;
        if (applies) {
            if (this->flag(Bit::active)) {
                throwInternalException("entity reactor is already active");
            }
            this->peerMustWrite(magnitudeOf(attribute));
            active.emplace(*this);
        }
        if (attribute == syncModeAttribute) {
            U32 const mode = in->nextU32();
            in->recordEnd();
            this->handleSyncMode(static_cast<SyncMode>(mode));
            return;
        }
        AttributeId const magnitude = magnitudeOf(attribute);
        bool const known = with(magnitude == directoryAttribute ? childAttribute : magnitude, [&]<class A>() {
            if constexpr (A::shape.child) {
                readChild<A>(attribute, *in, applies);
            } else {
                read<A>(*entity, attribute < 0, *in, applies);
            }
        });
        if (!known) {
            this->doBaseKorNboAttrLogSaMsg(attribute, *in);
        }
    }

    /// One key: `member` is what the entity has for it, null for a deletion.
    template <class A, class Member>
    void korHandleSerializeSing(typename A::Key const& key, Member* member) {
        send<A>(this->sending(idOf<A>), key, member);
    }
    /// The whole attribute, as far as it goes; true when it has nothing more to do now.
    template <class A>
    bool korHandleSerializeColl() {
        if (this->flag(Bit::silent)) {
            return false;
        }
        if (!this->mayTell(idOf<A>)) {
            return true;
        }
        FlowOut* const waiting = flowOut();
        if (waiting == nullptr) {
            return true;
        }
        if ((waiting->korDataBits() & FlowOut::skipsPassBit) != 0 || marks<A>().hasSynced) {
            return dirtyPass<A>();
        }
        using Key = typename A::Key;
        auto& map = mutableMap<A>(*notifier());
        using Iterator = typename std::remove_reference_t<decltype(map)>::Iterator;
        Iterator at;
        if (waiting->bookmark() == nullptr) {
            this->sendTransactionMarker(idOf<A>, AttrTransactionType::start, 0);
            at = Iterator(&map);
        } else {
            at = Iterator(&map, NboAttrLog::korFlowOutBookmarkDeq<Key>(*waiting));
        }
        // Asks first, so that there is room for each record, and a key is passed only when its record is out.
        while (at && this->continueFlowOut()) {
            contained<A>([&] { send<A>(Sending::now, at->fwkKey(), at.ptr()); });
            if (waiting->isStalled()) {
                break;
            }
            at.advance();
        }
        if (at) {
            NboAttrLog::korFlowOutBookmarkEnq<Key>(*waiting, at->fwkKey());
            return false;
        }
        passIsOver<A>();
        return marks<A>().dirty.empty();
    }

private:
    template <class A>
    static constexpr AttributeId idOf = X::template attributeIdOf<typename A::Name>();

    /// In a protocol before the second the sync mode stands for the markers of the peer's passes.
    void peerPassesFromSyncMode() {
        auto const* const demuxer = this->streamDemuxer();
        if (demuxer == nullptr || demuxer->protocol() >= 2 || !this->flag(Bit::active)) {
            return;
        }
        bool const begins = this->syncMode() == SyncMode::synchronizing;
        detail::forEach(detail::Where<&Shape::keyed, Wire>(), [&]<class A>() {
            handleAttrTransaction(idOf<A>, begins ? AttrTransactionType::start : AttrTransactionType::end, 0);
        });
    }
    /// Calls `visit` for the attribute of that id; whether there is one.
    template <class List = Wire, class Visit>
    static bool with(AttributeId attribute, Visit const& visit) {
        bool known = false;
        detail::forEach(List(), [&]<class A>() {
            if (!known && attribute == idOf<A>) {
                known = true;
                visit.template operator()<A>();
            }
        });
        return known;
    }
    /// The attribute of the children of a directory, whose records may have another id; 0 if there is none.
    static constexpr AttributeId childAttribute = []<class... A>(AttributeList<A...>) {
        return std::array{idOf<A>..., AttributeId{0}}.front();
    }(Children());

    /// The marks of an attribute. There is a flow-out.
    template <class A>
    auto& marks() const noexcept {
        return flowOut()->template marks<A>();
    }
    /// Marks a scalar, or a key with its hash.
    template <class A, class... Key>
    void mark(Key const&... key) {
        this->noteDirty(marks<A>().mark(key...));
    }
    template <class A, class... Key>
    void unmark(Key const&... key) {
        if (flowOut() != nullptr && marks<A>().unmark(key...)) {
            this->noteClean();
            this->paid(marks<A>().paidFor(key...));
        }
    }
    /// The hash of a key, which its member may keep.
    template <class A, class Member>
    static U32 reversedHash(typename A::Key const& key, Member const* member) {
        if constexpr (HashMember::keepsHash<Member>) {
            if (member != nullptr) {
                return HashMember::reversedHash<typename A::Key>(*member);
            }
        }
        return bitReverse(keyHash<typename A::Key>(key));
    }
    template <class A>
    void childChanged(typename A::Key const& key) {
        auto* const child = A::Name::map(*notifier()).member(key);
        if (child == nullptr) {
            nboAttrLogAdapterDel<A>(key);
        } else if (auto* const demuxer = this->streamDemuxer();
                   demuxer != nullptr && this->flag(Bit::active) &&
                   demuxer->constrainer().deserializingInParent() == notifier() &&
                   demuxer->constrainer().deserializingEid().isAssigned()) {
            nboAttrLogAdapterIs<A>(
                *child); // first of all reactors: what the others write to the child is sent
        }
        korHandleSerializeSing<A>(key, child);
    }
    template <class A, class Member>
    void send(Sending what, typename A::Key const& key, Member* member) {
        if (what == Sending::now) [[likely]] {
            hasSent_ = true;
            writeKeyed<A>(key, member);
        } else if (what == Sending::marked) {
            mark<A>(key, reversedHash<A>(key, member));
        }
    }

    // Records

    NboAttrLog::MsgHeader header(AttributeId attribute, U32 secondary = 0) const {
        return {.entityId = this->entityId(),
                .attributeId = attribute,
                .variableLength = true,
                .secondaryAttribute = secondary};
    }
    template <class... T>
    static void write(Out& out, NboAttrLog::MsgHeader const& header, T const&... values) {
        if constexpr (Out::isRecord<T...>) {
            out.recordIs(header, values...);
        } else {
            out.write(header, [&](Out& to) { (to.put(values), ...); });
        }
    }
    template <class A, class... T>
    [[gnu::always_inline]] void writePrefixed(Out& out, T const&... values) {
        auto& prefix = prefixes_[detail::placeIn<A>(Wire())];
        if (prefixedId_ != this->entityId()) [[unlikely]] {
            prefixes_ = {};
            prefixedId_ = this->entityId();
        }
        if (prefix.size == 0) [[unlikely]] {
            prefix = Out::Prefix(header(idOf<A>), (NboAttrLog::detail::fixedSize<T>() + ...));
        }
        prefix.size != 0 ? out.recordIs(prefix, values...) : out.recordIs(header(idOf<A>), values...);
    }
    template <class A, class Member>
    void writeKeyed(typename A::Key const& key, Member* member) {
        Out& out = *this->nboAttrLogOut();
        if constexpr (A::shape.child) {
            writeChild<A>(key, member);
        } else {
            // Another record for each kind of map. NOLINTBEGIN(bugprone-branch-clone)
            if (member == nullptr) {
                write(out, header(-idOf<A>), key);
            } else if constexpr (A::shape.reference) {
                if (!writeReference<A>(key, *member->value)) {
                    stall<A>(key);
                    return;
                }
            } else if constexpr (A::shape.keyInside) {
                write(out, header(idOf<A>), member->value);
            } else if constexpr (Out::isRecord<typename A::Key, typename A::Value>) {
                writePrefixed<A>(out, key, member->value);
            } else {
                write(out, header(idOf<A>), key, member->value);
            }
            // NOLINTEND(bugprone-branch-clone)
            unmark<A>(key);
        }
    }
    /// While it lives, what begins to be sent, a child or what is referred to, is owed to the barrier that
    /// waits for the key.
    template <class A>
    detail::Scoped<U64> owing(NboAttrLog::Demuxer& demuxer, typename A::Key const& key) {
        return {demuxer.owing(), flowOut() != nullptr ? marks<A>().owedFor(key) : 0};
    }
    /// The key waits, and the flow-out with it, until an id can be had.
    template <class A>
    void stall(typename A::Key const& key) {
        this->needFlowOut(idOf<A>);
        mark<A>(key, detail::Marks<A>::Dirty::reversedHash(key));
        flowOut()->isStalledIs(true);
    }
    /// Whether it has room, and an id.
    template <class A>
    bool writeReference(typename A::Key const& key, Entity& entity) {
        EntityId id;
        if (auto* const demuxer = this->streamDemuxer()) {
            auto const scope = owing<A>(*demuxer, key);
            Expect const expect(Exception::Id::attrLogRecord);
            try {
                id = demuxer->entityIdOf(entity, Entity::Kor_BitSet(1u << Bit::weak), this->rootId());
            } catch (EntityIdUnavailableException const&) {
                return false;
            }
        }
        bool const hasRoom = this->nboAttrLogOut()->hasSufficientBuffer();
        if (hasRoom) {
            write(*this->nboAttrLogOut(), header(idOf<A>), key, id.number());
        }
        return hasRoom;
    }

    // Children

    template <class A>
    void writeChild(typename A::Key const& key, typename A::Type const* child) {
        auto const* const before = childrenOf<A>().member(key);
        bool const isOther = before != nullptr && before->value->korNotifierEntity() != child;
        if (child == nullptr || isOther) { // another child of the key since: the peer hears of both
            nboAttrLogAdapterDel<A>(key);
            write(*this->nboAttrLogOut(), header(-idOf<A>), key);
            if (child == nullptr) {
                unmark<A>(key);
                return;
            }
            if (!this->nboAttrLogOut()->hasSufficientBuffer()) {
                stall<A>(key);
                return;
            }
        }
        auto* const demuxer = this->streamDemuxer();
        if (demuxer == nullptr) {
            return; // a stream alone has no ids to give
        }
        auto const scope = owing<A>(*demuxer, key);
        auto const [adapter, isNew] = nboAttrLogAdapterIs<A>(*const_cast<typename A::Type*>(child));
        unmark<A>(key);
        if (!adapter || (!isNew && adapter->flag(Bit::announced))) {
            return;
        }
        write(*this->nboAttrLogOut(), header(idOf<A>, announcedChildAttribute), key, adapter->entityId());
        this->doFixChildFlags(adapter);
        if (this->syncMode() == SyncMode::synchronizing || this->flag(Bit::inFlowOut) ||
            (isNew && adapter->hasContent())) {
            adapter->doThis();
        } else if (isNew) { // the peer keeps its own changes of it back until it hears that nothing comes
            adapter->sendSyncMode(SyncMode::synchronized);
        }
    }
    template <class A>
    auto& childrenOf() noexcept {
        return std::get<detail::Mounted<A>>(mounted_).children;
    }
    /// A child's adapter on this stream, found with its flags replaced, or made; and whether it was made.
    template <class A>
    std::pair<Ptr<StreamAdapter>, bool> nboAttrLogAdapterIs(typename A::Type& child) {
        Ptr<Out> const& out = this->nboAttrLogOut();
        auto& mounted = childrenOf<A>();
        bool const isNew = !child.korNboAttrLogSa(out);
        Ptr<StreamAdapter> const adapter = ptrCast<StreamAdapter>(child.korNboAttrLogSaIs(
            Entity::Kor_BitSet(this->kor_bitSet().word() & this->inherited), 0, out, this->context()));
        if (adapter) {
            if (isNew) {
                adapter->rootIdIs(this->rootId());
            }
            if (auto* const known = mounted.member(child.fwkKey())) {
                known->value = adapter;
            } else {
                mounted.newMember(makePtr<typename detail::Mounted<A>::Entry>(child.fwkKey(), adapter));
            }
        }
        return {adapter, isNew};
    }
    template <class A>
    void nboAttrLogAdapterDel(typename A::Key const& key) {
        if (auto const gone = childrenOf<A>().deleteMember(key)) {
            gone->value->korLeave();
        }
    }
    void childrenGone() {
        detail::forEach(Children(), [&]<class A>() {
            while (!childrenOf<A>().empty()) {
                typename A::Key const key = childrenOf<A>().begin()->key;
                nboAttrLogAdapterDel<A>(key);
            }
        });
    }
    void serializeOrphanNow(Out& out) override {
        using NboAttrLog::PayloadSection;
        out.write({NboAttrLog::MsgHeader::announcing, newEntityAttribute, true}, [&](Out& to) {
            to.currentPayloadSectionIs(PayloadSection::types);
            putTypes<X>(to);
            to.currentPayloadSectionIs(PayloadSection::argument);
            if constexpr (std::is_void_v<typename X::ConstructorArgument> ||
                          std::is_same_v<typename X::ConstructorArgument, Name>) {
                to.put(notifier()->name());
            } else {
                putKey<X>(to);
            }
            to.currentPayloadSectionIs(PayloadSection::entityId);
            to.put(this->entityId());
            this->putRootName(to);
        });
    }
    template <class T>
    static void putTypes(Out& out) {
        out.put(TypeId(T::_fwkType()->typeName()));
        if constexpr (detail::derivationLevel<typename T::BaseEntity>() > 1) {
            putTypes<typename T::BaseEntity>(out);
        }
    }
    /// What the constructor was given.
    template <class T>
    void putKey(Out& out) {
        bool done = false;
        detail::forEach(detail::Where<&Shape::byConstructor, typename T::Attributes>(), [&]<class A>() {
            out.put(A::Name::call(*notifier()));
            done = true;
        });
        if constexpr (requires { typename T::BaseEntity::Attributes; }) {
            if (!done) {
                putKey<typename T::BaseEntity>(out);
            }
        }
    }

    // Passes

    template <class A>
    bool dirtyPass() {
        FlowOut* const waiting = flowOut();
        if (waiting->attrId() != idOf<A>) {
            return true;
        }
        if (!marks<A>().hasSynced) {
            passIsOver<A>();
        }
        using Key = typename A::Key;
        auto& dirty = marks<A>().dirty;
        using Dirty = typename detail::Marks<A>::Dirty;
        auto& map = A::Name::map(*notifier());
        // The mark knows the hash of its key, which is the one of the entity's map, too.
        auto const leaves = [&](Key const& key, U32 reversed) {
            typename Dirty::KnownHash const known(dirty, key, reversed);
            auto* const member = map.member(key, reversed);
            if (!contained<A>([&] { korHandleSerializeSing<A>(key, member); })) {
                unmark<A>(key);
            }
            return !waiting->isStalled();
        };
        // First what a barrier waits for, in its order: however fast other keys are marked, it has its turn.
        std::optional<Key> before;
        while (std::optional<Key> const key = marks<A>().firstOwed()) {
            if (!this->continueFlowOut() || before == key || !leaves(*key, Dirty::reversedHash(*key))) {
                return false;
            }
            before = key;
        }
        for (auto const& each : dirty) {
            if (!this->continueFlowOut() || !leaves(Key(each.key), HashMember::reversedHash<Key>(each))) {
                return false;
            }
        }
        return true;
    }
    template <class A>
    void passIsOver() {
        marks<A>().hasSynced = true;
        this->sendTransactionMarker(idOf<A>, AttrTransactionType::end, 0);
        this->paid(marks<A>().paidForPass());
    }
    /// A record that cannot be written, since it is too long, does not hold up the pass; whether it was.
    template <class A, class Write>
    bool contained(Write const& write) {
        try {
            write();
            return true;
        } catch (Exception const&) {
            handlerExceptionNote(*this, idOf<A>);
            return false;
        }
    }
    /// While the peer's first full state comes, what it says goes before what has changed here meanwhile.
    template <class A, class... Key>
    void peerGoesBefore(Key const&... key) {
        if (this->flag(Bit::awaitsPass) && !hasSent_ && this->isHeldBack()) {
            unmark<A>(key...);
        }
    }

    // Applying

    /// Takes a record of the peer apart, and applies it.
    template <class A>
    void read(X& entity, bool isDelete, In& in, bool applies) {
        if constexpr (!A::shape.keyed) {
            if (isDelete) {
                this->doBaseKorNboAttrLogSaMsg(-idOf<A>, in);
                return;
            }
        }
        detail::takeApart<A>(in, isDelete, [&](auto const& first, auto const&... value) {
            if constexpr (!A::shape.keyed) {
                received<A>(entity, in, applies, [&] { A::Name::set(entity, first); });
            } else if constexpr (A::shape.reference && sizeof...(value) != 0) {
                Ptr<Entity> const named = in.entityOf(value...);
                Ptr<typename A::Type> const referred = ptrCast<typename A::Type>(named);
                if (named && !referred) {
                    throw AttrLogEntityException();
                }
                auto const apply = [&] { A::Name::set(entity, first, referred); };
                received<A>(entity, in, applies, apply, first);
            } else {
                auto const apply = [&] {
                    if constexpr (sizeof...(value) == 0) {
                        A::Name::del(entity, first);
                    } else if constexpr (A::shape.keyInside) {
                        A::Name::set(entity, value...);
                    } else {
                        setLookingAhead<A>(entity, in, first, value...);
                    }
                };
                received<A>(entity, in, applies, apply, first);
            }
        });
    }
    /// What was received of a scalar or a key: applies it, or else sends what is here.
    template <class A, class Apply, class... Key>
    void received(X& entity, In& in, bool applies, Apply const& apply, Key const&... key) {
        if (!applies) {
            changed<A>(key...);
            return;
        }
        in.recordEnd();
        peerGoesBefore<A>(key...);
        apply();
        if constexpr (A::shape.keyed) {
            if (auto const* const member = A::Name::map(entity).recent(key...)) {
                member->korMarkedForDeletionIs(false);
            }
        }
    }
    template <class A>
    requires(A::shape.child) void readChild(AttributeId attribute, In& in, bool applies) {
        using Key = typename A::Key;
        Ptr<X> const entity = notifier();
        auto* const demuxer = this->streamDemuxer();
        U32 behindKey = 0;
        bool isDelete = attribute < 0;
        if (attribute == directoryAttribute || attribute == -directoryAttribute) {
            U32 const behindIds = in.nextU16();
            behindKey = in.nextU16();
            AttributeId found = 0;
            while (found != idOf<A> && found != -idOf<A>) {
                if (in.position() >= behindIds) {
                    this->doBaseKorNboAttrLogSaMsg(attribute, in);
                    return;
                }
                found = in.nextint();
            }
            in.positionIs(behindIds);
            isDelete = found < 0;
            if (!isDelete) {
                in.nextU32();
            }
        }
        Key const key = detail::nextKey<A>(in);
        if constexpr (std::is_enum_v<Key>) {
            if (demuxer != nullptr && !isEnumerator<Key>(static_cast<U32>(key))) {
                demuxer->unknownEnumsInc(1);
            }
        }
        if (behindKey != 0) {
            in.positionIs(behindKey);
        }
        EntityId const id = isDelete ? EntityId() : in.nextEntityId();
        if (!applies) {
            changed<A>(key);
            return;
        }
        in.recordEnd();
        peerGoesBefore<A>(key);
        if (isDelete) {
            A::Name::del(*entity, key);
            return;
        }
        if (demuxer == nullptr) {
            return;
        }
        auto* const there = A::Name::map(*entity).member(key);
        auto const* const known = there != nullptr ? childrenOf<A>().member(key) : nullptr;
        bool const isMounted = known != nullptr && known->value->korNotifierEntity() == there;
        if (isMounted &&
            (known->value->entityId() == id || !demuxer->checkEphemeralEntityDeletion(*known->value, id))) {
            there->korMarkedForDeletionIs(false);
            return;
        }
        demuxer->peerIdMustBeFree(id);
        if (isMounted) { // it gives way
            A::Name::del(*entity, key);
            this->flagSet(Bit::active, true);
        }
        Ptr<typename A::Type> child;
        {
            MsgChannel::DeserializingEidAnchor const anchor(demuxer->constrainer(), id, entity.ptr());
            Expect const expect(Exception::Id::nameInUse);
            try {
                child = A::Name::set(*entity, key);
            } catch (NameInUseException const&) {
                A::Name::del(*entity, key);
                this->flagSet(Bit::active, true);
                child = A::Name::set(*entity, key);
            }
            // A handler may have unmounted this entity, or deleted the child again.
            if (this->streamDemuxer() == demuxer && A::Name::map(*entity).member(key) == child.ptr() &&
                demuxer->constrainer().deserializingEid().isAssigned()) {
                nboAttrLogAdapterIs<A>(*child);
            }
        }
        child->korMarkedForDeletionIs(false);
        if (auto* const entry = this->msgChannel()) {
            entry->modeIs(MsgChannel::Mode::childAnnounced);
        }
    }
    template <class A>
    void sweep(X& entity, AttrTransactionType type) {
        auto const& map = A::Name::map(entity);
        if (auto* const demuxer = this->streamDemuxer()) {
            demuxer->noteWalk(map.count());
        }
        if (type != AttrTransactionType::end) {
            map.forEach(
                [&](auto& member) { member.korMarkedForDeletionIs(type == AttrTransactionType::start); });
            return;
        }
        bool any = false;
        map.forEach([&](auto const& member) { any = any || member.korMarkedForDeletion(); });
        // Until a walk finds the map as it was: handlers may change it meanwhile.
        while (any) {
            U32 const version = map.version();
            for (auto const& member : map) {
                if (!member.korMarkedForDeletion()) {
                    continue;
                }
                member.korMarkedForDeletionIs(false);
                typename A::Key const key = member.fwkKey();
                if (this->isHeldBack() && marks<A>().dirty.member(key) != nullptr) {
                    continue; // written here meanwhile
                }
                typename StreamAdapter::IsActiveAnchor const active(*this);
                A::Name::del(entity, key);
            }
            any = version != map.version();
        }
    }
    /// What the peer has is new and empty: what stood here before goes, but not what was written meanwhile.
    void forgetContent() {
        Ptr<X> const entity = notifier();
        FlowOut::each([&]<class A>() {
            if constexpr (A::shape.keyed) {
                sweep<A>(*entity, AttrTransactionType::start);
                sweep<A>(*entity, AttrTransactionType::end);
            } else if (!(A::Name::call(*entity) == A::initial()) &&
                       !(this->isHeldBack() && marks<A>().dirty)) {
                typename StreamAdapter::IsActiveAnchor const active(*this);
                A::Name::set(*entity, A::initial());
            }
        });
    }

    // The headers of the records of changes, as long as the id is this one.
    std::array<Out::Prefix, Wire::size> prefixes_;
    EntityId prefixedId_;

    template <class A>
    static auto& mutableMap(X& entity) {
        auto const& map = A::Name::map(entity);
        return const_cast<std::remove_cvref_t<decltype(map)>&>(map);
    }

    // A burst of changes of a large map waits for memory more than for anything else: the hash of a key is
    // computed some records before its turn, and what it leads to is being loaded meanwhile.
    struct Ahead {
        U64 offset = ~U64{0}; // of the record
        AttributeId attribute = 0;
        U32 reversed = 0;
    };
    template <class Key>
    static constexpr bool canLookAhead = NboAttrLog::detail::fixedSize<Key>() != 0 && !std::is_enum_v<Key> &&
                                         !std::is_integral_v<Key>;
    template <class A>
    void setLookingAhead(X& entity, In& in, typename A::Key const& key, typename A::Value const& value) {
        if constexpr (canLookAhead<typename A::Key>) {
            auto& map = mutableMap<A>(entity);
            typename std::remove_reference_t<decltype(map)>::KnownHash const known(
                map, key, hashLookingAhead<A>(map, key, in));
            A::Name::set(entity, key, value);
        } else {
            A::Name::set(entity, key, value);
        }
    }
    template <class A, class Map>
    U32 hashLookingAhead(Map const& map, typename A::Key const& key, In& in) {
        auto const slot = [this](U32 n) -> Ahead& { return ahead_[(aheadAt_ + n) % ahead_.size()]; };
        Ahead const own = slot(0);
        U64 const offset = in.offset();
        constexpr U32 far = 4; // records
        constexpr U32 near = 2;
        if (U8 const* at = in.payloadAhead(far)) {
            try {
                U32 const reversed = Map::reversedHash(NboAttrLog::detail::loadFixed<typename A::Key>(at));
                map.prefetchBucket(reversed);
                slot(far) = {offset + far * in.record().size(), idOf<A>, reversed};
            } catch (Exception const&) { // it will be refused when it is its turn
            }
        }
        if (Ahead const& next = slot(near); next.attribute == idOf<A> && next.offset > offset) {
            map.prefetchFirst(next.reversed);
        }
        ++aheadAt_;
        return own.offset == offset && own.attribute == idOf<A> ? own.reversed : Map::reversedHash(key);
    }
    std::array<Ahead, 8> ahead_;
    U32 aheadAt_ = 0;
    // Whether the peer may have heard of a key from here.
    bool hasSent_ = false;

    [[no_unique_address]] decltype(detail::tupleOf<detail::Mounted>(Children())) mounted_;
};

} // namespace Kor
