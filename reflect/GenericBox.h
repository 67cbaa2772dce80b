#pragma once

/// Kor::BoxOf<T>, the box of the type T, as `X::GenericIf_` (of an enumeration X, `X_GenericIf_`): one
/// template for each kind of type, filled from T's declaration.
///
/// What a box does for an attribute is in tables: one constant BoxAttribute an attribute, of plain functions
/// that get at the attribute of an object that is given as a void pointer. Which operations there are, in
/// which order they are checked and what they raise is written once, in reflect/GenericIf.cpp, over these
/// tables.
///
/// Like reflect/TypeOf.h, which includes it, this header is for the source files that instantiate.

#include "reflect/Enumeration.h"
#include "reflect/GenericIf.h"
#include "reflect/Text.h"

#include <array>
#include <span>
#include <tuple>

namespace Kor {

namespace detail {

/// Takes the arguments of a constructor or operation out of a list, in order.
class __attribute__((visibility("default"))) ArgumentReader {
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

/// The key attribute of an entity that has one: it stands first.
template <class C>
using ChildKey = typename AttributeAt<0, typename C::Attributes>::type;

enum class BoxKind : U8 { none, scalar, valueMap, keyedMap, entityMap, referenceMap, operation };

/// How a map is reached. A key is in its box; `state` is an iterator of the map.
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
    void* (*walk)(void* object, GenericIf const* key);
    Ptr<GenericIf> (*walkKey)(void* state);
    Ptr<GenericIf> (*walkValue)(void* state, bool isConst);
    void (*walkInc)(void* state, void* object);
    void* (*walkClone)(void* state);
    bool (*walkNonNull)(void* state);
    void (*walkDel)(void* state);
};

struct BoxAttribute {
    char const* name = nullptr;
    BoxKind kind = BoxKind::none;
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
[[gnu::visibility("default")]] Reached reach(BoxTable const& table, void* object, AttributeId id) noexcept;

/// Does an operation on an attribute. `entity` counts what it hands out; null for other objects and values.
[[gnu::visibility("default")]] Ptr<GenericIf> attributeOp(Reached at, bool isConst, Entity const* entity,
                                                          GenericIf::OpId op, GenericIf::Key const& key,
                                                          Ptr<GenericIf> const& value);
/// Raises for a null key, with the name that it has for the operation.
[[gnu::visibility("default")]] GenericIf const& needKey(GenericIf::Key const& key, char const* name);
/// The short name of the type that was expected is the word.
[[noreturn, gnu::visibility("default")]] void throwUnboxed(KorType const* expected);

/// Whether there are boxes of a type that is not of the patterns: not of the type of no result.
template <class T>
inline constexpr bool isBoxed = std::is_default_constructible_v<T>&& std::equality_comparable<T>;

// Signatures

template <class Signature>
struct SignatureOf;
template <class R, class... A>
struct SignatureOf<R(A...)> {
    using Result = R;
    using Arguments = AttributeList<A...>;
};

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

template <class T, class A>
struct Boxing {
    static constexpr bool settable = [] {
        if constexpr (requires { A::settable; }) {
            return A::settable;
        } else {
            return A::kind == EntityAttributeKind::singleton;
        }
    }();
    static Ptr<GenericIf> get(void* object, bool isConst) {
        // Read as const: the table counts the read.
        decltype(auto) value = A::Name::call(*static_cast<T const*>(object));
        if constexpr (requires { typename A::Referred; }) {
            using R = typename A::Referred;
            return KorType::genericIf(const_cast<std::remove_const_t<R>*>(value.ptr()),
                                      isConst || std::is_const_v<R>);
        } else {
            return boxOf<typename A::Type>(value, isConst);
        }
    }
    static void set(void* object, GenericIf const& value) {
        A::Name::set(*static_cast<T*>(object), unbox<typename A::Type>(value));
    }
    static bool read(void* object, KorType const* type, void* into) {
        if (type != fwkTypeOf<typename A::Type>()) {
            return false;
        }
        *static_cast<typename A::Type*>(into) = A::Name::call(*static_cast<T const*>(object));
        return true;
    }
    static bool write(void* object, KorType const* type, void const* value) {
        if (type != fwkTypeOf<typename A::Type>()) {
            return false;
        }
        A::Name::set(*static_cast<T*>(object), *static_cast<typename A::Type const*>(value));
        return true;
    }
    static constexpr BoxAttribute attribute() {
        BoxAttribute made{.name = A::Name::text, .kind = BoxKind::scalar, .get = &get};
        if constexpr (!requires { typename A::Referred; }) {
            made.read = &read;
        }
        if constexpr (settable) {
            made.set = &set;
            if constexpr (!requires { typename A::Referred; }) {
                made.write = &write;
            }
        }
        return made;
    }
};

template <class T, class N, class V, V Value>
struct Boxing<T, Constant<N, V, Value>> {
    static Ptr<GenericIf> get(void*, bool isConst) { return boxOf<V>(Value, isConst); }
    static constexpr BoxAttribute attribute() {
        return {.name = N::text, .kind = BoxKind::scalar, .get = &get};
    }
};

template <class T, class N, class R>
struct Boxing<T, Computed<N, R>> {
    static Ptr<GenericIf> get(void* object, bool isConst) {
        return boxOf<R>(N::call(*static_cast<T const*>(object)), isConst);
    }
    static constexpr BoxAttribute attribute() {
        return {.name = N::text, .kind = BoxKind::scalar, .get = &get};
    }
};

template <class T, class N, class S>
struct Boxing<T, Operation<N, S>> {
    static Ptr<GenericIf> call(void* object, ArgumentReader& arguments, bool isConst) {
        using Signature = SignatureOf<S>;
        return callOperation<T, N>(*static_cast<T*>(object), arguments, isConst,
                                   typename Signature::Arguments(),
                                   std::type_identity<typename Signature::Result>());
    }
    static constexpr BoxAttribute attribute() {
        return {.name = N::text, .kind = BoxKind::operation, .call = &call};
    }
};
template <class T, class N, class S>
struct Boxing<T, ClassOperation<N, S>> : Boxing<T, Operation<N, S>> {};
template <class T, class N, class S>
struct Boxing<T, VirtualOperation<N, S>> : Boxing<T, Operation<N, S>> {};

/// An id without an attribute, and an operation that the base's table reaches.
struct NoBoxing {
    static constexpr BoxAttribute attribute() { return {}; }
};
template <class T>
struct Boxing<T, FreeId> : NoBoxing {};
template <class T, class N>
struct Boxing<T, Override<N>> : NoBoxing {};

/// The access to a map by what `B` has for it, with the walks as states that are allocated.
template <class B>
struct Keyed {
    static auto& at(void* state) { return *static_cast<typename B::At*>(state); }
    static U32 version(void* object) { return B::map(object).version(); }
    static void* walk(void* object, GenericIf const* key) {
        using At = typename B::At;
        auto& map = B::map(object);
        return new At(key == nullptr ? At(&map) : B::walk(map, unbox<typename B::K>(*key)));
    }
    static Ptr<GenericIf> walkKey(void* state) { return B::walkKey(at(state)); }
    static Ptr<GenericIf> walkValue(void* state, bool isConst) { return B::walkValue(at(state), isConst); }
    static void walkInc(void* state, void* object) {
        if (object != nullptr && at(state).map() == &B::map(object)) {
            at(state).advance();
        } else {
            at(state) = typename B::At(); // the map went with its object
        }
    }
    static void* walkClone(void* state) { return new typename B::At(at(state)); }
    static bool walkNonNull(void* state) { return static_cast<bool>(at(state)); }
    static void walkDel(void* state) { delete &at(state); }

    static constexpr KeyedAccess access() {
        return {B::keyName(), &B::get,  &B::count,  &version, &B::contains, &B::set,      &B::del, B::read(),
                &walk,        &walkKey, &walkValue, &walkInc, &walkClone,   &walkNonNull, &walkDel};
    }
};

template <class T, class A, BoxKind Kind>
struct MapBoxing {
    using Forms = EntityForms<typename A::Name>;
    using K = typename A::Key;
    static constexpr bool holdsObjects = Kind == BoxKind::entityMap || Kind == BoxKind::referenceMap;

    using Map = std::remove_cvref_t<decltype(Forms::map(std::declval<T const&>()))>;
    using At = typename Map::Iterator;

    static Map& map(void* object) {
        return const_cast<Map&>(
            Forms::map(*static_cast<T const*>(object))); // for its members; it stays as it is
    }
    template <class Member>
    static Ptr<GenericIf> boxMember(Member& member, bool isConst) {
        if constexpr (Kind == BoxKind::entityMap) {
            return KorType::genericIf(&member, isConst);
        } else {
            return boxOf(member.value, isConst);
        }
    }
    static Ptr<GenericIf> get(void* object, GenericIf const& key, bool isConst) {
        if (auto* const found = map(object).member(unbox<K>(key))) {
            return boxMember(*found, isConst);
        }
        if constexpr (holdsObjects) {
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
        if constexpr (Kind == BoxKind::entityMap) {
            return boxOf(Ptr<typename A::Child>(Forms::is(self, unbox<K>(*key))));
        } else if constexpr (Kind == BoxKind::keyedMap) {
            Forms::is(self, unbox<typename A::Value>(*value));
        } else {
            K const at = unbox<K>(*key);
            if constexpr (Kind == BoxKind::referenceMap) {
                using R = Ptr<typename A::Referred>;
                Forms::is(self, at, value != nullptr ? unbox<R>(*value) : R());
            } else {
                Forms::is(self, at, unbox<typename A::Value>(*value));
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
        if constexpr (holdsObjects) {
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
        if constexpr (Kind == BoxKind::entityMap) {
            return ChildKey<typename A::Child>::Name::text;
        } else if constexpr (Kind == BoxKind::keyedMap) {
            return A::KeyOf::text;
        } else {
            return "kor_index";
        }
    }
    static constexpr KeyedAccess access = Keyed<MapBoxing>::access();
    static constexpr BoxAttribute attribute() {
        return {.name = A::Name::text, .kind = Kind, .keyed = &access};
    }
};
template <class T, class N, class K, class V>
struct Boxing<T, ValueMap<N, K, V>> : MapBoxing<T, ValueMap<N, K, V>, BoxKind::valueMap> {};
template <class T, class N, class K, class V>
struct Boxing<T, CountedUpMap<N, K, V>> : MapBoxing<T, CountedUpMap<N, K, V>, BoxKind::valueMap> {};
template <class T, class N, class K, class V>
struct Boxing<T, CountedMap<N, K, V>> : MapBoxing<T, CountedMap<N, K, V>, BoxKind::valueMap> {};
template <class T, class N, class V, class KN>
struct Boxing<T, KeyedMap<N, V, KN>> : MapBoxing<T, KeyedMap<N, V, KN>, BoxKind::keyedMap> {};
template <class T, class N, class C>
struct Boxing<T, EntityMap<N, C>> : MapBoxing<T, EntityMap<N, C>, BoxKind::entityMap> {};
template <class T, class N, class K, class R>
struct Boxing<T, ReferenceMap<N, K, R>> : MapBoxing<T, ReferenceMap<N, K, R>, BoxKind::referenceMap> {};

/// A walk over a queue that has what is used of a walk over a map.
template <class Q>
struct QueueWalk : Q::IteratorConst {
    QueueWalk() = default;
    explicit QueueWalk(Q const* queue) : Q::IteratorConst(queue) {}
    Q const* map() const noexcept { return this->queue_; }
};

/// A queue is reached as a map from its numbers.
template <class T, class N, class V>
struct Boxing<T, Queue<N, V>> {
    using Forms = EntityForms<N>;
    using Map = std::remove_cvref_t<decltype(Forms::map(std::declval<T const&>()))> const;
    using At = QueueWalk<std::remove_const_t<Map>>;

    static Map& map(void* object) { return Forms::map(*static_cast<T const*>(object)); }
    static Ptr<GenericIf> get(void* object, GenericIf const& key, bool isConst) {
        return boxOf<V>(N::call(*static_cast<T const*>(object), unbox<U32>(key)), isConst);
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
        Forms::is(*static_cast<T*>(object), at, unbox<V>(*value));
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
    static constexpr KeyedAccess access = Keyed<Boxing>::access();
    static constexpr BoxAttribute attribute() {
        return {.name = N::text, .kind = BoxKind::valueMap, .keyed = &access};
    }
};

// Whole types

template <class X>
class BoxAdapter;

template <class T, class List>
struct BoxTableOf;
template <class T, class... A>
struct BoxTableOf<T, AttributeList<A...>> {
    static constexpr bool isEntity = PatternEntity<T>;
    template <class Each>
    static constexpr bool hasId = !requires {
        requires std::is_same_v<Each, Override<typename Each::Name>>;
    };
    // Arrays: g++ at -Wall compares each pair of the operands of a long expression.
    static constexpr bool has[] = {hasId<A>..., false};
    static constexpr std::size_t size = [] {
        std::size_t count = 0;
        for (bool const each : has) {
            count += each;
        }
        return count;
    }();

    static constexpr auto attributes = [] {
        constexpr BoxAttribute (*make[])() = {&Boxing<T, A>::attribute..., nullptr};
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
    static constexpr BoxTable table = boxTable<T, typename BaseType<T>::type, 2 + 128 * levelOf<T>()>(
        BoxTableOf<T, typename T::Attributes>::attributes);
};
template <PatternEntity T>
struct BoxTables<T> {
    static constexpr BoxTable table = boxTable<T, typename BaseType<T>::type, T::firstAttributeId>(
        BoxTableOf<T, typename T::Attributes>::attributes);
};

/// The attribute fwkKey.
template <class X>
inline constexpr BoxAttribute keyAttribute{
    .name = "fwkKey", .kind = BoxKind::scalar, .get = [](void* object, bool isConst) -> Ptr<GenericIf> {
        return boxOf(static_cast<X const*>(object)->fwkKey(), isConst);
    }};

/// The name of the argument that a class is made with.
template <class X>
constexpr std::string_view constructorArgumentName() {
    if constexpr (hasKey<typename X::Attributes>) {
        return ChildKey<X>::Name::text;
    } else if constexpr (PatternEntity<typename BaseType<X>::type>) {
        return constructorArgumentName<typename BaseType<X>::type>();
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

} // namespace detail

namespace detail {

struct PlainBox : GenericIf {
    template <class T>
    PlainBox(T const&, bool isConst) : GenericIf(isConst) {}
};

/// The box of a value, on that of the base value. The tables reach all attributes in this box's own copy, so
/// that those of the base and of the derived class tell the same.
template <class T, class Below>
class __attribute__((visibility("default"))) ValueBox : public Below {
public:
    using typename GenericIf::AttributeOp;
    using typename GenericIf::Key;
    using typename GenericIf::OpId;

    ValueBox(T const& value, bool isConst) : Below(value, isConst), value_(value) {
        this->registeredFlagIs(true); // such a box observes nothing
        this->placeIs(detail::BoxTables<T>::table, &value_, GenericIf::Holds::value);
    }

    KorType* type() const override { return fwkTypeOf<T>(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        if (type != fwkTypeOf<T>()) {
            detail::throwUnboxed(type.ptr());
        }
        return const_cast<T*>(&value_);
    }
    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value) override {
        this->checkWrite(op.opId);
        if (op.attributeId == 0 && op.opId == OpId::equals) {
            T const other = unbox<T>(detail::needKey(key, "korOpArg"));
            return boxOf<bool>(value_ == other, this->isConst());
        }
        if (auto const at = detail::reach(detail::BoxTables<T>::table, &value_, op.attributeId);
            at.attribute) {
            return detail::attributeOp(at, this->isConst(), nullptr, op.opId, key, value);
        }
        // The tables reach the base values' attributes as well. NOLINTNEXTLINE(bugprone-parent-virtual-call)
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
    Ptr<GenericIf> clone() override { return active(makePtr<BoxOf<T>>(value_, this->isConst())); }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
        detail::ArgumentReader reader(arguments.ptr(), shortName_());
        if constexpr (PatternValue<T>) {
            return active(makePtr<BoxOf<T>>(
                detail::valueOfArguments<T>(reader, static_cast<detail::StorageTypeOf<T> const*>(nullptr)),
                false));
        } else {
            T const value = reader.empty() ? T() : reader.template next<T>("value");
            reader.end();
            return active(makePtr<BoxOf<T>>(value, false));
        }
    }

private:
    static char const* shortName_() {
        static std::string const name(shortTypeName<T>());
        return name.c_str();
    }
    static Ptr<GenericIf> active(Ptr<GenericIf> box) {
        box->hasNotificationActiveIs(true);
        return box;
    }

protected:
    T value_;
};

} // namespace detail

/// The box of a value, a scalar, a string.
template <class T>
class __attribute__((visibility("default"))) BoxOf : public detail::ValueBox<T, detail::PlainBox> {
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
class __attribute__((visibility("default")))
BoxOf<T> : public detail::ValueBox<T, BoxOf<typename T::BaseValue>> {
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
class __attribute__((visibility("default"))) BoxOf<E> final : public GenericIf {
public:
    BoxOf(E value, bool isConst) : GenericIf(isConst), value_(value) { registeredFlagIs(true); }

    KorType* type() const override { return fwkTypeOf<E>(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        if (type != fwkTypeOf<E>()) {
            detail::throwUnboxed(type.ptr());
        }
        return const_cast<E*>(&value_);
    }
    AttributeId attributeId(String8 name) const override {
        return name == "value" ? 1 : GenericIf::attributeId(name);
    }
    /// Attribute 1, the enumerator, is read by any operation.
    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const&, Ptr<GenericIf> const&) override {
        if (op.attributeId != 1) {
            throwUnknownAttrException(std::string(shortTypeName<E>()).c_str());
        }
        return makePtr<BoxOf>(value_, false);
    }
    String8 strRep() const override { return valueToStrep(value_); }
    using GenericIf::clone;
    Ptr<GenericIf> clone() override {
        auto const copy = makePtr<BoxOf>(value_, isConst());
        copy->hasNotificationActiveIs(true);
        return copy;
    }

    virtual void valIs(E value) { value_ = value; }

private:
    E value_;
};

namespace detail {

/// The reactor of a boxed object: it stands in the object's list for the box.
template <class X>
class BoxAdapter final : public NotifieeAdapter<BoxOf<X>, Forwards<X, BoxAdapter, AllAttributes>> {
    using Base = NotifieeAdapter<BoxOf<X>, Forwards<X, detail::BoxAdapter, AllAttributes>>;

public:
    using Base::Base;

    template <class A>
    void changed() {
        if (this->korReactorAdapter() != nullptr) {
            this->korReactorAdapter()->changed(X::template attributeIdOf<typename A::Name>());
        }
    }
    template <class A>
    void changed(typename A::Key const& key) {
        auto& deferred = this->template deferred<keyedPlace<A>()>();
        deferred.key = key;
        if (this->korReactorAdapter() != nullptr) {
            this->korReactorAdapter()->changed(X::template attributeIdOf<typename A::Name>(),
                                               deferred.changes, [&] { return boxOf(key, true); });
        }
    }

    /// An attribute that can wait for delivery: of a keyed one the key and the counter.
    struct Waiting {
        AttributeId attribute;
        U8* changes;
        Ptr<GenericIf> (*key)(BoxAdapter& adapter);
    };
    static std::span<Waiting (*const)(BoxAdapter&)> waiting() {
        return waitingOf(typename AllAttributes<X>::type());
    }

private:
    template <class A>
    static constexpr std::size_t keyedPlace() {
        return []<class... Each>(AttributeList<Each...>) {
            constexpr bool is[] = {std::is_same_v<A, Each>...};
            constexpr bool isKeyed[] = {hasKind<Each>(EntityAttributeKind::map)...};
            std::size_t keyed = 0;
            for (std::size_t i = 0; !is[i]; ++i) {
                keyed += isKeyed[i];
            }
            return keyed;
        }(typename AllAttributes<X>::type());
    }
    template <class A>
    static Waiting waitingAt([[maybe_unused]] BoxAdapter& adapter) {
        if constexpr (hasKind<A>(EntityAttributeKind::map)) {
            return {X::template attributeIdOf<typename A::Name>(),
                    &adapter.template deferred<keyedPlace<A>()>().changes,
                    [](BoxAdapter& at) { return boxOf(at.template deferred<keyedPlace<A>()>().key, true); }};
        } else if constexpr (hasKind<A>(EntityAttributeKind::singleton)) {
            return {X::template attributeIdOf<typename A::Name>(), nullptr, nullptr};
        } else {
            return {0, nullptr, nullptr}; // never changes
        }
    }
    template <class... A>
    static std::span<Waiting (*const)(BoxAdapter&)> waitingOf(AttributeList<A...>) {
        static constexpr std::array<Waiting (*)(BoxAdapter&), sizeof...(A)> all{&waitingAt<A>...};
        return all;
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
    using Below = typename BaseType<T>::type;
    if constexpr (std::is_same_v<T, Entity>) {
        return objectAs<PtrInterface>(type, object);
    } else if constexpr (std::is_void_v<Below>) {
        throwUnboxed(type);
    } else {
        return objectAs<Below>(type, object);
    }
}

/// A box of the object that a list of arguments makes.
template <class X>
Ptr<GenericIf> boxOfArguments(GenericIf::Key const& arguments) {
    static std::string const what(shortTypeName<X>());
    ArgumentReader reader(arguments.ptr(), what.c_str());
    Ptr<X> made;
    if constexpr (std::is_default_constructible_v<X> && !std::is_constructible_v<X, Name>) {
        made = makePtr<X>();
    } else {
        using Argument = typename X::ConstructorArgument;
        static std::string const name(constructorArgumentName<X>());
        made = makePtr<X>(reader.template next<Argument>(name.c_str()));
    }
    reader.end();
    Ptr<GenericIf> box = KorType::genericIf(made.ptr(), false);
    box->hasNotificationActiveIs(true);
    return box;
}

template <class List>
inline constexpr bool isOverridesOnly = false;
template <class... N>
inline constexpr bool isOverridesOnly<AttributeList<Override<N>...>> = sizeof...(N) != 0;

/// An heir that has no more than other ways to do what its base does.
template <class X>
concept OverridingEntity = PatternEntity<X> && isOverridesOnly<typename X::Attributes>;

} // namespace detail

/// The box of an entity or of another counted object of the pattern. That of an heir with attributes of its
/// own does not derive from that of its base, whose attributes it reaches through the table: one box, one
/// adapter in the object's list. Ask voidPtrIs() for the object as one of its base.
template <detail::PatternEntity X>
class __attribute__((visibility("default")))
BoxOf<X> : public AdapterOwner<detail::ObjectBoxBase<X>, detail::BoxAdapter<X>> {
    using Base = detail::ObjectBoxBase<X>;
    using Owner = AdapterOwner<Base, detail::BoxAdapter<X>>;

public:
    using typename GenericIf::AttributeIteratorConst;
    using typename GenericIf::AttributeOp;
    using typename GenericIf::Key;
    using GenericIf_Adapter_ = detail::BoxAdapter<X>;

    BoxOf(Ptr<X> const& object, bool isConst) : Owner(isConst) {
        this->adapterIs(makePtr<GenericIf_Adapter_>(this), object);
        notifierIs(object);
    }
    ~BoxOf() override { this->adapterDel(); }

    Ptr<X const> obj() const { return held(); }
    Ptr<X> obj() { return held(); }

    KorType* type() const override { return X::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        return detail::objectAs<X>(type.ptr(), object());
    }

    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value) override {
        this->checkWrite(op.opId);
        auto at = detail::reach(detail::BoxTables<X>::table, object(), op.attributeId);
        if constexpr (requires(X const& x) { x.fwkKey(); }) {
            if (op.attributeId == 0) {
                at = {&detail::keyAttribute<X>, object()};
            }
        }
        if (at.attribute == nullptr) {
            return Base::attributeOp(op, key, value);
        }
        Ptr<X> const keep = held(); // a setter's reactors may let the box go
        if constexpr (X::isEntity) {
            return detail::attributeOp(at, this->isConst(), keep.ptr(), op.opId, key, value);
        } else {
            return detail::attributeOp(at, this->isConst(), nullptr, op.opId, key, value);
        }
    }

    void notifierIs(Ptr<PtrInterface const> const& notifier) override {
        Ptr<X const> const object = ptrCast<X const>(notifier);
        if (this->adapter()) {
            this->adapter()->notifierIs(object);
        }
        Base::notifierIs(object);
        this->isRegisteredNotifieeIs(false);
        this->placeIs(detail::BoxTables<X>::table, held().ptr(),
                      X::isEntity ? GenericIf::Holds::entity : GenericIf::Holds::object);
    }
    void korDoZombieReactors(bool zombie) override { this->zombieIs(zombie); }

    using GenericIf::clone;
    Ptr<GenericIf> clone() override {
        auto const copy = makePtr<BoxOf>(held(), this->isConst());
        copy->hasNotificationActiveIs(true);
        return copy;
    }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
        return detail::boxOfArguments<X>(arguments);
    }

    // Walks

    AttributeIteratorConst attributeIteratorConst(AttributeId attribute) const override {
        detail::KeyedAccess const* const keyed = access(attribute);
        return keyed == nullptr ? Base::attributeIteratorConst(attribute)
                                : iterator(attribute, *keyed, nullptr);
    }
    AttributeIteratorConst attributeIteratorKeyConst(AttributeId attribute, Key const& key) const override {
        detail::KeyedAccess const* const keyed = access(attribute);
        return keyed == nullptr ? Base::attributeIteratorKeyConst(attribute, key)
                                : iterator(attribute, *keyed, &detail::needKey(key, keyed->keyName));
    }
    Ptr<GenericIf> attributeIterator_iterObj(AttributeIteratorConst const& at) override {
        detail::KeyedAccess const* const keyed = access(at.attributeId());
        return keyed != nullptr && keyed->walkNonNull(at.state())
                   ? keyed->walkValue(at.state(), this->isConst())
                   : nullptr;
    }
    Key attributeIterator_iterObj(AttributeIteratorConst const& at) const override {
        return const_cast<BoxOf*>(this)->attributeIterator_iterObj(at);
    }
    void* attributeIterator_iterInc(AttributeIteratorConst const& at) const override {
        if (detail::KeyedAccess const* const keyed = access(at.attributeId())) {
            keyed->walkInc(at.state(), reached(at.attributeId()).object);
        }
        return nullptr;
    }
    Key attributeIterator_iterKey(AttributeIteratorConst const& at) const override {
        detail::KeyedAccess const* const keyed = access(at.attributeId());
        return keyed != nullptr && keyed->walkNonNull(at.state()) ? keyed->walkKey(at.state()) : nullptr;
    }
    void* attributeIterator_iterClone(AttributeIteratorConst const& at) const override {
        detail::KeyedAccess const* const keyed = access(at.attributeId());
        return keyed != nullptr ? keyed->walkClone(at.state()) : nullptr;
    }
    bool attributeIterator_nonNull(AttributeIteratorConst const& at) const override {
        detail::KeyedAccess const* const keyed = access(at.attributeId());
        return keyed != nullptr && keyed->walkNonNull(at.state());
    }
    void* attributeIterator_iterDel(AttributeIteratorConst const& at) const override {
        if (detail::KeyedAccess const* const keyed = access(at.attributeId())) {
            keyed->walkDel(at.state());
        }
        return nullptr;
    }

    // What the adapter hears.

    void changed(AttributeId attribute) {
        if (isHeard()) [[unlikely]] {
            tell(attribute);
        }
    }
    template <class BoxKey>
    void changed(AttributeId attribute, U8& counter, BoxKey const& boxKey) {
        if (isHeard() && !this->korOnAttribute(attribute, &counter)) {
            this->actsm();
            if (this->listener()) {
                this->onAttribute(attribute, boxKey());
            }
        }
    }
    void handleNotification(ActivityConfig* config) override {
        Ptr<GenericIf_Adapter_> const adapter = this->adapter();
        deliverPendingAmong(
            *this, config, [this](ActivityConfig* c) { Base::handleNotification(c); },
            [&](AttributeId pending) {
                for (auto const at : GenericIf_Adapter_::waiting()) {
                    if (pending > 0 && at(*adapter).attribute == pending) {
                        return true;
                    }
                }
                return false;
            },
            [&](auto const& deliver) {
                for (auto const at : GenericIf_Adapter_::waiting()) {
                    auto const waiting = at(*adapter);
                    if (waiting.attribute == 0) {
                        continue;
                    }
                    if (waiting.changes == nullptr) {
                        deliver(this->scalar(waiting.attribute, [&] { changed(waiting.attribute); }));
                    } else {
                        deliver(BoxedDelivery{
                            waiting.attribute,
                            {*waiting.changes, *waiting.changes == 1 ? waiting.key(*adapter) : nullptr},
                            [&](Ptr<GenericIf> const& key) {
                                changed(waiting.attribute, *waiting.changes, [&] { return key; });
                            }});
                    }
                }
            });
    }

private:
    /// A keyed attribute that waits, with its key in a box.
    struct Deferred {
        U8& changes;
        Ptr<GenericIf> key;
    };
    template <class Handler>
    struct BoxedDelivery {
        AttributeId attribute;
        Deferred deferred;
        Handler handler;
    };
    template <class Handler>
    BoxedDelivery(AttributeId, Deferred, Handler) -> BoxedDelivery<Handler>;

    /// Whether a change leads to anything.
    bool isHeard() { return this->listener() || Base::korFwkActivity() != nullptr; }
    [[gnu::noinline]] void tell(AttributeId attribute) {
        if (!this->korOnAttribute(attribute, nullptr)) {
            this->actsm();
            this->onAttribute(attribute);
        }
    }
    Ptr<X> held() const noexcept {
        return static_cast<X*>(const_cast<PtrInterface*>(this->notifier().ptr()));
    }
    X* object() const {
        Base::object(); // raises if there is none
        return held().ptr();
    }
    /// Also without an object, for the end of a walk.
    detail::Reached reached(AttributeId attribute) const noexcept {
        return detail::reach(detail::BoxTables<X>::table, held().ptr(), attribute);
    }
    detail::KeyedAccess const* access(AttributeId attribute) const noexcept {
        detail::BoxAttribute const* const found = reached(attribute).attribute;
        return found != nullptr ? found->keyed : nullptr;
    }
    AttributeIteratorConst iterator(AttributeId attribute, detail::KeyedAccess const& keyed,
                                    GenericIf const* key) const {
        object();
        return {this, attribute, keyed.walk(reached(attribute).object, key)};
    }
};

/// The box of an heir that only overrides operations of its base: that of the base, which hears all that can
/// change.
template <detail::OverridingEntity X>
class __attribute__((visibility("default"))) BoxOf<X> final
    : public BoxOf<typename detail::BaseType<X>::type> {
    using Base = BoxOf<typename detail::BaseType<X>::type>;

public:
    using typename GenericIf::Key;

    BoxOf(Ptr<X> const& object, bool isConst) : Base(object, isConst) {}

    Ptr<X const> obj() const { return held(); }
    Ptr<X> obj() { return held(); }

    KorType* type() const override { return X::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        GenericIfPtrInterface::object(); // raises if there is none
        return detail::objectAs<X>(type.ptr(), held().ptr());
    }
    void notifierIs(Ptr<PtrInterface const> const& notifier) override {
        Base::notifierIs(ptrCast<X const>(notifier));
    }

    using GenericIf::clone;
    Ptr<GenericIf> clone() override {
        auto const copy = makePtr<BoxOf>(held(), this->isConst());
        copy->hasNotificationActiveIs(true);
        return copy;
    }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
        return detail::boxOfArguments<X>(arguments);
    }

private:
    Ptr<X> held() const noexcept {
        return static_cast<X*>(const_cast<PtrInterface*>(this->notifier().ptr()));
    }
};

/// The boxes of objects whose class is not known as a type.
template <class X>
requires(std::is_same_v<X, Entity> ||
         std::is_same_v<X, PtrInterface>) class __attribute__((visibility("default"))) BoxOf<X> final
    : public detail::ObjectBoxBase<X> {
    using Base = detail::ObjectBoxBase<X>;

public:
    BoxOf(Ptr<X> const& object, bool isConst) : Base(isConst) { this->notifierIs(object); }

    KorType* type() const override { return X::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        if (type != X::_fwkType() && type != PtrInterface::_fwkType()) {
            detail::throwUnboxed(type.ptr());
        }
        return &this->object();
    }
    using GenericIf::clone;
    Ptr<GenericIf> clone() override {
        return makePtr<BoxOf>(static_cast<X*>(&this->object()), this->isConst());
    }
};

} // namespace Kor
