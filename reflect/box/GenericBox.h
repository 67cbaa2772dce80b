#pragma once

/// Kor::BoxOf<T>, the box of the type T, as `X::GenericIf_` (of an enumeration X, `X_GenericIf_`): one
/// template for each kind of type, filled from T's declaration. The boxes of values, scalars, strings and
/// enumerators hold a copy; those of entities and other counted objects hold the object, and hear of its
/// changes by an adapter in the object's list.
///
/// Like reflect/registry/TypeOf.h, which includes it, this header is for the source files that instantiate.
/// All others get boxes without it, from a value or from a type object:
///
///     Kor::Ptr<Kor::GenericIf> const box = Kor::boxOf(U32{4});
///
/// Costs, errors and thread are those of reflect/box/GenericIf.h. A box of an object joins the object's list.

#include "reflect/box/Boxing.h"

#include <string>

namespace Kor {

namespace detail {

struct PlainBox : GenericIf {
    template <class T>
    PlainBox(T const&, bool isConst) : GenericIf(isConst) {}
};

/// The box of a value, on that of the base value. The tables reach all attributes in this box's own copy, so
/// that those of the base and of the derived class tell the same.
template <class T, class Below>
class KOR_EXPORT ValueBox : public Below {
public:
    using typename GenericIf::AttributeOp;
    using typename GenericIf::Key;
    using typename GenericIf::OpId;

    ValueBox(T const& value, bool isConst) : Below(value, isConst), value_(value) {
        this->registeredFlagIs(true); // such a box observes nothing
        this->placeIs(detail::BoxTables<T>::table, &value_, false);
    }

    KorType* type() const override { return fwkTypeOf<T>(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        if (type != fwkTypeOf<T>()) {
            detail::throwUnboxed(type.ptr());
        }
        return const_cast<T*>(&value_);
    }
    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value) override {
        if (op.attributeId == 0 && op.opId == OpId::equals) {
            T const other = unbox<T>(detail::needKey(key, "korOpArg"));
            return boxOf<bool>(value_ == other, this->isConst());
        }
        // This box has a table of all. NOLINTNEXTLINE(bugprone-parent-virtual-call)
        return GenericIf::attributeOp(op, key, value);
    }
    String8 strRep() const override {
        if constexpr (std::is_pointer_v<T>) {
            return "'buffer'";
        } else {
            return valueToStrep(value_);
        }
    }
    using GenericIf::clone;
    Ptr<GenericIf> clone() override { return GenericIf::active(makePtr<BoxOf<T>>(value_, this->isConst())); }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
        ArgumentReader reader(arguments.ptr(), shortTypeName<T>());
        T value{}; // of an empty list
        if (!reader.empty()) {
            if constexpr (PatternValue<T>) {
                value = std::apply([](auto const&... each) { return T(each...); }, reader.all(StoredIn<T>()));
            } else {
                value = reader.template next<T>("value");
                reader.end();
            }
        }
        return GenericIf::active(makePtr<BoxOf<T>>(value, false));
    }

protected:
    T value_;
};

} // namespace detail

/// The box of a value, a scalar, a string.
template <class T>
class KOR_EXPORT BoxOf : public detail::ValueBox<T, detail::PlainBox> {
public:
    using detail::ValueBox<T, detail::PlainBox>::ValueBox;

    /// Replaces what is in the box, unchecked.
    virtual void valIs(T const& value) { this->value_ = value; }
};

/// The box of a derived value.
template <class T>
requires requires {
    typename T::BaseValue;
}
class KOR_EXPORT BoxOf<T> : public detail::ValueBox<T, BoxOf<typename T::BaseValue>> {
    using Base = detail::ValueBox<T, BoxOf<typename T::BaseValue>>;

public:
    using Base::Base;

    using Base::valIs;
    virtual void valIs(T const& value) { this->value_ = value; }
    void valIs(typename T::BaseValue const& value) override { valIs(T(value)); }
};

/// The box of an enumerator.
template <class E>
requires std::is_enum_v<E>
class KOR_EXPORT BoxOf<E> final : public detail::ValueBox<E, detail::PlainBox> {
public:
    using detail::ValueBox<E, detail::PlainBox>::ValueBox;
    using typename GenericIf::AttributeOp;
    using typename GenericIf::Key;

    AttributeId attributeId(String8 name) const override {
        return name == "value" ? 1 : GenericIf::attributeId(std::move(name));
    }
    /// Attribute 1, the enumerator, is read by any operation.
    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const&, Ptr<GenericIf> const&) override {
        if (op.attributeId != 1) {
            GenericIf::throwUnknownAttrException(std::string(shortTypeName<E>()).c_str());
        }
        return makePtr<BoxOf>(this->value_, false);
    }

    virtual void valIs(E value) { this->value_ = value; }
};

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

    template <class A, class... Key>
    void changed(Key const&... key) {
        if constexpr (A::shape.keyed) {
            ((waiting<A>().key = key), ...);
        }
        if (auto* const box = this->korReactorAdapter()) {
            box->template changed<A>(key...);
        }
    }

    /// What waits for delivery of a keyed attribute.
    template <class A>
    auto& waiting() {
        return this->template deferred<placeIn<A>(Where<&Shape::keyed, typename AllAttributes<X>::type>())>();
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

/// What the box of an X adds to that of any object, or to that of its base.
template <class X, class Below>
class KOR_EXPORT ObjectBox : public Below {
public:
    using Below::Below;
    using typename GenericIf::Key;

    Ptr<X const> obj() const { return held(); }
    Ptr<X> obj() { return held(); }

    KorType* type() const override { return X::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        GenericIfPtrInterface::object(); // raises if there is none
        return objectAs<X>(type.ptr(), held().ptr());
    }
    using GenericIf::clone;
    Ptr<GenericIf> clone() override { return GenericIf::active(makePtr<BoxOf<X>>(held(), this->isConst())); }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
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

protected:
    Ptr<X> held() const noexcept {
        return static_cast<X*>(const_cast<PtrInterface*>(this->notifier().ptr()));
    }
};

/// An heir that has no more than other ways to do what its base does.
template <class X>
concept OverridingEntity =
    PatternEntity<X> && X::Attributes::size != 0 && Where<&Shape::hasId, typename X::Attributes>::size == 0;

} // namespace detail

/// The box of an entity or of another counted object of the pattern. That of an heir with attributes of its
/// own does not derive from that of its base, whose attributes it reaches through the table: one box, one
/// adapter in the object's list. Ask voidPtrIs() for the object as one of its base.
template <detail::PatternEntity X>
class KOR_EXPORT BoxOf<X>
    : public detail::ObjectBox<X, AdapterOwner<detail::ObjectBoxBase<X>, detail::BoxAdapter<X>>> {
    using Base = detail::ObjectBoxBase<X>;

public:
    using typename GenericIf::Key;
    using GenericIf_Adapter_ = detail::BoxAdapter<X>;

    BoxOf(Ptr<X> const& object, bool isConst) : BoxOf::ObjectBox(isConst) {
        this->adapterIs(makePtr<GenericIf_Adapter_>(this), object);
        notifierIs(object);
    }
    ~BoxOf() override { this->adapterDel(); }

    void notifierIs(Ptr<PtrInterface const> const& notifier) override {
        Ptr<X const> const object = ptrCast<X const>(notifier);
        if (this->adapter()) {
            this->adapter()->notifierIs(object);
        }
        Base::notifierIs(object);
        this->isRegisteredNotifieeIs(false);
        this->placeIs(detail::BoxTables<X>::table, this->held().ptr(), X::isEntity);
    }
    void korDoZombieReactors(bool zombie) override { this->zombieIs(zombie); }

    /// What the adapter hears.
    template <class A, class... BoxedKey>
    void changed(BoxedKey const&... key) {
        if (!isHeard()) [[likely]] {
            return;
        }
        constexpr AttributeId attribute = X::template attributeIdOf<typename A::Name>();
        if constexpr (!A::shape.keyed) {
            tell(attribute);
        } else if (!this->korOnAttribute(attribute, &this->adapter()->template waiting<A>().changes)) {
            this->actsm();
            if (this->listener()) {
                this->onAttribute(attribute, boxOf(key..., true));
            }
        }
    }
    void handleNotification(ActivityConfig* config) override {
        Ptr<GenericIf_Adapter_> const adapter = this->adapter();
        [&]<class... A>(AttributeList<A...>) {
            this->deliver(config, delivery<A>(*adapter)...);
        }(detail::Where<&Shape::hasHooks, typename detail::AllAttributes<X>::type>());
    }

private:
    template <class A>
    auto delivery([[maybe_unused]] GenericIf_Adapter_& adapter) {
        constexpr AttributeId attribute = X::template attributeIdOf<typename A::Name>();
        if constexpr (A::shape.keyed) {
            return this->keyed(attribute, adapter.template waiting<A>(),
                               [this](typename A::Key const& key) { changed<A>(key); });
        } else {
            return this->scalar(attribute, [this] { changed<A>(); });
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
};

/// The box of an heir that only overrides operations: that of its base, which hears all that can change.
template <detail::OverridingEntity X>
class KOR_EXPORT BoxOf<X> final : public detail::ObjectBox<X, BoxOf<detail::BaseType<X>>> {
    using Base = BoxOf<detail::BaseType<X>>;

public:
    BoxOf(Ptr<X> const& object, bool isConst) : BoxOf::ObjectBox(object, isConst) {}

    void notifierIs(Ptr<PtrInterface const> const& notifier) override {
        Base::notifierIs(ptrCast<X const>(notifier));
    }
};

/// The boxes of objects whose class is not known as a type.
template <class X>
requires(std::is_same_v<X, Entity> || std::is_same_v<X, PtrInterface>) class KOR_EXPORT BoxOf<X> final
    : public detail::ObjectBox<X, detail::ObjectBoxBase<X>> {
public:
    BoxOf(Ptr<X> const& object, bool isConst) : BoxOf::ObjectBox(isConst) { this->notifierIs(object); }
};

} // namespace Kor
