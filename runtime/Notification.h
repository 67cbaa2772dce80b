#pragma once

/// Telling the reactors of an entity of a change.
///
///     void reqCountNotify(AradLifEntry const& key) {
///         Kor::notify(notifieeList_, 259, [&](auto& reactor) { reactor.onReqCount(key); });
///     }
///
/// Order: stream adapters first, the latest attached first, then all others in the order of registration.
/// Call it after the change is stored: a handler sees the new state, and may change the entity again, which
/// tells the reactors again, at once and in between.
///
/// Who is told: those who are in the list now. One that joins while the loop runs is not. One that leaves is
/// told all the same if anybody besides this loop still holds it, and is passed over if nobody does.
///
/// A handler's exception is contained: it is counted and traced (runtime/HandlerExceptions.h), the reactor's
/// onNotificationException() runs, and the others are told. An exception from that ends the loop and leaves
/// this function; those behind are then not told.
///
/// Cost. Without reactors one test of the list's count; otherwise a virtual call for each, and one allocation
/// if there are more than a few. One thread, that of the entity.

#include "runtime/Exception.h"
#include "runtime/ListRaw.h"
#include "runtime/Notifiee.h"

namespace Kor {

/// Counts, traces and reports the exception that is being handled, see runtime/HandlerExceptions.h. Called
/// inside a catch.
[[gnu::cold]] KOR_EXPORT void handlerExceptionNote(PtrInterface const& reactor,
                                                   AttributeId attribute) noexcept;

/// Calls one handler of one reactor; its exception is contained.
template <class Reactor, class Handler>
[[gnu::always_inline]] inline void callHandler(Reactor& reactor, AttributeId attribute, Handler&& handler) {
    Expect const expect(Exception::Id::none);
    try {
        handler(reactor);
    } catch (...) {
        handlerExceptionNote(reactor, attribute);
        reactor.onNotificationException(attribute);
    }
}

template <class Reactor, class Handler>
[[gnu::noinline]] void notifyEach(ListRaw<Reactor>& list, AttributeId attribute, Handler const& handler) {
    for (SnapshotIterator<ListRaw<Reactor>> at(&list); at; at.advance()) {
        callHandler(*at, attribute, handler);
    }
}

template <class Reactor, class Handler>
[[gnu::noinline]] void notifyReactors(ListRaw<Reactor>& list, AttributeId attribute, Handler const& handler) {
    if (list.count() == 1) { // as a snapshot of one
        Reactor& sole = *list.head();
        PtrInterface::Keep const keep(sole);
        callHandler(sole, attribute, handler);
        return;
    }
    notifyEach(list, attribute, handler);
}

/// Calls `handler(reactor)` for each reactor of the list.
template <class Reactor, class Handler>
void notify(ListRaw<Reactor>& list, AttributeId attribute, Handler const& handler) {
    if (list.count() != 0) [[unlikely]] {
        notifyReactors(list, attribute, handler);
    }
}

/// Tells the reactors that the last reference to their notifier is gone: an entity's zeroReferencesIs(). If
/// one of them takes a reference the notifier stays; otherwise it ends, and with its list all weak reactors
/// are detached.
template <class Reactor>
void notifyZeroReferences(ListRaw<Reactor>& list) {
    notify(list, referenceCountAttribute, [](Reactor& reactor) { reactor.onZeroReferences(); });
}

} // namespace Kor
