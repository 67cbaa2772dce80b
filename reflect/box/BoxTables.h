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

/// The id of a class's first own attribute: it follows from how deep the class stands.
template <class T>
constexpr AttributeId firstId() {
    if constexpr (PatternEntity<T>) {
        return T::firstAttributeId;
    } else if constexpr (requires { typename T::BaseValue; }) {
        return firstId<typename T::BaseValue>() + 128;
    } else {
        return 2;
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

/// The attribute fwkKey.
template <class X>
inline constexpr BoxAttribute keyAttribute{.name = "fwkKey",
                                           .shape = {.role = Role::fwkKey},
                                           .get = [](void* object, bool isConst) -> Ptr<GenericIf> {
                                               return boxOf(static_cast<X const*>(object)->fwkKey(), isConst);
                                           }};

template <class T>
struct BoxTables;

/// A value or scalar of no pattern.
template <class T>
struct BoxTables {
    static constexpr BoxTable table{2, {}};
};
template <Declared T>
struct BoxTables<T> {
    static constexpr std::span<BoxAttribute const> attributes =
        BoxTableOf<T, typename T::Attributes>::attributes;
    static constexpr BoxTable table = [] {
        BoxTable made{firstId<T>(), attributes};
        if constexpr (Declared<BaseType<T>>) {
            made.base = &BoxTables<BaseType<T>>::table;
            made.toBase = [](void* object) -> void* {
                return static_cast<BaseType<T>*>(static_cast<T*>(object));
            };
        }
        if constexpr (requires(T const& t) { t.fwkKey(); }) {
            made.key = &keyAttribute<T>;
        }
        return made;
    }();
};

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
