#pragma once

/// Kor::StreamAdapterOf<X>, the stream adapter of the entity class X, also named X::KorNboAttrLogSa: all
/// decisions that depend on the attributes of X, made from its attribute list, those of its bases first.
/// attrlog/StreamAdapter.h tells what an adapter does.
///
/// It is heavy, and only the source file that makes the classes of a library known needs it:
///
///     static Kor::AttrLogTypes<MyTypes> const attrLogAtLoad;            // of the module, reflect/TypeModule.h
///
/// What travels are the scalars and maps of values, children and references to entities. Keys go with the
/// announcement; operations, queues and single references stay here.

#include "attrlog/Demuxer.h"
#include "reflect/AttrLogType.h"
#include "reflect/TypeModule.h"
#include "runtime/NotifieeOf.h"

#include <array>
#include <optional>

namespace Kor {

namespace detail {

// The attributes that travel

template <class A>
inline constexpr bool
    travels = hasKind<A>(EntityAttributeKind::singleton) || hasKind<A>(EntityAttributeKind::map);
template <class N, class T>
inline constexpr bool travels<SingletonReference<N, T>> = false;
template <class N, class V>
inline constexpr bool travels<Queue<N, V>> = false;

template <class List>
struct Travelling;
template <>
struct Travelling<AttributeList<>> {
    using type = AttributeList<>;
};
template <class A, class... Rest>
struct Travelling<AttributeList<A, Rest...>>
    : Joined<std::conditional_t<travels<A>, AttributeList<A>, AttributeList<>>,
             typename Travelling<AttributeList<Rest...>>::type> {};

/// The attributes of X that travel, by rising id.
template <class X>
struct WireList : Travelling<typename AllAttributes<X>::type> {};

template <class A>
concept KeyedOnWire = hasKind<A>(EntityAttributeKind::map);
template <class A>
concept ChildOnWire = requires {
    typename A::Child;
};
template <class A>
concept ReferenceOnWire = KeyedOnWire<A> && requires {
    typename A::Referred;
};
template <class A>
concept EmbeddedOnWire = requires {
    typename A::KeyOf;
};

/// What a flow-out and an adapter keep for an attribute.
template <class A>
struct DirtyMarks {
    bool dirty = false;
};
template <KeyedOnWire A>
struct DirtyMarks<A> {
    using Key = typename A::Key;
    using Marks = HashMap<FlagMapEntry<Key>, Key, bool>;
    Marks dirty;
};
template <class A>
struct Mounted {};
template <ChildOnWire A>
struct Mounted<A> {
    using Entry = MapEntry<typename A::Key, Ptr<StreamAdapter>>;
    HashMap<Entry, typename A::Key, Ptr<StreamAdapter>> children;
};

template <class X, class A, class... Each>
consteval int placeIn(AttributeList<Each...>) {
    constexpr bool is[] = {std::is_same_v<A, Each>..., true};
    int place = 0;
    while (!is[place]) {
        ++place;
    }
    return place;
}

} // namespace detail

/// X::KorNboAttrLogSa::FlowOut
template <class X>
class FlowOutOf final : public NboAttrLog::FlowOut {
    using Wire = typename detail::WireList<X>::type;

public:
    explicit FlowOutOf(U32 start) : FlowOut(start) {
        each([&]<class A>() {
            AttributeId const id = X::template attributeIdOf<typename A::Name>();
            if constexpr (detail::KeyedOnWire<A>) {
                hasSyncedIs<A>(start > static_cast<U32>(id));
            } else if (start <= static_cast<U32>(id)) {
                dirtyKeys += dirtyIs<A>();
            }
        });
    }
    ~FlowOutOf() override { freeBookmark(); }

    bool hasDirtyAttributes() const override {
        bool any = FlowOut::hasDirtyAttributes();
        each([&]<class A>() {
            if constexpr (detail::KeyedOnWire<A>) {
                any = any || !hasSynced<A>() || !dirty<A>().empty();
            } else {
                any = any || dirty<A>();
            }
        });
        return any;
    }

    /// Whether the full pass of a keyed attribute is over.
    template <detail::KeyedOnWire A>
    bool hasSynced() const {
        return synced_.test(bit<A>());
    }
    template <detail::KeyedOnWire A>
    void hasSyncedIs(bool on) {
        synced_.bitIs(bit<A>(), on);
    }

    template <class A>
    auto& dirty() noexcept {
        return std::get<detail::DirtyMarks<A>>(marks_).dirty;
    }
    template <class A>
    auto const& dirty() const noexcept {
        return std::get<detail::DirtyMarks<A>>(marks_).dirty;
    }
    /// Marks a scalar, or a key with its hash; whether it was not.
    template <class A>
    bool dirtyIs() {
        return !std::exchange(dirty<A>(), true);
    }
    template <detail::KeyedOnWire A>
    bool dirtyIs(typename A::Key const& key, U32 reversed) {
        auto& marks = dirty<A>();
        if (marks.member(key, reversed) != nullptr) {
            return false;
        }
        using Mark = typename std::remove_reference_t<decltype(marks)>::MemberType;
        marks.newMember(makePtr<Mark>(key, true), reversed);
        return true;
    }
    /// Takes the mark off; whether it was there.
    template <class A, class... Key>
    bool dirtyDel(Key const&... key) {
        if constexpr (detail::KeyedOnWire<A>) {
            return !dirty<A>().empty() && dirty<A>().deleteMember(key...);
        } else {
            return std::exchange(dirty<A>(), false);
        }
    }

    void freeBookmark() noexcept {
        each([&]<class A>() {
            if constexpr (detail::KeyedOnWire<A>) {
                if (attrId() == X::template attributeIdOf<typename A::Name>()) {
                    delete static_cast<typename A::Key*>(bookmark());
                    bookmarkIs(nullptr);
                }
            }
        });
    }

private:
    /// Bit 1 is that of the first attribute.
    template <class A>
    static constexpr int bit() {
        return 1 + detail::placeIn<X, A>(Wire());
    }
    template <class Visit>
    static void each(Visit const& visit) {
        []<class... A>(AttributeList<A...>, Visit const& to) { (to.template operator()<A>(), ...); }(Wire(),
                                                                                                     visit);
    }
    template <class... A>
    static std::tuple<detail::DirtyMarks<A>...> marksOf(AttributeList<A...>);

    BitSet<32, U32> synced_;
    decltype(marksOf(Wire())) marks_;
};

/// The reactor in the entity's list that stands for the adapter.
template <class X>
class StreamAdapterTwin final
    : public NotifieeAdapter<StreamAdapterOf<X>, detail::Forwards<X, StreamAdapterTwin, detail::WireList>> {
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
    using Wire = typename detail::WireList<X>::type;
    using In = NboAttrLog::In;
    using Out = NboAttrLog::Out;
    using Sending = StreamAdapter::Sending;
    using Bit = StreamAdapter::Bit;
    template <class A>
    using Form = EntityForms<typename A::Name>;

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
    template <detail::KeyedOnWire A>
    void changed(typename A::Key const& key) {
        if constexpr (detail::ChildOnWire<A>) {
            childChanged<A>(key);
        } else if (Sending const what = this->sending(idOf<A>); what != Sending::no) {
            send<A>(what, key, Form<A>::map(*notifier()).recent(key));
        }
    }
    /// The hook of a scalar one.
    template <class A>
    void changed() {
        switch (this->sending(idOf<A>)) {
        case Sending::no:
            return;
        case Sending::marked:
            mark<A>();
            return;
        case Sending::now:
            unmark<A>();
            writeScalar<A>();
        }
    }

    void doNotification(AttributeId attribute, void* key) override {
        with(magnitudeOf(attribute), [&]<class A>() {
            if constexpr (detail::KeyedOnWire<A>) {
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
        each([&]<class A>() {
            if constexpr (detail::ChildOnWire<A>) {
                if (this->nboAttrLogOut()) {
                    this->needFlowOut(idOf<A>);
                    flowOut()->template hasSyncedIs<A>(false);
                }
            }
        });
    }
    void doRemountSelf(Ptr<Out> const& out) override {
        Ptr<StreamAdapter> const self(this);
        each([&]<class A>() { childrenGone<A>(); });
        StreamAdapter::doRemountSelf(out);
    }
    void korDetach() override {
        Ptr<StreamAdapter> const self(this);
        each([&]<class A>() { childrenGone<A>(); });
        this->adapterDel();
        StreamAdapter::korDetach();
    }
    void syncModeIs(SyncMode mode) override {
        StreamAdapter::syncModeIs(mode);
        peerPassesFromSyncMode();
    }
    bool hasContent() const override {
        bool any = false;
        each([&]<class A>() {
            if constexpr (detail::KeyedOnWire<A>) {
                any = any || !Form<A>::map(*notifier()).empty();
            } else {
                any = any || !(A::Name::call(*notifier()) == A::initial());
            }
        });
        return any;
    }
    void childAttrLogIs(AttributeId attribute) override {
        with(attribute, [&]<class A>() {
            if constexpr (detail::ChildOnWire<A>) {
                for (auto& child : Form<A>::map(*notifier())) {
                    korHandleSerializeSing<A>(child.fwkKey(), const_cast<typename A::Child*>(&child));
                }
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

    /// The adapter of a child on this stream, found with its flags replaced, or made.
    template <class C>
    struct ChildAdapter {
        Ptr<StreamAdapter> adapter;
        bool isNew;
    };

private:
    template <class A>
    static constexpr AttributeId idOf = X::template attributeIdOf<typename A::Name>();

    template <class Visit>
    static void each(Visit const& visit) {
        []<class... A>(AttributeList<A...>, Visit const& to) { (to.template operator()<A>(), ...); }(Wire(),
                                                                                                     visit);
    }
    /// In a protocol before the second the sync mode stands for the markers of the peer's passes.
    void peerPassesFromSyncMode() {
        auto const* const demuxer = this->streamDemuxer();
        if (demuxer == nullptr || demuxer->protocol() >= 2 || !this->flag(Bit::active)) {
            return;
        }
        bool const begins = this->syncMode() == SyncMode::synchronizing;
        each([&]<class A>() {
            if constexpr (detail::KeyedOnWire<A>) {
                handleAttrTransaction(idOf<A>, begins ? AttrTransactionType::start : AttrTransactionType::end,
                                      0);
            }
        });
    }
    /// Calls `visit` for the attribute of that id; whether there is one.
    template <class Visit>
    static bool with(AttributeId attribute, Visit const& visit) {
        return []<class... A>(AttributeList<A...>, AttributeId id, Visit const& to) {
            return ((id == idOf<A> && (to.template operator()<A>(), true)) || ...);
        }(Wire(), attribute, visit);
    }
    static constexpr bool hasChildren() {
        return []<class... A>(AttributeList<A...>) { return (detail::ChildOnWire<A> || ...); }(Wire());
    }

    template <class A>
    void mark() {
        this->noteDirty(flowOut()->template dirtyIs<A>());
    }
    template <class A>
    void mark(typename A::Key const& key, U32 reversed) {
        this->noteDirty(flowOut()->template dirtyIs<A>(key, reversed));
    }
    template <class A>
    void unmark() {
        if (FlowOut* const waiting = flowOut(); waiting != nullptr && waiting->template dirtyDel<A>()) {
            this->noteClean();
        }
    }
    template <class A>
    void unmark(typename A::Key const& key) {
        if (FlowOut* const waiting = flowOut(); waiting != nullptr && waiting->template dirtyDel<A>(key)) {
            this->noteClean();
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
        auto* const child = Form<A>::map(*notifier()).member(key);
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
        NboAttrLog::MsgHeader header;
        header.entityId = this->entityId();
        header.attributeId = attribute;
        header.variableLength = true;
        header.secondaryAttribute = secondary;
        return header;
    }
    template <class... T>
    static void write(Out& out, NboAttrLog::MsgHeader const& header, T const&... values) {
        if constexpr (Out::isRecord<T...>) {
            out.recordIs(header, values...);
        } else {
            out.nextHeaderIs(header);
            out.token(NboAttrLog::TransactToken(1));
            (out.put(values), ...);
            out.token(NboAttrLog::TransactToken(3));
        }
    }

    template <class A, class... T>
    [[gnu::always_inline]] void writePrefixed(Out& out, T const&... values) {
        auto& prefix = prefixes_[detail::placeIn<X, A>(Wire())];
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
        if constexpr (detail::ChildOnWire<A>) {
            return writeChild<A>(key, member);
        } else if constexpr (detail::ReferenceOnWire<A>) {
            return writeReference<A>(key, member);
        } else {
            // Another record for each kind of map. NOLINTBEGIN(bugprone-branch-clone)
            if (member == nullptr) {
                writeDeletion<A>(key);
            } else if constexpr (detail::EmbeddedOnWire<A>) {
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

    template <class A, class Member>
    bool writeReference(typename A::Key const& key, Member* member) {
        if (member == nullptr) {
            writeDeletion<A>(key);
            unmark<A>(key);
            return true;
        }
        EntityId id;
        Expect const expect(Exception::Id::attrLogRecord);
        try {
            if (auto* const demuxer = this->streamDemuxer()) {
                id = demuxer->entityIdOf(*member->value, Entity::Kor_BitSet(1u << Bit::weak), this->rootId());
            }
        } catch (EntityIdUnavailableException const&) {
            return stall<A>(key);
        }
        if (!this->nboAttrLogOut()->hasSufficientBuffer()) {
            return stall<A>(key);
        }
        write(*this->nboAttrLogOut(), header(idOf<A>), key, id.number());
        unmark<A>(key);
        return true;
    }

    // Children

    template <class A>
    bool writeChild(typename A::Key const& key, typename A::Child const* child) {
        auto& mounted = std::get<detail::Mounted<A>>(mounted_).children;
        auto const* const before = mounted.member(key);
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
        if (this->streamDemuxer() == nullptr) {
            return true; // a stream alone has no ids to give
        }
        auto const [adapter, isNew] = nboAttrLogAdapterIs<A>(*const_cast<typename A::Child*>(child));
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
    ChildAdapter<typename A::Child> nboAttrLogAdapterIs(typename A::Child& child) {
        Ptr<Out> const& out = this->nboAttrLogOut();
        auto& mounted = std::get<detail::Mounted<A>>(mounted_).children;
        bool const isNew = !child.korNboAttrLogSa(out);
        U32 const inherited = 1u << Bit::localReadOnly | 1u << Bit::remoteReadOnly | 1u << Bit::alwaysFlowOut;
        Ptr<StreamAdapter> const adapter = ptrCast<StreamAdapter>(child.korNboAttrLogSaIs(
            Entity::Kor_BitSet(this->kor_bitSet().word() & inherited), 0, out, this->context()));
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
        if (auto const gone = std::get<detail::Mounted<A>>(mounted_).children.deleteMember(key)) {
            gone->value->korLeave();
        }
    }
    template <class A>
    void childrenGone() {
        if constexpr (detail::ChildOnWire<A>) {
            auto& mounted = std::get<detail::Mounted<A>>(mounted_).children;
            while (!mounted.empty()) {
                typename A::Key const key = mounted.begin()->key;
                nboAttrLogAdapterDel<A>(key);
            }
        }
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
        [&]<class... A>(AttributeList<A...>) {
            auto const put = [&]<class One>() {
                if constexpr (detail::hasKind<One>(EntityAttributeKind::key)) {
                    out.put(One::Name::call(*notifier()));
                    done = true;
                }
            };
            (put.template operator()<A>(), ...);
        }(typename T::Attributes());
        if constexpr (requires { typename T::BaseEntity::Attributes; }) {
            if (!done) {
                putKey<typename T::BaseEntity>(out);
            }
        }
    }

    // Applying

    template <class A>
    bool dirtyPass();
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
    /// What the peer says of a key or a scalar, while its first full state comes, goes before what has
    /// changed here meanwhile.
    template <class A, class... Key>
    void peerGoesBefore(Key const&... key) {
        if (this->flag(Bit::awaitsPass) && !hasSent_ && this->isHeldBack()) {
            unmark<A>(key...);
        }
    }
    template <class A>
    void read(X& entity, bool isDelete, In& in, bool applies);
    template <detail::ChildOnWire A>
    void readChild(AttributeId attribute, In& in, bool applies);
    template <class A>
    void sweep(X& entity, AttrTransactionType type);
    template <class K>
    K tolerantKey(In& in);

    // The headers of the records of changes, as long as the id is this one.
    std::array<Out::Prefix, Wire::size> prefixes_;
    EntityId prefixedId_;

    template <class A>
    static auto& mutableMap(X& entity) {
        auto const& map = Form<A>::map(entity);
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

    template <class... A>
    static std::tuple<detail::Mounted<A>...> mountedOf(AttributeList<A...>);
    [[no_unique_address]] decltype(mountedOf(Wire())) mounted_;
};

template <class X>
void StreamAdapterOf<X>::serializeOrphanNow(Out& out) {
    out.nextHeaderIs({NboAttrLog::MsgHeader::announcing, newEntityAttribute, true});
    out.token(NboAttrLog::TransactToken(1));
    out.currentPayloadSectionIs(NboAttrLog::PayloadSection::types);
    putTypes<X>(out);
    out.currentPayloadSectionIs(NboAttrLog::PayloadSection::argument);
    if constexpr (std::is_void_v<typename X::ConstructorArgument> ||
                  std::is_same_v<typename X::ConstructorArgument, Name>) {
        out.put(notifier()->name());
    } else {
        putKey<X>(out);
    }
    out.currentPayloadSectionIs(NboAttrLog::PayloadSection::entityId);
    out.put(this->entityId());
    this->putRootName(out);
    out.token(NboAttrLog::TransactToken(3));
}

template <class X>
AttributeId StreamAdapterOf<X>::handleAttrFlowOut(AttributeId from) {
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
    constexpr AttributeId firstOwn = 258;
    if (from < firstOwn) {
        if (AttributeId const rest = StreamAdapter::handleAttrFlowOut(from)) {
            return rest;
        }
        from = firstOwn;
    }
    AttributeId resume = 0;
    bool yields = false; // at the next attribute, once the current one is over
    each([&]<class A>() {
        if (resume != 0 || idOf<A> < from) {
            return;
        }
        if (yields || !this->continueFlowOut()) {
            resume = idOf<A>;
            return;
        }
        flowOut()->attrIdIs(idOf<A>);
        if constexpr (detail::KeyedOnWire<A>) {
            bool const isOver = korHandleSerializeColl<A>();
            if (flowOut()->isStalled() || (!isOver && !this->continueFlowOut())) {
                resume = idOf<A>;
            }
            yields = !this->continueFlowOut();
        } else if (flowOut()->template dirty<A>()) {
            if (!contained<A>([&] { changed<A>(); })) {
                unmark<A>();
            }
        }
    });
    return resume;
}

template <class X>
template <class A>
bool StreamAdapterOf<X>::korHandleSerializeColl() {
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
    if ((waiting->korDataBits() & FlowOut::skipsPassBit) != 0 || waiting->template hasSynced<A>()) {
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
    this->sendTransactionMarker(idOf<A>, AttrTransactionType::end, 0);
    waiting->template hasSyncedIs<A>(true);
    return waiting->template dirty<A>().empty();
}

template <class X>
template <class A>
bool StreamAdapterOf<X>::dirtyPass() {
    FlowOut* const waiting = flowOut();
    if (waiting->attrId() != idOf<A>) {
        return true;
    }
    if (!waiting->template hasSynced<A>()) {
        waiting->template hasSyncedIs<A>(true);
        this->sendTransactionMarker(idOf<A>, AttrTransactionType::end, 0);
    }
    for (auto const& each : waiting->template dirty<A>()) {
        if (!this->continueFlowOut()) {
            return false;
        }
        typename A::Key const key = each.key;
        auto* const member = Form<A>::map(*notifier()).member(key);
        if (!contained<A>([&] { korHandleSerializeSing<A>(key, member); })) {
            unmark<A>(key);
        }
        if (waiting->isStalled()) {
            return false;
        }
    }
    return true;
}

template <class X>
void StreamAdapterOf<X>::handleAttrTransaction(AttributeId attribute, AttrTransactionType type,
                                               unsigned int n) {
    this->peerMustWrite(attribute);
    auto* const demuxer = this->streamDemuxer();
    if (this->flowIn() != nullptr) {
        if (type == AttrTransactionType::end && this->flowIn()->aid() == attribute) {
            this->flowIn()->handlingTransactionIs(true);
        } else if (type == AttrTransactionType::start) {
            this->flowIn()->aidIs(attribute); // the one before was never ended
        }
    } else if (!this->flag(Bit::silent) && type == AttrTransactionType::start && demuxer != nullptr) {
        if (NboAttrLog::FlowIn* const made = demuxer->flowInIs(this->entityId())) {
            made->aidIs(attribute);
        }
    }
    bool const isOpen = this->flowIn() != nullptr && this->flowIn()->aid() == attribute;
    bool const known = with(attribute, [&]<class A>() {
        if constexpr (detail::KeyedOnWire<A>) {
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

template <class X>
template <class A>
void StreamAdapterOf<X>::sweep(X& entity, AttrTransactionType type) {
    auto const& map = Form<A>::map(entity);
    if (auto* const demuxer = this->streamDemuxer()) {
        demuxer->noteWalk(map.count());
    }
    if (type != AttrTransactionType::end) {
        map.forEach([&](auto& member) { member.korMarkedForDeletionIs(type == AttrTransactionType::start); });
        return;
    }
    bool any = false;
    map.forEach([&](auto const& member) { any = any || member.korMarkedForDeletion(); });
    // Until a walk finds the map as it was: handlers may change it meanwhile.
    U32 version = map.version();
    while (any) {
        version = map.version();
        for (auto const& member : map) {
            if (!member.korMarkedForDeletion()) {
                continue;
            }
            member.korMarkedForDeletionIs(false);
            typename A::Key const key = member.fwkKey();
            if (this->isHeldBack() && flowOut()->template dirty<A>().member(key) != nullptr) {
                continue; // written here meanwhile
            }
            typename StreamAdapter::IsActiveAnchor const active(*this);
            Form<A>::del(entity, key);
        }
        any = version != map.version();
    }
}

template <class X>
void StreamAdapterOf<X>::handleAttrDeserialization(AttributeId attribute, DeserializationOptions /*options*/,
                                                   unsigned int /*n*/, Ptr<In> const& given) {
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
    if constexpr (hasChildren()) {
        bool done = false;
        each([&]<class A>() {
            if constexpr (detail::ChildOnWire<A>) {
                AttributeId const magnitude = magnitudeOf(attribute);
                if (!done && (magnitude == idOf<A> || magnitude == directoryAttribute)) {
                    done = true;
                    readChild<A>(attribute, *in, applies);
                }
            }
        });
        if (done) {
            return;
        }
    }
    bool const isDelete = attribute < 0;
    bool const known = with(magnitudeOf(attribute), [&]<class A>() {
        if constexpr (!detail::ChildOnWire<A>) {
            read<A>(*entity, isDelete, *in, applies);
        }
    });
    if (!known) {
        this->doBaseKorNboAttrLogSaMsg(attribute, *in);
    }
}

template <class X>
template <class A>
void StreamAdapterOf<X>::read(X& entity, bool isDelete, In& in, bool applies) {
    if constexpr (!detail::KeyedOnWire<A>) {
        if (isDelete) {
            this->doBaseKorNboAttrLogSaMsg(-idOf<A>, in);
            return;
        }
        auto const value = in.template next<typename A::Type>();
        if (applies) {
            in.recordEnd();
            peerGoesBefore<A>();
            Form<A>::is(entity, value);
        } else {
            changed<A>();
        }
    } else {
        using Key = typename A::Key;
        auto const applied = [&](Key const& key, auto const& apply) {
            if (!applies) {
                changed<A>(key);
                return;
            }
            in.recordEnd();
            peerGoesBefore<A>(key);
            apply();
            if (auto const* const member = Form<A>::map(entity).recent(key)) {
                member->korMarkedForDeletionIs(false);
            }
        };
        if (isDelete) {
            Key const key = in.template next<Key>();
            applied(key, [&] { Form<A>::del(entity, key); });
            // A branch for each way in which a member travels. NOLINTNEXTLINE(bugprone-branch-clone)
        } else if constexpr (detail::EmbeddedOnWire<A>) {
            auto const value = in.template next<typename A::Value>();
            applied(Key(A::KeyOf::call(value)), [&] { Form<A>::is(entity, value); });
        } else if constexpr (detail::ReferenceOnWire<A>) {
            Key const key = in.template next<Key>();
            Ptr<Entity> const named = in.nextEntity();
            Ptr<typename A::Referred> const referred = ptrCast<typename A::Referred>(named);
            if (named && !referred) {
                throw AttrLogEntityException();
            }
            applied(key, [&] { Form<A>::is(entity, key, referred); });
        } else {
            Key const key = in.template next<Key>();
            auto const value = in.template next<typename A::Value>();
            applied(key, [&] {
                if constexpr (canLookAhead<Key>) {
                    auto& map = mutableMap<A>(entity);
                    typename std::remove_reference_t<decltype(map)>::KnownHash const known(
                        map, key, hashLookingAhead<A>(map, key, in));
                    Form<A>::is(entity, key, value);
                } else {
                    Form<A>::is(entity, key, value);
                }
            });
        }
    }
}

template <class X>
template <class A, class Map>
U32 StreamAdapterOf<X>::hashLookingAhead(Map const& map, typename A::Key const& key, In& in) {
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

template <class X>
template <class K>
K StreamAdapterOf<X>::tolerantKey(In& in) {
    if constexpr (std::is_enum_v<K>) {
        U32 const number = in.nextU32();
        Expect const expect(Exception::Id::range);
        try {
            return enumeratorOfNumber<K>(number, "");
        } catch (RangeException const&) {
            if (auto* const demuxer = this->streamDemuxer()) {
                demuxer->unknownEnumsInc(1);
            }
            return static_cast<K>(number);
        }
    } else {
        return in.template next<K>();
    }
}

template <class X>
template <detail::ChildOnWire A>
void StreamAdapterOf<X>::readChild(AttributeId attribute, In& in, bool applies) {
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
    Key const key = tolerantKey<Key>(in);
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
        Form<A>::del(*entity, key);
        return;
    }
    if (demuxer == nullptr) {
        return;
    }
    auto& mounted = std::get<detail::Mounted<A>>(mounted_).children;
    if (auto* const child = Form<A>::map(*entity).member(key)) {
        auto const* const known = mounted.member(key);
        StreamAdapter const* const adapter =
            known != nullptr && known->value->korNotifierEntity() == child ? known->value.ptr() : nullptr;
        if (adapter != nullptr && adapter->entityId() != id) {
            if (!demuxer->checkEphemeralEntityDeletion(*adapter, id)) {
                child->korMarkedForDeletionIs(false);
                return;
            }
            demuxer->peerIdMustBeFree(id);
            Form<A>::del(*entity, key);
            this->flagSet(Bit::active, true);
        } else if (adapter != nullptr) {
            child->korMarkedForDeletionIs(false);
            return;
        } else {
            demuxer->peerIdMustBeFree(id);
        }
    } else {
        demuxer->peerIdMustBeFree(id);
    }
    Ptr<typename A::Child> child;
    {
        MsgChannel::DeserializingEidAnchor const anchor(demuxer->constrainer(), id, entity.ptr());
        Expect const expect(Exception::Id::nameInUse);
        try {
            child = Form<A>::is(*entity, key);
        } catch (NameInUseException const&) {
            Form<A>::del(*entity, key);
            this->flagSet(Bit::active, true);
            child = Form<A>::is(*entity, key);
        }
        // A handler may have unmounted this entity, or deleted the child again.
        if (this->streamDemuxer() == demuxer && Form<A>::map(*entity).member(key) == child.ptr() &&
            demuxer->constrainer().deserializingEid().isAssigned()) {
            nboAttrLogAdapterIs<A>(*child);
        }
    }
    child->korMarkedForDeletionIs(false);
    if (auto* const entry = this->msgChannel()) {
        entry->modeIs(MsgChannel::Mode::childAnnounced);
    }
}

template <class X>
AttrLogRecordText StreamAdapterOf<X>::recordText(AttributeId attribute, In& in) {
    AttrLogRecordText text;
    bool const isDelete = attribute < 0;
    with(magnitudeOf(attribute), [&]<class A>() {
        text.attribute = A::Name::text;
        if constexpr (!detail::KeyedOnWire<A>) {
            text.value = isDelete ? String8() : valueToStrep(in.template next<typename A::Type>());
        } else {
            using Key = typename A::Key;
            auto const keyText = [&]() -> String8 {
                if constexpr (std::is_enum_v<Key> && detail::ChildOnWire<A>) {
                    return valueToStrep(static_cast<Key>(in.nextU32())); // unknown ones are taken
                } else {
                    return valueToStrep(in.template next<Key>());
                }
            };
            if (isDelete) {
                text.key = keyText();
                // A branch for each way in which a member travels. NOLINTNEXTLINE(bugprone-branch-clone)
            } else if constexpr (detail::EmbeddedOnWire<A>) {
                auto const value = in.template next<typename A::Value>();
                text.key = valueToStrep(Key(A::KeyOf::call(value)));
                text.value = valueToStrep(value);
            } else if constexpr (detail::ChildOnWire<A>) {
                text.key = keyText();
                text.entityId = in.nextEntityId().number();
                text.childType = A::Child::_fwkType();
            } else if constexpr (detail::ReferenceOnWire<A>) {
                text.key = keyText();
                text.entityId = in.nextU64();
            } else {
                text.key = keyText();
                text.value = valueToStrep(in.template next<typename A::Value>());
            }
        }
        in.recordEnd();
    });
    return text;
}

/// What AttrLogType says of the class X.
template <class X>
class AttrLogTypeOf final : public AttrLogType {
public:
    constexpr AttrLogTypeOf() noexcept = default;

    Ptr<Entity> newEntity(NboAttrLog::In& in) const override {
        if constexpr (std::is_default_constructible_v<X> && !std::is_constructible_v<X, Name>) {
            in.nextString();
            return makePtr<X>();
        } else {
            return makePtr<X>(in.template next<typename X::ConstructorArgument>());
        }
    }
    AttrLogRecordText recordText(AttributeId attribute, NboAttrLog::In& in) const override {
        return StreamAdapterOf<X>::recordText(attribute, in);
    }
    String8 argumentText(NboAttrLog::In& in) const override {
        using Argument = typename X::ConstructorArgument;
        if constexpr (std::is_void_v<Argument> || std::is_same_v<Argument, Name>) {
            return in.nextString();
        } else {
            return valueToStrep(in.template next<Argument>());
        }
    }
    Ptr<Entity::KorNboAttrLogSa> streamAdapterIs(Entity& entity, Entity::Kor_BitSet flags, unsigned int id,
                                                 Ptr<NboAttrLog::Out> const& out,
                                                 PtrInterface* context) const override {
        if (Ptr<Entity::KorNboAttrLogSa> there = entity.korNboAttrLogSa(out)) {
            if (dynamic_cast<StreamAdapterOf<X>*>(there.ptr()) != nullptr) {
                U32 const mask = Entity::Kor_BitSet::notificationBitMask().word();
                if (((there->kor_bitSet().word() ^ flags.word()) & mask) != 0) {
                    there->notificationFlagsIs(flags);
                }
                return there;
            }
            entity.korNboAttrLogSaDel(out); // of another class
        }
        auto const adapter =
            makePtr<StreamAdapterOf<X>>(flags, id, out, context, Ptr<X>(&static_cast<X&>(entity)));
        adapter->hasNotificationActiveIs(true);
        if (auto* const demuxer = adapter->streamDemuxer()) {
            demuxer->reactorIs(*adapter);
        }
        return adapter;
    }
    void childAttrLogIs(Entity& owner, AttributeId attribute,
                        Ptr<NboAttrLog::Out> const& out) const override {
        if (Ptr<StreamAdapter> const adapter = ptrCast<StreamAdapter>(owner.korNboAttrLogSa(out))) {
            adapter->childAttrLogIs(attribute);
        }
    }
};

/// Makes those of a module's types known to the attribute log, at load, that have one: every `Of`th type from
/// `First` on, so that several files can share the work.
template <class Module, std::size_t First = 0, std::size_t Of = 1>
struct AttrLogTypes;
template <class... T, std::size_t First, std::size_t Of>
struct AttrLogTypes<TypeModuleOf<T...>, First, Of> {
    AttrLogTypes() {
        []<std::size_t... I>(std::index_sequence<I...>) {
            (load<I, T>(), ...);
        }
        (std::index_sequence_for<T...>());
    }

private:
    template <std::size_t I, class X>
    static void load() {
        if constexpr (I % Of == First && detail::hasAttrLog<X>) {
            static constinit AttrLogTypeOf<X> const type;
            AttrLogType::Load(typeName<X>(), type);
        }
    }
};

} // namespace Kor
