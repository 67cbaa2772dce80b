#pragma once

/// What the reactor class of an entity is made of, so that the entity has only to name its hooks:
///
///     class Port : public Kor::Entity {
///     public:
///         class NotifieeConst : public Kor::NotifieeOf<NotifieeConst, Port, Kor::Entity::NotifieeConst, Key> {
///         public:
///             virtual void onSpeed() {}                      // a scalar attribute
///             virtual void onCount(Key const&) {}            // a keyed attribute: its key is in the list above
///             virtual void onCountkorImmediate() {}
///             virtual void onCount() {}
///         };
///         class Notifiee : public NotifieeConst {};
///
///     private:
///         friend Kor::NotifieeAccess;
///         mutable Kor::ListRaw<NotifieeConst> notifieeList_;
///     };
///
/// Kor::NotifieeAdapter is the base of the small reactor that stands in an entity's list for another object,
/// its owner; Kor::AdapterOwner is the owner's side.
///
/// Joining costs constant time, leaving a walk of the list. One thread: that of the entity.

#include "runtime/ListRaw.h"
#include "runtime/Notifiee.h"

#include <tuple>

namespace Kor {

/// How a reactor reaches the list of its notifier.
struct NotifieeAccess {
    template <class X>
    static auto& list(X const& notifier) noexcept {
        return notifier.notifieeList_;
    }
};

/// The key that a keyed attribute changed at last, and the number of changes that wait for delivery.
template <class Key>
struct DeferredKey {
    Key key{};
    U8 changes = 0;
};

/// The reactor class `Derived` of the notifier class `X`: joining and leaving its list. `Keys` are the key
/// types of the keyed attributes, in their order.
template <class Derived, class X, class Base = PtrInterface::NotifieeConst, class... Keys>
class NotifieeOf : public Base {
public:
    /// How many keyed attributes can wait for delivery.
    static constexpr std::size_t deferredKeys = sizeof...(Keys);

    // Also while the notifier ends, when it is the same object but no longer the whole of one.
    __attribute__((no_sanitize("vptr"))) X const* notifier() const noexcept {
        return static_cast<X const*>(Base::notifier().ptr());
    }

    Name name() const override {
        if constexpr (requires(X const& x) { Name(x.name()); }) {
            return notifier() != nullptr ? Name(notifier()->name()) : Name();
        } else {
            return Base::name();
        }
    }

    void isRegisteredNotifieeIs(bool registered) const override {
        if (this->isRegisteredNotifiee() == registered) {
            return;
        }
        X const* const x = notifier();
        if (x != nullptr) {
            leave(*x);
        }
        this->registeredFlagIs(registered);
        if (x != nullptr) {
            join(*x);
        }
    }

    /// A notifier of another class counts as none.
    void notifierIs(Ptr<PtrInterface const> const& notifierOrNull) override {
        Ptr<X const> const after = ptrCast<X const>(notifierOrNull);
        Ptr<X const> const before = notifier();
        if (after == before) {
            return;
        }
        Base::notifierIs(after);
        if (before) {
            leave(*before);
        }
        if (after) {
            join(*after);
        }
    }

    ~NotifieeOf() override {
        if (notifier() != nullptr) {
            leave(*notifier());
        }
    }

protected:
    NotifieeOf() = default;

    void deferredDel() noexcept override {
        std::apply([](auto&... each) { ((each.changes = 0), ...); }, deferred_);
        Base::deferredDel();
    }

    /// What waits for delivery of the keyed attribute number `i`.
    template <std::size_t i>
    auto& deferred() noexcept {
        return std::get<i>(deferred_);
    }

private:
    friend ListMember;

    // A registered reactor is in the list; one that is not is parked there if it is weak.
    void join(X const& x) const {
        auto& list = NotifieeAccess::list(x);
        if (!this->isRegisteredNotifiee()) {
            if (this->isWeakReference()) {
                list.park(derived());
            }
        } else if (isStreamAdapterReactor(*this->korReactor())) {
            list.newMemberHead(derived());
        } else {
            list.newMemberTail(derived());
        }
    }
    void leave(X const& x) const {
        auto& list = NotifieeAccess::list(x);
        this->isRegisteredNotifiee() ? list.deleteMember(derived()) : list.unpark(derived());
    }
    void onWeakReference() override {
        if (!this->isRegisteredNotifiee()) {
            auto& list = NotifieeAccess::list(*notifier());
            this->isWeakReference() ? list.park(derived()) : list.unpark(derived());
        }
    }
    // The notifier ends and has let this reactor go.
    void notifierEnded() noexcept {
        if (this->isWeakReference()) {
            this->notifierIs(nullptr);
        }
    }

    // Also while the object ends, when the list still knows it by this address.
    __attribute__((no_sanitize("vptr"))) Derived& derived() const noexcept {
        return static_cast<Derived&>(const_cast<NotifieeOf&>(*this));
    }

    [[no_unique_address]] std::tuple<DeferredKey<Keys>...> deferred_;
    Derived* next = nullptr;
};

/// The reactor class that a NotifieeAdapter derives from: the one that it is given, or the one that a tag
/// stands for, which keeps the names of types short.
template <class Notifiee>
struct NotifieeNamed {
    using type = Notifiee;
};

/// A reactor in the list of an entity that stands for its owner, such as a stream adapter. `Notifiee` is the
/// entity's reactor class; the derived class forwards the hooks of the attributes.
///
/// The owner holds the adapter; the adapter points back without a count, and to the entity with a weak
/// reference, so that the entity does not stay alive for the sake of its own observers.
template <class Owner, class Notifiee>
class NotifieeAdapter : public NotifieeNamed<Notifiee>::type {
    using Below = typename NotifieeNamed<Notifiee>::type;

public:
    explicit NotifieeAdapter(Owner* owner) : owner_(owner) {}

    Owner* korReactorAdapter() const noexcept { return owner_; }
    void korReactorAdapterIs(Owner* owner) noexcept { owner_ = owner; }

    PtrInterface::NotifieeConst* korRawReactor() const override {
        return owner_ != nullptr ? owner_ : Below::korRawReactor();
    }

    void onNotificationException(AttributeId attribute) override {
        if (owner_ != nullptr) {
            owner_->onNotificationException(attribute);
        }
    }
    void onZeroReferences() override {
        if (owner_ != nullptr) {
            owner_->onZeroReferences();
        }
        hasNotificationActiveIs(false);
    }

    /// Without a notifier from now on, a weak owner must not go on pointing at the same one.
    void notifierIs(Ptr<PtrInterface const> const& notifier) override {
        Ptr<PtrInterface const> const before = Below::notifier();
        Below::notifierIs(notifier);
        if (before && Below::notifier() == nullptr && owner_ != nullptr && owner_->isWeakReference() &&
            owner_->notifier() == before) {
            owner_->notifierIs(nullptr);
        }
    }

    /// The owner follows, unless this is a zombie.
    void hasNotificationActiveIs(bool active) override {
        if (this->hasNotificationActive() == active) {
            return;
        }
        Below::hasNotificationActiveIs(active);
        if (owner_ != nullptr && !this->korMarkedForDeletion()) {
            owner_->hasNotificationActiveIs(active);
        }
    }

    /// A zombie stays in memory but is out of the list until it is revived.
    void korDoZombieReactors(bool zombie) {
        if (zombie == this->korMarkedForDeletion()) {
            return;
        }
        if (this->notifier() != nullptr) {
            hasNotificationActiveIs(!zombie);
        }
        this->korMarkedForDeletionIs(zombie);
    }

private:
    Owner* owner_;
};

/// The owner's side of an adapter, on top of the owner's own base class. The derived class calls adapterIs()
/// when it is built and adapterDel() first thing in its destructor.
template <class Base, class Adapter>
class AdapterOwner : public Base {
public:
    using Base::Base;

    /// The adapter follows, also where it has come to differ: a zombie that was revived.
    void hasNotificationActiveIs(bool active) override {
        if (this->hasNotificationActive() != active) {
            Base::hasNotificationActiveIs(active);
        }
        if (adapter_) {
            adapter_->hasNotificationActiveIs(active);
        }
    }

    /// The body of the owner's korDoZombieReactors().
    void zombieIs(bool zombie) {
        if (zombie == this->korMarkedForDeletion()) {
            return;
        }
        if (adapter_) {
            adapter_->korDoZombieReactors(zombie);
            if (!zombie && adapter_->hasNotificationActive()) {
                Base::hasNotificationActiveIs(true); // what is delivered to it later is not to be dropped
            }
        }
        this->korMarkedForDeletionIs(zombie);
    }

    Ptr<Adapter> const& adapter() const noexcept { return adapter_; }

protected:
    ~AdapterOwner() override { adapterDel(); }

    /// Puts a new adapter, which was built with this object as its owner, into the notifier's list.
    void adapterIs(Ptr<Adapter> adapter, Ptr<PtrInterface const> const& notifier) {
        adapter_ = std::move(adapter);
        adapter_->isRegisteredNotifieeIs(true);
        adapter_->notifierIs(notifier);
        adapter_->isWeakReferenceIs(true);
    }

    /// Undoes adapterIs(), in the reverse order. May be called again.
    void adapterDel() {
        if (!adapter_) {
            return;
        }
        adapter_->isWeakReferenceIs(false);
        adapter_->hasNotificationActiveIs(false);
        adapter_->notifierIs(nullptr);
        adapter_->korReactorAdapterIs(nullptr);
        adapter_ = nullptr;
    }

private:
    Ptr<Adapter> adapter_;
};

} // namespace Kor
