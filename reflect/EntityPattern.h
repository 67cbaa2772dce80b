#pragma once

/// The entity pattern: an entity class is the list of its attributes, in the order of the model, and gets
/// from it its storage, its operations, its reactors and the order of effects of each change.
///
///     class LifAppConfig final
///         : public Kor::EntityOf<LifAppConfig,
///               Kor::KeyAttribute<name::app, Hardware::Loam::VtAppId>,
///               Kor::CountedMap<name::reqCount, AradLifEntry, U32>> {
///     public:
///         using EntityOver::EntityOver;
///     };
///
///     auto config = Kor::makePtr<LifAppConfig>(Hardware::Loam::vtAppMpls);
///     config->reqCountInc(entry, 1);
///     for (auto const& each : config->reqCountMap()) { use(each.fwkKey(), each.value); }
///
/// A class that other programs and tools are to meet by name is also listed in a module
/// (reflect/TypeModule.h).
///
/// The kinds of attributes, for an attribute `x` with the capital form `X`, value type T and key type K:
///
///     KeyAttribute    x(), fwkKey()                              set by the constructor; the key in a parent's map
///     FixedAttribute  x()                                        set by the constructor
///     Singleton       x(), xIs(T)                                VirtualSingleton: xIs is virtual
///     SingletonReference   x(), xIs(Ptr<T>)                      an entity or object that someone else made
///     ValueMap        x(K), xIs(K, T), newX(K, T) and the map operations
///     CountedUpMap    the same, and xInc(K, U32)                 CountedMap: also xDec(K, U32)
///     KeyedMap        x(K), xIs(T), newX(T): the key is an attribute of the value
///     EntityMap       x(K), xIs(K), newX(K): the members are children, made here
///     ReferenceMap    x(K), xIs(K, Ptr<T>), newX(K, Ptr<T>): the members are entities that someone else made
///     Queue           xEnq(T), xDeq(), x(U32), xIs(U32, T), xDel(U32): members in order, under the number that xEnq gave
///     Operation       a hand-written member function of the class; VirtualOperation: one that heirs override, and
///                     Override in such an heir
///     FreeId          no attribute: an id that stays free
///
/// The map operations: xDel(K) and xDel(iterator), which return what was there, xDelAll(), xNotify(K), and
/// for a walk xMap() and xIterator(). An absent key is no error: reads and deletes answer with T's default or
/// a null pointer.
///
/// Rules of change. A write that changes nothing does nothing. Otherwise the change is stored, the version
/// rises by one, and then the reactors are told with the key, on the caller's stack (runtime/Notification.h).
/// Two exceptions: xIs(K) of an entity map raises the version for a present child too, without telling
/// anybody; xInc and xDec tell, but never touch the version, and count modulo 2 to the 32nd. A count that
/// reaches 0 stays in the map: xDel ends it. newX inserts and does nothing else; its key must not be present.
/// An exception of a reactor's handler never gets here.
///
/// Cost. A map operation is one hash, one bucket, one short chain; without reactors a change costs one test
/// more. An insertion allocates its member, nothing else allocates. One thread at a time.

#include "reflect/EntityNames.h"
#include "reflect/FwkType.h"
#include "reflect/Text.h"
#include "reflect/Value.h"
#include "runtime/Entity.h"
#include "runtime/HashMap.h"
#include "runtime/LinkQueue.h"
#include "runtime/Notification.h"
#include "runtime/NotifieeOf.h"

#include <concepts>
#include <initializer_list>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Kor {

/// The stream adapter of an entity of any class towards a stream, found or made: what korNboAttrLogSaIs()
/// does. Null for a class that is not known to the attribute log (reflect/AttrLogType.h).
[[gnu::visibility("default")]] Ptr<Entity::KorNboAttrLogSa>
streamAdapterIs(Entity& entity, Entity::Kor_BitSet flags, unsigned int id, Ptr<NboAttrLog::Out> const& out,
                PtrInterface* context);

/// The stream adapter of the entity class X, attrlog/StreamAdapterOf.h.
template <class X>
class StreamAdapterOf;

// Attributes of an entity

enum class EntityAttributeKind { key, singleton, map, operation, none };

template <class NameType, class T>
struct KeyAttribute {
    using Name = NameType;
    using Type = T;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::key;
};

/// The same without being a key.
template <class NameType, class T>
struct FixedAttribute : KeyAttribute<NameType, T> {};

template <class NameType, class Signature>
struct VirtualOperation : Operation<NameType, Signature> {};

/// An operation of the base's list that this class has its own form of. It keeps the base's id.
template <class NameType>
struct Override {
    using Name = NameType;
    static constexpr AttributeKind kind = AttributeKind::operation;
};

template <class NameType, class T, auto... Initial>
struct Singleton {
    using Name = NameType;
    using Type = T;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::singleton;
    static T initial() { return T(Initial...); }
};

template <class NameType, class T, auto... Initial>
struct VirtualSingleton : Singleton<NameType, T, Initial...> {};

/// Refers to an object that the entity does not make. Read through a const entity it is const.
template <class NameType, class T>
struct SingletonReference {
    using Name = NameType;
    using Type = Ptr<T>;
    using Referred = T;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::singleton;
    static Type initial() { return {}; }
};

template <class NameType, class K, class V>
struct ValueMap {
    using Name = NameType;
    using Key = K;
    using Value = V;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::map;
};

template <class NameType, class K, class V>
struct CountedUpMap : ValueMap<NameType, K, V> {
    static_assert(std::is_same_v<V, U32>);
};

template <class NameType, class K, class V>
struct CountedMap : CountedUpMap<NameType, K, V> {};

/// The key is the attribute `KeyName` of the value.
template <class NameType, class V, class KeyName>
struct KeyedMap {
    using Name = NameType;
    using Key = std::remove_cvref_t<decltype(KeyName::call(std::declval<V const&>()))>;
    using Value = V;
    using KeyOf = KeyName;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::map;
};

/// The key is the key attribute of the child.
template <class NameType, class C>
struct EntityMap {
    using Name = NameType;
    using Key = std::remove_cvref_t<decltype(std::declval<C const&>().fwkKey())>;
    using Child = C;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::map;
};

template <class NameType, class K, class T>
struct ReferenceMap {
    using Name = NameType;
    using Key = K;
    using Referred = T;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::map;
};

/// Members in order, each under a number that never changes.
template <class NameType, class V>
struct Queue {
    using Name = NameType;
    using Key = U32;
    using Value = V;
    static constexpr EntityAttributeKind kind = EntityAttributeKind::map;
};

/// The place of an attribute that the list does not have: its id belongs to none.
struct FreeId {
    struct Name {
        static constexpr char const* text = nullptr;
    };
    static constexpr EntityAttributeKind kind = EntityAttributeKind::none;
};

namespace detail {

template <class NameType>
struct KeyCall {
    template <class V>
    constexpr auto operator()(V const& value) const {
        return NameType::call(value);
    }
};

/// How deep below Kor::PtrInterface a class stands; its attribute ids follow from it.
template <class T>
constexpr int derivationLevel() {
    if constexpr (std::is_same_v<T, PtrInterface>) {
        return 0;
    } else if constexpr (requires { T::level; }) {
        return T::level;
    } else {
        return 1; // Kor::Entity, or what is slipped in between to add virtual operations
    }
}

/// The constructor's argument on its way down: to the key attribute, if there is one, or else to the base.
template <class Argument>
struct Start {
    Argument argument;
};
template <>
struct Start<void> {};

/// What an entity class over `Base` takes if it has no key attribute.
template <class Base>
consteval auto baseArgument() {
    if constexpr (requires { typename Base::ConstructorArgument; }) {
        return std::type_identity<typename Base::ConstructorArgument>();
    } else if constexpr (std::derived_from<Base, Entity>) {
        return std::type_identity<Name>();
    } else {
        return std::type_identity<void>();
    }
}
template <class List>
inline constexpr bool hasKey = false;
template <class N, class T, class... Rest>
inline constexpr bool hasKey<AttributeList<KeyAttribute<N, T>, Rest...>> = true;
template <class N, class T, class... Rest>
inline constexpr bool hasKey<AttributeList<FixedAttribute<N, T>, Rest...>> = true;

template <class Base, class List>
struct ArgumentOf {
    using type = typename decltype(baseArgument<Base>())::type;
};
template <class Base, class First, class... Rest>
requires hasKey<AttributeList<First, Rest...>>
struct ArgumentOf<Base, AttributeList<First, Rest...>> {
    using type = typename First::Type;
};

// Levels: each attribute adds one to the chain of bases, with its storage and its logic. A name's form lies
// on top.

/// What all levels need of the entity.
template <class Prev, class Self, class A>
class LevelBase : public Prev {
public:
    using Prev::Prev;

protected:
    Self& self() { return static_cast<Self&>(*this); }
    Self const& self() const { return static_cast<Self const&>(*this); }
    void raiseVersion() {
        if constexpr (std::derived_from<Self, Entity>) {
            EntityAccess::versionInc(self());
        }
    }
    void countMutableRead() {
        if constexpr (std::derived_from<Self, Entity>) {
            EntityAccess::mutableReadsInc(self());
        }
    }
    template <class... K>
    void tell(K const&... key) {
        using Reactor = typename Self::NotifieeConst;
        Kor::notify(NotifieeAccess::list(self()), Self::template attributeIdOf<typename A::Name>(),
                    [&](auto& each) {
                        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(each)>, Reactor>) {
                            EntityForms<typename A::Name>::tell(each, key...);
                        } else if (auto* const reactor = dynamic_cast<Reactor*>(&each)) {
                            EntityForms<typename A::Name>::tell(*reactor, key...);
                        }
                    });
    }
};

template <class Prev, class Self, class A>
class FixedLevel : public Prev {
public:
    using KeyType = typename A::Type;
    explicit FixedLevel(Start<KeyType> start) : Prev(Start<void>()), key_(std::move(start.argument)) {}

protected:
    KeyType const& key() const noexcept { return key_; }

private:
    KeyType const key_;
};

template <class Prev, class Self, class A>
class KeyLevel : public FixedLevel<Prev, Self, A> {
public:
    using FixedLevel<Prev, Self, A>::FixedLevel;

    /// The key attribute again, by which the map of the parent knows the entity.
    typename A::Type const& fwkKey() const noexcept { return this->key(); }
};

template <class Prev, class Self, class A>
class SingletonLevel : public LevelBase<Prev, Self, A> {
public:
    using LevelBase<Prev, Self, A>::LevelBase;
    using Value = typename A::Type;

protected:
    Value const& value() const noexcept { return value_; }
    void valueIs(Value const& value) {
        if (value_ == value) {
            return;
        }
        value_ = value;
        this->raiseVersion();
        this->tell();
    }

private:
    Value value_ = A::initial();
};

template <class Prev, class Self, class A>
class SingletonReferenceLevel : public SingletonLevel<Prev, Self, A> {
public:
    using SingletonLevel<Prev, Self, A>::SingletonLevel;
    using typename SingletonLevel<Prev, Self, A>::Value;
    using ValueConst = Ptr<typename A::Referred const>;

protected:
    Value get() {
        this->countMutableRead();
        return this->value();
    }
    ValueConst get() const { return this->value(); }
};

/// What all maps share. `R` is what a member gives back when it is deleted.
template <class Prev, class Self, class A, class N, class R>
class MapLevel : public LevelBase<Prev, Self, A> {
public:
    using LevelBase<Prev, Self, A>::LevelBase;
    using Node = N;
    using KeyType = typename A::Key;
    using Result = R;
    using MapType = HashMap<Node, KeyType, R>;

protected:
    MapType const& map() const noexcept { return map_; }
    MapType& map() noexcept { return map_; }

    R get(KeyType const& key) const requires(!std::is_same_v<R, Ptr<N>>) {
        Node const* const found = map_.member(key);
        return found ? found->value : R();
    }

    void notify(KeyType const& key) { this->tell(key); }
    /// Tells of a change of a member.
    void tellOf(Node& node, KeyType const& key) {
        map_.recentIs(node);
        this->tell(key);
    }

    Result del(KeyType const& key) {
        Ptr<Node> const gone = map_.deleteMember(key);
        return gone ? left(gone) : Result();
    }
    Result del(typename MapType::Iterator& at) {
        if (!at) {
            return Result();
        }
        Ptr<Node> const gone = at.ptr();
        U32 const before = map_.count();
        map_.deleteMember(gone);
        return map_.count() != before ? left(gone) : Result(); // it may have left since the last step
    }
    void delAll() {
        for (typename MapType::Iterator at(&map_); at; at.advance()) {
            del(at);
        }
    }

    /// What remains to be done for a member that is out of the map.
    Result left(Ptr<Node> const& gone) {
        this->raiseVersion();
        KeyType const key = HashMember::key(*gone);
        if constexpr (std::is_same_v<Result, Ptr<Node>>) {
            if constexpr (std::derived_from<Node, Entity>) {
                gone->parentIs(nullptr);
            }
            this->tell(key);
            return gone;
        } else {
            this->tell(key);
            return gone->value;
        }
    }

private:
    MapType map_;
};

template <class Prev, class Self, class A>
class ValueMapLevel
    : public MapLevel<Prev, Self, A, MapEntry<typename A::Key, typename A::Value>, typename A::Value> {
    using Base = MapLevel<Prev, Self, A, MapEntry<typename A::Key, typename A::Value>, typename A::Value>;

public:
    using Base::Base;
    using Value = typename A::Value;
    using typename Base::KeyType;
    using typename Base::MapType;
    using typename Base::Node;

protected:
    void is(KeyType const& key, Value const& value) {
        U32 const reversed = this->Base::map().hashOf(key);
        Node* found = this->Base::map().member(key, reversed);
        if (found == nullptr) {
            found = newMember(key, value, reversed).ptr();
        } else if (found->value == value) {
            return;
        } else {
            found->value = value;
        }
        this->raiseVersion();
        this->tellOf(*found, key);
    }

    U32 add(KeyType const& key, U32 delta) {
        U32 const reversed = MapType::reversedHash(key);
        Node* found = this->Base::map().member(key, reversed);
        if (!found) {
            found = newMember(key, 0, reversed).ptr();
        }
        if (delta == 0) {
            return found->value;
        }
        U32 const sum = found->value + delta;
        found->value = sum;
        this->tellOf(*found, key);
        return sum;
    }

    Ptr<Node> newMember(KeyType const& key, Value const& value) {
        return newMember(key, value, MapType::reversedHash(key));
    }

private:
    Ptr<Node> newMember(KeyType const& key, Value const& value, U32 reversed) {
        Ptr<Node> node = makePtr<Node>(key, value);
        this->Base::map().newMember(node, reversed);
        return node;
    }
};

template <class Prev, class Self, class A>
class KeyedMapLevel
    : public MapLevel<Prev, Self, A, KeyedMapEntry<typename A::Value, KeyCall<typename A::KeyOf>{}>,
                      typename A::Value> {
    using Base = MapLevel<Prev, Self, A, KeyedMapEntry<typename A::Value, KeyCall<typename A::KeyOf>{}>,
                          typename A::Value>;

public:
    using Base::Base;
    using Value = typename A::Value;
    using typename Base::KeyType;
    using typename Base::MapType;
    using typename Base::Node;

protected:
    void is(Value const& value) {
        KeyType const key = A::KeyOf::call(value);
        U32 const reversed = MapType::reversedHash(key);
        Node* found = this->Base::map().member(key, reversed);
        if (found == nullptr) {
            Ptr<Node> node = makePtr<Node>(value);
            found = node.ptr();
            this->Base::map().newMember(std::move(node), reversed);
        } else if (found->value == value) {
            return;
        } else {
            found->value = value;
        }
        this->raiseVersion();
        this->tellOf(*found, key);
    }

    Ptr<Node> newMember(Value const& value) {
        Ptr<Node> node = makePtr<Node>(value);
        this->Base::map().newMember(node);
        return node;
    }
};

template <class Prev, class Self, class A>
class EntityMapLevel : public MapLevel<Prev, Self, A, typename A::Child, Ptr<typename A::Child>> {
    using Base = MapLevel<Prev, Self, A, typename A::Child, Ptr<typename A::Child>>;

public:
    using Base::Base;
    using typename Base::KeyType;
    using typename Base::MapType;
    using typename Base::Node;

protected:
    Ptr<Node> get(KeyType const& key) {
        this->countMutableRead();
        return this->Base::map().member(key);
    }
    Ptr<Node const> get(KeyType const& key) const { return this->Base::map().member(key); }

    ValidPtr<Node> is(KeyType const& key) {
        Ptr<Node> child = this->Base::map().member(key);
        if (child) {
            this->raiseVersion();
            return child;
        }
        child = newMember(key);
        this->raiseVersion();
        this->tell(key);
        return child;
    }

    Ptr<Node> newMember(KeyType const& key) {
        Ptr<Node> child = makePtr<Node>(key);
        if constexpr (std::derived_from<Node, Entity>) {
            child->parentAttrIdIs(Self::template attributeIdOf<typename A::Name>());
        }
        this->Base::map().newMember(child);
        if constexpr (std::derived_from<Node, Entity>) {
            child->parentIs(&this->self());
        }
        return child;
    }
};

template <class Prev, class Self, class A>
class ReferenceMapLevel : public MapLevel<Prev, Self, A, MapEntry<typename A::Key, Ptr<typename A::Referred>>,
                                          Ptr<typename A::Referred>> {
    using Base = MapLevel<Prev, Self, A, MapEntry<typename A::Key, Ptr<typename A::Referred>>,
                          Ptr<typename A::Referred>>;

public:
    using Base::Base;
    using Value = Ptr<typename A::Referred>;
    using ValueConst = Ptr<typename A::Referred const>;
    using typename Base::KeyType;
    using typename Base::MapType;
    using typename Base::Node;

protected:
    Value get(KeyType const& key) {
        this->countMutableRead();
        return this->Base::get(key);
    }
    ValueConst get(KeyType const& key) const { return this->Base::get(key); }

    void is(KeyType const& key, Value const& value) {
        Node* const found = this->Base::map().member(key);
        if (found ? found->value == value : !value) {
            return;
        }
        if (found && !value) {
            this->Base::map().deleteMember(key);
        } else if (found) {
            found->value = value;
        } else {
            newMember(key, value);
        }
        this->raiseVersion();
        this->tell(key);
    }

    Ptr<Node> newMember(KeyType const& key, Value const& value) {
        Ptr<Node> node = makePtr<Node>(key, value);
        this->Base::map().newMember(node);
        return node;
    }
};

template <class Prev, class Self, class A>
class QueueLevel : public LevelBase<Prev, Self, A> {
public:
    using LevelBase<Prev, Self, A>::LevelBase;
    using Value = typename A::Value;
    using KeyType = U32;
    using Node = LinkQueueMember<U32, Value, Value>;
    using QueueType = LinkQueue<Node, U32, Value, Value>;

protected:
    QueueType const& queue() const noexcept { return queue_; }
    void notify(U32 key) { this->tell(key); }

    Value get(U32 key) const {
        Node const* const found = queue_.member(key);
        return found ? found->value : Value();
    }
    void enq(Value const& value) { changed(queue_.enq(value)); }
    Value deq() { return queue_.empty() ? Value() : del(queue_.head()->fwkQkey()); }
    void is(U32 key, Value const& value) {
        Node* const found = queue_.member(key);
        if (found && !(found->value == value)) {
            found->value = value;
            changed(key);
        }
    }
    Value del(U32 key) {
        if (!queue_.member(key)) {
            return Value();
        }
        Value gone = queue_.deleteMember(key);
        changed(key);
        return gone;
    }

private:
    void changed(U32 key) {
        this->raiseVersion();
        this->tell(key);
    }

    QueueType queue_;
};

// The chain of an attribute list, and the hooks of its reactors.

template <class Prev, class Self, class A>
struct LevelOf {
    using type = Prev; // an operation adds nothing
};
template <class Prev, class Self, class N, class T>
struct LevelOf<Prev, Self, KeyAttribute<N, T>> {
    using type = typename EntityForms<N>::template Key<KeyLevel<Prev, Self, KeyAttribute<N, T>>>;
};
template <class Prev, class Self, class N, class T>
struct LevelOf<Prev, Self, FixedAttribute<N, T>> {
    using type = typename EntityForms<N>::template Key<FixedLevel<Prev, Self, FixedAttribute<N, T>>>;
};
template <class Prev, class Self, class N, class T, auto... I>
struct LevelOf<Prev, Self, Singleton<N, T, I...>> {
    using type =
        typename EntityForms<N>::template Singleton<SingletonLevel<Prev, Self, Singleton<N, T, I...>>>;
};
template <class Prev, class Self, class N, class T, auto... I>
struct LevelOf<Prev, Self, VirtualSingleton<N, T, I...>> {
    using type = typename EntityForms<N>::template VirtualSingleton<
        SingletonLevel<Prev, Self, VirtualSingleton<N, T, I...>>>;
};
template <class Prev, class Self, class N, class T>
struct LevelOf<Prev, Self, SingletonReference<N, T>> {
    using type = typename EntityForms<N>::template SingletonReference<
        SingletonReferenceLevel<Prev, Self, SingletonReference<N, T>>>;
};
template <class Prev, class Self, class N, class K, class V>
struct LevelOf<Prev, Self, ValueMap<N, K, V>> {
    using type = typename EntityForms<N>::template ValueMap<ValueMapLevel<Prev, Self, ValueMap<N, K, V>>>;
};
template <class Prev, class Self, class N, class K, class V>
struct LevelOf<Prev, Self, CountedUpMap<N, K, V>> {
    using type =
        typename EntityForms<N>::template CountedUpMap<ValueMapLevel<Prev, Self, CountedUpMap<N, K, V>>>;
};
template <class Prev, class Self, class N, class K, class V>
struct LevelOf<Prev, Self, CountedMap<N, K, V>> {
    using type = typename EntityForms<N>::template CountedMap<ValueMapLevel<Prev, Self, CountedMap<N, K, V>>>;
};
template <class Prev, class Self, class N, class V, class KN>
struct LevelOf<Prev, Self, KeyedMap<N, V, KN>> {
    using type = typename EntityForms<N>::template KeyedMap<KeyedMapLevel<Prev, Self, KeyedMap<N, V, KN>>>;
};
template <class Prev, class Self, class N, class C>
struct LevelOf<Prev, Self, EntityMap<N, C>> {
    using type = typename EntityForms<N>::template EntityMap<EntityMapLevel<Prev, Self, EntityMap<N, C>>>;
};
template <class Prev, class Self, class N, class K, class T>
struct LevelOf<Prev, Self, ReferenceMap<N, K, T>> {
    using type =
        typename EntityForms<N>::template ReferenceMap<ReferenceMapLevel<Prev, Self, ReferenceMap<N, K, T>>>;
};

template <class Prev, class Self, class N, class V>
struct LevelOf<Prev, Self, Queue<N, V>> {
    using type = typename EntityForms<N>::template Queue<QueueLevel<Prev, Self, Queue<N, V>>>;
};

template <class... A>
AttributeList<A...> plainList(AttributeList<A...> const&);

/// The attributes of a list, named or not.
template <class List>
using PlainList = decltype(plainList(std::declval<List const&>()));

template <class... A>
struct ListOf {
    using type = AttributeList<A...>;
};
template <class List>
requires requires {
    typename PlainList<List>;
}
struct ListOf<List> {
    using type = List;
};

template <std::size_t I, class List>
struct AttributeAt;
template <std::size_t I, class... A>
struct AttributeAt<I, AttributeList<A...>> : std::tuple_element<I, std::tuple<A...>> {};

/// The levels of the first `I` attributes, on `Bottom`. Known by its place in the list and not by what is
/// below, so that the names of long lists stay short.
template <class Self, class Bottom, class List, std::size_t I>
class Stack;
template <class Self, class Bottom, class List>
class Stack<Self, Bottom, List, 0> : public Bottom {
public:
    explicit Stack(Start<void>) {}
    template <class Argument>
    explicit Stack(Start<Argument> start) : Bottom(std::move(start.argument)) {}
};
template <class Self, class Bottom, class List, std::size_t I>
using LevelAt = typename LevelOf<Stack<Self, Bottom, List, I - 1>, Self,
                                 typename AttributeAt<I - 1, PlainList<List>>::type>::type;
template <class Self, class Bottom, class List, std::size_t I>
class Stack : public LevelAt<Self, Bottom, List, I> {
public:
    // Inherited instead, through all levels, it takes g++ minutes.
    template <class Argument>
    explicit Stack(Start<Argument> start) : LevelAt<Self, Bottom, List, I>(std::move(start)) {}
};

template <class A>
inline constexpr bool isVirtual = false;
template <class N, class T, auto... I>
inline constexpr bool isVirtual<VirtualSingleton<N, T, I...>> = true;

template <class... A>
consteval bool anyVirtual(AttributeList<A...>) {
    return (isVirtual<A> || ...);
}

class Nothing {};

/// The base class and the attributes behind it. They stand beside it and not on it, since a long chain of
/// classes with virtual functions takes g++ minutes at -Wall.
template <class Self, class Base, class List>
class Body : public Base, public Stack<Self, Nothing, List, PlainList<List>::size> {
    using Attributes = Stack<Self, Nothing, List, PlainList<List>::size>;

public:
    explicit Body(Start<void>) : Attributes(Start<void>()) {}
    template <class Argument>
    explicit Body(Start<Argument> start) : Base(std::move(start.argument)), Attributes(Start<void>()) {}
    template <class Argument>
    requires(hasKey<PlainList<List>>) explicit Body(Start<Argument> start) : Attributes(std::move(start)) {}
};
/// Virtual setters have their slots behind those of the base.
template <class Self, class Base, class List>
requires(anyVirtual(PlainList<List>())) class Body<Self, Base, List>
    : public Stack<Self, Base, List, PlainList<List>::size> {
public:
    using Stack<Self, Base, List, PlainList<List>::size>::Stack;
};

template <class A>
constexpr bool hasKind(EntityAttributeKind kind) {
    if constexpr (requires { requires std::is_same_v<decltype(A::kind), EntityAttributeKind const>; }) {
        return A::kind == kind;
    } else {
        return kind == EntityAttributeKind::operation;
    }
}

/// The hooks of the first `I` attributes of a list, on the reactor class `Root`.
template <class Root, class List, std::size_t I>
struct HooksAt;

/// Where the hooks of one attribute stand. Known by its place in the list, as a level is.
template <class Root, class List, std::size_t I>
struct HookPlace {
    using Attribute = typename AttributeAt<I - 1, PlainList<List>>::type;
    using Below = typename HooksAt<Root, List, I - 1>::type;
};

template <class Place, class A>
struct HooksOf {
    using type = typename Place::Below;
};
template <class Place, class A>
requires(hasKind<A>(EntityAttributeKind::singleton)) struct HooksOf<Place, A> {
    using type = typename EntityForms<typename A::Name>::template ScalarHooks<Place>;
};
template <class Place, class A>
requires(hasKind<A>(EntityAttributeKind::map)) struct HooksOf<Place, A> {
    using type = typename EntityForms<typename A::Name>::template KeyedHooks<Place>;
};

template <class Root, class List>
struct HooksAt<Root, List, 0> {
    using type = Root;
};
template <class Root, class List, std::size_t I>
struct HooksAt : HooksOf<HookPlace<Root, List, I>, typename HookPlace<Root, List, I>::Attribute> {};

template <class Base, class List>
using AllHooks = typename HooksAt<Base, List, PlainList<List>::size>::type;

/// The keys of the keyed attributes, in order.
template <class Keys, class List>
struct KeysOf;
template <class... K>
struct KeysOf<AttributeList<K...>, AttributeList<>> {
    using type = AttributeList<K...>;
};
template <class... K, class First, class... Rest>
struct KeysOf<AttributeList<K...>, AttributeList<First, Rest...>>
    : KeysOf<AttributeList<K...>, AttributeList<Rest...>> {};
template <class... K, class First, class... Rest>
requires(hasKind<First>(
    EntityAttributeKind::map)) struct KeysOf<AttributeList<K...>, AttributeList<First, Rest...>>
    : KeysOf<AttributeList<K..., typename First::Key>, AttributeList<Rest...>> {
};

template <class Derived, class X, class Base, class Keys>
struct NotifieeWithKeys;
template <class Derived, class X, class Base, class... K>
struct NotifieeWithKeys<Derived, X, Base, AttributeList<K...>> {
    using type = NotifieeOf<Derived, X, Base, K...>;
};

/// The root of a reactor class, below its hooks.
template <class Derived, class Self, class Base, class List>
class ReactorRoot
    : public NotifieeWithKeys<Derived, Self,
                              std::conditional_t<std::derived_from<Base, Entity>, Entity::NotifieeConst,
                                                 PtrInterface::NotifieeConst>,
                              typename KeysOf<AttributeList<>, PlainList<List>>::type>::type {};

/// What an entity directly below Kor::Entity or Kor::PtrInterface keeps for its reactors and for the map of a
/// parent.
template <class Self, class Base, class List>
class Reactors : public Body<Self, Base, List> {
public:
    using Body<Self, Base, List>::Body;

    class NotifieeConst : public AllHooks<ReactorRoot<NotifieeConst, Self, Base, List>, List> {};

private:
    friend HashMember;
    friend NotifieeAccess;

    HashLink next;
    mutable ListRaw<NotifieeConst> notifieeList_;
};

/// What a reactor class adds for the keyed attributes that it adds; they count on from the base's.
template <class Base, class List>
class MoreKeys : public Base {
    template <class... K>
    static std::tuple<DeferredKey<K>...> tupleOf(AttributeList<K...>);
    using Deferred = decltype(tupleOf(typename KeysOf<AttributeList<>, PlainList<List>>::type()));

public:
    static constexpr std::size_t deferredKeys = Base::deferredKeys + std::tuple_size_v<Deferred>;

protected:
    template <std::size_t i>
    auto& deferred() noexcept {
        if constexpr (i < Base::deferredKeys) {
            return Base::template deferred<i>();
        } else {
            return std::get<i - Base::deferredKeys>(deferred_);
        }
    }

private:
    [[no_unique_address]] Deferred deferred_;
};

/// An entity below another one has that one's list; its reactors add hooks to that one's.
template <class Self, class Base, class List>
requires(derivationLevel<Base>() > 1) class Reactors<Self, Base, List> : public Body<Self, Base, List> {
public:
    using Body<Self, Base, List>::Body;

    class NotifieeConst : public AllHooks<MoreKeys<typename Base::NotifieeConst, List>, List> {
        using Hooks = AllHooks<MoreKeys<typename Base::NotifieeConst, List>, List>;

    public:
        // Also while the notifier ends, when it is no longer the whole of one.
        __attribute__((no_sanitize("vptr"))) Self const* notifier() const noexcept {
            return static_cast<Self const*>(Hooks::notifier());
        }
        /// A notifier of another class counts as none, also one of the base's.
        void notifierIs(Ptr<PtrInterface const> const& notifierOrNull) override {
            Hooks::notifierIs(ptrCast<Self const>(notifierOrNull));
        }
    };
};

/// Whether an entity travels on an attribute log. One that does not says so by a member `korHasAttrLog`.
template <class Self>
inline constexpr bool hasAttrLog = [] {
    if constexpr (requires { Self::korHasAttrLog; }) {
        return Self::korHasAttrLog;
    } else {
        return std::derived_from<Self, Entity>;
    }
}();

template <class A, class B>
struct Joined;
template <class... A, class... B>
struct Joined<AttributeList<A...>, AttributeList<B...>> {
    using type = AttributeList<A..., B...>;
};

/// The attributes of an entity and of the entities that it derives from, in order.
template <class X>
struct AllAttributes {
    using type = AttributeList<>;
};
template <class X>
requires requires {
    typename X::BaseEntity;
}
struct AllAttributes<X>
    : Joined<typename AllAttributes<typename X::BaseEntity>::type, typename X::Attributes> {};

/// A reactor of X that hands the changes of the first `I` attributes of `ListOf<X>` to `changed<A>(key...)`
/// of `Reactor<X>`, which is derived from it.
template <class X, template <class> class Reactor, template <class> class ListOf, std::size_t I>
struct ForwardsOf;
template <class X, template <class> class Reactor, template <class> class ListOf>
struct ForwardsOf<X, Reactor, ListOf, 0> {
    using type = typename X::Notifiee;
};
template <class X, template <class> class Reactor, template <class> class ListOf, std::size_t I>
struct ForwardsOf {
    using A = typename AttributeAt<I - 1, typename ListOf<X>::type>::type;
    using Below = typename ForwardsOf<X, Reactor, ListOf, I - 1>::type;
    static auto choose() {
        if constexpr (hasKind<A>(EntityAttributeKind::singleton)) {
            return std::type_identity<
                typename EntityForms<typename A::Name>::template ScalarForward<Below, Reactor<X>, A>>();
        } else if constexpr (hasKind<A>(EntityAttributeKind::map)) {
            return std::type_identity<
                typename EntityForms<typename A::Name>::template KeyedForward<Below, Reactor<X>, A>>();
        } else {
            return std::type_identity<Below>();
        }
    }
    using type = typename decltype(choose())::type;
};
/// The same for all of the list.
template <class X, template <class> class Reactor, template <class> class ListOf>
using Forwards = typename ForwardsOf<X, Reactor, ListOf, ListOf<X>::type::size>::type;

/// What an entity says of itself. An own attribute has its name, any other what the base answers.
template <class Self, class Base, class List>
class Identity : public Reactors<Self, Base, List> {
public:
    using Reactors<Self, Base, List>::Reactors;

    String8 attributeString(AttributeId attribute) const override {
        char const* const own = Self::ownAttributeName(attribute);
        return own ? String8(own) : Base::attributeString(attribute);
    }
    bool korHasAttrLogInterface() const override { return hasAttrLog<Self>; }
    String8 korKeyText() const override {
        if constexpr (requires(Self const& self) { self.fwkKey(); }) {
            return valueToStrep(static_cast<Self const&>(*this).fwkKey());
        } else {
            return {};
        }
    }
};

/// The stream operations of an entity that travels on an attribute log.
template <class Self, class Base, class List>
class Streamed : public Identity<Self, Base, List> {
    using Adapter = Entity::KorNboAttrLogSa;
    using Stream = Ptr<NboAttrLog::Out const>;

public:
    using Identity<Self, Base, List>::Identity;

    Ptr<Adapter const> korNboAttrLogSa(Stream const& out) const override { return towards(out); }
    Ptr<Adapter> korNboAttrLogSa(Stream const& out) override { return towards(out); }
    Ptr<Adapter> korNboAttrLogSaForMsgChannel(Ptr<Adapter> const& other) const override {
        return other
                   ? among([&](Adapter& each) { return &each != other.ptr() && each.isOfChannelOf(*other); })
                   : Ptr<Adapter>();
    }
    Ptr<Adapter> korNboAttrLogSaIs(Entity::Kor_BitSet flags, unsigned int id, Ptr<NboAttrLog::Out> const& out,
                                   PtrInterface* context) override {
        return streamAdapterIs(*this, flags, id, out, context);
    }
    Ptr<Adapter> korNboAttrLogSaDel(Stream const& out) override {
        Ptr<Adapter> there = towards(out);
        return there && there->korUnmount() ? there : Ptr<Adapter>();
    }

private:
    template <class Match>
    Ptr<Adapter> among(Match const& match) const {
        return streamAdapterAmong(NotifieeAccess::list(static_cast<Self const&>(*this)), match);
    }
    Ptr<Adapter> towards(Stream const& out) const {
        return among([&](Adapter& each) { return each.isTowards(out.ptr()); });
    }
};
template <class Self, class Base, class List>
requires(!std::derived_from<Base, Entity>) class Streamed<Self, Base, List>
    : public Identity<Self, Base, List> {
public:
    using Identity<Self, Base, List>::Identity;
};

template <class Self, class Base, class List>
requires(!std::derived_from<Base, Entity>) class Identity<Self, Base, List>
    : public Reactors<Self, Base, List> {
public:
    using Reactors<Self, Base, List>::Reactors;

    String8 attributeString(AttributeId attribute) const {
        char const* const own = Self::ownAttributeName(attribute);
        return own ? own : "unknown";
    }
};

template <class Self, class Base, class... A>
using IdentityOf = Streamed<Self, Base, typename ListOf<A...>::type>;

} // namespace detail

/// The class `Self` on top of `Base`, which is Kor::Entity, Kor::PtrInterface (no name, version, parent or
/// attribute log), or another entity, whose attributes and reactors it then adds to. A long list is
/// better given as one class derived from its Kor::AttributeList, by whose name all that is made from it
/// goes:
///
///     struct PortAttributes : Kor::AttributeList<...> {};
///     class Port : public Kor::EntityOf<Port, PortAttributes> { ... };
template <class Self, class Base, class... A>
class EntityOver : public detail::IdentityOf<Self, Base, A...> {
    using Below = detail::IdentityOf<Self, Base, A...>;

public:
    using Attributes = detail::PlainList<typename detail::ListOf<A...>::type>;
    using BaseEntity = Base;
    using typename Below::NotifieeConst;
    static constexpr int level = detail::derivationLevel<Base>() + 1;
    static constexpr AttributeId firstAttributeId = 2 + 128 * level;
    static constexpr bool isEntity = std::derived_from<Base, Entity>;

    /// A reactor that may also write.
    class Notifiee : public NotifieeConst {
    public:
        Self* notifier() const noexcept {
            return const_cast<Self*>(static_cast<Self const*>(NotifieeConst::notifier()));
        }
    };

    /// What carries the entity to a peer, where the class has an attribute log.
    using KorNboAttrLogSa = StreamAdapterOf<Self>;

    /// The type of the key attribute, Kor::Name for the name, or void.
    using ConstructorArgument = typename detail::ArgumentOf<Base, Attributes>::type;

    EntityOver() requires std::is_void_v<ConstructorArgument> : Below(detail::Start<ConstructorArgument>()) {}
    template <std::same_as<ConstructorArgument> Argument = ConstructorArgument>
    explicit EntityOver(std::type_identity_t<Argument> argument)
        : Below(detail::Start<Argument>{std::move(argument)}) {}

    /// Children that came in while the entity was ending lose their parent, untold.
    ~EntityOver() override {
        if constexpr (level <= 2) {
            NotifieeAccess::list(*this).deleteAll();
        }
        delAllChildren(Attributes());
    }

    /// The box, reflect/GenericIf.h.
    using GenericIf_ = BoxOf<Self>;
    /// The type object, reflect/KorType.h, and its class.
    using _Type = TypeOf<Self>;
    static KorType* _fwkType() { return fwkTypeOf<Self>(); }
    KorType* fwkType() const override { return _fwkType(); }

    /// The id of the attribute of that name; the list, or a base's, must have it.
    template <class NameType>
    static constexpr AttributeId attributeIdOf() {
        if constexpr (declares<NameType>(Attributes())) {
            return []<class... Each>(AttributeList<Each...>) {
                // Arrays: g++ takes minutes for a long chain of || whose operands have effects.
                constexpr bool isNamed[] = {isNewAs<Each, NameType>...};
                constexpr bool hasId[] = {isNew<Each>...};
                AttributeId id = firstAttributeId;
                for (std::size_t place = 0; !isNamed[place]; ++place) {
                    id += hasId[place];
                }
                return id;
            }(Attributes());
        } else {
            return Base::template attributeIdOf<NameType>();
        }
    }

    /// The name of an own attribute; null for any other id.
    static constexpr char const* ownAttributeName(AttributeId attribute) {
        if constexpr (requires(Self const& self) { self.fwkKey(); }) {
            if (attribute == fwkKeyAttr) {
                return "fwkKey";
            }
        }
        return [attribute]<class... Each>(AttributeList<Each...>) {
            constexpr char const* names[] = {Each::Name::text..., nullptr};
            constexpr bool hasId[] = {isNew<Each>..., false};
            AttributeId id = firstAttributeId;
            for (std::size_t place = 0; place < sizeof...(Each); ++place) {
                if (hasId[place] && id++ == attribute) {
                    return names[place];
                }
            }
            return static_cast<char const*>(nullptr);
        }(Attributes());
    }

    /// Tells the reactors that the last reference is gone. Unless one of them has taken a new one, the entity
    /// is about to end: while it is still whole, its children lose their parent, and observers hear of each.
    void zeroReferencesIs(bool) override {
        notifyZeroReferences(NotifieeAccess::list(*this));
        if (this->hasSoleHolder()) {
            korChildrenDel();
        }
    }

protected:
    /// An entity that needs no name, by its class's own constructor.
    EntityOver() requires std::is_same_v<ConstructorArgument, Name>
        : Below(detail::Start<ConstructorArgument>()) {}

    /// Lets the children go, those of the base's maps as well.
    void korChildrenDel() {
        delAllChildren(Attributes());
        if constexpr (requires { this->Base::korChildrenDel(); }) {
            Base::korChildrenDel();
        }
    }

private:
    template <class Attribute>
    static constexpr bool isNew = !std::is_same_v<Attribute, Override<typename Attribute::Name>>;
    template <class Attribute, class NameType>
    static constexpr bool isNewAs = std::is_same_v<typename Attribute::Name, NameType>&& isNew<Attribute>;

    template <class NameType, class... Each>
    static consteval bool declares(AttributeList<Each...>) {
        return (isNewAs<Each, NameType> || ...);
    }

    template <class... Each>
    void delAllChildren(AttributeList<Each...>) {
        // As a list: g++ looks at each pair of the operands of a comma.
        static_cast<void>(std::initializer_list<int>{(delAllChildrenOf<Each>(), 0)...});
    }
    template <class Attribute>
    void delAllChildrenOf() {
        if constexpr (requires { typename Attribute::Child; }) {
            EntityForms<typename Attribute::Name>::delAll(*this);
        }
    }
};

template <class Self, class... A>
using EntityOf = EntityOver<Self, Entity, A...>;

template <class Self, class... A>
using ObjectOf = EntityOver<Self, PtrInterface, A...>;

} // namespace Kor
