#pragma once

/// How a box gets at one attribute of an object that is given as a void pointer: a constant BoxAttribute of
/// plain functions, which follow from the attribute's shape. Which operations there are, in which order they
/// are checked and what they raise is written once, over tables of these, in reflect/box/GenericIf.cpp.

#include "reflect/Attributes.h"
#include "reflect/box/GenericIf.h"

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

private:
    GenericIf::List list_;
    Ptr<GenericIf> current_;
    std::string_view what_;
};

struct KeyedAccess;

/// A walk over a map, and the object, which the walk keeps: another one could come to lie at its address.
struct WalkState {
    KeyedAccess const* access;
    Ptr<PtrInterface const> object;
};

/// How a map is reached. A key is in its box.
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

    /// From the key on, if it is there, or else from the first.
    WalkState* (*walk)(void* object, GenericIf const* key);
    Ptr<GenericIf> (*walkKey)(WalkState* state);
    Ptr<GenericIf> (*walkValue)(WalkState* state, bool isConst);
    /// A step. Ends the walk if `object`, what the box holds now, is another one, or null.
    void (*walkInc)(WalkState* state, void* object);
    WalkState* (*walkClone)(WalkState* state);
    bool (*walkNonNull)(WalkState* state);
    void (*walkDel)(WalkState* state);
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

// One attribute of the class T.

/// What is not a map, and no operation.
template <class T, class A>
struct ScalarBoxing {
    static constexpr Shape shape = A::shape;
    using V = typename A::Value;

    static Ptr<GenericIf> get([[maybe_unused]] void* object, bool isConst) {
        if constexpr (shape.role == Role::constant) {
            return boxOf<V>(A::value, isConst);
        } else {
            // Read as const: the table counts the read.
            decltype(auto) value = A::Name::call(*static_cast<T const*>(object));
            if constexpr (shape.reference) {
                using R = typename A::Type;
                return KorType::genericIf(const_cast<std::remove_const_t<R>*>(value.ptr()),
                                          isConst || std::is_const_v<R>);
            } else {
                return boxOf<V>(value, isConst);
            }
        }
    }
    static void set(void* object, GenericIf const& value) {
        A::Name::set(*static_cast<T*>(object), unbox<V>(value));
    }
    static bool read(void* object, KorType const* type, void* into) {
        if (type != fwkTypeOf<V>()) {
            return false;
        }
        *static_cast<V*>(into) = A::Name::call(*static_cast<T const*>(object));
        return true;
    }
    static bool write(void* object, KorType const* type, void const* value) {
        if (type != fwkTypeOf<V>()) {
            return false;
        }
        A::Name::set(*static_cast<T*>(object), *static_cast<V const*>(value));
        return true;
    }
    static constexpr BoxAttribute attribute() {
        BoxAttribute made{.name = A::Name::text, .shape = shape, .get = &get};
        if constexpr (shape.settable) {
            made.set = &set;
        }
        if constexpr (!shape.reference && shape.role != Role::constant) {
            made.read = &read;
            if constexpr (shape.settable) {
                made.write = &write;
            }
        }
        return made;
    }
};

template <class T, class A, class... Argument>
Ptr<GenericIf> callOperation(T& object, ArgumentReader& reader, bool isConst, AttributeList<Argument...>) {
    // In braces: from left to right.
    std::tuple<std::remove_cvref_t<typename Argument::Type>...> const arguments{
        reader.template next<std::remove_cvref_t<typename Argument::Type>>(Argument::Name::text)...};
    reader.end();
    return std::apply(
        [&](auto const&... each) -> Ptr<GenericIf> {
            if constexpr (std::is_void_v<typename A::Type>) {
                A::Name::call(object, each...);
                return nullptr;
            } else {
                return boxOf<std::remove_cvref_t<typename A::Type>>(A::Name::call(object, each...), isConst);
            }
        },
        arguments);
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

/// A map, or a queue as a map from its numbers. A walk is a state that is allocated.
template <class T, class A>
struct KeyedBoxing {
    using Forms = typename A::Name;
    using K = typename A::Key;
    static constexpr Shape shape = A::shape;
    static constexpr bool isQueue = shape.role == Role::queue;

    using Map = std::remove_cvref_t<decltype(Forms::map(std::declval<T const&>()))>;
    using At = typename decltype(walkOf<Map>())::type;
    struct State : WalkState {
        At at;
    };
    static At& at(WalkState* state) { return static_cast<State*>(state)->at; }
    static K keyAt(At const& at) {
        if constexpr (isQueue) {
            return at.key();
        } else {
            return HashMember::key(*at);
        }
    }

    static Map& map(void* object) {
        return const_cast<Map&>(
            Forms::map(*static_cast<T const*>(object))); // for its members; it stays as it is
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
            return boxOf(typename A::Value(), isConst);
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
        if constexpr (shape.child) {
            return boxOf(Ptr<typename A::Type>(Forms::set(self, unbox<K>(*key))));
        } else if constexpr (shape.keyInside) {
            Forms::set(self, unbox<typename A::Value>(*value));
        } else {
            K const at = unbox<K>(*key);
            if constexpr (shape.reference) {
                using R = typename A::Value;
                Forms::set(self, at, value != nullptr ? unbox<R>(*value) : R());
            } else {
                Forms::set(self, at, unbox<typename A::Value>(*value));
            }
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
            bool const fits = keyType == fwkTypeOf<K>() && type == fwkTypeOf<typename A::Value>();
            if (auto* const found = fits ? map(object).member(*static_cast<K const*>(key)) : nullptr) {
                *static_cast<typename A::Value*>(into) = found->value;
            }
            return fits;
        }
    }

    static At atKey(Map& from, K const& key) {
        At found(&from, key);
        return found && keyAt(found) == key ? found : At();
    }
    static WalkState* walk(void* object, GenericIf const* key) {
        Map& from = map(object);
        return new State{{&access, static_cast<T const*>(object)},
                         key == nullptr ? At(&from) : atKey(from, unbox<K>(*key))};
    }
    static Ptr<GenericIf> walkKey(WalkState* state) { return boxOf<K>(keyAt(at(state)), true); }
    static Ptr<GenericIf> walkValue(WalkState* state, bool isConst) { return boxMember(*at(state), isConst); }
    static void walkInc(WalkState* state, void* object) {
        if (object != nullptr && at(state).map() == &map(object)) {
            at(state).advance();
        } else {
            at(state) = At(); // the box has another object
        }
    }
    static WalkState* walkClone(WalkState* state) { return new State(*static_cast<State*>(state)); }
    static bool walkNonNull(WalkState* state) { return static_cast<bool>(at(state)); }
    static void walkDel(WalkState* state) { delete static_cast<State*>(state); }

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

/// An id without an attribute, and an operation that the base's table reaches, have none.
template <class T, class A>
constexpr BoxAttribute boxAttribute() {
    constexpr Shape shape = A::shape;
    if constexpr (shape.role == Role::none || isOverride<A>) {
        return {};
    } else if constexpr (shape.isOperation()) {
        return {.name = A::Name::text,
                .shape = shape,
                .call = [](void* object, ArgumentReader& arguments, bool isConst) {
                    return callOperation<T, A>(*static_cast<T*>(object), arguments, isConst,
                                               typename A::Arguments());
                }};
    } else if constexpr (shape.keyed) {
        return {.name = A::Name::text, .shape = shape, .keyed = &KeyedBoxing<T, A>::access};
    } else {
        return ScalarBoxing<T, A>::attribute();
    }
}

} // namespace Kor::detail
