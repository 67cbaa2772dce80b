#pragma once

/// How a box gets at one attribute of an object that is given as a void pointer: a constant BoxAttribute of
/// plain functions, which follow from the attribute's shape; and the table of those of a class, by id. Which
/// operations there are, in which order they are checked and what they raise is written once, over these
/// tables, in reflect/box/GenericIf.cpp. For reflect/box/GenericBox.h alone; a tool uses GenericIf.h.
///
///     auto const& table = Kor::detail::BoxTables<LifAppConfig>::table;
///
/// The tables are constants, which any thread may read; an object is reached on its own thread.

#include "reflect/Text.h"
#include "reflect/box/GenericIf.h"

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <tuple>

namespace Kor::detail {

/// Takes the arguments of a constructor or operation out of a list, in order.
class KOR_EXPORT ArgumentReader {
public:
    /// Raises when there is no list. `what` takes the arguments.
    ArgumentReader(GenericIf const* arguments, std::string_view what);

    bool empty() const noexcept { return list_.head() == nullptr; }
    /// The next one; raises when it is missing or null.
    GenericIf const& next(std::string_view name);
    template <class T>
    T next(std::string_view name) {
        T argument = unbox<T>(next(name));
        if constexpr (std::is_pointer_v<T>) {
            if (argument == nullptr) {
                GenericIf::throwTypeException(std::string(name).c_str());
            }
        }
        return argument;
    }
    /// Raises when there are more.
    void end() const;
    /// As many as there are in the list of attributes.
    template <class... A>
    auto all(AttributeList<A...>) {
        // In braces: from left to right.
        std::tuple<std::remove_cvref_t<typename A::Type>...> arguments{
            next<std::remove_cvref_t<typename A::Type>>(A::Name::text)...};
        end();
        return arguments;
    }

private:
    GenericIf::List list_;
    Ptr<GenericIf> current_;
    std::string_view what_;
};

struct KeyedAccess;

/// A walk over a map. It keeps the object, since another one could come to lie at its address.
struct Walk {
    KeyedAccess const* access;
    Ptr<PtrInterface const> object;
};

/// How a map is reached. A key is in its box. Plain functions: the names of classes would take more room.
struct KeyedAccess {
    char const* keyName;
    Ptr<GenericIf> (*get)(void* object, GenericIf const& key, bool isConst);
    U32 (*count)(void* object);
    U32 (*version)(void* object);
    bool (*contains)(void* object, GenericIf const& key);
    Ptr<GenericIf> (*set)(void* object, GenericIf const* key, GenericIf const* value);
    Ptr<GenericIf> (*del)(void* object, GenericIf const& key);
    /// Reads a member without boxes; false if key or value are of other types, or members are objects.
    bool (*read)(void* object, KorType const* keyType, void const* key, KorType const* type, void* into);

    /// From the key on, or from the first.
    Walk* (*walk)(void* object, GenericIf const* key);
    Ptr<GenericIf> (*walkKey)(Walk* walk);
    Ptr<GenericIf> (*walkValue)(Walk* walk, bool isConst);
    /// A step. Ends the walk if `object`, what the box holds now, is another one, or null.
    void (*walkInc)(Walk* walk, void* object);
    Walk* (*walkClone)(Walk* walk);
    bool (*walkNonNull)(Walk* walk);
    void (*walkDel)(Walk* walk);
};

struct BoxAttribute {
    char const* name = nullptr;
    /// Of no role where there is no attribute.
    Shape shape{};
    Ptr<GenericIf> (*get)(void* object, bool isConst) = nullptr;
    /// Null where there is no setter.
    void (*set)(void* object, GenericIf const& value) = nullptr;
    Ptr<GenericIf> (*call)(void* object, ArgumentReader& arguments, bool isConst) = nullptr;
    KeyedAccess const* keyed = nullptr;
    /// A scalar without boxes; false if it is of another type.
    bool (*read)(void* object, KorType const* type, void* into) = nullptr;
    bool (*write)(void* object, KorType const* type, void const* value) = nullptr;
};

/// The attributes of a class by id, from `first` on, those of its base, and the attribute fwkKey.
struct BoxTable {
    AttributeId first;
    std::span<BoxAttribute const> attributes;
    BoxTable const* base = nullptr;
    void* (*toBase)(void* object) = nullptr;
    BoxAttribute const* key = nullptr;
};

/// An attribute, and the object as its class has it. Null where there is none.
struct Reached {
    BoxAttribute const* attribute = nullptr;
    void* object = nullptr;
};

/// Does an operation on an attribute. `entity` counts what it hands out; null for other objects and values.
Ptr<GenericIf> attributeOp(Reached at, bool isConst, Entity const* entity, GenericIf::OpId op,
                           GenericIf::Key const& key, Ptr<GenericIf> const& value);
/// Raises for a null key, with the name that it has for the operation.
KOR_EXPORT GenericIf const& needKey(GenericIf::Key const& key, char const* name);
/// The short name of the type that was expected is the word.
[[noreturn]] KOR_EXPORT void throwUnboxed(KorType const* expected);

/// Whether there are boxes of a type that is not of the patterns: not of the type of no result.
template <class T>
inline constexpr bool isBoxed = std::is_default_constructible_v<T>&& std::equality_comparable<T>;
template <>
inline constexpr bool isBoxed<KorTypeFlags> = false;

// One attribute of the class T.

/// What is not a map, and no operation.
template <class T, class A>
struct ScalarBoxing {
    static constexpr Shape shape = A::shape;
    using V = typename A::Value;

    static V valueOf([[maybe_unused]] void* object) {
        if constexpr (shape.role == Role::constant) {
            return A::value;
        } else {
            // Read as const: the table counts the read.
            decltype(auto) value = A::Name::call(*static_cast<T const*>(object));
            if constexpr (shape.reference) {
                return const_cast<std::remove_const_t<typename A::Type>*>(value.ptr());
            } else {
                return value;
            }
        }
    }
    static Ptr<GenericIf> get(void* object, bool isConst) { return boxOf<V>(valueOf(object), isConst); }
    static void set(void* object, GenericIf const& value) {
        A::Name::set(*static_cast<T*>(object), unbox<V>(value));
    }
    static bool read(void* object, KorType const* type, void* into) {
        bool const fits = type == fwkTypeOf<V>();
        if (fits) {
            *static_cast<V*>(into) = valueOf(object);
        }
        return fits;
    }
    static bool write(void* object, KorType const* type, void const* value) {
        bool const fits = type == fwkTypeOf<V>();
        if (fits) {
            A::Name::set(*static_cast<T*>(object), *static_cast<V const*>(value));
        }
        return fits;
    }
    static constexpr BoxAttribute attribute() {
        BoxAttribute made{.name = A::Name::text, .shape = shape, .get = &get};
        if constexpr (shape.settable) {
            made.set = &set;
        }
        if constexpr (!shape.reference) {
            made.read = &read;
            if constexpr (shape.settable) {
                made.write = &write;
            }
        }
        return made;
    }
};

template <class T, class A>
Ptr<GenericIf> callOperation(void* object, ArgumentReader& reader, bool isConst) {
    return std::apply(
        [&](auto const&... each) -> Ptr<GenericIf> {
            if constexpr (std::is_void_v<typename A::Type>) {
                A::Name::call(*static_cast<T*>(object), each...);
                return nullptr;
            } else {
                return boxOf<std::remove_cvref_t<typename A::Type>>(
                    A::Name::call(*static_cast<T*>(object), each...), isConst);
            }
        },
        reader.all(typename A::Arguments()));
}

/// A walk over a queue that has what is used of one over a map.
template <class Q>
struct QueueWalk : Q::IteratorConst {
    QueueWalk() = default;
    explicit QueueWalk(Q const* queue) : Q::IteratorConst(queue) {}
    QueueWalk(Q const* queue, U32 key) : QueueWalk(queue) {
        while (*this && this->key() != key) {
            this->advance();
        }
    }
    Q const* map() const noexcept { return this->queue_; }
};
template <class Map>
consteval auto walkOf() {
    if constexpr (requires { typename Map::Iterator; }) {
        return std::type_identity<typename Map::Iterator>();
    } else {
        return std::type_identity<QueueWalk<Map>>();
    }
}

/// A map, or a queue as a map from its numbers.
template <class T, class A>
struct KeyedBoxing {
    using Forms = typename A::Name;
    using K = typename A::Key;
    using V = typename A::Value;
    using Map = std::remove_cvref_t<decltype(Forms::map(std::declval<T const&>()))>;
    using At = typename decltype(walkOf<Map>())::type;
    static constexpr Shape shape = A::shape;
    static constexpr bool isQueue = shape.role == Role::queue;

    struct State : Walk {
        At at;
    };
    static At& at(Walk* walk) { return static_cast<State*>(walk)->at; }
    static K keyAt(At const& at) {
        if constexpr (isQueue) {
            return at.key();
        } else {
            return HashMember::key(*at);
        }
    }
    static Map& map(void* object) {
        return const_cast<Map&>(Forms::map(*static_cast<T const*>(object))); // for its members
    }
    template <class Member>
    static Ptr<GenericIf> boxMember(Member& member, bool isConst) {
        if constexpr (shape.child) {
            return KorType::genericIf(&member, isConst);
        } else {
            return boxOf(member.value, isConst);
        }
    }

    static Ptr<GenericIf> get(void* object, GenericIf const& key, bool isConst) {
        if (auto* const found = map(object).member(unbox<K>(key))) {
            return boxMember(*found, isConst);
        }
        if constexpr (shape.holdsObjects()) {
            return nullptr;
        } else {
            return boxOf(V(), isConst);
        }
    }
    static U32 count(void* object) {
        if constexpr (isQueue) {
            U32 count = 0;
            for (At at(&map(object)); at; at.advance()) {
                ++count;
            }
            return count;
        } else {
            return map(object).count();
        }
    }
    static U32 version(void* object) { return map(object).version(); }
    static bool contains(void* object, GenericIf const& key) {
        return map(object).member(unbox<K>(key)) != nullptr;
    }
    static Ptr<GenericIf> set(void* object, GenericIf const* key, GenericIf const* value) {
        T& self = *static_cast<T*>(object);
        if constexpr (!shape.settable) {
            return nullptr; // nobody asks for it
        } else if constexpr (shape.child) {
            return boxOf(Ptr<typename A::Type>(Forms::set(self, unbox<K>(*key))));
        } else if constexpr (shape.keyInside) {
            Forms::set(self, unbox<V>(*value));
        } else {
            K const at = unbox<K>(*key);
            Forms::set(self, at, shape.reference && value == nullptr ? V() : unbox<V>(*value));
        }
        return nullptr;
    }
    static Ptr<GenericIf> del(void* object, GenericIf const& key) {
        return boxOf(Forms::del(*static_cast<T*>(object), unbox<K>(key)));
    }
    static bool read(void* object, KorType const* keyType, void const* key, KorType const* type, void* into) {
        if constexpr (shape.holdsObjects() || isQueue) {
            return false;
        } else {
            bool const fits = keyType == fwkTypeOf<K>() && type == fwkTypeOf<V>();
            if (auto* const found = fits ? map(object).member(*static_cast<K const*>(key)) : nullptr) {
                *static_cast<V*>(into) = found->value;
            }
            return fits;
        }
    }
    static Walk* walk(void* object, GenericIf const* key) {
        Map& from = map(object);
        At start = key == nullptr ? At(&from) : At(&from, unbox<K>(*key));
        if (key != nullptr && start && !(keyAt(start) == unbox<K>(*key))) {
            start = At();
        }
        return new State{{&access, static_cast<T const*>(object)}, std::move(start)};
    }
    static Ptr<GenericIf> walkKey(Walk* walk) { return boxOf<K>(keyAt(at(walk)), true); }
    static Ptr<GenericIf> walkValue(Walk* walk, bool isConst) { return boxMember(*at(walk), isConst); }
    static void walkInc(Walk* walk, void* object) {
        if (object != nullptr && at(walk).map() == &map(object)) {
            at(walk).advance();
        } else {
            at(walk) = At(); // the box has another object
        }
    }
    static Walk* walkClone(Walk* walk) { return new State(*static_cast<State*>(walk)); }
    static bool walkNonNull(Walk* walk) { return static_cast<bool>(at(walk)); }
    static void walkDel(Walk* walk) { delete static_cast<State*>(walk); }

    static constexpr char const* keyName() {
        if constexpr (shape.keyInside) {
            return A::KeyName::text;
        } else {
            return "kor_index";
        }
    }
    static constexpr KeyedAccess access{keyName(),  &get,     &count,     &version,     &contains,
                                        &set,       &del,     &read,      &walk,        &walkKey,
                                        &walkValue, &walkInc, &walkClone, &walkNonNull, &walkDel};
};

/// Empty for an id that no attribute has.
template <class T, class A>
constexpr BoxAttribute boxAttribute() {
    constexpr Shape shape = A::shape;
    if constexpr (shape.role == Role::none) {
        return {};
    } else if constexpr (shape.isOperation()) {
        return {.name = A::Name::text, .shape = shape, .call = &callOperation<T, A>};
    } else if constexpr (shape.keyed) {
        return {.name = A::Name::text, .shape = shape, .keyed = &KeyedBoxing<T, A>::access};
    } else {
        return ScalarBoxing<T, A>::attribute();
    }
}

// The attributes of a class.

template <class T>
concept PatternEntity = requires {
    typename T::BaseEntity;
};

template <class T, class... A>
constexpr auto boxAttributes(AttributeList<A...>) {
    return std::array<BoxAttribute, sizeof...(A)>{boxAttribute<T, A>()...};
}

/// The attribute fwkKey.
template <class X>
inline constexpr BoxAttribute keyAttribute{.name = "fwkKey",
                                           .shape = {.role = Role::fwkKey},
                                           .get = [](void* object, bool isConst) -> Ptr<GenericIf> {
                                               return boxOf(static_cast<X const*>(object)->fwkKey(), isConst);
                                           }};

/// A value or scalar of no pattern.
template <class T>
struct BoxTables {
    static constexpr BoxTable table{2, {}};
};
template <Declared T>
struct BoxTables<T> {
    static constexpr auto attributes = boxAttributes<T>(Where<&Shape::hasId, typename T::Attributes>());
    static constexpr BoxTable table = [] {
        BoxTable made{T::firstAttributeId, attributes};
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

} // namespace Kor::detail
