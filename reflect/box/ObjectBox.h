#pragma once

/// The boxes of entities and other counted objects: each holds the object, and hears of its changes by an
/// adapter in the object's list.

#include "reflect/box/ValueBox.h"

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
        auto& deferred = waiting<A>();
        deferred.key = key;
        if (this->korReactorAdapter() != nullptr) {
            this->korReactorAdapter()->changed(X::template attributeIdOf<typename A::Name>(),
                                               deferred.changes, [&] { return boxOf(key, true); });
        }
    }

    /// What waits for delivery of a keyed attribute.
    template <class A>
    auto& waiting() {
        return this->template deferred<placeIn<A>(Where<&Shape::keyed, typename AllAttributes<X>::type>())>();
    }
};

template <class... A>
Joined<std::conditional_t<A::shape.hasHooks(), AttributeList<A>, AttributeList<>>...>
    hookedIn(AttributeList<A...>);
template <class X>
using HookedAttributes = typename decltype(hookedIn(typename AllAttributes<X>::type()))::type;

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
    ArgumentReader reader(arguments.ptr(), shortTypeName<X>());
    Ptr<X> made;
    if constexpr (std::is_default_constructible_v<X> && !std::is_constructible_v<X, Name>) {
        made = makePtr<X>();
    } else {
        using Argument = typename X::ConstructorArgument;
        made = makePtr<X>(reader.template next<Argument>(constructorArgumentName<X>()));
    }
    reader.end();
    return GenericIf::active(KorType::genericIf(made.ptr(), false));
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
    Ptr<GenericIf> clone() override { return GenericIf::active(makePtr<BoxOf>(held(), this->isConst())); }

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
        [&]<class... A>(AttributeList<A...>) {
            this->deliver(config, delivery<A>(*adapter)...);
        }(detail::HookedAttributes<X>());
    }

private:
    template <class A>
    auto delivery([[maybe_unused]] GenericIf_Adapter_& adapter) {
        constexpr AttributeId attribute = X::template attributeIdOf<typename A::Name>();
        if constexpr (A::shape.keyed) {
            auto& waiting = adapter.template waiting<A>();
            return this->keyed(attribute, waiting, [this, &waiting](typename A::Key const& key) {
                changed(attribute, waiting.changes, [&] { return boxOf(key, true); });
            });
        } else {
            return this->scalar(attribute, [this] { changed(attribute); });
        }
    }

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

/// The box of an heir that only overrides operations: that of its base, which hears all that can change.
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
    Ptr<GenericIf> clone() override { return GenericIf::active(makePtr<BoxOf>(held(), this->isConst())); }

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
