#pragma once

/// How the stream adapter of X (Kor::detail::SendingOf<X>) sends what waits, in turns: the keys that are
/// marked, each with its last state, and in full passes the whole of an attribute.
///
/// A record that is too long is noted as a handler's exception, and holds up no pass. A pass that stops keeps
/// a copy of its key. One thread, that of the entity.

#include "attrlog/adapter/Sending.h"

#include <optional>

namespace Kor::detail {

template <class X>
AttributeId SendingOf<X>::handleAttrFlowOut(AttributeId from) {
    if (flowOut() == nullptr) {
        return 0;
    }
    HandlingScheduledFlowOutAnchor const handling(*this);
    Ptr<X> const entity = notifier(); // which the hook of exceptions may unmount and let go of
    Ptr<FlowOut> const waiting = flowOut();
    waiting->isStalledIs(false);
    for (auto const& each : waiting->pendingAbort()) {
        if (!continueFlowOut()) {
            return from == 0 ? Entity::nameAttr : from;
        }
        AttributeId const attribute = each.key;
        sendTransactionMarker(attribute, AttrTransactionType::abort, 0);
        waiting->pendingAbortDel(attribute);
    }
    AttributeId resume = 0;
    bool yields = false; // at the next attribute, once the current one is over
    FlowOut::each([&]<class A>() {
        if (resume != 0 || idOf<X, A> < from) {
            return;
        }
        if (yields || !continueFlowOut()) {
            resume = idOf<X, A>;
            return;
        }
        waiting->attrIdIs(idOf<X, A>);
        if constexpr (A::shape.keyed) {
            bool const isOver = korHandleSerializeColl<A>();
            if (waiting->isStalled() || (!isOver && !continueFlowOut())) {
                resume = idOf<X, A>;
            }
            yields = !continueFlowOut();
        } else if (marks<A>().isMarked() && !contained<A>([&] { changed<A>(); })) {
            unmark<A>();
        }
    });
    return resume;
}

template <class X>
void SendingOf<X>::korInstantiateSerialize() {
    forEach(Children(), [&]<class A>() {
        if (nboAttrLogOut()) {
            needFlowOut(idOf<X, A>);
            marks<A>().hasSynced = false;
        }
    });
}

template <class X>
template <class A>
bool SendingOf<X>::korHandleSerializeColl() {
    if (flag(Bit::silent)) {
        return false;
    }
    if (!mayTell(idOf<X, A>) || flowOut() == nullptr) {
        return true;
    }
    FlowOut* const waiting = flowOut();
    if ((waiting->korDataBits() & FlowOut::skipsPassBit) != 0 || marks<A>().hasSynced) {
        return dirtyPass<A>();
    }
    using Key = typename A::Key;
    auto& map = mutableMap<A>(*notifier());
    using Iterator = typename std::remove_reference_t<decltype(map)>::Iterator;
    Iterator at;
    if (waiting->bookmark() == nullptr) {
        sendTransactionMarker(idOf<X, A>, AttrTransactionType::start, 0);
        at = Iterator(&map);
    } else {
        at = Iterator(&map, NboAttrLog::korFlowOutBookmarkDeq<Key>(*waiting));
    }
    // Asks first, so that there is room for each record, and a key is passed only when its record is out.
    while (at && continueFlowOut()) {
        contained<A>([&] { send<A>(Sending::now, at->fwkKey(), at.ptr()); });
        if (waiting->isStalled()) {
            break;
        }
        at.advance();
    }
    if (flowOut() != waiting) {
        return true; // unmounted meanwhile
    }
    if (at) {
        NboAttrLog::korFlowOutBookmarkEnq<Key>(*waiting, at->fwkKey());
        return false;
    }
    passIsOver<A>();
    return marks<A>().dirty.empty();
}

template <class X>
template <class A>
bool SendingOf<X>::dirtyPass() {
    FlowOut* const waiting = flowOut();
    if (waiting->attrId() != idOf<X, A>) {
        return true;
    }
    auto& marks = this->template marks<A>();
    if (!marks.hasSynced) {
        passIsOver<A>();
    }
    using Key = typename A::Key;
    using Dirty = typename Marks<A>::Dirty;
    auto& map = A::Name::map(*notifier());
    // The mark knows the hash of its key, which is the one of the entity's map, too.
    auto const leaves = [&](Key const& key, U32 reversed) {
        typename Dirty::KnownHash const known(marks.dirty, key, reversed);
        auto* const member = map.member(key, reversed);
        if (!contained<A>([&] { korHandleSerializeSing<A>(key, member); })) {
            unmark<A>(key);
        }
        return !waiting->isStalled();
    };
    // First what a barrier waits for, in its order: however fast other keys are marked, it has its turn.
    std::optional<Key> before;
    while (std::optional<Key> const key = marks.firstOwed()) {
        if (!continueFlowOut() || before == key || !leaves(*key, Dirty::reversedHash(*key))) {
            return false;
        }
        before = key;
    }
    for (auto const& each : marks.dirty) {
        if (!continueFlowOut() || !leaves(Key(each.key), HashMember::reversedHash<Key>(each))) {
            return false;
        }
    }
    return true;
}

} // namespace Kor::detail
