#pragma once

/// The attributes of a class by id, as its boxes reach them, and what a list of arguments makes of it.

#include "reflect/Enumeration.h"
#include "reflect/Text.h"
#include "reflect/box/Boxing.h"

#include <array>
#include <span>

namespace Kor::detail {

template <class T>
concept PatternEntity = requires {
    typename T::BaseEntity;
};

/// How deep a class stands: the ids of its own attributes follow from it.
template <class T>
constexpr int levelOf() {
    if constexpr (requires { typename T::BaseValue; }) {
        return 1 + levelOf<typename T::BaseValue>();
    } else {
        return 0;
    }
}

template <class T, class List>
struct BoxTableOf;
template <class T, class... A>
struct BoxTableOf<T, AttributeList<A...>> {
    // Arrays: g++ at -Wall compares each pair of the operands of a long expression.
    static constexpr bool has[] = {!isOverride<A>..., false};
    static constexpr std::size_t size = [] {
        std::size_t count = 0;
        for (bool const each : has) {
            count += each;
        }
        return count;
    }();

    static constexpr auto attributes = [] {
        constexpr BoxAttribute (*make[])() = {&boxAttribute<T, A>..., nullptr};
        std::array<BoxAttribute, size> table{};
        std::size_t next = 0;
        for (std::size_t i = 0; i < sizeof...(A); ++i) {
            if (has[i]) {
                table[next++] = make[i]();
            }
        }
        return table;
    }();
};

template <class T>
struct BoxTables;

template <class T, class Base, AttributeId First>
constexpr BoxTable boxTable(std::span<BoxAttribute const> attributes) {
    if constexpr (requires { typename Base::Attributes; }) {
        return {First, attributes, &BoxTables<Base>::table,
                [](void* object) -> void* { return static_cast<Base*>(static_cast<T*>(object)); }};
    } else {
        return {First, attributes};
    }
}

/// A value or scalar of no pattern.
template <class T>
struct BoxTables {
    static constexpr BoxTable table{2, {}};
};
template <class T>
requires(requires { typename T::Attributes; } && !PatternEntity<T>) struct BoxTables<T> {
    static constexpr BoxTable table =
        boxTable<T, BaseType<T>, 2 + 128 * levelOf<T>()>(BoxTableOf<T, typename T::Attributes>::attributes);
};
template <PatternEntity T>
struct BoxTables<T> {
    static constexpr BoxTable table =
        boxTable<T, BaseType<T>, T::firstAttributeId>(BoxTableOf<T, typename T::Attributes>::attributes);
};

/// The attribute fwkKey.
template <class X>
inline constexpr BoxAttribute keyAttribute{.name = "fwkKey",
                                           .shape = {.role = Role::fwkKey},
                                           .get = [](void* object, bool isConst) -> Ptr<GenericIf> {
                                               return boxOf(static_cast<X const*>(object)->fwkKey(), isConst);
                                           }};

/// The name of the argument that a class is made with.
template <class X>
constexpr std::string_view constructorArgumentName() {
    if constexpr (hasKey<typename X::Attributes>) {
        return ChildKey<X>::Name::text;
    } else if constexpr (PatternEntity<BaseType<X>>) {
        return constructorArgumentName<BaseType<X>>();
    } else {
        return "name";
    }
}

/// What a list of arguments makes of a value type: the default for an empty one.
template <class T, class... S>
T valueOfArguments(ArgumentReader& reader, Storage<S...> const*) {
    if (reader.empty()) {
        return T();
    }
    std::tuple<typename S::Type...> const values{reader.template next<typename S::Type>(S::Name::text)...};
    reader.end();
    if constexpr (sizeof...(S) == 0) {
        return T();
    } else {
        return std::apply([](auto const&... each) { return T(each...); }, values);
    }
}

} // namespace Kor::detail
