#pragma once

/// How a StreamAdapterOf sends: the announcement of its entity, full passes, and what was marked.

#include "attrlog/adapter/StreamAdapterOf.h"

namespace Kor {

template <class X>
void StreamAdapterOf<X>::serializeOrphanNow(Out& out) {
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
        if constexpr (A::shape.keyed) {
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
    passIsOver<A>();
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
        passIsOver<A>();
    }
    using Key = typename A::Key;
    auto& marks = waiting->template dirty<A>();
    using Marks = std::remove_reference_t<decltype(marks)>;
    auto& map = A::Name::map(*notifier());
    // The mark knows the hash of its key, which is the one of the entity's map, too.
    auto const leaves = [&](Key const& key, U32 reversed) {
        typename Marks::KnownHash const known(marks, key, reversed);
        auto* const member = map.member(key, reversed);
        if (!contained<A>([&] { korHandleSerializeSing<A>(key, member); })) {
            unmark<A>(key);
        }
        return !waiting->isStalled();
    };
    // First what a barrier waits for, in its order: however fast other keys are marked, it has its turn.
    std::optional<Key> before;
    while (std::optional<Key> const key = waiting->template firstOwed<A>()) {
        if (!this->continueFlowOut() || before == key || !leaves(*key, Marks::reversedHash(*key))) {
            return false;
        }
        before = key;
    }
    for (auto const& each : marks) {
        if (!this->continueFlowOut() || !leaves(Key(each.key), HashMember::reversedHash<Key>(each))) {
            return false;
        }
    }
    return true;
}

template <class X>
template <class A>
void StreamAdapterOf<X>::passIsOver() {
    flowOut()->template hasSyncedIs<A>(true);
    this->sendTransactionMarker(idOf<A>, AttrTransactionType::end, 0);
    this->paid(flowOut()->template paidForPass<A>());
}

} // namespace Kor
