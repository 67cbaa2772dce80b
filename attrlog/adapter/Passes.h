#pragma once

/// Kor::detail::PassesOf<X>, the part of the stream adapter of X that sends what waits, in turns: the keys
/// that are marked, each with its last state, and in full passes the whole of an attribute.
///
/// A record that is too long is noted as a handler's exception, and holds up no pass. A pass that stops keeps
/// a copy of its key. One thread, that of the entity.

#include "attrlog/adapter/Sending.h"

#include <optional>

namespace Kor::detail {

template <class X>
class PassesOf : public SendingOf<X> {
    using Base = SendingOf<X>;

public:
    using typename Base::AttrTransactionType, typename Base::FlowOut;

    AttributeId handleAttrFlowOut(AttributeId from) override {
        if (this->flowOut() == nullptr) {
            return 0;
        }
        typename Base::HandlingScheduledFlowOutAnchor const handling(*this);
        this->flowOut()->isStalledIs(false);
        for (auto const& each : this->flowOut()->pendingAbort()) {
            if (!this->continueFlowOut()) {
                return from == 0 ? Entity::nameAttr : from;
            }
            AttributeId const attribute = each.key;
            this->sendTransactionMarker(attribute, AttrTransactionType::abort, 0);
            this->flowOut()->pendingAbortDel(attribute);
        }
        AttributeId resume = 0;
        bool yields = false; // at the next attribute, once the current one is over
        FlowOut::each([&]<class A>() {
            if (resume != 0 || idOf<X, A> < from) {
                return;
            }
            if (yields || !this->continueFlowOut()) {
                resume = idOf<X, A>;
                return;
            }
            this->flowOut()->attrIdIs(idOf<X, A>);
            if constexpr (A::shape.keyed) {
                bool const isOver = korHandleSerializeColl<A>();
                if (this->flowOut()->isStalled() || (!isOver && !this->continueFlowOut())) {
                    resume = idOf<X, A>;
                }
                yields = !this->continueFlowOut();
            } else if (this->template marks<A>().isMarked()) {
                if (!contained<A>([&] { this->template changed<A>(); })) {
                    this->template unmark<A>();
                }
            }
        });
        return resume;
    }
    Ptr<NboAttrLog::FlowOut> flowOutIs(Ptr<NboAttrLog::Out> const&, ConnectDesc const&, bool,
                                       AttributeId start) override {
        return makePtr<FlowOut>(static_cast<U32>(start));
    }
    void korInstantiateSerialize() override {
        forEach(typename Base::Children(), [&]<class A>() {
            if (this->nboAttrLogOut()) {
                this->needFlowOut(idOf<X, A>);
                this->template marks<A>().hasSynced = false;
            }
        });
    }
    /// The whole attribute, as far as it goes; true when it has nothing more to do now.
    template <class A>
    bool korHandleSerializeColl() {
        if (this->flag(Base::Bit::silent)) {
            return false;
        }
        if (!this->mayTell(idOf<X, A>)) {
            return true;
        }
        FlowOut* const waiting = this->flowOut();
        if (waiting == nullptr) {
            return true;
        }
        if ((waiting->korDataBits() & FlowOut::skipsPassBit) != 0 || this->template marks<A>().hasSynced) {
            return dirtyPass<A>();
        }
        using Key = typename A::Key;
        auto& map = mutableMap<A>(*this->notifier());
        using Iterator = typename std::remove_reference_t<decltype(map)>::Iterator;
        Iterator at;
        if (waiting->bookmark() == nullptr) {
            this->sendTransactionMarker(idOf<X, A>, AttrTransactionType::start, 0);
            at = Iterator(&map);
        } else {
            at = Iterator(&map, NboAttrLog::korFlowOutBookmarkDeq<Key>(*waiting));
        }
        // Asks first, so that there is room for each record, and a key is passed only when its record is out.
        while (at && this->continueFlowOut()) {
            contained<A>([&] { this->template send<A>(Base::Sending::now, at->fwkKey(), at.ptr()); });
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
        return this->template marks<A>().dirty.empty();
    }

protected:
    using Base::Base;

private:
    template <class A>
    bool dirtyPass() {
        FlowOut* const waiting = this->flowOut();
        if (waiting->attrId() != idOf<X, A>) {
            return true;
        }
        auto& marks = this->template marks<A>();
        if (!marks.hasSynced) {
            passIsOver<A>();
        }
        using Key = typename A::Key;
        using Dirty = typename Marks<A>::Dirty;
        auto& map = A::Name::map(*this->notifier());
        // The mark knows the hash of its key, which is the one of the entity's map, too.
        auto const leaves = [&](Key const& key, U32 reversed) {
            typename Dirty::KnownHash const known(marks.dirty, key, reversed);
            auto* const member = map.member(key, reversed);
            if (!contained<A>([&] { this->template korHandleSerializeSing<A>(key, member); })) {
                this->template unmark<A>(key);
            }
            return !waiting->isStalled();
        };
        // First what a barrier waits for, in its order: however fast other keys are marked, it has its turn.
        std::optional<Key> before;
        while (std::optional<Key> const key = this->template marks<A>().firstOwed()) {
            if (!this->continueFlowOut() || before == key || !leaves(*key, Dirty::reversedHash(*key))) {
                return false;
            }
            before = key;
        }
        for (auto const& each : marks.dirty) {
            if (!this->continueFlowOut() || !leaves(Key(each.key), HashMember::reversedHash<Key>(each))) {
                return false;
            }
        }
        return true;
    }
    template <class A>
    void passIsOver() {
        this->template marks<A>().hasSynced = true;
        this->sendTransactionMarker(idOf<X, A>, AttrTransactionType::end, 0);
        this->paid(this->template marks<A>().paidForPass());
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
};

} // namespace Kor::detail
