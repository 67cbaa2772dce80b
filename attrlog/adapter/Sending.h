#pragma once

/// Kor::detail::SendingOf<X>, the part of the stream adapter of X that tells the peer of a change: one record
/// now, or a mark in the flow-out (attrlog/adapter/FlowOutOf.h) when there is no room; and of children, their
/// announcement. What is marked leaves with attrlog/adapter/Passes.h, which has the rest of the class.
///
/// A hook raises Kor::RangeException for a record that is longer than the stream takes, and for a change of
/// what is read-only here. It allocates for a mark and for what is new on the stream. One thread.

#include "attrlog/adapter/Demuxer.h"
#include "attrlog/adapter/FlowOutOf.h"
#include "attrlog/adapter/MountedChildren.h"
#include "reflect/type/AttrLogType.h"

namespace Kor::detail {

template <class X>
class SendingOf : public StreamAdapter {
public:
    using FlowOut = FlowOutOf<X>;

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
        } else if (Sending const what = sending(idOf<X, A>); what != Sending::no) {
            send<A>(what, key, A::Name::map(*notifier()).recent(key));
        }
    }
    /// The hook of a scalar one.
    template <class A>
    void changed() {
        Sending const what = sending(idOf<X, A>);
        if (what == Sending::marked) {
            mark<A>();
        } else if (what == Sending::now) {
            unmark<A>();
            constexpr std::size_t size = NboAttrLog::detail::fixedSize<typename A::Type>();
            NboAttrLog::MsgHeader fixed = recordHeader(entityId(), idOf<X, A>);
            fixed.variableLength = size == 0;
            fixed.fixedLength = static_cast<U32>(size);
            writeRecord(*nboAttrLogOut(), fixed, A::Name::call(*notifier()));
        }
    }
    void doNotification(AttributeId attribute, void* key) override {
        withAttribute<X>(magnitudeOf(attribute), [&]<class A>() {
            if constexpr (A::shape.keyed) {
                changed<A>(*static_cast<typename A::Key const*>(key));
            } else {
                changed<A>();
            }
        });
    }
    /// One key: `member` is what the entity has for it, null for a deletion.
    template <class A, class Member>
    void korHandleSerializeSing(typename A::Key const& key, Member* member) {
        send<A>(sending(idOf<X, A>), key, member);
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
    AttributeId handleAttrFlowOut(AttributeId from) override;
    Ptr<NboAttrLog::FlowOut> flowOutIs(Ptr<NboAttrLog::Out> const&, ConnectDesc const&, bool,
                                       AttributeId start) override {
        return makePtr<FlowOut>(static_cast<U32>(start));
    }
    void korInstantiateSerialize() override;
    /// The whole attribute, as far as it goes; true when it has nothing more to do now.
    template <class A>
    bool korHandleSerializeColl();
    void childAttrLogIs(AttributeId attribute) override {
        withAttribute<X, Children>(attribute, [&]<class A>() {
            for (auto& child : A::Name::map(*notifier())) {
                korHandleSerializeSing<A>(child.fwkKey(), const_cast<typename A::Type*>(&child));
            }
        });
    }

protected:
    using Wire = WireList<X>;
    using Children = typename MountedChildren<X>::List;
    using Out = NboAttrLog::Out;
    using StreamAdapter::StreamAdapter;

    // Marks

    /// The marks of an attribute. There is a flow-out.
    template <class A>
    auto& marks() const noexcept {
        return flowOut()->template marks<A>();
    }
    template <class A, class... Key>
    void unmark(Key const&... key) {
        if (flowOut() != nullptr && marks<A>().unmark(key...)) {
            noteClean();
            paid(marks<A>().paidFor(key...));
        }
    }
    /// Whether a key, or a scalar, has changed here since the peer's full state began to come.
    template <class A, class... Key>
    bool isKeptBack(Key const&... key) const {
        return isHeldBack() && marks<A>().isMarked(key...);
    }
    /// While the peer's first full state comes, what it says goes before what has changed here meanwhile.
    template <class A, class... Key>
    void peerGoesBefore(Key const&... key) {
        if (flag(Bit::awaitsPass) && !hasSent_ && isHeldBack()) {
            unmark<A>(key...);
        }
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

    [[no_unique_address]] MountedChildren<X> children_;

private:
    /// Marks a scalar, or a key with its hash.
    template <class A, class... Key>
    void mark(Key const&... key) {
        noteDirty(marks<A>().mark(key...));
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
    /// The key waits, and the flow-out with it, until an id can be had.
    template <class A>
    void stall(typename A::Key const& key) {
        needFlowOut(idOf<X, A>);
        mark<A>(key, Marks<A>::Dirty::reversedHash(key));
        flowOut()->isStalledIs(true);
    }
    /// While it lives, what begins to be sent, a child or what is referred to, is owed to the barrier that
    /// waits for the key.
    template <class A>
    Scoped<U64> owing(NboAttrLog::Demuxer& demuxer, typename A::Key const& key) {
        return {demuxer.owing(), flowOut() != nullptr ? marks<A>().owedFor(key) : 0};
    }

    // What waits, in Passes.h

    template <class A>
    bool dirtyPass();
    template <class A>
    void passIsOver() {
        marks<A>().hasSynced = true;
        sendTransactionMarker(idOf<X, A>, AttrTransactionType::end, 0);
        paid(marks<A>().paidForPass());
    }
    /// A record that cannot be written, since it is too long, does not hold up the pass; whether it was.
    template <class A, class Write>
    bool contained(Write const& write) {
        try {
            write();
            return true;
        } catch (Exception const&) {
            handlerExceptionNote(*this, idOf<X, A>);
            return false;
        }
    }

    // Records

    template <class A, class Member>
    void writeKeyed(typename A::Key const& key, Member* member) {
        Out& out = *nboAttrLogOut();
        if constexpr (A::shape.child) {
            writeChild<A>(key, member);
        } else {
            // Another record for each kind of map. NOLINTBEGIN(bugprone-branch-clone)
            if (member == nullptr) {
                writeRecord(out, recordHeader(entityId(), -idOf<X, A>), key);
            } else if constexpr (A::shape.reference) {
                if (!writeReference<A>(key, *member->value)) {
                    stall<A>(key);
                    return;
                }
            } else if constexpr (A::shape.keyInside) {
                writeRecord(out, recordHeader(entityId(), idOf<X, A>), member->value);
            } else if constexpr (Out::isRecord<typename A::Key, typename A::Value>) {
                headers_.write(out, placeIn<A>(Wire()), entityId(), idOf<X, A>, key, member->value);
            } else {
                writeRecord(out, recordHeader(entityId(), idOf<X, A>), key, member->value);
            }
            // NOLINTEND(bugprone-branch-clone)
            unmark<A>(key);
        }
    }
    /// Whether it has room, and an id.
    template <class A>
    bool writeReference(typename A::Key const& key, Entity& entity) {
        EntityId id;
        if (auto* const demuxer = streamDemuxer()) {
            auto const scope = owing<A>(*demuxer, key);
            Expect const expect(Exception::Id::attrLogRecord);
            try {
                id = demuxer->entityIdOf(entity, Kor_BitSet(1u << Bit::weak), rootId());
            } catch (EntityIdUnavailableException const&) {
                return false;
            }
        }
        bool const hasRoom = nboAttrLogOut()->hasSufficientBuffer();
        if (hasRoom) {
            writeRecord(*nboAttrLogOut(), recordHeader(entityId(), idOf<X, A>), key, id.number());
        }
        return hasRoom;
    }

    // Children

    template <class A>
    void childChanged(typename A::Key const& key) {
        auto* const child = A::Name::map(*notifier()).member(key);
        if (child == nullptr) {
            children_.template nboAttrLogAdapterDel<A>(key);
        } else if (auto* const demuxer = streamDemuxer();
                   demuxer != nullptr && flag(Bit::active) &&
                   demuxer->constrainer().deserializingInParent() == notifier() &&
                   demuxer->constrainer().deserializingEid().isAssigned()) {
            // First of all reactors: what the others write to the child is sent.
            children_.template nboAttrLogAdapterIs<A>(*this, *child);
        }
        korHandleSerializeSing<A>(key, child);
    }
    template <class A>
    void writeChild(typename A::Key const& key, typename A::Type const* child) {
        auto const* const before = children_.template of<A>().member(key);
        bool const isOther = before != nullptr && before->value->korNotifierEntity() != child;
        if (child == nullptr || isOther) { // another child of the key since: the peer hears of both
            children_.template nboAttrLogAdapterDel<A>(key);
            writeRecord(*nboAttrLogOut(), recordHeader(entityId(), -idOf<X, A>), key);
            if (child == nullptr) {
                unmark<A>(key);
                return;
            }
            if (!nboAttrLogOut()->hasSufficientBuffer()) {
                stall<A>(key);
                return;
            }
        }
        auto* const demuxer = streamDemuxer();
        if (demuxer == nullptr) {
            return; // a stream alone has no ids to give
        }
        auto const scope = owing<A>(*demuxer, key);
        auto const [adapter, isNew] =
            children_.template nboAttrLogAdapterIs<A>(*this, *const_cast<typename A::Type*>(child));
        unmark<A>(key);
        if (!adapter || (!isNew && adapter->flag(Bit::announced))) {
            return;
        }
        writeRecord(*nboAttrLogOut(), recordHeader(entityId(), idOf<X, A>, announcedChildAttribute), key,
                    adapter->entityId());
        doFixChildFlags(adapter);
        if (syncMode() == SyncMode::synchronizing || flag(Bit::inFlowOut) ||
            (isNew && adapter->hasContent())) {
            adapter->doThis();
        } else if (isNew) { // the peer keeps its own changes of it back until it hears that nothing comes
            adapter->sendSyncMode(SyncMode::synchronized);
        }
    }

    // The announcement

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
            to.put(entityId());
            putRootName(to);
        });
    }
    /// What the constructor was given.
    template <class T>
    void putKey(Out& out) {
        if constexpr (hasKey<typename T::Attributes>) {
            out.put(AttributeAt<0, typename T::Attributes>::type::Name::call(*notifier()));
        } else if constexpr (requires { typename T::BaseEntity::Attributes; }) {
            putKey<typename T::BaseEntity>(out);
        }
    }
    template <class T>
    static void putTypes(Out& out) {
        out.put(TypeId(T::_fwkType()->typeName()));
        if constexpr (derivationLevel<typename T::BaseEntity>() > 1) {
            putTypes<typename T::BaseEntity>(out);
        }
    }

    KeptHeaders<Wire::size> headers_;
    // Whether the peer may have heard of a key from here.
    bool hasSent_ = false;
};

} // namespace Kor::detail
