#pragma once

/// Kor::TypeOf<T>: the class of T's type object. What it tells of T, a value, an enumeration, an entity or a
/// counted object of the patterns, follows from T's declaration.
///
/// This header is heavy. Only the source file that makes the types of a library known needs it; a user's file
/// gets at the type objects through reflect/type/KorType.h.
///
///     constinit Kor::TypeModule myTypes(Kor::TypeModuleOf<my::Point, my::Shape>::seeds);
///
/// What is told is constant data; the object of a type is made once, at load. What a declaration lacks the
/// compiler says. A text or an argument that makes no T raises as reflect/Text.h and GenericIf.h say.

#include "reflect/Value.h"
#include "reflect/box/GenericBox.h"
#include "reflect/type/TypeModule.h"
#include "reflect/type/TypeSpec.h"

#include <algorithm>
#include <array>
#include <span>

namespace Kor {

namespace detail {

/// The type in the registry for one of C++: an object for a reference or counted pointer to it.
template <class T, class Plain = std::remove_cvref_t<T>>
using RegisteredType = std::conditional_t<
    std::is_void_v<Plain>, Builtin<void*>,
    std::conditional_t<std::is_void_v<Pointed<Plain>>, Plain, std::remove_const_t<Pointed<Plain>>>>;

/// The parameters of a member function, or of a static one.
template <class Member>
struct Parameters;
template <class R, class... P, bool isNoexcept>
struct Parameters<R (*)(P...) noexcept(isNoexcept)> {
    using type = AttributeList<P...>;
    static constexpr bool isConst = true;
};
template <class C, class R, class... P, bool isNoexcept>
struct Parameters<R (C::*)(P...) const noexcept(isNoexcept)> : Parameters<R (*)(P...)> {};
template <class C, class R, class... P, bool isNoexcept>
struct Parameters<R (C::*)(P...) noexcept(isNoexcept)> : Parameters<R (*)(P...)> {
    static constexpr bool isConst = false;
};

template <class P>
inline constexpr Passing passing = std::is_reference_v<P> ? Passing::byReference : Passing::byValue;
template <class P>
inline constexpr Passing passing<P const&> =
    passing<P> == Passing::byValue ? Passing::byReference : passing<P>;
template <class T>
inline constexpr Passing passing<Ptr<T>> =
    std::is_const_v<T> ? Passing::byPointerToConst : Passing::byPointer;

/// Of a function that takes each argument as it is declared, or as it is known to.
template <class List, class Taken = List>
struct ArgumentSpecs;
template <class... A, class... P>
struct ArgumentSpecs<AttributeList<A...>, AttributeList<P...>> {
    static constexpr std::array<ArgumentSpec, sizeof...(A)> specs{
        ArgumentSpec{A::Name::text, typeName<RegisteredType<typename A::Type>>(), passing<P>}...};
};

/// The attribute of that name in a class's list or in that of a base; of an Override the base's.
template <class X, class NameType, class... A>
consteval auto declaredIn(AttributeList<A...>) {
    constexpr auto place = placeOfFirst({(std::is_same_v<typename A::Name, NameType> && A::shape.hasId)...});
    if constexpr (place == sizeof...(A)) {
        return declaredIn<typename X::BaseEntity, NameType>(typename X::BaseEntity::Attributes());
    } else {
        return std::type_identity<typename AttributeAt<place, AttributeList<A...>>::type>();
    }
}

template <class T, class A>
constexpr AttributeSpec attributeSpec() {
    using D = typename decltype(declaredIn<T, typename A::Name>(typename T::Attributes()))::type;
    AttributeSpec spec{D::Name::text, 0, A::shape, fwkTypeOf<RegisteredType<typename D::Type>>};
    spec.isConst = D::shape.reference && std::is_const_v<typename D::Type>;
    if constexpr (PatternEntity<T>) { // only what has an attribute log lets its attributes travel
        spec.id = T::template attributeIdOf<typename A::Name>();
        spec.shape.travels = spec.shape.travels && hasAttrLog<T>;
    } else {
        spec.id = T::firstAttributeId + static_cast<AttributeId>(placeIn<A>(typename T::Attributes()));
    }
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
        spec.arguments = ArgumentSpecs<typename D::Arguments, typename Taken::type>::specs;
        spec.isConst = Taken::isConst;
    } else if constexpr (requires { typename D::Arguments; }) { // overloaded: nobody can say which
        spec.arguments = ArgumentSpecs<typename D::Arguments>::specs;
    }
    return spec;
}

/// The texts of T's own declaration. An heir without texts has none, and not those of its base.
template <class T>
consteval bool hasTexts() {
    if constexpr (requires { T::korTexts, BaseType<T>::korTexts; }) {
        return static_cast<void const*>(&BaseType<T>::korTexts) != static_cast<void const*>(&T::korTexts);
    } else {
        return requires {
            T::korTexts;
        };
    }
}
template <class T>
struct TextsOf {
    static constexpr auto texts = [] {
        if constexpr (requires { korTextsOf(std::type_identity<T>()); }) {
            return korTextsOf(std::type_identity<T>());
        } else if constexpr (hasTexts<T>()) {
            return T::korTexts;
        } else {
            return Texts<0>{};
        }
    }();
    // Copies, so that a library has no path of the machine that it was built on.
    static constexpr auto all = texts.all;
    static constexpr std::string_view include = includeOf(texts.file);
    static constexpr auto ownHeader = [] {
        std::array<char, include.size()> own{};
        std::copy(include.begin(), include.end(), own.begin());
        return own;
    }();
    static constexpr std::string_view header{ownHeader.data(), ownHeader.size()};
};

/// Whether texts, where there are any, say something of the type and of each attribute that is its own, and
/// of nothing else.
consteval bool isWholly(std::span<NamedText const> texts, std::span<AttributeSpec const> attributes) {
    auto const isTold = [&](AttributeSpec const& each) {
        return std::ranges::find(texts, each.name, &NamedText::name) != texts.end() || !each.shape.hasId ||
               each.shape.role == Role::fwkKey || each.name == "korHasAttrLogInterface";
    };
    auto const isOne = [&](NamedText const& each) {
        auto const at = std::ranges::find(attributes, each.name, &AttributeSpec::name);
        return isDeclaration(each) || (at != attributes.end() && at->shape.role != Role::fwkKey);
    };
    return texts.empty() || (texts.front().name.empty() && std::ranges::all_of(attributes, isTold) &&
                             std::ranges::all_of(texts.subspan(1), isOne));
}
/// Whether each is there and short enough for a line of a tool.
consteval bool isShort(std::span<NamedText const> texts) {
    return std::ranges::all_of(
        texts, [](NamedText const& each) { return !each.text.empty() && each.text.size() <= 160; });
}

/// What is known of a class beyond its attributes.
template <class T>
constexpr KorType::Abilities abilitiesOf() {
    KorType::Abilities abilities{.isFinal = std::is_final_v<T>};
    if constexpr (!std::derived_from<T, PtrInterface>) {
        abilities.isOrdered = std::is_invocable_v<std::less<>, T const&, T const&>;
        abilities.isNullable = std::is_class_v<T> && std::is_invocable_v<std::logical_not<>, T const&>;
        abilities.scalar = !Declared<T> && isBoxed<T> ? scalarOf<T>() : Scalar::none;
        if constexpr (requires { T::korAlways; }) {
            abilities.always = T::korAlways;
        }
    } else if constexpr (requires { T::korHasFactory; }) {
        abilities.hasFactory = T::korHasFactory;
    } else {
        abilities.hasFactory = PatternEntity<T>;
    }
    return abilities;
}

/// The constructor's arguments: of a value what it stores, of an object the key, a name, or none.
template <class T>
constexpr auto constructorArguments() {
    if constexpr (!PatternEntity<T>) {
        return ArgumentSpecs<StoredIn<T>>::specs;
    } else if constexpr (std::is_constructible_v<T, typename T::ConstructorArgument>) {
        return std::array{ArgumentSpec{constructorArgumentName<T>(),
                                       typeName<RegisteredType<typename T::ConstructorArgument>>()}};
    } else {
        return std::array<ArgumentSpec, 0>();
    }
}

template <class T, class List>
struct DeclaredSpec;
template <class T, class... A>
struct DeclaredSpec<T, AttributeList<A...>> {
    static constexpr bool hasFwkKey = requires(T const& t) { t.fwkKey(); };
    // korHasAttrLogInterface is told again by every entity that has attributes of its own.
    static constexpr bool tellsInterface = std::derived_from<T, Entity> && sizeof...(A) != 0;
    static constexpr std::size_t count =
        (0 + ... + (A::shape.role != Role::none)) + tellsInterface + hasFwkKey;

    static constexpr auto attributes = [] {
        std::array<AttributeSpec, count> specs{};
        std::size_t next = 0;
        if (tellsInterface) {
            specs[next++] = {"korHasAttrLogInterface", Entity::korHasAttrLogInterfaceAttr,
                             Shape{.role = Role::operation, .isVirtual = true}, fwkTypeOf<bool>};
        }
        forEach(AttributeList<A...>(), [&]<class Each>() {
            if constexpr (Each::shape.role != Role::none) {
                specs[next++] = attributeSpec<T, Each>();
            }
        });
        if constexpr (hasFwkKey) {
            specs[next++] = {"fwkKey", fwkKeyAttr, Shape{.role = Role::fwkKey},
                             fwkTypeOf<std::remove_cvref_t<decltype(std::declval<T const&>().fwkKey())>>};
        }
        return specs;
    }();
    static constexpr auto arguments = constructorArguments<T>();
};

/// What the type object tells of T: of no pattern, no more than that it is there.
template <class T>
struct SpecOf {
    static constexpr std::array<AttributeSpec, 0> attributes{};
    static constexpr std::array<ArgumentSpec, 0> arguments{};
};
template <Declared T>
struct SpecOf<T> : DeclaredSpec<T, typename T::Attributes> {};
template <class T>
requires std::is_enum_v<T>
struct SpecOf<T> {
    static constexpr auto attributes = [] {
        std::array<AttributeSpec, enumerators<T>.size()> specs{};
        std::ranges::transform(enumerators<T>, specs.begin(), [](Enumerator const& each) {
            return AttributeSpec{each.name, static_cast<AttributeId>(each.number),
                                 Shape{.role = Role::enumerator}, fwkTypeOf<T>};
        });
        return specs;
    }();
    static constexpr std::array<ArgumentSpec, 0> arguments{};
};

template <class T>
constexpr bool isMadeByName() {
    if constexpr (requires { T::korIsMadeByName; }) {
        return T::korIsMadeByName;
    } else {
        return abilitiesOf<T>().hasFactory && std::derived_from<T, Entity> &&
               std::is_constructible_v<T, Name>;
    }
}

/// What T's declaration tells, and how its boxes and objects are made.
template <class T>
constexpr TypeSpec specOf() {
    static_assert(isWholly(TextsOf<T>::all, SpecOf<T>::attributes),
                  "the texts lack the type, an attribute or an enumerator, or name something that is none");
    static_assert(isShort(TextsOf<T>::all), "a text is empty or longer than 160 characters");
    constexpr bool isObject = std::derived_from<T, PtrInterface>;
    constexpr bool isBoxedObject =
        Declared<T> || std::is_same_v<T, Entity> || std::is_same_v<T, PtrInterface>;
    TypeSpec spec{isObject && !isBoxedObject ? 0 : sizeof(T), // what is only referred to needs no size
                  {.isValue = !isObject,
                   .isEntity = std::derived_from<T, Entity>,
                   .isEnumType = std::is_enum_v<T>,
                   .hasGenericIfSupport = !isObject || isBoxedObject},
                  SpecOf<T>::arguments,
                  SpecOf<T>::attributes,
                  TextsOf<T>::all,
                  TextsOf<T>::header,
                  abilitiesOf<T>()};
    if constexpr (std::is_same_v<T, KorType> || (isObject && !isBoxedObject)) {
        // It is told of, but not boxed.
    } else if constexpr (isObject) {
        spec.ofObject = [](PtrInterface* object, bool isConst) -> Ptr<GenericIf> {
            auto* const known = dynamic_cast<T*>(object);
            return known != nullptr ? makePtr<BoxOf<T>>(known, isConst) : nullptr;
        };
        if constexpr (PatternEntity<T>) {
            spec.ofText = [](String8 const& text, bool isConst) {
                return boxOf(strepToValue<Ptr<T>>(text), isConst);
            };
        }
        if constexpr (abilitiesOf<T>().hasFactory) {
            spec.ofArguments = [](GenericIf const* each) { return BoxOf<T>::genericIfListConstructor(each); };
        }
        if constexpr (isMadeByName<T>()) {
            spec.ofName = [](Name const& name) -> Ptr<Entity> { return makePtr<T>(name); };
        }
    } else if constexpr (isBoxed<T>) {
        spec.ofValue = [](void const* value, bool isConst) -> Ptr<GenericIf> {
            return makePtr<BoxOf<T>>(value != nullptr ? *static_cast<T const*>(value) : T(), isConst);
        };
        if constexpr (!std::is_enum_v<T>) {
            spec.ofArguments = [](GenericIf const* each) { return BoxOf<T>::genericIfListConstructor(each); };
        }
        if constexpr (!std::is_pointer_v<T>) {
            spec.ofText = [](String8 const& text, bool isConst) -> Ptr<GenericIf> {
                return makePtr<BoxOf<T>>(strepToValue<T>(text), isConst);
            };
        }
    }
    return spec;
}

} // namespace detail

/// The type object of T. An entity class that nothing but its parent makes says so by a member
/// `korHasFactory`, false; one that is not made by a name alone by `korIsMadeByName`.
template <class T>
class TypeOf final : public KorType {
    static constexpr TypeSpec spec = detail::specOf<T>();

public:
    explicit TypeOf(TypeSeed const& seed) : KorType(seed, spec) {}
};

template <class T>
KorType* TypeMaker<T>::make(TypeSeed const& seed) {
    return new TypeOf<T>(seed);
}

} // namespace Kor
