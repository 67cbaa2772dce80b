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

#include "attrlog/Demuxer.h"
#include "attrlog/adapter/FlowOutOf.h"
#include "reflect/AttrLogType.h"
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
            writeScalar<A>();
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

    AttributeId handleAttrFlowOut(AttributeId from) override;
    void freeResyncState(Ptr<NboAttrLog::FlowOut> const& flowOut) override {
        static_cast<FlowOut&>(*flowOut).freeBookmark();
    }
    Ptr<NboAttrLog::FlowOut> flowOutIs(Ptr<Out> const&, ConnectDesc const&, bool,
                                       AttributeId start) override {
        return makePtr<FlowOut>(static_cast<U32>(start));
    }
    void korInstantiateSerialize() override {
        StreamAdapter::korInstantiateSerialize();
        detail::forEach(Children(), [&]<class A>() {
            if (this->nboAttrLogOut()) {
                this->needFlowOut(idOf<A>);
                flowOut()->template hasSyncedIs<A>(false);
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
        each([&]<class A>() {
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

    void handleAttrTransaction(AttributeId attribute, AttrTransactionType type, unsigned int n) override;
    void handleAttrDeserialization(AttributeId attribute, DeserializationOptions options, unsigned int n,
                                   Ptr<In> const& given) override;

    /// One key: `member` is what the entity has for it, null for a deletion. Whether a record was written.
    template <class A, class Member>
    bool korHandleSerializeSing(typename A::Key const& key, Member* member) {
        return send<A>(this->sending(idOf<A>), key, member);
    }
    /// The whole attribute, as far as it goes; true when it has nothing more to do now.
    template <class A>
    bool korHandleSerializeColl();

    /// See AttrLogType.
    static AttrLogRecordText recordText(AttributeId attribute, In& in);

private:
    template <class A>
    static constexpr AttributeId idOf = X::template attributeIdOf<typename A::Name>();

    template <class Visit>
    static void each(Visit const& visit) {
        detail::forEach(Wire(), visit);
    }
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
    /// What the peer has is new and empty: what stood here before goes, but not what was written meanwhile.
    void forgetContent();
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
        AttributeId first = 0;
        ((first = first == 0 ? idOf<A> : first), ...);
        return first;
    }(Children());

    /// Marks a scalar, or a key with its hash.
    template <class A, class... Key>
    void mark(Key const&... key) {
        this->noteDirty(flowOut()->template dirtyIs<A>(key...));
    }
    template <class A, class... Key>
    void unmark(Key const&... key) {
        if (FlowOut* const waiting = flowOut(); waiting != nullptr && waiting->template dirtyDel<A>(key...)) {
            this->noteClean();
            this->paid(waiting->template paidFor<A>(key...));
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
    bool send(Sending what, typename A::Key const& key, Member* member) {
        if (what == Sending::now) [[likely]] {
            hasSent_ = true;
            return writeKeyed<A>(key, member);
        }
        if (what == Sending::marked) {
            mark<A>(key, reversedHash<A>(key, member));
        }
        return false;
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

    template <class A>
    void writeScalar() {
        constexpr std::size_t size = NboAttrLog::detail::fixedSize<typename A::Type>();
        NboAttrLog::MsgHeader fixed = header(idOf<A>);
        fixed.variableLength = size == 0;
        fixed.fixedLength = static_cast<U32>(size);
        write(*this->nboAttrLogOut(), fixed, A::Name::call(*notifier()));
    }

    template <class A, class Member>
    bool writeKeyed(typename A::Key const& key, Member* member) {
        Out& out = *this->nboAttrLogOut();
        if constexpr (A::shape.child) {
            return writeChild<A>(key, member);
        } else {
            // Another record for each kind of map. NOLINTBEGIN(bugprone-branch-clone)
            if (member == nullptr) {
                writeDeletion<A>(key);
            } else if constexpr (A::shape.reference) {
                if (!writeReference<A>(key, *member->value)) {
                    return stall<A>(key);
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
            return true;
        }
    }

    /// While it lives, what begins to be sent, a child or what is referred to, is owed to the barrier that
    /// waits for the key.
    template <class A>
    detail::Scoped<U64> owing(NboAttrLog::Demuxer& demuxer, typename A::Key const& key) {
        return {demuxer.owing(), flowOut() != nullptr ? flowOut()->template owedFor<A>(key) : 0};
    }

    template <class A>
    void writeDeletion(typename A::Key const& key) {
        write(*this->nboAttrLogOut(), header(-idOf<A>), key);
    }

    /// The key waits, and the flow-out with it, until an id can be had.
    template <class A>
    bool stall(typename A::Key const& key) {
        this->needFlowOut(idOf<A>);
        mark<A>(key, reversedHash<A, FlagMapEntry<typename A::Key>>(key, nullptr));
        flowOut()->isStalledIs(true);
        return false;
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
    bool writeChild(typename A::Key const& key, typename A::Type const* child) {
        auto const* const before = childrenOf<A>().member(key);
        bool const isOther = before != nullptr && before->value->korNotifierEntity() != child;
        if (child == nullptr || isOther) { // another child of the key since: the peer hears of both
            nboAttrLogAdapterDel<A>(key);
            writeDeletion<A>(key);
            if (child == nullptr) {
                unmark<A>(key);
                return true;
            }
            if (!this->nboAttrLogOut()->hasSufficientBuffer()) {
                return stall<A>(key);
            }
        }
        auto* const demuxer = this->streamDemuxer();
        if (demuxer == nullptr) {
            return true; // a stream alone has no ids to give
        }
        auto const scope = owing<A>(*demuxer, key);
        auto const [adapter, isNew] = nboAttrLogAdapterIs<A>(*const_cast<typename A::Type*>(child));
        unmark<A>(key);
        if (!adapter || (!isNew && adapter->flag(Bit::announced))) {
            return true;
        }
        write(*this->nboAttrLogOut(), header(idOf<A>, announcedChildAttribute), key, adapter->entityId());
        this->doFixChildFlags(adapter);
        if (this->syncMode() == SyncMode::synchronizing || this->flag(Bit::inFlowOut) ||
            (isNew && adapter->hasContent())) {
            adapter->doThis();
        } else if (isNew) { // the peer keeps its own changes of it back until it hears that nothing comes
            adapter->sendSyncMode(SyncMode::synchronized);
        }
        return true;
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

    void serializeOrphanNow(Out& out) override;

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
        detail::forEach(typename T::Attributes(), [&]<class A>() {
            if constexpr (A::shape.role == Role::key || A::shape.role == Role::field) {
                out.put(A::Name::call(*notifier()));
                done = true;
            }
        });
        if constexpr (requires { typename T::BaseEntity::Attributes; }) {
            if (!done) {
                putKey<typename T::BaseEntity>(out);
            }
        }
    }

    // Applying

    template <class A>
    bool dirtyPass();
    template <class A>
    void passIsOver();
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
    template <class A>
    void read(X& entity, bool isDelete, In& in, bool applies);
    template <class A>
    requires(A::shape.child) void readChild(AttributeId attribute, In& in, bool applies);
    template <class A>
    void sweep(X& entity, AttrTransactionType type);
    template <class K>
    K tolerantKey(In& in);

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
    template <class A, class Map>
    U32 hashLookingAhead(Map const& map, typename A::Key const& key, In& in);
    std::array<Ahead, 8> ahead_;
    U32 aheadAt_ = 0;
    // Whether the peer may have heard of a key from here.
    bool hasSent_ = false;

    [[no_unique_address]] decltype(detail::tupleOf<detail::Mounted>(Children())) mounted_;
};

} // namespace Kor
