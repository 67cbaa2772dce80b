#pragma once

/// Kor::TypeOf<T>: the class of T's type object. What it tells of T, a value, an enumeration, an entity or a
/// counted object of the patterns, follows from T's declaration.
///
/// This header is heavy. Only the source file that makes the types of a library known needs it; a user's file
/// gets at the type objects through reflect/KorType.h.

#include "reflect/TypeModule.h"
#include "reflect/TypeSpec.h"
#include "reflect/Value.h"
#include "reflect/box/GenericBox.h"

#include <algorithm>
#include <array>
#include <span>
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

/// The parameters of a member function, or of a static one.
template <class Member>
struct Parameters;
template <class R, class... P>
struct Parameters<R (*)(P...)> {
    using type = AttributeList<P...>;
    static constexpr bool isConst = true;
};
template <class C, class R, class... P>
struct Parameters<R (C::*)(P...)> {
    using type = AttributeList<P...>;
    static constexpr bool isConst = false;
};
template <class C, class R, class... P>
struct Parameters<R (C::*)(P...) const> : Parameters<R (*)(P...)> {};
template <class R, class... P>
struct Parameters<R (*)(P...) noexcept> : Parameters<R (*)(P...)> {};
template <class C, class R, class... P>
struct Parameters<R (C::*)(P...) noexcept> : Parameters<R (C::*)(P...)> {};
template <class C, class R, class... P>
struct Parameters<R (C::*)(P...) const noexcept> : Parameters<R (*)(P...)> {};

template <class P>
inline constexpr Passing passing = std::is_reference_v<P> ? Passing::byReference : Passing::byValue;
template <class P>
inline constexpr Passing passing<P const&> =
    passing<P> == Passing::byValue ? Passing::byReference : passing<P>;
template <class T>
inline constexpr Passing passing<Ptr<T>> =
    std::is_const_v<T> ? Passing::byPointerToConst : Passing::byPointer;

template <class List>
struct ArgumentSpecs;
template <class... A>
struct ArgumentSpecs<AttributeList<A...>> {
    static constexpr std::array<ArgumentSpec, sizeof...(A)> specs{
        ArgumentSpec{A::Name::text, registeredName<typename A::Type>()}...};
};
/// The same of a function with those parameters.
template <class List, class Taken>
struct TakenSpecs;
template <class... A, class... P>
struct TakenSpecs<AttributeList<A...>, AttributeList<P...>> {
    static constexpr std::array<ArgumentSpec, sizeof...(A)> specs{
        ArgumentSpec{A::Name::text, registeredName<typename A::Type>(), passing<P>}...};
};

/// The attribute of that name in a class's list or in that of a base; of an Override the base's.
template <class X, class NameType, class... A>
consteval auto declaredIn(AttributeList<A...>) {
    using Found =
        typename Joined<std::conditional_t<std::is_same_v<typename A::Name, NameType> && !isOverride<A>,
                                           AttributeList<A>, AttributeList<>>...>::type;
    if constexpr (Found::size == 0) {
        return declaredIn<typename X::BaseEntity, NameType>(typename X::BaseEntity::Attributes());
    } else {
        return std::type_identity<typename AttributeAt<0, Found>::type>();
    }
}

/// What an attribute is in the class T: only what has an attribute log lets its attributes travel.
template <class T, class A>
constexpr Shape shapeIn() {
    Shape shape = A::shape;
    if constexpr (PatternEntity<T>) {
        shape.travels = shape.travels && hasAttrLog<T>;
    }
    return shape;
}

template <class T, class A>
constexpr AttributeSpec attributeSpec(AttributeId id) {
    using D = typename decltype(declaredIn<T, typename A::Name>(typename T::Attributes()))::type;
    AttributeSpec spec{D::Name::text, id, shapeIn<T, A>(), fwkTypeOf<RegisteredType<typename D::Type>>};
    if constexpr (requires { typename D::Key; }) {
        spec.keyType = fwkTypeOf<RegisteredType<typename D::Key>>;
    }
    if constexpr (D::shape.keyInside) {
        spec.keyAttribute = D::KeyName::text;
    }
    if constexpr (D::shape.child) {
        spec.arguments = ArgumentSpecs<AttributeList<Arg<typename D::KeyName, typename D::Key>>>::specs;
    } else if constexpr (D::shape.role == Role::view) {
        spec.bits = {D::Word::text, D::first, D::first + D::width - 1};
    } else if constexpr (requires {
                             typename D::Name::template Member<T>;
                             typename D::Arguments;
                         }) {
        using Taken = Parameters<typename D::Name::template Member<T>>;
        spec.arguments = TakenSpecs<typename D::Arguments, typename Taken::type>::specs;
        spec.isConst = Taken::isConst;
    } else if constexpr (requires { typename D::Arguments; }) { // overloaded: nobody can say which
        spec.arguments = ArgumentSpecs<typename D::Arguments>::specs;
    }
    return spec;
}

/// The texts of T's own declaration. An heir without texts has none, and not those of its base.
template <class T>
consteval bool hasTexts() {
    using Base = BaseType<T>;
    if constexpr (!requires { T::korTexts; }) {
        return false;
    } else if constexpr (requires { Base::korTexts; }) {
        return static_cast<void const*>(&Base::korTexts) != static_cast<void const*>(&T::korTexts);
    } else {
        return true;
    }
}
template <class T>
class TextsOf {
    static constexpr auto texts = [] {
        if constexpr (std::is_enum_v<T>) {
            if constexpr (requires { korTextsOf(std::type_identity<T>()); }) {
                return korTextsOf(std::type_identity<T>());
            } else {
                return Texts<0>{};
            }
        } else if constexpr (hasTexts<T>()) {
            return T::korTexts;
        } else {
            return Texts<0>{};
        }
    }();
    static constexpr std::string_view include = [] {
        if constexpr (texts.file != nullptr) {
            return includeOf(texts.file);
        } else {
            return std::string_view();
        }
    }();
    /// A copy, so that a library has no path of the machine that it was built on.
    static constexpr auto ownHeader = [] {
        std::array<char, include.size()> own{};
        std::copy(include.begin(), include.end(), own.begin());
        return own;
    }();

public:
    static constexpr auto all = [] {
        std::array<std::string_view, texts.all.size()> views{};
        std::copy(texts.all.begin(), texts.all.end(), views.begin());
        return views;
    }();
    static constexpr std::string_view header{ownHeader.data(), ownHeader.size()};
};

/// Whether texts, where there are any, say something of the type and of each of those attributes, and of
/// nothing else but the `optional` ones.
consteval bool isWholly(std::span<std::string_view const> texts, std::span<std::string_view const> names,
                        std::span<std::string_view const> optional) {
    auto const has = [](std::span<std::string_view const> all, std::string_view name, std::size_t step) {
        for (std::size_t i = 0; i < all.size(); i += step) {
            if (all[i] == name) {
                return true;
            }
        }
        return false;
    };
    bool is = texts.empty() || texts.front().empty();
    for (std::string_view const name : names) {
        is = is && (texts.empty() || has(texts, name, 2));
    }
    for (std::size_t i = 2; i < texts.size(); i += 2) {
        is = is && (has(names, texts[i], 1) || has(optional, texts[i], 1));
    }
    return is;
}
/// Whether each is there and short enough for a line of a tool.
consteval bool isShort(std::span<std::string_view const> texts) {
    bool is = true;
    for (std::size_t i = 1; i < texts.size(); i += 2) {
        is = is && !texts[i].empty() && texts[i].size() <= 160;
    }
    return is;
}

/// Refuses the texts of T that do not fit its attributes.
template <class T, class List>
struct TextsCheck;
template <class T, class... A>
struct TextsCheck<T, AttributeList<A...>> {
    static constexpr std::string_view names[] = {
        (A::shape.role != Role::none && !isOverride<A> ? A::Name::text : "")..., ""};
    static constexpr std::string_view optional[] = {(isOverride<A> ? A::Name::text : "")...,
                                                    "korHasAttrLogInterface"};
    static_assert(isWholly(TextsOf<T>::all, names, optional),
                  "korTexts lacks the class or one of its attributes, or names something that is none");
    static_assert(isShort(TextsOf<T>::all), "a text of korTexts is empty or longer than 160 characters");
};

/// What is known of a class beyond its attributes.
template <class T>
constexpr KorType::Abilities abilitiesOf() {
    KorType::Abilities abilities;
    if constexpr (!std::derived_from<T, PtrInterface>) {
        abilities.isOrdered = requires(T const& a) {
            a < a;
        };
        abilities.isNullable = requires(T const& a) {
            !a;
        };
    } else if constexpr (requires { T::korHasFactory; }) {
        abilities.hasFactory = T::korHasFactory;
    } else {
        abilities.hasFactory = PatternEntity<T>;
    }
    return abilities;
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
                        Shape{.role = Role::enumerator}, fwkTypeOf<T>};
        }
        return specs;
    }();
    static constexpr auto names = [] {
        std::array<std::string_view, enumerators<T>.size()> all{};
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i] = enumerators<T>[i].name;
        }
        return all;
    }();
    static_assert(
        isWholly(TextsOf<T>::all, names, {}) && isShort(TextsOf<T>::all),
        "the texts of KOR_ENUMERATION lack the enumeration or an enumerator, or name one that is none");
    static constexpr TypeSpec spec{sizeof(T),
                                   {.isValue = true, .isEnumType = true, .hasGenericIfSupport = true},
                                   {},
                                   attributes,
                                   TextsOf<T>::all,
                                   TextsOf<T>::header};
};

template <class T, class List, class StorageType>
struct ValueSpec;
template <class T, class... A, class... S>
struct ValueSpec<T, AttributeList<A...>, Storage<S...>> : TextsCheck<T, AttributeList<A...>> {
    static constexpr auto attributes = [] {
        AttributeId id = 2 + 128 * levelOf<T>();
        return std::array<AttributeSpec, sizeof...(A)>{attributeSpec<T, A>(id++)...};
    }();
    static constexpr TypeSpec spec{sizeof(T),
                                   {.isValue = true, .hasGenericIfSupport = true},
                                   ArgumentSpecs<AttributeList<S...>>::specs,
                                   attributes,
                                   TextsOf<T>::all,
                                   TextsOf<T>::header,
                                   abilitiesOf<T>()};
};

/// A value of the pattern.
template <class T>
requires(requires { typename T::Attributes; } && !PatternEntity<T>) struct SpecOf<T>
    : ValueSpec<T, typename T::Attributes,
                std::remove_cvref_t<decltype(T::storage(std::declval<T const&>()))>> {
};

template <class A>
constexpr bool isDeclaredAttribute = A::shape.role != Role::none;

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
struct EntitySpec<T, AttributeList<A...>> : TextsCheck<T, AttributeList<A...>> {
    static constexpr bool hasFwkKey = requires(T const& t) { t.fwkKey(); };
    // korHasAttrLogInterface is told again by every entity that has attributes of its own.
    static constexpr bool tellsInterface = std::derived_from<T, Entity> && sizeof...(A) != 0;
    static constexpr std::size_t count = (0 + ... + isDeclaredAttribute<A>)+tellsInterface + hasFwkKey;

    static constexpr auto attributes = [] {
        std::array<AttributeSpec, count> specs{};
        std::size_t next = 0;
        if (tellsInterface) {
            specs[next++] = {"korHasAttrLogInterface", Entity::korHasAttrLogInterfaceAttr,
                             Shape{.role = Role::operation, .isVirtual = true}, fwkTypeOf<bool>};
        }
        [[maybe_unused]] auto const add = [&]<class Each>(std::type_identity<Each>) {
            if constexpr (isDeclaredAttribute<Each>) {
                specs[next++] = attributeSpec<T, Each>(T::template attributeIdOf<typename Each::Name>());
            }
        };
        static_cast<void>(std::initializer_list<int>{(add(std::type_identity<A>{}), 0)...});
        if constexpr (hasFwkKey) {
            specs[next++] = {"fwkKey", fwkKeyAttr, Shape{.role = Role::fwkKey},
                             fwkTypeOf<std::remove_cvref_t<decltype(std::declval<T const&>().fwkKey())>>};
        }
        return specs;
    }();
    static constexpr auto arguments = constructorArguments<T>();
    static constexpr TypeSpec spec{
        sizeof(T),       {.isEntity = std::derived_from<T, Entity>, .hasGenericIfSupport = true},
        arguments,       attributes,
        TextsOf<T>::all, TextsOf<T>::header,
        abilitiesOf<T>()};
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
    static constexpr bool hasFactory = detail::abilitiesOf<T>().hasFactory;
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
