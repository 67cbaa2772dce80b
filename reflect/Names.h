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

#include "reflect/Shape.h"

#include <utility>

namespace Kor::detail {

/// What an entity class has for its attribute A, below the form of its name: reflect/entity/Levels.h.
template <class Self, class A>
struct LevelFor;
template <class Self, class A>
using Level = typename LevelFor<Self, A>::type;

/// Made of whatever A does not take there, which the compiler then says: reflect/entity/EntityPattern.h.
template <class Self, class A, class Takes = typename A::Key>
struct NotTaken;
struct Missing {}; // in place of an argument

} // namespace Kor::detail

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
    /* of entities, on the level of the attribute A */                                                       \
    template <class Self, class A>                                                                           \
    struct Fixed : detail::Level<Self, A> {                                                                  \
        Fixed() = default;                                                                                   \
        template <class Argument>                                                                            \
        Fixed(std::in_place_t, Argument&& argument)                                                          \
            : detail::Level<Self, A>(std::forward<Argument>(argument)) {}                                    \
        typename Fixed::Read x() const { return this->korGet(); }                                            \
    };                                                                                                       \
    template <class Self, class A>                                                                           \
    struct Singleton : Fixed<Self, A> {                                                                      \
        void x##Is(typename A::Value const& value) requires(A::shape.settable) { this->korIs(value); }       \
    };                                                                                                       \
    template <class Self, class A>                                                                           \
    struct Reference : Singleton<Self, A> { /* a value alone has one x, whose address is taken */            \
        using Fixed<Self, A>::x;                                                                             \
        typename A::Value x() { return this->korGet(); }                                                     \
    };                                                                                                       \
    template <class Below, class At>                                                                         \
    struct VirtualSetter : Below {                                                                           \
        using Below::Below;                                                                                  \
        virtual void x##Is(typename At::Value value) { At::korSet(*this, value); }                           \
    };                                                                                                       \
    template <class Self, class A>                                                                           \
    struct Map : detail::Level<Self, A> {                                                                    \
        using Kor##X = typename Map::Node;                                                                   \
        using X##Iterator = typename detail::Level<Self, A>::Map::Iterator;                                  \
        /** The members, for a walk or a count. */                                                           \
        typename detail::Level<Self, A>::Map const& x##Map() const { return this->korMap(); }                \
        X##Iterator x##Iterator() { return X##Iterator(&this->korMap()); }                                   \
        typename Map::Read x(typename A::Key const& key) const { return this->korGet(key); }                 \
        typename A::Value x(typename A::Key const& key) requires(A::shape.holdsObjects()) {                  \
            return this->korGet(key);                                                                        \
        }                                                                                                    \
        void x(detail::NotTaken<Self, A>) const {}                                                           \
        typename A::Value x##Del(typename A::Key const& key) { return this->korDel(key); }                   \
        typename A::Value x##Del(X##Iterator& at) { return this->korDel(at); }                               \
        void x##DelAll() { this->korDelAll(); }                                                              \
        void x##Notify(typename A::Key const& key) { this->korNotify(key); }                                 \
                                                                                                             \
        /* of a key and a value */                                                                           \
        void x##Is(typename A::Key const& key,                                                               \
                   typename A::Value const& value) requires(A::shape.settable && !A::shape.keyInside) {      \
            this->korIs(key, value);                                                                         \
        }                                                                                                    \
        typename Map::Held new##X(typename A::Key const& key,                                                \
                                  typename A::Value const& value) requires(!A::shape.keyInside) {            \
            return this->korNew(key, value);                                                                 \
        }                                                                                                    \
        U32 x##Inc(typename A::Key const& key, U32 delta) requires(A::shape.counting != Counting::none) {    \
            return this->korAdd(key, delta);                                                                 \
        }                                                                                                    \
        U32 x##Dec(typename A::Key const& key, U32 delta) requires(A::shape.counting == Counting::both) {    \
            return this->korAdd(key, U32{0} - delta);                                                        \
        }                                                                                                    \
        /* of a value with its key, or of the key of a child */                                              \
        std::conditional_t<A::shape.child, typename Map::Found, void> /* known without the body */           \
            x##Is(typename Map::Part const& part) requires(A::shape.settable && A::shape.keyInside) {        \
            return this->korIs(part);                                                                        \
        }                                                                                                    \
        typename Map::Held new##X(typename Map::Part const& part) requires(A::shape.keyInside) {             \
            return this->korNew(part);                                                                       \
        }                                                                                                    \
        void x##Del(detail::NotTaken<Self, A>) {}                                                            \
        void x##Notify(detail::NotTaken<Self, A>) {}                                                         \
        using WrongValue = detail::NotTaken<Self, A, typename A::Value>;                                     \
        void x##Inc(detail::NotTaken<Self, A>, U32) requires(A::shape.counting != Counting::none) {}         \
        void x##Dec(detail::NotTaken<Self, A>, U32) requires(A::shape.counting == Counting::both) {}         \
        void x##Inc(typename A::Key const&,                                                                  \
                    detail::NotTaken<Self, A, U32> = detail::Missing()) requires(A::shape.counting !=        \
                                                                                 Counting::none) {}          \
        void x##Dec(typename A::Key const&,                                                                  \
                    detail::NotTaken<Self, A, U32> = detail::Missing()) requires(A::shape.counting ==        \
                                                                                 Counting::both) {}          \
        void x##Is(detail::NotTaken<Self, A, typename Map::First> = detail::Missing(), auto&&...) {}         \
        void new##X(detail::NotTaken<Self, A, typename Map::First> = detail::Missing(), auto&&...) {}        \
        void x##Is(typename A::Key const&, WrongValue = detail::Missing()) requires(!A::shape.keyInside) {}  \
        void new##X(typename A::Key const&, WrongValue = detail::Missing()) requires(!A::shape.keyInside) {} \
    };                                                                                                       \
    template <class Self, class A>                                                                           \
    struct Queue : detail::Level<Self, A> {                                                                  \
        /** The members, for a walk. */                                                                      \
        typename detail::Level<Self, A>::Map const& x##Queue() const { return this->korMap(); }              \
        typename A::Value x(U32 key) const { return this->korGet(key); }                                     \
        void x##Enq(typename A::Value const& value) { this->korEnq(value); }                                 \
        typename A::Value x##Deq() { return this->korDeq(); }                                                \
        void x##Is(U32 key, typename A::Value const& value) requires(A::shape.settable) {                    \
            this->korIs(key, value);                                                                         \
        }                                                                                                    \
        typename A::Value x##Del(U32 key) { return this->korDel(key); }                                      \
        typename A::Value x##Del(typename detail::Level<Self, A>::Map::IteratorConst& at) {                  \
            return this->korDel(at);                                                                         \
        }                                                                                                    \
        void x##Notify(U32 key) { this->korNotify(key); }                                                    \
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
        virtual void on##X##korImmediate() {} /* no change calls this and the next */                        \
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
    template <class R, class Key, auto hook = &R::template on##X<Key>>                                       \
    using TemplateHook = std::bool_constant<static_cast<decltype(hook)>(&R::on##X) == hook>;                 \
    template <class R, class Probe>                                                                          \
    static auto probe(Probe probe)->decltype(probe(&R::on##X));
