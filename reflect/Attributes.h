#pragma once

/// The attributes that values and entities are declared with. Each says its name, its types and its shape
/// (reflect/Shape.h), and exists at compile time alone:
///
///     Stored, Settable, CheckedOnWire, View, ...      of values (reflect/Value.h)
///     Operation, ClassOperation, Arg                  of both
///     KeyAttribute, FixedAttribute, Singleton, ...    of entities (reflect/entity/EntityPattern.h)
///
/// The two headers say what their operations cost, raise and do.
///
/// A new kind of attribute is one declaration here, and what is truly new about it where it is stored
/// (reflect/entity/Levels.h) or read. `Type` is the type that a reader gets, of an operation its result; a
/// keyed attribute has a `Key`, and one whose key is in the value the name of it as `KeyName`.

#include "reflect/Names.h"
#include "reflect/Shape.h"
#include "runtime/Ptr.h"
#include "runtime/Texts.h"

#include <cstddef>
#include <initializer_list>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Kor {

template <class... A>
struct AttributeList {
    static constexpr std::size_t size = sizeof...(A);
};

namespace detail {

/// The attributes of several lists, in order.
template <class... List>
struct Joined : std::type_identity<AttributeList<>> {};
template <class... A>
struct Joined<AttributeList<A...>> : std::type_identity<AttributeList<A...>> {};
template <class... A, class... B, class... Rest>
struct Joined<AttributeList<A...>, AttributeList<B...>, Rest...>
    : Joined<AttributeList<A..., B...>, Rest...> {};

/// Whether a shape has a property, which is one of its members.
template <auto property>
constexpr bool holds(Shape const& shape) {
    if constexpr (std::is_member_function_pointer_v<decltype(property)>) {
        return (shape.*property)();
    } else {
        return shape.*property;
    }
}
/// The attributes of a list whose shape has the property.
template <auto property, class List>
struct WhereIn;
template <auto property, class... A>
struct WhereIn<property, AttributeList<A...>>
    : Joined<std::conditional_t<holds<property>(A::shape), AttributeList<A>, AttributeList<>>...> {};
template <auto property, class List>
using Where = typename WhereIn<property, List>::type;

template <std::size_t I, class List>
struct AttributeAt;
template <std::size_t I, class... A>
struct AttributeAt<I, AttributeList<A...>> : std::tuple_element<I, std::tuple<A...>> {};

/// How many stand before the first that is true.
constexpr std::size_t placeOfFirst(std::initializer_list<bool> all) {
    bool const* at = all.begin();
    while (at != all.end() && !*at) {
        ++at;
    }
    return static_cast<std::size_t>(at - all.begin());
}
/// Where an attribute stands in a list.
template <class A, class... Each>
consteval std::size_t placeIn(AttributeList<Each...>) {
    return placeOfFirst({std::is_same_v<A, Each>...});
}

/// Calls `visit.template operator()<A>()` for each attribute A of a list.
template <class... A, class Visit>
constexpr void forEach(AttributeList<A...>, Visit const& visit) {
    // As a list: g++ looks at each pair of the operands of a comma.
    static_cast<void>(std::initializer_list<int>{(visit.template operator()<A>(), 0)...});
}

template <class... A>
AttributeList<A...> plainList(AttributeList<A...> const&);
template <class T>
concept ListClass = requires(T const& list) {
    plainList(list);
};
/// The attributes of a list, given one by one or as one class that derives from their list.
template <class... A>
struct ListOf : std::type_identity<AttributeList<A...>> {};
template <ListClass List>
struct ListOf<List> : std::type_identity<decltype(plainList(std::declval<List const&>()))> {};

/// What a counted pointer points to; void of anything else.
template <class T>
struct PointedTo : std::type_identity<void> {};
template <class T>
struct PointedTo<Ptr<T>> : std::type_identity<T> {};
template <class T>
using Pointed = typename PointedTo<T>::type;

template <class Signature>
struct SignatureOf;
template <class R, class... A>
struct SignatureOf<R(A...)> {
    using Result = R;
    using Arguments = AttributeList<A...>;
};

/// The key attribute of an entity that has one: it stands first.
template <class C>
using ChildKey = typename AttributeAt<0, typename C::Attributes>::type;

/// `Value` is what is stored.
template <class NameType, class T, class V = T>
struct Named {
    using Name = NameType;
    using Type = T;
    using Value = V;
};

} // namespace detail

// Of values

/// Stored, set by the constructor alone. `Initial` is the default, if it is not that of the type.
template <class NameType, class T, auto... Initial>
struct Stored : detail::Named<NameType, T> {
    static constexpr Shape shape{.role = Role::field};
    static constexpr T initial() { return T(Initial...); }
};

/// Stored, with a setter.
template <class NameType, class T, auto... Initial>
struct Settable : Stored<NameType, T, Initial...> {
    static constexpr Shape shape{.role = Role::field, .settable = true};
};

/// Stored. It is checked when it comes from an attribute log, where its type by itself is not.
template <class NameType, class T, auto... Initial>
struct CheckedOnWire : Stored<NameType, T, Initial...> {
    static constexpr Shape shape{.role = Role::field, .checkedOnWire = true};
};

/// Bits First to Last of a stored word, for reading and writing.
template <class NameType, class T, class WordName, unsigned First, unsigned Last>
struct View : detail::Named<NameType, T> {
    using Word = WordName;
    static constexpr Shape shape{.role = Role::view, .settable = true};
    static constexpr unsigned first = First;
    static constexpr unsigned width = Last - First + 1;
    static_assert(First <= Last && Last < 64);
    static_assert(std::is_enum_v<T> || std::is_same_v<T, bool> || width <= 8 * sizeof(T),
                  "the type of a view must hold its bits");
};

/// A constant of the class.
template <class NameType, class T, T Given>
struct Constant : detail::Named<NameType, T> {
    static constexpr Shape shape{.role = Role::constant};
    static constexpr T value = Given;
};

/// Read like an attribute, by a function that the class defines by hand.
template <class NameType, class T>
struct Computed : detail::Named<NameType, T> {
    static constexpr Shape shape{.role = Role::computed};
};

// Of both

/// One argument of an operation.
template <class NameType, class T>
struct Arg : detail::Named<NameType, T> {};

/// An operation that the class defines by hand and that is reached by its name. The signature names each
/// argument: `Operation<name::acFormat, OutAcFormat(Arg<name::isAc0, bool>)>`.
template <class NameType, class Signature>
struct Operation : detail::Named<NameType, typename detail::SignatureOf<Signature>::Result> {
    using Arguments = typename detail::SignatureOf<Signature>::Arguments;
    static constexpr Shape shape{.role = Role::operation};
};

/// An operation of the class, called without an object.
template <class NameType, class Signature>
struct ClassOperation : Operation<NameType, Signature> {
    static constexpr Shape shape{.role = Role::classOperation};
};

// Of entities

/// Set by the constructor; under it the map of a parent knows the entity. Stands first.
template <class NameType, class T>
struct KeyAttribute : detail::Named<NameType, T> {
    static constexpr Shape shape{.role = Role::key};
};

/// The same without being a key.
template <class NameType, class T>
using FixedAttribute = Stored<NameType, T>;

/// An operation that heirs override, and that they list as an Override.
template <class NameType, class Signature>
struct VirtualOperation : Operation<NameType, Signature> {
    static constexpr Shape shape{.role = Role::operation, .isVirtual = true};
};

/// An operation of the base's list that this class has its own form of. It keeps the base's id.
template <class NameType>
struct Override {
    using Name = NameType;
    static constexpr Shape shape{.role = Role::operation, .hasId = false};
};

template <class NameType, class T, auto... Initial>
struct Singleton : Stored<NameType, T, Initial...> {
    static constexpr Shape shape{.role = Role::singleton, .settable = true, .travels = true};
};

/// With a setter that heirs may override.
template <class NameType, class T, auto... Initial>
struct VirtualSingleton : Stored<NameType, T, Initial...> {
    static constexpr Shape shape{
        .role = Role::singleton, .settable = true, .isVirtual = true, .travels = true};
};

/// Refers to an object that the entity does not make. Read through a const entity it is const.
template <class NameType, class T>
struct SingletonReference : detail::Named<NameType, T, Ptr<T>> {
    static constexpr Shape shape{.role = Role::singleton, .reference = true, .settable = true};
    static Ptr<T> initial() { return {}; }
};

template <class NameType, class K, class V, Counting counts = Counting::none>
struct ValueMap : detail::Named<NameType, V> {
    static_assert(counts == Counting::none || std::is_same_v<V, U32>, "a map counts in U32");
    using Key = K;
    static constexpr Shape shape{
        .role = Role::map, .counting = counts, .keyed = true, .settable = true, .travels = true};
};

/// A map of counts that count up.
template <class NameType, class K, class V>
struct CountedUpMap : ValueMap<NameType, K, V, Counting::up> {};

/// A map of counts that count up and down.
template <class NameType, class K, class V>
struct CountedMap : ValueMap<NameType, K, V, Counting::both> {};

/// The key is the attribute `KeyNameType` of the value.
template <class NameType, class V, class KeyNameType>
struct KeyedMap : detail::Named<NameType, V> {
    using KeyName = KeyNameType;
    using Key = std::remove_cvref_t<decltype(KeyName::call(std::declval<V const&>()))>;
    static constexpr Shape shape{
        .role = Role::map, .keyed = true, .keyInside = true, .settable = true, .travels = true};
};

/// The members are children, made here; the key is the key attribute of the child.
template <class NameType, class C>
struct EntityMap : detail::Named<NameType, C, Ptr<C>> {
    using KeyName = typename detail::ChildKey<C>::Name;
    using Key = typename detail::ChildKey<C>::Type;
    static constexpr Shape shape{.role = Role::map,
                                 .keyed = true,
                                 .keyInside = true,
                                 .child = true,
                                 .settable = true,
                                 .travels = true};
};

/// The members are entities that somebody else has made.
template <class NameType, class K, class T>
struct ReferenceMap : detail::Named<NameType, T, Ptr<T>> {
    using Key = K;
    static constexpr Shape shape{
        .role = Role::map, .keyed = true, .reference = true, .settable = true, .travels = true};
};

/// Members in order, each under a number that never changes.
template <class NameType, class V>
struct Queue : detail::Named<NameType, V> {
    using Key = U32;
    static constexpr Shape shape{.role = Role::queue, .keyed = true, .settable = true};
};

/// The place of an attribute that the list lacks: its id belongs to none. A list's second one derives
/// from it.
struct FreeId {
    struct Name {
        static constexpr char const* text = nullptr;
    };
    static constexpr Shape shape{};
};

} // namespace Kor
