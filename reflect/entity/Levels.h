#pragma once

/// What an entity has for each attribute: the storage, and the order of effects of each change. No class
/// names a level; its list of attributes does (reflect/entity/EntityPattern.h). That of a map of counts:
///
///     config->reqCountIs(entry, 3);       // stored, the version rises, then reactors are told
///     config->reqCountIs(entry, 3);       // changes nothing, and ends here
///
/// A level is chosen by the shape; the name's form on it (reflect/Names.h) gives the operations their names.
/// The levels of an entity `Self` stand side by side, in the order of its list.
///
/// A member of a map is one allocation. What a reactor throws goes no further than the notification
/// (runtime/HandlerExceptions.h). One thread, that of the entity.

#include "reflect/Attributes.h"
#include "runtime/Entity.h"
#include "runtime/HashMap.h"
#include "runtime/LinkQueue.h"
#include "runtime/Notification.h"
#include "runtime/NotifieeOf.h"

#include <concepts>
#include <optional>
#include <type_traits>
#include <utility>

namespace Kor::detail {

template <class NameType>
struct KeyCall {
    template <class V>
    constexpr auto operator()(V const& value) const {
        return NameType::call(value);
    }
};

/// Whether a change counts in the entity's version.
enum class Version : bool { stays, rises };

/// What happens to the entity `Self` around a change of its attribute A.
template <class Self, class A>
struct Effects {
    /// A change, whatever the attribute: it is stored, the version rises, what reactors must find done is
    /// settled, and they are told. `store` answers what has changed: the member, its number, or true; null,
    /// none or false when the write changes nothing, which then ends here.
    template <Version version = Version::rises, class Store, class... Settle>
    static void change(Self& self, Store const& store, Settle const&... settle) {
        auto const what = store();
        if (!what) {
            return;
        }
        if constexpr (version == Version::rises) {
            raiseVersion(self);
        }
        (settle(), ...);
        if constexpr (std::is_same_v<decltype(what), bool const>) {
            tell(self);
        } else if constexpr (std::is_pointer_v<decltype(what)>) {
            tellOf(self, *what);
        } else {
            tell(self, *what);
        }
    }
    static void raiseVersion(Self& self) noexcept {
        if constexpr (std::derived_from<Self, Entity>) {
            EntityAccess::versionInc(self);
        }
    }
    static void countMutableRead(Self& self) noexcept {
        if constexpr (std::derived_from<Self, Entity>) {
            EntityAccess::mutableReadsInc(self);
        }
    }
    template <class... Key>
    static void tell(Self& self, Key const&... key) {
        using Reactor = typename Self::NotifieeConst;
        Kor::notify(NotifieeAccess::list(self), Self::template attributeIdOf<typename A::Name>(),
                    [&](auto& each) {
                        if constexpr (std::is_same_v<std::remove_cvref_t<decltype(each)>, Reactor>) {
                            A::Name::tell(each, key...);
                        } else if (auto* const reactor = dynamic_cast<Reactor*>(&each)) {
                            A::Name::tell(*reactor, key...);
                        }
                    });
    }
    /// Under the member's own key, since the one that was given may be part of a member that a hook deletes.
    template <class Member>
    static void tellOf(Self& self, Member& member) {
        if (NotifieeAccess::list(self).count() != 0) [[unlikely]] {
            PtrInterface::Keep const keep(member);
            tell(self, HashMember::key(member));
        }
    }
};

template <class Self, class A>
class FixedLevel {
public:
    using Read = typename A::Type;
    explicit FixedLevel(Read value) : key_(std::move(value)) {}

    /// The key attribute again, by which the map of the parent knows the entity.
    Read const& fwkKey() const noexcept requires(A::shape.role == Role::key) { return key_; }

protected:
    Read const& korGet() const noexcept { return key_; }

private:
    Read const key_;
};

/// What a value of an attribute is read as: an object as a const one.
template <class A>
using ReadOf = std::conditional_t<A::shape.holdsObjects(), Ptr<typename A::Type const>, typename A::Value>;

template <class Self, class A>
class SingletonLevel {
public:
    using Value = typename A::Value;
    using Read = ReadOf<A>;

    /// For a virtual setter, which has its slot behind those of the base.
    template <class Below>
    static void korSet(Below& below, Value const& value) {
        static_cast<SingletonLevel&>(static_cast<Self&>(below)).korIs(value);
    }

protected:
    Read korGet() const { return value_; }
    Value korGet() requires(A::shape.reference) {
        On::countMutableRead(self());
        return value_;
    }
    void korIs(Value const& value) {
        On::change(self(), [&] {
            if (value_ == value) {
                return false;
            }
            value_ = value;
            return true;
        });
    }

private:
    using On = Effects<Self, A>;

    Self& self() noexcept { return static_cast<Self&>(*this); }

    Value value_ = A::initial();
};

/// The member of a map.
template <class A>
consteval auto nodeOf() {
    if constexpr (A::shape.child) {
        return std::type_identity<typename A::Type>();
    } else if constexpr (A::shape.keyInside) {
        return std::type_identity<KeyedMapEntry<typename A::Value, KeyCall<typename A::KeyName>{}>>();
    } else {
        return std::type_identity<MapEntry<typename A::Key, typename A::Value>>();
    }
}

/// Maps of values, counts and references, with the key apart or inside, and of children.
template <class Self, class A>
class MapLevel {
public:
    using Node = typename decltype(nodeOf<A>())::type;
    using Held = Ptr<Node>;
    using Found = ValidPtr<Node>;
    using Key = typename A::Key;
    using Value = typename A::Value;
    using Read = ReadOf<A>;
    /// What makes a member where the key is inside.
    using Part = std::conditional_t<A::shape.child, Key, Value>;
    using First = std::conditional_t<A::shape.keyInside, Part, Key>;
    using Map = HashMap<Node, Key, Value>;

protected:
    Map const& korMap() const noexcept { return map_; }
    Map& korMap() noexcept { return map_; }

    Read korGet(Key const& key) const { return valueOf(map_.member(key)); }
    Value korGet(Key const& key) requires(A::shape.holdsObjects()) {
        On::countMutableRead(self());
        return valueOf(map_.member(key));
    }

    /// Of a copy: the key may be part of a member that a hook deletes.
    void korNotify(Key key) { On::tell(self(), key); }

    Value korDel(Key const& key) {
        return drop([&] { return map_.deleteMember(key); });
    }
    Value korDel(typename Map::Iterator& at) {
        return drop([&] {
            Held const current = at.ptr();
            U32 const before = map_.count();
            if (current) {
                map_.deleteMember(current); // it may have left since the last step
            }
            return map_.count() != before ? current : Held();
        });
    }
    void korDelAll() {
        PtrInterface::Keep const keep(self()); // a hook may let the last reference go
        for (typename Map::Iterator at(&map_); at; at.advance()) {
            korDel(at);
        }
    }

    void korIs(Key const& key, Value const& value) {
        if constexpr (A::shape.reference) {
            if (!value) { // a reference to nothing is none
                korDel(key);
                return;
            }
        }
        put(map_.hashOf(key), key, value);
    }
    void korIs(Value const& value) requires(A::shape.keyInside) {
        Key const key = A::KeyName::call(value);
        put(Map::reversedHash(key), key, value);
    }
    /// The child of the key, found or made.
    Found korIs(Key const& key) requires(A::shape.child) {
        U32 const reversed = map_.hashOf(key);
        Held child = map_.member(key, reversed);
        if (child) {
            On::raiseVersion(self());
            return child;
        }
        On::change(self(), [&] {
            child = makePtr<Node>(key);
            return insert(child, reversed);
        });
        return child;
    }

    U32 korAdd(Key const& key, U32 delta) {
        U32 sum = 0;
        On::template change<Version::stays>(self(), [&]() -> Node* {
            U32 const reversed = Map::reversedHash(key);
            Node* const found = map_.member(key, reversed);
            Node& node = found != nullptr ? *found : *insert(makePtr<Node>(key, U32{0}), reversed);
            sum = node.value += delta;
            return delta != 0 ? changed(node) : nullptr;
        });
        return sum;
    }

    /// Of the parts of a member; of a child, of its key.
    template <class... Part>
    Held korNew(Part const&... part) {
        Held node = makePtr<Node>(part...);
        insert(node, Map::reversedHash(HashMember::key(*node)));
        return node;
    }

private:
    using On = Effects<Self, A>;

    Self& self() noexcept { return static_cast<Self&>(*this); }

    static Value valueOf(Node* node) {
        if constexpr (A::shape.child) {
            return node;
        } else {
            return node != nullptr ? node->value : Value();
        }
    }
    /// `take` takes the member out.
    template <class Take>
    Value drop(Take const& take) {
        Held gone;
        On::change(
            self(),
            [&] {
                gone = take();
                return gone.ptr();
            },
            [&] {
                if constexpr (std::derived_from<Node, Entity>) {
                    gone->parentIs(nullptr);
                }
            });
        return valueOf(gone.ptr());
    }
    void put(U32 reversed, Key const& key, Value const& value) {
        On::change(self(), [&]() -> Node* {
            Node* const found = map_.member(key, reversed);
            if (found == nullptr) {
                if constexpr (A::shape.keyInside) {
                    return changed(*insert(makePtr<Node>(value), reversed));
                } else {
                    return changed(*insert(makePtr<Node>(key, value), reversed));
                }
            }
            if (found->value == value) {
                return nullptr;
            }
            found->value = value;
            return changed(*found);
        });
    }
    Node* insert(Held node, U32 reversed) {
        Node* const inserted = node.ptr();
        constexpr bool isChild = std::derived_from<Node, Entity>;
        if constexpr (isChild) {
            node->parentAttrIdIs(Self::template attributeIdOf<typename A::Name>());
        }
        map_.newMember(std::move(node), reversed);
        if constexpr (isChild) {
            inserted->parentIs(&self());
        }
        return inserted;
    }
    /// For who is told of it and looks it up.
    Node* changed(Node& node) noexcept {
        map_.recentIs(node);
        return &node;
    }

    Map map_;
};

template <class Self, class A>
class QueueLevel {
public:
    using Value = typename A::Value;
    using Node = LinkQueueMember<U32, Value, Value>;
    using Map = LinkQueue<Node, U32, Value, Value>;

protected:
    Map const& korMap() const noexcept { return queue_; }
    void korNotify(U32 key) { On::tell(self(), key); }

    Value korGet(U32 key) const {
        Node const* const found = queue_.member(key);
        return found ? found->value : Value();
    }
    void korEnq(Value const& value) {
        On::change(self(), [&] { return std::optional(queue_.enq(value)); });
    }
    Value korDeq() { return queue_.empty() ? Value() : korDel(queue_.head()->fwkQkey()); }
    void korIs(U32 key, Value const& value) {
        On::change(self(), [&]() -> std::optional<U32> {
            Node* const found = queue_.member(key);
            if (found == nullptr || found->value == value) {
                return std::nullopt;
            }
            found->value = value;
            return key;
        });
    }
    Value korDel(U32 key) {
        Value gone{};
        On::change(self(), [&]() -> std::optional<U32> {
            if (queue_.member(key) == nullptr) {
                return std::nullopt;
            }
            gone = queue_.deleteMember(key);
            return key;
        });
        return gone;
    }
    Value korDel(typename Map::IteratorConst& at) { return at ? korDel(at.key()) : Value(); }

private:
    using On = Effects<Self, A>;

    Self& self() noexcept { return static_cast<Self&>(*this); }

    Map queue_;
};

// Which level and which form an attribute has, by its shape.

template <class Self, class A>
consteval auto levelOf() {
    constexpr Role role = A::shape.role;
    if constexpr (role == Role::singleton) {
        return std::type_identity<SingletonLevel<Self, A>>();
    } else if constexpr (role == Role::queue) {
        return std::type_identity<QueueLevel<Self, A>>();
    } else if constexpr (role == Role::map) {
        return std::type_identity<MapLevel<Self, A>>();
    } else {
        return std::type_identity<FixedLevel<Self, A>>();
    }
}
template <class Self, class A>
struct LevelFor : decltype(levelOf<Self, A>()) {};

/// Whether each attribute that stores something has a name that was made with the third word.
template <class List>
inline constexpr bool allNamed = false;
template <class... A>
inline constexpr bool allNamed<AttributeList<A...>> =
    ((!A::shape.isStored() || requires { typename A::Name::template Fixed<void, A>; }) && ...);

/// Of an attribute that stores nothing.
template <class Self, class A>
struct NoForm {};

template <class Self, class A>
consteval auto formOf() {
    constexpr Role role = A::shape.role;
    using Name = typename A::Name;
    if constexpr (!A::shape.isStored() || !allNamed<AttributeList<A>>) { // the entity says so
        return std::type_identity<NoForm<Self, A>>();
    } else if constexpr (role == Role::map) {
        return std::type_identity<typename Name::template Map<Self, A>>();
    } else if constexpr (role == Role::queue) {
        return std::type_identity<typename Name::template Queue<Self, A>>();
    } else if constexpr (A::shape.reference) {
        return std::type_identity<typename Name::template Reference<Self, A>>();
    } else if constexpr (role == Role::singleton && !A::shape.isVirtual) {
        return std::type_identity<typename Name::template Singleton<Self, A>>();
    } else {
        return std::type_identity<typename Name::template Fixed<Self, A>>(); // the base has a virtual setter
    }
}

/// The form of an attribute.
template <class Self, class A>
struct FormFor : decltype(formOf<Self, A>()) {};
template <class Self, class A>
using Form = typename FormFor<Self, A>::type;

/// The forms of a list side by side. By number, so that the name of the type is short.
template <class Self, class List, class Places = std::make_index_sequence<ListOf<List>::type::size>>
struct Forms;
template <class Self, class List, std::size_t... I>
struct Forms<Self, List, std::index_sequence<I...>>
    : Form<Self, typename AttributeAt<I, typename ListOf<List>::type>::type>... {
    Forms() = default;
    /// Of the argument of the constructor, which sets the first attribute.
    template <class Argument>
    Forms(std::in_place_t, Argument&& argument)
        : Form<Self, typename AttributeAt<0, typename ListOf<List>::type>::type>(
              std::in_place, std::forward<Argument>(argument)) {}
};
/// A list that is given as a class is one form, too.
template <class Self, ListClass List>
struct FormFor<Self, List> : std::type_identity<Forms<Self, List>> {};

/// The base with the virtual setters of those attributes, one behind the other.
template <class Self, class Base, class List>
struct VirtualSetters : std::type_identity<Base> {};
template <class Self, class Base, class First, class... Rest>
struct VirtualSetters<Self, Base, AttributeList<First, Rest...>>
    : VirtualSetters<Self, typename First::Name::template VirtualSetter<Base, SingletonLevel<Self, First>>,
                     AttributeList<Rest...>> {};

} // namespace Kor::detail
