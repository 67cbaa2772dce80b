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
/// A class that tools are to meet by name is also listed in a module (reflect/type/TypeModule.h).
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
///     Queue           xEnq(T), xDeq(), x(U32), xIs(U32, T), xDel(U32), xQueue(): in order, numbered as the hook tells
///     Operation       a hand-written member function of the class; VirtualOperation: one that heirs override, and
///                     Override in such an heir
///     FreeId          no attribute: an id that stays free
///
/// The map operations: xDel(K) and xDel(iterator), which return what was there, xDelAll(), xNotify(K), and
/// for a walk xMap() and xIterator(). To read or delete an absent key gives T's default or a null pointer.
///
/// A write that changes nothing does nothing. Otherwise the change is stored, the version rises by one, and
/// then the reactors are told with the key, on the caller's stack (runtime/Notification.h). Two exceptions:
/// xIs(K) of an entity map raises the version for a present child too, and tells nobody; xInc and xDec tell,
/// never touch the version, and count modulo 2 to the 32nd. A count of 0 stays in the map: xDel ends it. newX
/// inserts and does nothing else; its key must not be present. Handlers' exceptions never get here.
///
/// Cost. A map operation is one hash, one bucket, one short chain; without reactors a change costs one test
/// more. A new member, a growing table and a fourth reactor to tell each allocate. One thread at a time.

#include "reflect/FwkType.h"
#include "reflect/Text.h"
#include "reflect/Value.h"
#include "reflect/entity/Reactors.h"

// NOLINTBEGIN(bugprone-macro-parentheses): X is a type, not an expression

/// The factory of an entity: makes one with the constructor's argument, if any, and registers it nowhere,
/// sets no parent. A template, so that a program compiles only the entities that it makes.
#define KOR_FACTORY(factory, X, ...)                                                                         \
    template <class T = X>                                                                                   \
    Kor::Ptr<T> factory(__VA_ARGS__ __VA_OPT__(argument)) {                                                  \
        return Kor::makePtr<T>(__VA_OPT__(std::move(argument)));                                             \
    }                                                                                                        \
    KOR_FACTORY_OF_OTHERS(factory, X)

/// What clang says to a wrong argument is short; with g++, Kor::makePtr says it.
#ifdef __clang__
#define KOR_FACTORY_OF_OTHERS(factory, X)
#else
#define KOR_FACTORY_OF_OTHERS(factory, X)                                                                    \
    template <class T = X, class... Given>                                                                   \
    Kor::Ptr<T> factory(Given&&... given) {                                                                  \
        return Kor::makePtr<T>(std::forward<Given>(given)...);                                               \
    }
#endif

// NOLINTEND(bugprone-macro-parentheses)

namespace Kor {

/// The stream adapter of the entity class X, attrlog/adapter/StreamAdapterOf.h.
template <class X>
class StreamAdapterOf;

namespace detail {

// What the compiler says to the commonest mistakes: here, since it lists the includes that led to it.

/// Never, when this is asked.
template <class Takes, class... Given>
inline constexpr bool isArgument = false;

template <class Self, class A, class Takes>
struct NotTaken {
    template <class Given>
    requires(!std::is_convertible_v<Given const&, Takes>) NotTaken(Given const&) {
        static_assert(std::is_convertible_v<Given const&, Takes>,
                      "this takes an argument of the type that is_convertible_v names second here; it was "
                      "given what stands first");
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

template <class List>
inline constexpr bool hasKey = false;
template <class First, class... Rest>
inline constexpr bool hasKey<AttributeList<First, Rest...>> = First::shape.byConstructor();

/// What the constructor of an entity class over `Base` takes: void for nothing.
template <class Base, class List>
consteval auto argumentOf() {
    if constexpr (hasKey<List>) {
        return std::type_identity<typename AttributeAt<0, List>::type::Type>();
    } else if constexpr (requires { typename Base::ConstructorArgument; }) {
        return std::type_identity<typename Base::ConstructorArgument>();
    } else if constexpr (std::derived_from<Base, Entity>) {
        return std::type_identity<Name>();
    } else {
        return std::type_identity<void>();
    }
}

/// What an entity directly below Kor::Entity or Kor::PtrInterface keeps for a parent's map and its
/// reactors.
template <class Self>
class Listed {
    friend HashMember;
    friend NotifieeAccess;

    HashLink next;
    mutable ListRaw<ReactorConst<Self>> notifieeList_;
};
template <class Self>
struct NotListed {};
/// An entity below another one has that one's.
template <class Self, class Base>
using ListedAt = std::conditional_t<Declared<Base>, NotListed<Self>, Listed<Self>>;

/// Whether an entity travels on an attribute log. One that does not says so by a member `korHasAttrLog`.
template <class Self>
inline constexpr bool hasAttrLog = [] {
    if constexpr (requires { Self::korHasAttrLog; }) {
        return Self::korHasAttrLog;
    } else {
        return std::derived_from<Self, Entity>;
    }
}();

/// What an entity class adds to its base: it knows its own attributes, and travels on an attribute log.
template <class Self, class Base>
class EntityPart : public Base {
    using Adapter = Entity::KorNboAttrLogSa;
    using Stream = Ptr<NboAttrLog::Out const>;

public:
    using Base::Base;

    KorType* fwkType() const override { return fwkTypeOf<Self>(); }
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

    Ptr<Adapter const> korNboAttrLogSa(Stream const& out) const override { return towards(out); }
    Ptr<Adapter> korNboAttrLogSa(Stream const& out) override { return towards(out); }
    Ptr<Adapter> korNboAttrLogSaForMsgChannel(Ptr<Adapter> const& other) const override {
        return other
                   ? among([&](Adapter& each) { return &each != other.ptr() && each.isOfChannelOf(*other); })
                   : Ptr<Adapter>();
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
/// One that is no Kor::Entity.
template <class Self, class Base>
requires(!std::derived_from<Base, Entity>) class EntityPart<Self, Base> : public Base {
public:
    using Base::Base;

    KorType* fwkType() const override { return fwkTypeOf<Self>(); }
    String8 attributeString(AttributeId attribute) const {
        char const* const own = Self::ownAttributeName(attribute);
        return own ? own : "unknown";
    }
};

template <class Self, class Base, class List>
using BaseOf =
    typename VirtualSetters<Self, EntityPart<Self, Base>, Where<&Shape::hasVirtualSetter, List>>::type;

} // namespace detail

/// The class `Self` on top of `Base`, which is Kor::Entity, Kor::PtrInterface (no name, version, parent or
/// attribute log), or another entity, whose attributes and reactors it then adds to. A long list is better
/// given as one class derived from its Kor::AttributeList, whose name stands for it everywhere:
///
///     struct PortAttributes : Kor::AttributeList<...> {};
///     class Port : public Kor::EntityOf<Port, PortAttributes> { ... };
template <class Self, class Base, class... A>
class EntityOver : public detail::BaseOf<Self, Base, typename detail::ListOf<A...>::type>,
                   public detail::Form<Self, A>...,
                   public detail::ListedAt<Self, Base> {
public:
    using Attributes = typename detail::ListOf<A...>::type;
    using BaseEntity = Base;
    static constexpr int level = detail::derivationLevel<Base>() + 1;
    static constexpr AttributeId firstAttributeId = 2 + 128 * level;
    static constexpr bool isEntity = std::derived_from<Base, Entity>;

    using NotifieeConst = ReactorConst<Self>;
    using Notifiee = Reactor<Self>;
    /// What carries the entity to a peer, where the class has an attribute log.
    using KorNboAttrLogSa = StreamAdapterOf<Self>;
    /// The box, reflect/box/GenericIf.h.
    using GenericIf_ = BoxOf<Self>;
    /// The type object, reflect/type/KorType.h, and its class.
    using _Type = TypeOf<Self>;
    static KorType* _fwkType() { return fwkTypeOf<Self>(); }

private:
    using Below = detail::BaseOf<Self, Base, Attributes>;
    using WithId = detail::Where<&Shape::hasId, Attributes>;
    static constexpr bool keySets = detail::hasKey<Attributes>;
    static_assert(
        detail::allNamed<Attributes>,
        "an attribute of an entity needs the third word in the making of its name: KOR_NAME(x, X, entity)");

public:
    /// The type of the attribute that the constructor sets, Kor::Name for the name, or void.
    using ConstructorArgument = typename decltype(detail::argumentOf<Base, Attributes>())::type;

    EntityOver() requires std::is_void_v<ConstructorArgument>
    = default;
    template <std::same_as<ConstructorArgument> Argument = ConstructorArgument>
    requires(keySets) explicit EntityOver(std::type_identity_t<Argument> argument)
        : detail::Form<Self, typename detail::AttributeAt<0, AttributeList<A...>>::type>(
              std::in_place, std::move(argument)) {}
    template <std::same_as<ConstructorArgument> Argument = ConstructorArgument>
    requires(!keySets) explicit EntityOver(std::type_identity_t<Argument> argument)
        : Below(std::move(argument)) {}

    /// Children that came in while the entity was ending lose their parent, untold.
    ~EntityOver() override {
        if constexpr (!detail::Declared<Base>) {
            NotifieeAccess::list(*this).deleteAll();
        }
        delAllChildren();
    }

    /// The id of the attribute of that name; the list, or a base's, must have it.
    template <class NameType>
    static constexpr AttributeId attributeIdOf() {
        return idIn<NameType>(WithId());
    }

    /// The name of an own attribute; null for any other id.
    static constexpr char const* ownAttributeName(AttributeId attribute) {
        if constexpr (requires(Self const& self) { self.fwkKey(); }) {
            if (attribute == fwkKeyAttr) {
                return "fwkKey";
            }
        }
        return [place = static_cast<std::size_t>(S64{attribute} - firstAttributeId)]<class... Each>(
                   AttributeList<Each...>) {
            constexpr char const* names[] = {Each::Name::text..., nullptr};
            return place < sizeof...(Each) ? names[place] : nullptr;
        }(WithId());
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
    // NOLINTNEXTLINE(modernize-use-equals-default): that is taken for a deleted one
    EntityOver() requires std::is_same_v<ConstructorArgument, Name> {}

    /// Lets the children go, those of the base's maps as well.
    void korChildrenDel() {
        delAllChildren();
        if constexpr (requires { this->Base::korChildrenDel(); }) {
            Base::korChildrenDel();
        }
    }

private:
    template <class NameType, class... Each>
    static constexpr AttributeId idIn(AttributeList<Each...>) {
        constexpr auto place = detail::placeOfFirst({std::is_same_v<typename Each::Name, NameType>...});
        if constexpr (place == sizeof...(Each)) {
            return Base::template attributeIdOf<NameType>();
        } else {
            return firstAttributeId + static_cast<AttributeId>(place);
        }
    }

    void delAllChildren() {
        detail::forEach(detail::Where<&Shape::child, Attributes>(),
                        [this]<class Each>() { Each::Name::delAll(*this); });
    }
};

/// Says what an entity is made of, when it is given something else.
template <class T, class... Given>
requires(detail::Declared<T> && !requires { new T(std::declval<Given>()...); }) Ptr<T> makePtr(Given&&...) {
    static_assert(detail::isArgument<typename T::ConstructorArgument, Given...>,
                  "an entity is made of one argument, its key or name, of the type that isArgument names "
                  "first here; of none if that is void");
    return nullptr;
}

template <class Self, class... A>
using EntityOf = EntityOver<Self, Entity, A...>;

template <class Self, class... A>
using ObjectOf = EntityOver<Self, PtrInterface, A...>;

} // namespace Kor
