#pragma once

/// Kor::StreamAdapterOf<X>, the stream adapter of the entity class X, also named X::KorNboAttrLogSa: all
/// decisions that depend on the attributes of X, made from its attribute list, those of its bases first.
/// attrlog/adapter/StreamAdapter.h tells what an adapter does, with what it costs, raises and leaves out.
/// What it sends is in Sending.h and Passes.h, the records in AttributeRecords.h. Here it joins the entity
/// and leaves it, and applies the peer's records through the entity's own setters; at the end of the peer's
/// pass it removes what the peer has not named.
///
/// It is heavy, and only the source file that makes the classes of a library known needs it:
///
///     static Kor::AttrLogTypes<MyTypes> const attrLogAtLoad;            // attrlog/adapter/AttrLogTypes.h
///
/// There is one for each entity and stream. What it raises passes the record over (Kor::RangeException, as
/// the value's class says) or ends the connection (attrlog/adapter/Demuxer.h). A marker costs a walk of the
/// map.

#include "attrlog/adapter/Passes.h"
#include "runtime/NotifieeOf.h"

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
class StreamAdapterOf final : public AdapterOwner<detail::SendingOf<X>, StreamAdapterTwin<X>> {
    using Base = AdapterOwner<detail::SendingOf<X>, StreamAdapterTwin<X>>;
    using In = NboAttrLog::In;

public:
    using typename Base::AttrTransactionType, typename Base::Bit, typename Base::DeserializationOptions,
        typename Base::SyncMode;
    using KorNboAttrLogSaAdapter_ = StreamAdapterTwin<X>;

    StreamAdapterOf(Entity::Kor_BitSet const& flags, unsigned int n, Ptr<NboAttrLog::Out> const& out,
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

    void doRemountSelf(Ptr<NboAttrLog::Out> const& out) override {
        Ptr<StreamAdapter> const self(this);
        this->children_.delAll();
        StreamAdapter::doRemountSelf(out);
    }
    void korDetach() override {
        Ptr<StreamAdapter> const self(this);
        this->children_.delAll();
        this->adapterDel();
        StreamAdapter::korDetach();
    }

    // What the peer says

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
        bool const known = detail::withAttribute<X>(attribute, [&]<class A>() {
            if constexpr (A::shape.keyed) {
                if (isOpen || (demuxer != nullptr && demuxer->protocol() < 2)) {
                    Ptr<X> const entity = this->notifier();
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
        auto const& out = this->nboAttrLogOut();
        In* const in = given ? given.ptr() : out ? out->reverseLogPtr() : nullptr;
        Ptr<X> const entity = this->notifier();
        if (in == nullptr || !entity) {
            return;
        }
        bool const applies = !given;
        std::optional<typename Base::IsActiveAnchor> active;
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
        bool const known = detail::withAttribute<X>(
            magnitude == directoryAttribute ? childAttribute : magnitude, [&]<class A>() {
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

private:
    /// In a protocol before the second the sync mode stands for the markers of the peer's passes.
    void peerPassesFromSyncMode() {
        auto const* const demuxer = this->streamDemuxer();
        if (demuxer == nullptr || demuxer->protocol() >= 2 || !this->flag(Bit::active)) {
            return;
        }
        bool const begins = this->syncMode() == SyncMode::synchronizing;
        detail::forEach(detail::Where<&Shape::keyed, detail::WireList<X>>(), [&]<class A>() {
            handleAttrTransaction(detail::idOf<X, A>,
                                  begins ? AttrTransactionType::start : AttrTransactionType::end, 0);
        });
    }

    /// The attribute of the children of a directory, whose records may have another id; 0 if there is none.
    static constexpr AttributeId childAttribute = []<class... A>(AttributeList<A...>) {
        return std::array{detail::idOf<X, A>..., AttributeId{0}}.front();
    }(typename Base::Children());

    /// Takes a record of the peer apart, and applies it.
    template <class A>
    void read(X& entity, bool isDelete, In& in, bool applies) {
        static_assert(A::shape.settable, "an attribute that travels is settable: a peer's record sets it");
        if constexpr (!A::shape.keyed) {
            if (isDelete) {
                this->doBaseKorNboAttrLogSaMsg(-detail::idOf<X, A>, in);
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
            this->template changed<A>(key...);
            return;
        }
        in.recordEnd();
        this->template peerGoesBefore<A>(key...);
        apply();
        if constexpr (A::shape.keyed) {
            if (auto const* const member = A::Name::map(entity).recent(key...)) {
                member->korMarkedForDeletionIs(false);
            }
        }
    }
    template <class A>
    void setLookingAhead(X& entity, In& in, typename A::Key const& key, typename A::Value const& value) {
        if constexpr (detail::KeysAhead::canLook<typename A::Key>) {
            auto& map = detail::mutableMap<A>(entity);
            typename std::remove_reference_t<decltype(map)>::KnownHash const known(
                map, key, keysAhead_.reversedHash(in, detail::idOf<X, A>, map, key));
            A::Name::set(entity, key, value);
        } else {
            A::Name::set(entity, key, value);
        }
    }
    template <class A>
    requires(A::shape.child) void readChild(AttributeId attribute, In& in, bool applies) {
        using Key = typename A::Key;
        Ptr<X> const entity = this->notifier();
        auto* const demuxer = this->streamDemuxer();
        U32 behindKey = 0;
        bool isDelete = attribute < 0;
        if (attribute == directoryAttribute || attribute == -directoryAttribute) {
            U32 const behindIds = in.nextU16();
            behindKey = in.nextU16();
            AttributeId found = 0;
            while (found != detail::idOf<X, A> && found != -detail::idOf<X, A>) {
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
        auto const apply = [&] {
            if (isDelete) {
                A::Name::del(*entity, key);
            } else if (demuxer != nullptr) {
                childIs<A>(*entity, *demuxer, key, id);
            }
        };
        received<A>(*entity, in, applies, apply, key);
    }
    /// The child of that key has that id on the stream: the one that is there, or one made now.
    template <class A>
    void childIs(X& entity, NboAttrLog::Demuxer& demuxer, typename A::Key const& key, EntityId id) {
        auto* const there = A::Name::map(entity).member(key);
        auto const* const known = there != nullptr ? this->children_.template of<A>().member(key) : nullptr;
        bool const isMounted = known != nullptr && known->value->korNotifierEntity() == there;
        if (isMounted &&
            (known->value->entityId() == id || !demuxer.checkEphemeralEntityDeletion(*known->value, id))) {
            return;
        }
        demuxer.peerIdMustBeFree(id);
        if (isMounted) { // it gives way
            A::Name::del(entity, key);
            this->flagSet(Bit::active, true);
        }
        Ptr<typename A::Type> child;
        {
            MsgChannel::DeserializingEidAnchor const anchor(demuxer.constrainer(), id, &entity);
            Expect const expect(Exception::Id::nameInUse);
            try {
                child = A::Name::set(entity, key);
            } catch (NameInUseException const&) {
                A::Name::del(entity, key);
                this->flagSet(Bit::active, true);
                child = A::Name::set(entity, key);
            }
            // A handler may have unmounted this entity, or deleted the child again.
            if (this->streamDemuxer() == &demuxer && A::Name::map(entity).member(key) == child.ptr() &&
                demuxer.constrainer().deserializingEid().isAssigned()) {
                this->children_.template nboAttrLogAdapterIs<A>(*this, *child);
            }
        }
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
                if (this->template isKeptBack<A>(key)) {
                    continue; // written here meanwhile
                }
                typename Base::IsActiveAnchor const active(*this);
                A::Name::del(entity, key);
            }
            any = version != map.version();
        }
    }
    /// What the peer has is new and empty: what stood here before goes, but not what was written meanwhile.
    void forgetContent() {
        Ptr<X> const entity = this->notifier();
        Base::FlowOut::each([&]<class A>() {
            if constexpr (A::shape.keyed) {
                sweep<A>(*entity, AttrTransactionType::start);
                sweep<A>(*entity, AttrTransactionType::end);
            } else if (!(A::Name::call(*entity) == A::initial()) && !this->template isKeptBack<A>()) {
                typename Base::IsActiveAnchor const active(*this);
                A::Name::set(*entity, A::initial());
            }
        });
    }

    detail::KeysAhead keysAhead_;
};

} // namespace Kor
