#pragma once

/// Names are types. The operations of the library carry the names of fields and attributes (`vsiIs`,
/// `reqCountInc`, `onReqCount`), and C++ cannot build a name from a parameter; so each name is made once, by
///
///     KOR_NAME(vsi, Vsi)                    // at global scope; the name, and its form with a capital
///     KOR_NAME(reqCount, ReqCount, entity)  // one that attributes of entities have, too
///
/// and is from then on the type `Kor::name::vsi`. On it hang, as member templates, all forms that carry the
/// name. A form only forwards to the pattern that it lies on and holds no logic:
///
///     FieldForm                   the five accessors of a row field                (chip/Row.h)
///     Getter, Setter, Constant    x(), xIs(v), the member x of a value             (reflect/Value.h)
///     Fixed ... Queue             the operations of an attribute of an entity      (reflect/entity/Levels.h)
///     ScalarHooks ... KeyedForward   the hooks of its reactors                     (reflect/entity/Reactors.h)
///     call, set, del, ...         o.x(...), o.xIs(...), for code that is given the name
///
/// Two headers that are included together must not make one name twice: a name that several of them use is
/// made in the lowest that they share.

#include "runtime/Types.h"

#include <concepts>
#include <utility>

#define KOR_NAME(x, X, ...)                                                                                  \
    namespace Kor::name {                                                                                    \
    struct x {                                                                                               \
        static constexpr char text[] = #x;                                                                   \
                                                                                                             \
        /* of rows */                                                                                        \
        template <class Row, class F>                                                                        \
        struct FieldForm {                                                                                   \
            void x##Is(typename F::Type value) { static_cast<Row*>(this)->template fieldIs<F>(value); }      \
            typename F::Type x() const { return static_cast<Row const*>(this)->template field<F>(); }        \
            U16 x##Len() const { return static_cast<Row const*>(this)->template fieldLen<F>(); }             \
            bool is##X##Valid() const { return static_cast<Row const*>(this)->template isFieldValid<F>(); }  \
            U16 x##Offset() const { return static_cast<Row const*>(this)->template fieldStart<F>(); }        \
        };                                                                                                   \
                                                                                                             \
        /* of values */                                                                                      \
        template <class Self, class A>                                                                       \
        struct Getter {                                                                                      \
            constexpr typename A::Type x() const {                                                           \
                return static_cast<Self const*>(this)->template get<A>();                                    \
            }                                                                                                \
        };                                                                                                   \
        template <class Self, class A>                                                                       \
        struct Setter {                                                                                      \
            constexpr void x##Is(typename A::Type value) {                                                   \
                static_cast<Self*>(this)->template set<A>(value);                                            \
            }                                                                                                \
        };                                                                                                   \
        template <class A>                                                                                   \
        struct Constant {                                                                                    \
            static constexpr typename A::Type x = A::value;                                                  \
        };                                                                                                   \
                                                                                                             \
        /* for code that is given the name */                                                                \
        template <class Object, class... Argument>                                                           \
        static constexpr decltype(auto) call(Object&& object, Argument&&... argument) {                      \
            return std::forward<Object>(object).x(std::forward<Argument>(argument)...);                      \
        }                                                                                                    \
        template <class Object, class... Argument>                                                           \
        static constexpr decltype(auto) set(Object& object, Argument&&... argument) {                        \
            return object.x##Is(std::forward<Argument>(argument)...);                                        \
        }                                                                                                    \
        template <class Object>                                                                              \
        using Member = decltype(&Object::x);                                                                 \
        template <class Row>                                                                                 \
        static U16 len(Row const& row) {                                                                     \
            return row.x##Len();                                                                             \
        }                                                                                                    \
        template <class Row>                                                                                 \
        static bool isValid(Row const& row) {                                                                \
            return row.is##X##Valid();                                                                       \
        }                                                                                                    \
        __VA_OPT__(KOR_NAME_FORMS_##__VA_ARGS__(x, X))                                                       \
    };                                                                                                       \
    }

/// What the third argument adds.
#define KOR_NAME_FORMS_entity(x, X)                                                                          \
    /* of entities, on a level L */                                                                          \
    template <class L>                                                                                       \
    struct Fixed : L {                                                                                       \
        typename L::Read x() const { return L::korGet(); }                                                   \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct Singleton : Fixed<L> {                                                                            \
        void x##Is(typename L::Value const& value) { L::korIs(value); }                                      \
    };                                                                                                       \
    template <class Below, class At>                                                                         \
    struct VirtualSetter : Below {                                                                           \
        using Below::Below;                                                                                  \
        virtual void x##Is(typename At::Value value) { At::set(*this, value); }                              \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct Reference : Singleton<L> {                                                                        \
        using Fixed<L>::x;                                                                                   \
        typename L::Value x() { return L::korGet(); }                                                        \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct Map : L {                                                                                         \
        using Kor##X = typename L::Node;                                                                     \
        using X##Iterator = typename L::Map::Iterator;                                                       \
        /** The members, for a walk or a count. */                                                           \
        typename L::Map const& x##Map() const { return L::korMap(); }                                        \
        X##Iterator x##Iterator() { return X##Iterator(&L::korMap()); }                                      \
        typename L::Read x(typename L::Key const& key) const { return L::korGet(key); }                      \
        template <class K>                                                                                   \
        requires(!std::convertible_to<K const&, typename L::Key>) void x(K const&) const {                   \
            L::Owner::template korRefuseKey<typename L::Key, K>();                                           \
        }                                                                                                    \
        typename L::Value x##Del(typename L::Key const& key) { return L::korDel(key); }                      \
        typename L::Value x##Del(X##Iterator& at) { return L::korDel(at); }                                  \
        void x##DelAll() { L::korDelAll(); }                                                                 \
        void x##Notify(typename L::Key const& key) { L::korNotify(key); }                                    \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct ValueMap : Map<L> {                                                                               \
        void x##Is(typename L::Key const& key, typename L::Value const& value) { L::korIs(key, value); }     \
        template <class K, class V>                                                                          \
        requires(!std::convertible_to<K const&, typename L::Key>) void x##Is(K const&, V const&) {           \
            L::Owner::template korRefuseKey<typename L::Key, K>();                                           \
        }                                                                                                    \
        typename L::Held new##X(typename L::Key const& key, typename L::Value const& value) {                \
            return L::korNew(key, value);                                                                    \
        }                                                                                                    \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct CountedUpMap : ValueMap<L> {                                                                      \
        U32 x##Inc(typename L::Key const& key, U32 delta) { return L::korAdd(key, delta); }                  \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct CountedMap : CountedUpMap<L> {                                                                    \
        U32 x##Dec(typename L::Key const& key, U32 delta) { return L::korAdd(key, U32{0} - delta); }         \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct KeyedMap : Map<L> {                                                                               \
        void x##Is(typename L::Value const& value) { L::korIs(value); }                                      \
        typename L::Held new##X(typename L::Value const& value) { return L::korNew(value); }                 \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct ReferenceMap : ValueMap<L> {                                                                      \
        using Map<L>::x;                                                                                     \
        typename L::Value x(typename L::Key const& key) { return L::korGet(key); }                           \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct EntityMap : Map<L> {                                                                              \
        using Map<L>::x;                                                                                     \
        typename L::Value x(typename L::Key const& key) { return L::korGet(key); }                           \
        typename L::Found x##Is(typename L::Key const& key) { return L::korIs(key); }                        \
        template <class K>                                                                                   \
        requires(!std::convertible_to<K const&, typename L::Key>) void x##Is(K const&) {                     \
            L::Owner::template korRefuseKey<typename L::Key, K>();                                           \
        }                                                                                                    \
        typename L::Held new##X(typename L::Key const& key) { return L::korNew(key); }                       \
    };                                                                                                       \
    template <class L>                                                                                       \
    struct Queue : L {                                                                                       \
        /** The members, for a walk. */                                                                      \
        typename L::Map const& x##Queue() const { return L::korMap(); }                                      \
        typename L::Value x(U32 key) const { return L::korGet(key); }                                        \
        void x##Enq(typename L::Value const& value) { L::korEnq(value); }                                    \
        typename L::Value x##Deq() { return L::korDeq(); }                                                   \
        void x##Is(U32 key, typename L::Value const& value) { L::korIs(key, value); }                        \
        typename L::Value x##Del(U32 key) { return L::korDel(key); }                                         \
        typename L::Value x##Del(typename L::Map::IteratorConst& at) { return L::korDel(at); }               \
        void x##Notify(U32 key) { L::korNotify(key); }                                                       \
    };                                                                                                       \
                                                                                                             \
    /* of reactors */                                                                                        \
    template <class At>                                                                                      \
    struct ScalarHooks : At::Below {                                                                         \
        virtual void on##X() {}                                                                              \
    };                                                                                                       \
    template <class At>                                                                                      \
    struct KeyedHooks : At::Below {                                                                          \
        virtual void on##X(typename At::Attribute::Key const& /*key*/) {}                                    \
        virtual void on##X##korImmediate() {}                                                                \
        virtual void on##X() {}                                                                              \
    };                                                                                                       \
    template <class At>                                                                                      \
    struct ScalarForward : At::Below {                                                                       \
        void on##X() override { At::forward(this); }                                                         \
    };                                                                                                       \
    template <class At>                                                                                      \
    struct KeyedForward : At::Below {                                                                        \
        using At::Below::on##X;                                                                              \
        void on##X(typename At::Attribute::Key const& key) override { At::forward(this, key); }              \
    };                                                                                                       \
                                                                                                             \
    template <class Object, class At>                                                                        \
    static decltype(auto) del(Object& object, At&& at) {                                                     \
        return object.x##Del(std::forward<At>(at));                                                          \
    }                                                                                                        \
    template <class Object>                                                                                  \
    static void delAll(Object& object) {                                                                     \
        object.x##DelAll();                                                                                  \
    }                                                                                                        \
    template <class Object>                                                                                  \
    static auto const& map(Object const& object) {                                                           \
        if constexpr (requires { object.x##Map(); }) {                                                       \
            return object.x##Map();                                                                          \
        } else {                                                                                             \
            return object.x##Queue();                                                                        \
        }                                                                                                    \
    }                                                                                                        \
    template <class Object, class Key>                                                                       \
    static void notify(Object& object, Key const& key) {                                                     \
        object.x##Notify(key);                                                                               \
    }                                                                                                        \
    template <class Reactor, class... Key>                                                                   \
    static void tell(Reactor& reactor, Key const&... key) {                                                  \
        reactor.on##X(key...);                                                                               \
    }                                                                                                        \
    template <class R>                                                                                       \
    using Hook = decltype(&R::on##X);                                                                        \
    template <class R, class Probe>                                                                          \
    static auto probe(Probe probe)->decltype(probe(&R::on##X));
