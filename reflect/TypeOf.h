#pragma once

/// Kor::TypeOf<T>: the class of T's type object. What it tells of T, a value, an enumeration, an entity or a
/// counted object of the patterns, follows from T's declaration.
///
/// This header is heavy. Only the source file that makes the types of a library known needs it; a user's file
/// gets at the type objects through reflect/KorType.h.

#include "reflect/GenericBox.h"
#include "reflect/TypeModule.h"
#include "reflect/TypeSpec.h"
#include "reflect/Value.h"

#include <tuple>

namespace Kor {

namespace detail {

// Signatures

/// The type that stands in the registry for one of C++: an object for a reference to it.
template <class T>
struct Registered {
    using type = T;
};
template <class T>
struct Registered<T const> : Registered<T> {};
template <class T>
struct Registered<T&> : Registered<T> {};
template <class T>
struct Registered<Ptr<T>> : Registered<T> {};
template <>
struct Registered<void> {
    using type = Builtin<void*>;
};

template <class T>
using RegisteredType = typename Registered<T>::type;

template <class T>
constexpr std::string_view registeredName() {
    return typeName<RegisteredType<T>>();
}

template <class A>
constexpr ArgumentSpec argumentSpec() {
    return {A::Name::text, registeredName<typename A::Type>()};
}

template <class List>
struct ArgumentSpecs;
template <class... A>
struct ArgumentSpecs<AttributeList<A...>> {
    static constexpr std::array<ArgumentSpec, sizeof...(A)> specs{argumentSpec<A>()...};
};

/// The attribute of that name in a class's list or in that of a base.
template <class X, class NameType>
struct Declared;

template <class X, class NameType, class... A>
consteval auto findDeclared(AttributeList<A...>) {
    using Found = decltype([] {
        std::tuple<std::type_identity<void>> none;
        return std::tuple_cat(std::conditional_t < std::is_same_v<typename A::Name, NameType> &&
                                  !std::is_same_v<A, Override<NameType>>,
                              std::tuple<std::type_identity<A>>, std::tuple < >> {}..., none);
    }());
    using First = typename std::tuple_element_t<0, Found>::type;
    if constexpr (std::is_void_v<First>) {
        return typename Declared<typename X::BaseEntity, NameType>::Id{};
    } else {
        return std::type_identity<First>{};
    }
}

template <class X, class NameType>
struct Declared {
    using Id = decltype(findDeclared<X, NameType>(typename X::Attributes{}));
    using type = typename Id::type;
};

// Attributes of values

template <class T, class A>
struct ValueAttribute {
    static constexpr AttributeProfile profile =
        A::settable ? AttributeProfile::settable : AttributeProfile::fixed;
    using Type = typename A::Type;
    using Arguments = AttributeList<>;
};
template <class T, class A>
requires(A::kind == AttributeKind::view) struct ValueAttribute<T, A> {
    static constexpr AttributeProfile profile = AttributeProfile::view;
    using Type = typename A::Type;
    using Arguments = AttributeList<>;
};
template <class T, class A>
requires(A::kind == AttributeKind::constant) struct ValueAttribute<T, A> {
    static constexpr AttributeProfile profile = AttributeProfile::constant;
    using Type = typename A::Type;
    using Arguments = AttributeList<>;
};
template <class T, class N, class R>
struct ValueAttribute<T, Computed<N, R>> {
    static constexpr AttributeProfile profile = AttributeProfile::computed;
    using Type = R;
    using Arguments = AttributeList<>;
};
template <class T, class N, class S>
struct ValueAttribute<T, Operation<N, S>> {
    static constexpr AttributeProfile profile = AttributeProfile::operation;
    using Type = typename SignatureOf<S>::Result;
    using Arguments = typename SignatureOf<S>::Arguments;
};
template <class T, class N, class S>
struct ValueAttribute<T, ClassOperation<N, S>> : ValueAttribute<T, Operation<N, S>> {
    static constexpr AttributeProfile profile = AttributeProfile::classOperation;
};

// Attributes of entities and of lighter objects

template <class T, class A>
struct EntityAttribute;
template <class T, class N, class K>
struct EntityAttribute<T, KeyAttribute<N, K>> {
    static constexpr AttributeProfile profile = AttributeProfile::fixed;
    using Type = K;
};
template <class T, class N, class K>
struct EntityAttribute<T, FixedAttribute<N, K>> : EntityAttribute<T, KeyAttribute<N, K>> {};
template <class T, class N, class V, auto... I>
struct EntityAttribute<T, Singleton<N, V, I...>> {
    static constexpr AttributeProfile profile = AttributeProfile::singleton;
    using Type = V;
};
template <class T, class N, class V, auto... I>
struct EntityAttribute<T, VirtualSingleton<N, V, I...>> {
    static constexpr AttributeProfile profile = AttributeProfile::virtualSingleton;
    using Type = V;
};
template <class T, class N, class R>
struct EntityAttribute<T, SingletonReference<N, R>> {
    static constexpr AttributeProfile profile = AttributeProfile::singleton;
    using Type = R;
};
template <class T, class N, class K, class V>
struct EntityAttribute<T, ValueMap<N, K, V>> {
    static constexpr AttributeProfile profile = AttributeProfile::valueMap;
    using Type = V;
    using Key = K;
};
template <class T, class N, class K, class V>
struct EntityAttribute<T, CountedUpMap<N, K, V>> : EntityAttribute<T, ValueMap<N, K, V>> {};
template <class T, class N, class K, class V>
struct EntityAttribute<T, CountedMap<N, K, V>> : EntityAttribute<T, ValueMap<N, K, V>> {};
template <class T, class N, class V>
struct EntityAttribute<T, Queue<N, V>> {
    static constexpr AttributeProfile profile = AttributeProfile::valueMap;
    using Type = V;
    using Key = U32;
};
template <class T, class N, class V, class KN>
struct EntityAttribute<T, KeyedMap<N, V, KN>> {
    static constexpr AttributeProfile profile =
        detail::hasAttrLog<T> ? AttributeProfile::keyedMap : AttributeProfile::localKeyedMap;
    using Type = V;
    using Key = typename KeyedMap<N, V, KN>::Key;
    using KeyName = KN;
};
template <class T, class N, class C>
struct EntityAttribute<T, EntityMap<N, C>> {
    static constexpr AttributeProfile profile =
        detail::hasAttrLog<T> ? AttributeProfile::entityMap : AttributeProfile::localEntityMap;
    using Type = C;
    using Key = typename EntityMap<N, C>::Key;
    using KeyName = typename ChildKey<C>::Name;
    using Arguments = AttributeList<Arg<KeyName, Key>>;
};
template <class T, class N, class K, class R>
struct EntityAttribute<T, ReferenceMap<N, K, R>> {
    static constexpr AttributeProfile profile = AttributeProfile::referenceMap;
    using Type = R;
    using Key = K;
};
template <class T, class N, class S>
struct EntityAttribute<T, Operation<N, S>> : ValueAttribute<T, Operation<N, S>> {};
template <class T, class N, class S>
struct EntityAttribute<T, VirtualOperation<N, S>> : ValueAttribute<T, Operation<N, S>> {
    static constexpr AttributeProfile profile = AttributeProfile::virtualOperation;
};
template <class T, class N>
struct EntityAttribute<T, Override<N>>
    : EntityAttribute<T, typename Declared<typename T::BaseEntity, N>::type> {
    static constexpr AttributeProfile profile = AttributeProfile::operation;
};

template <class D>
constexpr AttributeSpec attributeSpec(std::string_view name, AttributeId id) {
    AttributeSpec spec{name, id, D::profile, fwkTypeOf<RegisteredType<typename D::Type>>};
    if constexpr (requires { typename D::Key; }) {
        spec.keyType = fwkTypeOf<RegisteredType<typename D::Key>>;
    }
    if constexpr (requires { typename D::KeyName; }) {
        spec.keyAttribute = D::KeyName::text;
    }
    if constexpr (requires { typename D::Arguments; }) {
        spec.arguments = ArgumentSpecs<typename D::Arguments>::specs;
    }
    return spec;
}

// Whole types

template <class T>
struct SpecOf;

/// An enumeration.
template <class T>
requires std::is_enum_v<T>
struct SpecOf<T> {
    static constexpr auto attributes = [] {
        std::array<AttributeSpec, enumerators<T>.size()> specs{};
        for (std::size_t i = 0; i < specs.size(); ++i) {
            specs[i] = {enumerators<T>[i].name, static_cast<AttributeId>(enumerators<T>[i].number),
                        AttributeProfile::enumerator, fwkTypeOf<T>};
        }
        return specs;
    }();
    static constexpr TypeSpec spec{
        sizeof(T), {.isValue = true, .isEnumType = true, .hasGenericIfSupport = true}, {}, attributes};
};

template <class T, class List, class StorageType>
struct ValueSpec;
template <class T, class... A, class... S>
struct ValueSpec<T, AttributeList<A...>, Storage<S...>> {
    static constexpr auto attributes = [] {
        AttributeId id = 2 + 128 * levelOf<T>();
        return std::array<AttributeSpec, sizeof...(A)>{
            attributeSpec<ValueAttribute<T, A>>(A::Name::text, id++)...};
    }();
    static constexpr TypeSpec spec{sizeof(T),
                                   {.isValue = true, .hasGenericIfSupport = true},
                                   ArgumentSpecs<AttributeList<S...>>::specs,
                                   attributes};
};

/// A value of the pattern.
template <class T>
requires(requires { typename T::Attributes; } && !PatternEntity<T>) struct SpecOf<T>
    : ValueSpec<T, typename T::Attributes,
                std::remove_cvref_t<decltype(T::storage(std::declval<T const&>()))>> {
};

template <class T>
constexpr bool isDeclaredAttribute = true;
template <>
inline constexpr bool isDeclaredAttribute<FreeId> = false;

/// The constructor's argument: the key, a name, or none.
template <class T>
constexpr auto constructorArguments() {
    using Argument = typename T::ConstructorArgument;
    if constexpr (std::is_constructible_v<T, Argument>) { // from nothing it is not
        return std::array{ArgumentSpec{constructorArgumentName<T>(), registeredName<Argument>()}};
    } else {
        return std::array<ArgumentSpec, 0>();
    }
}

template <class T, class List>
struct EntitySpec;
template <class T, class... A>
struct EntitySpec<T, AttributeList<A...>> {
    static constexpr bool hasFwkKey = requires(T const& t) { t.fwkKey(); };
    // korHasAttrLogInterface is told again by every entity that has attributes of its own.
    static constexpr bool tellsInterface = std::derived_from<T, Entity> && sizeof...(A) != 0;
    static constexpr std::size_t count = (0 + ... + isDeclaredAttribute<A>)+tellsInterface + hasFwkKey;

    static constexpr auto attributes = [] {
        std::array<AttributeSpec, count> specs{};
        std::size_t next = 0;
        if (tellsInterface) {
            specs[next++] = {"korHasAttrLogInterface", Entity::korHasAttrLogInterfaceAttr,
                             AttributeProfile::virtualOperation, fwkTypeOf<bool>};
        }
        [[maybe_unused]] auto const add = [&]<class Each>(std::type_identity<Each>) {
            if constexpr (isDeclaredAttribute<Each>) {
                specs[next++] = attributeSpec<EntityAttribute<T, Each>>(
                    Each::Name::text, T::template attributeIdOf<typename Each::Name>());
            }
        };
        static_cast<void>(std::initializer_list<int>{(add(std::type_identity<A>{}), 0)...});
        if constexpr (hasFwkKey) {
            specs[next++] = {"fwkKey", 0, AttributeProfile::fwkKey,
                             fwkTypeOf<std::remove_cvref_t<decltype(std::declval<T const&>().fwkKey())>>};
        }
        return specs;
    }();
    static constexpr auto arguments = constructorArguments<T>();
    static constexpr TypeSpec spec{sizeof(T),
                                   {.isEntity = std::derived_from<T, Entity>, .hasGenericIfSupport = true},
                                   arguments,
                                   attributes};
};

/// An entity or another counted object of the pattern.
template <PatternEntity T>
struct SpecOf<T> : EntitySpec<T, typename T::Attributes> {};

/// A value of no pattern: a scalar, a string, a value of the platform that is written by hand.
template <class T>
requires(!std::is_enum_v<T> && !std::derived_from<T, PtrInterface> &&
         !requires { typename T::Attributes; }) struct SpecOf<T> {
    static constexpr TypeSpec spec{sizeof(T), {.isValue = true, .hasGenericIfSupport = true}, {}, {}};
};

/// A counted object of no pattern.
template <std::derived_from<PtrInterface> T>
requires(!requires { typename T::Attributes; }) struct SpecOf<T> {
    static constexpr TypeSpec spec{sizeof(T), {.isEntity = std::derived_from<T, Entity>}, {}, {}};
};

} // namespace detail

/// The type object of T. An entity class that nothing but its parent makes says so by a member
/// `korHasFactory`, false; one that is not made by a name alone by `korIsMadeByName`.
template <class T>
class TypeOf final : public SpecifiedType {
    static constexpr bool isObject = std::derived_from<T, PtrInterface>;
    static constexpr bool isPattern = detail::PatternEntity<T>;
    static constexpr bool hasFactory = [] {
        if constexpr (requires { T::korHasFactory; }) {
            return T::korHasFactory;
        } else {
            return isPattern;
        }
    }();
    static constexpr bool isMadeByName = [] {
        if constexpr (requires { T::korIsMadeByName; }) {
            return T::korIsMadeByName;
        } else if constexpr (isPattern) {
            return hasFactory && std::derived_from<T, Entity> && std::is_constructible_v<T, Name>;
        } else {
            return false;
        }
    }();

public:
    explicit TypeOf(TypeSeed const& seed) : SpecifiedType(seed, detail::SpecOf<T>::spec) {}

    using SpecifiedType::genericIf;
    using SpecifiedType::newEntity;

    Ptr<GenericIf> genericIf(void const* value, bool isConst) const override {
        if constexpr (!isObject && detail::isBoxed<T>) {
            return makePtr<BoxOf<T>>(value != nullptr ? *static_cast<T const*>(value) : T(), isConst);
        } else {
            return SpecifiedType::genericIf(value, isConst);
        }
    }
    Ptr<GenericIf> genericIf(GenericIf const* arguments, bool isConst) const override {
        if constexpr (isObject ? hasFactory : !std::is_enum_v<T> && detail::isBoxed<T>) {
            return BoxOf<T>::genericIfListConstructor(arguments);
        } else {
            return SpecifiedType::genericIf(arguments, isConst);
        }
    }
    Ptr<GenericIf> genericIf(String8 const& text, bool isConst) const override {
        if constexpr (isPattern) {
            return boxOf(strepToValue<Ptr<T>>(text), isConst);
        } else if constexpr (!isObject && detail::isBoxed<T> && !std::is_pointer_v<T>) {
            return makePtr<BoxOf<T>>(strepToValue<T>(text), isConst);
        } else {
            return SpecifiedType::genericIf(text, isConst);
        }
    }
    Ptr<GenericIf> genericIf_(PtrInterface* object, bool isConst) const override {
        if constexpr (isObject) {
            auto* const known = dynamic_cast<T*>(object);
            return known != nullptr ? makePtr<BoxOf<T>>(known, isConst) : nullptr;
        } else {
            return SpecifiedType::genericIf_(object, isConst);
        }
    }
    Ptr<Entity> newEntity(Name const& name, Dir* dir) const override {
        if constexpr (isMadeByName) {
            return makePtr<T>(name);
        } else {
            return SpecifiedType::newEntity(name, dir);
        }
    }
};

template <class T>
KorType* TypeMaker<T>::make(TypeSeed const& seed) {
    return new TypeOf<T>(seed);
}

} // namespace Kor
