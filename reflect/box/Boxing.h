#pragma once

/// How a box gets at one attribute of an object that is given as a void pointer: a constant BoxAttribute of
/// plain functions, which follow from the attribute's shape. What the operations on them check and raise is
/// written once, in reflect/box/GenericIf.cpp.

#include "reflect/Attributes.h"
#include "reflect/box/GenericIf.h"

#include <span>
#include <tuple>

namespace Kor::detail {

/// Takes the arguments of a constructor or operation out of a list, in order.
class KOR_EXPORT ArgumentReader {
public:
    /// Raises when there is no list. `what` takes the arguments.
    ArgumentReader(GenericIf const* arguments, char const* what);

    bool empty() const noexcept { return list_.head() == nullptr; }
    /// The next one; raises when it is missing or null.
    GenericIf const& next(char const* name);
    template <class T>
    T next(char const* name) {
        T argument = unbox<T>(next(name));
        if constexpr (std::is_pointer_v<T>) {
            if (argument == nullptr) {
                GenericIf::throwTypeException(name);
            }
        }
        return argument;
    }
    /// Raises when there are more.
    void end() const;

private:
    GenericIf::List list_;
    Ptr<GenericIf> current_;
    char const* what_;
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
    /// Reads a member without boxes; false if key or value are of other types. Null for members that are
    /// objects.
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

/// The attributes of a class by id, from `first` on, and those of its base.
struct BoxTable {
    AttributeId first;
    std::span<BoxAttribute const> attributes;
    BoxTable const* base = nullptr;
    void* (*toBase)(void* object) = nullptr;
};

/// An attribute, and the object as its class has it. Null where there is none.
struct Reached {
    BoxAttribute const* attribute = nullptr;
    void* object = nullptr;
};
KOR_EXPORT Reached reach(BoxTable const& table, void* object, AttributeId id) noexcept;

/// Does an operation on an attribute. `entity` counts what it hands out; null for other objects and values.
KOR_EXPORT Ptr<GenericIf> attributeOp(Reached at, bool isConst, Entity const* entity, GenericIf::OpId op,
                                      GenericIf::Key const& key, Ptr<GenericIf> const& value);
/// Raises for a null key, with the name that it has for the operation.
KOR_EXPORT GenericIf const& needKey(GenericIf::Key const& key, char const* name);
/// The short name of the type that was expected is the word.
[[noreturn]] KOR_EXPORT void throwUnboxed(KorType const* expected);

/// Whether there are boxes of a type that is not of the patterns: not of the type of no result.
template <class T>
inline constexpr bool isBoxed = std::is_default_constructible_v<T>&& std::equality_comparable<T>;

template <class T, class N, class R, class... A>
Ptr<GenericIf> callOperation(T& object, ArgumentReader& reader, bool isConst, AttributeList<A...>,
                             std::type_identity<R>) {
    // In braces: from left to right.
    std::tuple<std::remove_cvref_t<typename A::Type>...> const arguments{
        reader.template next<std::remove_cvref_t<typename A::Type>>(A::Name::text)...};
    reader.end();
    return std::apply(
        [&](auto const&... each) -> Ptr<GenericIf> {
            if constexpr (std::is_void_v<R>) {
                N::call(object, each...);
                return nullptr;
            } else {
                return boxOf<std::remove_cvref_t<R>>(N::call(object, each...), isConst);
            }
        },
        arguments);
}

// One attribute of the class T.

/// What is stored for an attribute: an object by a counted pointer.
template <class A>
struct HeldBy {
    using type = typename A::Type;
};
template <class A>
requires(A::shape.holdsObjects()) struct HeldBy<A> {
    using type = typename A::Value;
};

/// What is not a map, and no operation.
template <class T, class A>
struct ScalarBoxing {
    static constexpr Shape shape = A::shape;
    using V = typename HeldBy<A>::type;

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

template <class T, class A>
struct OperationBoxing {
    static Ptr<GenericIf> call(void* object, ArgumentReader& arguments, bool isConst) {
        return callOperation<T, typename A::Name>(*static_cast<T*>(object), arguments, isConst,
                                                  typename A::Arguments(),
                                                  std::type_identity<typename A::Type>());
    }
    static constexpr BoxAttribute attribute() {
        return {.name = A::Name::text, .shape = A::shape, .call = &call};
    }
};

/// The access to a map by what `B` has for it, with the walks as states that are allocated.
template <class B>
struct Keyed {
    struct State : WalkState {
        typename B::At at;
    };
    static auto& at(WalkState* state) { return static_cast<State*>(state)->at; }
    static U32 version(void* object) { return B::map(object).version(); }
    static WalkState* walk(void* object, GenericIf const* key) {
        using At = typename B::At;
        auto& map = B::map(object);
        return new State{{&B::access, static_cast<typename B::Object const*>(object)},
                         key == nullptr ? At(&map) : B::walk(map, unbox<typename B::K>(*key))};
    }
    static Ptr<GenericIf> walkKey(WalkState* state) { return B::walkKey(at(state)); }
    static Ptr<GenericIf> walkValue(WalkState* state, bool isConst) {
        return B::walkValue(at(state), isConst);
    }
    static void walkInc(WalkState* state, void* object) {
        if (object != nullptr && at(state).map() == &B::map(object)) {
            at(state).advance();
        } else {
            at(state) = typename B::At(); // the box has another object
        }
    }
    static WalkState* walkClone(WalkState* state) { return new State(*static_cast<State*>(state)); }
    static bool walkNonNull(WalkState* state) { return static_cast<bool>(at(state)); }
    static void walkDel(WalkState* state) { delete static_cast<State*>(state); }

    static constexpr KeyedAccess access() {
        return {B::keyName(), &B::get,  &B::count,  &version, &B::contains, &B::set,      &B::del, B::read(),
                &walk,        &walkKey, &walkValue, &walkInc, &walkClone,   &walkNonNull, &walkDel};
    }
};

template <class T, class A>
struct MapBoxing {
    using Object = T;
    using Forms = typename A::Name;
    using K = typename A::Key;
    static constexpr Shape shape = A::shape;

    using Map = std::remove_cvref_t<decltype(Forms::map(std::declval<T const&>()))>;
    using At = typename Map::Iterator;

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
    static U32 count(void* object) { return map(object).count(); }
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

    static bool readMember(void* object, KorType const* keyType, void const* key, KorType const* type,
                           void* into) {
        if (keyType != fwkTypeOf<K>() || type != fwkTypeOf<typename A::Value>()) {
            return false;
        }
        if (auto* const found = map(object).member(*static_cast<K const*>(key))) {
            *static_cast<typename A::Value*>(into) = found->value;
        }
        return true;
    }
    static constexpr auto read() -> decltype(KeyedAccess::read) {
        if constexpr (shape.holdsObjects()) {
            return nullptr;
        } else {
            return &readMember;
        }
    }

    static At walk(Map& from, K const& key) {
        At found(&from, key);
        return found && HashMember::key(*found) == key ? found : At();
    }
    static Ptr<GenericIf> walkKey(At const& at) { return boxOf<K>(HashMember::key(*at), true); }
    static Ptr<GenericIf> walkValue(At const& at, bool isConst) { return boxMember(*at, isConst); }

    static constexpr char const* keyName() {
        if constexpr (shape.child || shape.keyInside) {
            return A::KeyName::text;
        } else {
            return "kor_index";
        }
    }
    static constexpr KeyedAccess access = Keyed<MapBoxing>::access();
    static constexpr BoxAttribute attribute() {
        return {.name = A::Name::text, .shape = A::shape, .keyed = &access};
    }
};
/// A walk over a queue that has what is used of a walk over a map.
template <class Q>
struct QueueWalk : Q::IteratorConst {
    QueueWalk() = default;
    explicit QueueWalk(Q const* queue) : Q::IteratorConst(queue) {}
    Q const* map() const noexcept { return this->queue_; }
};

/// A queue is reached as a map from its numbers.
template <class T, class A>
struct QueueBoxing {
    using Object = T;
    using Forms = typename A::Name;
    using V = typename A::Value;
    using Map = std::remove_cvref_t<decltype(Forms::map(std::declval<T const&>()))> const;
    using At = QueueWalk<std::remove_const_t<Map>>;

    static Map& map(void* object) { return Forms::map(*static_cast<T const*>(object)); }
    static Ptr<GenericIf> get(void* object, GenericIf const& key, bool isConst) {
        return boxOf<V>(Forms::call(*static_cast<T const*>(object), unbox<U32>(key)), isConst);
    }
    static U32 count(void* object) {
        U32 count = 0;
        for (At at(&map(object)); at; at.advance()) {
            ++count;
        }
        return count;
    }
    static bool contains(void* object, GenericIf const& key) {
        return map(object).member(unbox<U32>(key)) != nullptr;
    }
    static Ptr<GenericIf> set(void* object, GenericIf const* key, GenericIf const* value) {
        U32 const at = unbox<U32>(*key);
        Forms::set(*static_cast<T*>(object), at, unbox<V>(*value));
        return nullptr;
    }
    static Ptr<GenericIf> del(void* object, GenericIf const& key) {
        return boxOf<V>(Forms::del(*static_cast<T*>(object), unbox<U32>(key)));
    }
    static constexpr auto read() -> decltype(KeyedAccess::read) { return nullptr; }

    static At walk(Map& from, U32 key) {
        At found(&from);
        while (found && found.key() != key) {
            found.advance();
        }
        return found;
    }
    static Ptr<GenericIf> walkKey(At const& at) { return boxOf<U32>(at.key(), true); }
    static Ptr<GenericIf> walkValue(At const& at, bool isConst) { return boxOf<V>((*at).value, isConst); }

    using K = U32;
    static constexpr char const* keyName() { return "kor_index"; }
    static constexpr KeyedAccess access = Keyed<QueueBoxing>::access();
    static constexpr BoxAttribute attribute() {
        return {.name = Forms::text, .shape = A::shape, .keyed = &access};
    }
};

/// An id without an attribute, and an operation that the base's table reaches, have none.
template <class T, class A>
constexpr BoxAttribute boxAttribute() {
    constexpr Shape shape = A::shape;
    if constexpr (shape.role == Role::none || isOverride<A>) {
        return {};
    } else if constexpr (shape.isOperation()) {
        return OperationBoxing<T, A>::attribute();
    } else if constexpr (shape.role == Role::map) {
        return MapBoxing<T, A>::attribute();
    } else if constexpr (shape.role == Role::queue) {
        return QueueBoxing<T, A>::attribute();
    } else {
        return ScalarBoxing<T, A>::attribute();
    }
}

} // namespace Kor::detail
