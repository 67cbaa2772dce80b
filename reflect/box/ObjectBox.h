#pragma once

/// The boxes of entities and other counted objects: each holds the object, and hears of its changes by an
/// adapter in the object's list.

#include "reflect/box/ValueBox.h"

#include <array>
#include <span>
#include <string>

namespace Kor {

namespace detail {

template <class X>
class BoxAdapter;
template <class X>
struct Boxed {
    using Notifier = X;
    using Attributes = typename AllAttributes<X>::type;
    using Hearer = BoxAdapter<X>;
};
/// The reactor of a boxed object: it stands in the object's list for the box.
template <class X>
class BoxAdapter final : public NotifieeAdapter<BoxOf<X>, Boxed<X>> {
    using Base = NotifieeAdapter<BoxOf<X>, Boxed<X>>;

public:
    using Base::Base;

    template <class A>
    void changed() {
        if (this->korReactorAdapter() != nullptr) {
            this->korReactorAdapter()->changed(X::template attributeIdOf<typename A::Name>());
        }
    }
    template <class A>
    void changed(typename A::Key const& key) {
        auto& deferred = this->template deferred<keyedPlace<A>()>();
        deferred.key = key;
        if (this->korReactorAdapter() != nullptr) {
            this->korReactorAdapter()->changed(X::template attributeIdOf<typename A::Name>(),
                                               deferred.changes, [&] { return boxOf(key, true); });
        }
    }

    /// An attribute that can wait for delivery: of a keyed one the key and the counter.
    struct Waiting {
        AttributeId attribute;
        U8* changes;
        Ptr<GenericIf> (*key)(BoxAdapter& adapter);
    };
    static std::span<Waiting (*const)(BoxAdapter&)> waiting() {
        return waitingOf(typename AllAttributes<X>::type());
    }

private:
    template <class A>
    static constexpr std::size_t keyedPlace() {
        return placeIn<A>(Where<&Shape::keyed, typename AllAttributes<X>::type>());
    }
    template <class A>
    static Waiting waitingAt([[maybe_unused]] BoxAdapter& adapter) {
        if constexpr (A::shape.keyed) {
            return {X::template attributeIdOf<typename A::Name>(),
                    &adapter.template deferred<keyedPlace<A>()>().changes,
                    [](BoxAdapter& at) { return boxOf(at.template deferred<keyedPlace<A>()>().key, true); }};
        } else if constexpr (A::shape.hasHooks()) {
            return {X::template attributeIdOf<typename A::Name>(), nullptr, nullptr};
        } else {
            return {0, nullptr, nullptr}; // never changes
        }
    }
    template <class... A>
    static std::span<Waiting (*const)(BoxAdapter&)> waitingOf(AttributeList<A...>) {
        static constexpr std::array<Waiting (*)(BoxAdapter&), sizeof...(A)> all{&waitingAt<A>...};
        return all;
    }
};

template <class X>
using ObjectBoxBase =
    std::conditional_t<std::derived_from<X, Entity>, GenericIfEntity, GenericIfPtrInterface>;

/// The object, of which T is the class or a base of it, as that type; raises if it is none of these.
template <class T>
void* objectAs(KorType const* type, T* object) {
    if (type == fwkTypeOf<T>()) {
        return object;
    }
    if constexpr (std::is_void_v<BaseType<T>>) {
        throwUnboxed(type);
    } else {
        return objectAs<BaseType<T>>(type, object);
    }
}

/// A box of the object that a list of arguments makes.
template <class X>
Ptr<GenericIf> boxOfArguments(GenericIf::Key const& arguments) {
    static std::string const what(shortTypeName<X>());
    ArgumentReader reader(arguments.ptr(), what.c_str());
    Ptr<X> made;
    if constexpr (std::is_default_constructible_v<X> && !std::is_constructible_v<X, Name>) {
        made = makePtr<X>();
    } else {
        using Argument = typename X::ConstructorArgument;
        static std::string const name(constructorArgumentName<X>());
        made = makePtr<X>(reader.template next<Argument>(name.c_str()));
    }
    reader.end();
    Ptr<GenericIf> box = KorType::genericIf(made.ptr(), false);
    box->hasNotificationActiveIs(true);
    return box;
}

template <class List>
inline constexpr bool isOverridesOnly = false;
template <class... N>
inline constexpr bool isOverridesOnly<AttributeList<Override<N>...>> = sizeof...(N) != 0;

/// An heir that has no more than other ways to do what its base does.
template <class X>
concept OverridingEntity = PatternEntity<X> && isOverridesOnly<typename X::Attributes>;

} // namespace detail

/// The box of an entity or of another counted object of the pattern. That of an heir with attributes of its
/// own does not derive from that of its base, whose attributes it reaches through the table: one box, one
/// adapter in the object's list. Ask voidPtrIs() for the object as one of its base.
template <detail::PatternEntity X>
class KOR_EXPORT BoxOf<X> : public AdapterOwner<detail::ObjectBoxBase<X>, detail::BoxAdapter<X>> {
    using Base = detail::ObjectBoxBase<X>;
    using Owner = AdapterOwner<Base, detail::BoxAdapter<X>>;

public:
    using typename GenericIf::AttributeOp;
    using typename GenericIf::Key;
    using GenericIf_Adapter_ = detail::BoxAdapter<X>;

    BoxOf(Ptr<X> const& object, bool isConst) : Owner(isConst) {
        this->adapterIs(makePtr<GenericIf_Adapter_>(this), object);
        notifierIs(object);
    }
    ~BoxOf() override { this->adapterDel(); }

    Ptr<X const> obj() const { return held(); }
    Ptr<X> obj() { return held(); }

    KorType* type() const override { return X::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        return detail::objectAs<X>(type.ptr(), object());
    }

    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value) override {
        this->checkWrite(op.opId);
        auto at = detail::reach(detail::BoxTables<X>::table, object(), op.attributeId);
        if constexpr (requires(X const& x) { x.fwkKey(); }) {
            if (op.attributeId == 0) {
                at = {&detail::keyAttribute<X>, object()};
            }
        }
        if (at.attribute == nullptr) {
            return Base::attributeOp(op, key, value);
        }
        Ptr<X> const keep = held(); // a setter's reactors may let the box go
        if constexpr (X::isEntity) {
            return detail::attributeOp(at, this->isConst(), keep.ptr(), op.opId, key, value);
        } else {
            return detail::attributeOp(at, this->isConst(), nullptr, op.opId, key, value);
        }
    }

    void notifierIs(Ptr<PtrInterface const> const& notifier) override {
        Ptr<X const> const object = ptrCast<X const>(notifier);
        if (this->adapter()) {
            this->adapter()->notifierIs(object);
        }
        Base::notifierIs(object);
        this->isRegisteredNotifieeIs(false);
        this->placeIs(detail::BoxTables<X>::table, held().ptr(),
                      X::isEntity ? GenericIf::Holds::entity : GenericIf::Holds::object);
    }
    void korDoZombieReactors(bool zombie) override { this->zombieIs(zombie); }

    using GenericIf::clone;
    Ptr<GenericIf> clone() override {
        auto const copy = makePtr<BoxOf>(held(), this->isConst());
        copy->hasNotificationActiveIs(true);
        return copy;
    }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
        return detail::boxOfArguments<X>(arguments);
    }

    // What the adapter hears.

    void changed(AttributeId attribute) {
        if (isHeard()) [[unlikely]] {
            tell(attribute);
        }
    }
    template <class BoxKey>
    void changed(AttributeId attribute, U8& counter, BoxKey const& boxKey) {
        if (isHeard() && !this->korOnAttribute(attribute, &counter)) {
            this->actsm();
            if (this->listener()) {
                this->onAttribute(attribute, boxKey());
            }
        }
    }
    void handleNotification(ActivityConfig* config) override {
        Ptr<GenericIf_Adapter_> const adapter = this->adapter();
        deliverPendingAmong(
            *this, config, [this](ActivityConfig* c) { Base::handleNotification(c); },
            [&](AttributeId pending) {
                for (auto const at : GenericIf_Adapter_::waiting()) {
                    if (pending > 0 && at(*adapter).attribute == pending) {
                        return true;
                    }
                }
                return false;
            },
            [&](auto const& deliver) {
                for (auto const at : GenericIf_Adapter_::waiting()) {
                    auto const waiting = at(*adapter);
                    if (waiting.attribute == 0) {
                        continue;
                    }
                    if (waiting.changes == nullptr) {
                        deliver(this->scalar(waiting.attribute, [&] { changed(waiting.attribute); }));
                    } else {
                        deliver(BoxedDelivery{
                            waiting.attribute,
                            {*waiting.changes, *waiting.changes == 1 ? waiting.key(*adapter) : nullptr},
                            [&](Ptr<GenericIf> const& key) {
                                changed(waiting.attribute, *waiting.changes, [&] { return key; });
                            }});
                    }
                }
            });
    }

private:
    /// A keyed attribute that waits, with its key in a box.
    struct Deferred {
        U8& changes;
        Ptr<GenericIf> key;
    };
    template <class Handler>
    struct BoxedDelivery {
        AttributeId attribute;
        Deferred deferred;
        Handler handler;
    };
    template <class Handler>
    BoxedDelivery(AttributeId, Deferred, Handler) -> BoxedDelivery<Handler>;

    /// Whether a change leads to anything.
    bool isHeard() { return this->listener() || Base::korFwkActivity() != nullptr; }
    [[gnu::noinline]] void tell(AttributeId attribute) {
        if (!this->korOnAttribute(attribute, nullptr)) {
            this->actsm();
            this->onAttribute(attribute);
        }
    }
    Ptr<X> held() const noexcept {
        return static_cast<X*>(const_cast<PtrInterface*>(this->notifier().ptr()));
    }
    X* object() const {
        Base::object(); // raises if there is none
        return held().ptr();
    }
};

/// The box of an heir that only overrides operations of its base: that of the base, which hears all that can
/// change.
template <detail::OverridingEntity X>
class KOR_EXPORT BoxOf<X> final : public BoxOf<detail::BaseType<X>> {
    using Base = BoxOf<detail::BaseType<X>>;

public:
    using typename GenericIf::Key;

    BoxOf(Ptr<X> const& object, bool isConst) : Base(object, isConst) {}

    Ptr<X const> obj() const { return held(); }
    Ptr<X> obj() { return held(); }

    KorType* type() const override { return X::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        GenericIfPtrInterface::object(); // raises if there is none
        return detail::objectAs<X>(type.ptr(), held().ptr());
    }
    void notifierIs(Ptr<PtrInterface const> const& notifier) override {
        Base::notifierIs(ptrCast<X const>(notifier));
    }

    using GenericIf::clone;
    Ptr<GenericIf> clone() override {
        auto const copy = makePtr<BoxOf>(held(), this->isConst());
        copy->hasNotificationActiveIs(true);
        return copy;
    }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
        return detail::boxOfArguments<X>(arguments);
    }

private:
    Ptr<X> held() const noexcept {
        return static_cast<X*>(const_cast<PtrInterface*>(this->notifier().ptr()));
    }
};

/// The boxes of objects whose class is not known as a type.
template <class X>
requires(std::is_same_v<X, Entity> || std::is_same_v<X, PtrInterface>) class KOR_EXPORT BoxOf<X> final
    : public detail::ObjectBoxBase<X> {
    using Base = detail::ObjectBoxBase<X>;

public:
    BoxOf(Ptr<X> const& object, bool isConst) : Base(isConst) { this->notifierIs(object); }

    KorType* type() const override { return X::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        if (type != X::_fwkType() && type != PtrInterface::_fwkType()) {
            detail::throwUnboxed(type.ptr());
        }
        return &this->object();
    }
    using GenericIf::clone;
    Ptr<GenericIf> clone() override {
        return makePtr<BoxOf>(static_cast<X*>(&this->object()), this->isConst());
    }
};

} // namespace Kor
