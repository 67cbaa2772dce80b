#pragma once

/// How a StreamAdapterOf applies what its peer sends: markers and the sweep behind a full pass, and records.

#include "attrlog/adapter/StreamAdapterOf.h"

namespace Kor {

template <class X>
void StreamAdapterOf<X>::handleAttrTransaction(AttributeId attribute, AttrTransactionType type,
                                               unsigned int n) {
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

template <class X>
template <class A>
void StreamAdapterOf<X>::sweep(X& entity, AttrTransactionType type) {
    auto const& map = A::Name::map(entity);
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
            A::Name::del(entity, key);
        }
        any = version != map.version();
    }
}

template <class X>
void StreamAdapterOf<X>::forgetContent() {
    Ptr<X> const entity = notifier();
    each([&]<class A>() {
        if constexpr (A::shape.keyed) {
            sweep<A>(*entity, AttrTransactionType::start);
            sweep<A>(*entity, AttrTransactionType::end);
        } else if (!(A::Name::call(*entity) == A::initial()) &&
                   !(this->isHeldBack() && flowOut()->template dirty<A>())) {
            typename StreamAdapter::IsActiveAnchor const active(*this);
            A::Name::set(*entity, A::initial());
        }
    });
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

template <class X>
template <class A>
void StreamAdapterOf<X>::read(X& entity, bool isDelete, In& in, bool applies) {
    if constexpr (!A::shape.keyed) {
        if (isDelete) {
            this->doBaseKorNboAttrLogSaMsg(-idOf<A>, in);
            return;
        }
        auto const value = in.template next<typename A::Type>();
        if (applies) {
            in.recordEnd();
            peerGoesBefore<A>();
            A::Name::set(entity, value);
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
            if (auto const* const member = A::Name::map(entity).recent(key)) {
                member->korMarkedForDeletionIs(false);
            }
        };
        if (isDelete) {
            Key const key = in.template next<Key>();
            applied(key, [&] { A::Name::del(entity, key); });
            // A branch for each way in which a member travels. NOLINTNEXTLINE(bugprone-branch-clone)
        } else if constexpr (A::shape.keyInside) {
            auto const value = in.template next<typename A::Value>();
            applied(Key(A::KeyName::call(value)), [&] { A::Name::set(entity, value); });
        } else if constexpr (A::shape.reference) {
            Key const key = in.template next<Key>();
            Ptr<Entity> const named = in.nextEntity();
            Ptr<typename A::Type> const referred = ptrCast<typename A::Type>(named);
            if (named && !referred) {
                throw AttrLogEntityException();
            }
            applied(key, [&] { A::Name::set(entity, key, referred); });
        } else {
            Key const key = in.template next<Key>();
            auto const value = in.template next<typename A::Value>();
            applied(key, [&] {
                if constexpr (canLookAhead<Key>) {
                    auto& map = mutableMap<A>(entity);
                    typename std::remove_reference_t<decltype(map)>::KnownHash const known(
                        map, key, hashLookingAhead<A>(map, key, in));
                    A::Name::set(entity, key, value);
                } else {
                    A::Name::set(entity, key, value);
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
        if (auto* const demuxer = this->streamDemuxer(); demuxer != nullptr && !isEnumerator<K>(number)) {
            demuxer->unknownEnumsInc(1);
        }
        return static_cast<K>(number);
    } else {
        return in.template next<K>();
    }
}

template <class X>
template <class A>
requires(A::shape.child) void StreamAdapterOf<X>::readChild(AttributeId attribute, In& in, bool applies) {
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

template <class X>
AttrLogRecordText StreamAdapterOf<X>::recordText(AttributeId attribute, In& in) {
    AttrLogRecordText text;
    bool const isDelete = attribute < 0;
    with(magnitudeOf(attribute), [&]<class A>() {
        text.attribute = A::Name::text;
        if constexpr (!A::shape.keyed) {
            text.value = isDelete ? String8() : valueToStrep(in.template next<typename A::Type>());
        } else {
            using Key = typename A::Key;
            auto const keyText = [&]() -> String8 {
                if constexpr (std::is_enum_v<Key> && A::shape.child) {
                    return valueToStrep(static_cast<Key>(in.nextU32())); // unknown ones are taken
                } else {
                    return valueToStrep(in.template next<Key>());
                }
            };
            if (isDelete) {
                text.key = keyText();
                // A branch for each way in which a member travels. NOLINTNEXTLINE(bugprone-branch-clone)
            } else if constexpr (A::shape.child) {
                text.key = keyText();
                text.entityId = in.nextEntityId().number();
                text.childType = A::Type::_fwkType();
            } else if constexpr (A::shape.keyInside) {
                auto const value = in.template next<typename A::Value>();
                text.key = valueToStrep(Key(A::KeyName::call(value)));
                text.value = valueToStrep(value);
            } else if constexpr (A::shape.reference) {
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

} // namespace Kor
