#pragma once

/// The forms of a name that entities need beside those of reflect/Names.h:
///
///     KOR_ENTITY_NAME(reqCount, ReqCount)          // at global scope, beside KOR_NAME
///
/// For each kind of attribute a class template that lies on top of the pattern's level
/// (reflect/EntityPattern.h) and gives its operations their names, and for the reactors the hooks. They
/// forward and hold no logic.

#include "reflect/Names.h"
#include "runtime/Ptr.h"

namespace Kor {

template <class NameType>
struct EntityForms;

} // namespace Kor

#define KOR_ENTITY_NAME(x, X)                                                                                \
    template <>                                                                                              \
    struct Kor::EntityForms<Kor::name::x> {                                                                  \
        template <class Level>                                                                               \
        struct Key : Level {                                                                                 \
            using Level::Level;                                                                              \
            typename Level::KeyType x() const { return this->Level::key(); }                                 \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct Singleton : Level {                                                                           \
            using Level::Level;                                                                              \
            typename Level::Value x() const { return this->Level::value(); }                                 \
            void x##Is(typename Level::Value const& value) { this->Level::valueIs(value); }                  \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct SingletonReference : Level {                                                                  \
            using Level::Level;                                                                              \
            typename Level::Value x() { return this->Level::get(); }                                         \
            typename Level::ValueConst x() const { return this->Level::get(); }                              \
            void x##Is(typename Level::Value const& value) { this->Level::valueIs(value); }                  \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct VirtualSingleton : Level {                                                                    \
            using Level::Level;                                                                              \
            typename Level::Value x() const { return this->Level::value(); }                                 \
            virtual void x##Is(typename Level::Value value) { this->Level::valueIs(value); }                 \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct Map : Level {                                                                                 \
            using Level::Level;                                                                              \
            using Kor##X = typename Level::Node;                                                             \
            using X##Iterator = typename Level::MapType::Iterator;                                           \
            /** The members, for a walk or a count. */                                                       \
            typename Level::MapType const& x##Map() const { return this->Level::map(); }                     \
            X##Iterator x##Iterator() { return X##Iterator(&this->Level::map()); }                           \
            typename Level::Result x##Del(typename Level::KeyType const& key) {                              \
                return this->Level::del(key);                                                                \
            }                                                                                                \
            typename Level::Result x##Del(X##Iterator& at) { return this->Level::del(at); }                  \
            void x##DelAll() { this->Level::delAll(); }                                                      \
            void x##Notify(typename Level::KeyType const& key) { this->Level::notify(key); }                 \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct ValueMap : Map<Level> {                                                                       \
            using Map<Level>::Map;                                                                           \
            typename Level::Value x(typename Level::KeyType const& key) const {                              \
                return this->Level::get(key);                                                                \
            }                                                                                                \
            void x##Is(typename Level::KeyType const& key, typename Level::Value const& value) {             \
                this->Level::is(key, value);                                                                 \
            }                                                                                                \
            Ptr<typename Level::Node> new##X(typename Level::KeyType const& key,                             \
                                             typename Level::Value const& value) {                           \
                return this->Level::newMember(key, value);                                                   \
            }                                                                                                \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct CountedUpMap : ValueMap<Level> {                                                              \
            using ValueMap<Level>::ValueMap;                                                                 \
            U32 x##Inc(typename Level::KeyType const& key, U32 delta) {                                      \
                return this->Level::add(key, delta);                                                         \
            }                                                                                                \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct CountedMap : CountedUpMap<Level> {                                                            \
            using CountedUpMap<Level>::CountedUpMap;                                                         \
            U32 x##Dec(typename Level::KeyType const& key, U32 delta) {                                      \
                return this->Level::add(key, U32{0} - delta);                                                \
            }                                                                                                \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct KeyedMap : Map<Level> {                                                                       \
            using Map<Level>::Map;                                                                           \
            typename Level::Value x(typename Level::KeyType const& key) const {                              \
                return this->Level::get(key);                                                                \
            }                                                                                                \
            void x##Is(typename Level::Value const& value) { this->Level::is(value); }                       \
            Ptr<typename Level::Node> new##X(typename Level::Value const& value) {                           \
                return this->Level::newMember(value);                                                        \
            }                                                                                                \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct EntityMap : Map<Level> {                                                                      \
            using Map<Level>::Map;                                                                           \
            Ptr<typename Level::Node> x(typename Level::KeyType const& key) {                                \
                return this->Level::get(key);                                                                \
            }                                                                                                \
            Ptr<typename Level::Node const> x(typename Level::KeyType const& key) const {                    \
                return this->Level::get(key);                                                                \
            }                                                                                                \
            ValidPtr<typename Level::Node> x##Is(typename Level::KeyType const& key) {                       \
                return this->Level::is(key);                                                                 \
            }                                                                                                \
            Ptr<typename Level::Node> new##X(typename Level::KeyType const& key) {                           \
                return this->Level::newMember(key);                                                          \
            }                                                                                                \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct ReferenceMap : ValueMap<Level> {                                                              \
            using ValueMap<Level>::ValueMap;                                                                 \
            typename Level::Value x(typename Level::KeyType const& key) { return this->Level::get(key); }    \
            typename Level::ValueConst x(typename Level::KeyType const& key) const {                         \
                return this->Level::get(key);                                                                \
            }                                                                                                \
        };                                                                                                   \
                                                                                                             \
        template <class Level>                                                                               \
        struct Queue : Level {                                                                               \
            using Level::Level;                                                                              \
            /** The members, for a walk. */                                                                  \
            typename Level::QueueType const& x##Queue() const { return this->Level::queue(); }               \
            typename Level::Value x(U32 key) const { return this->Level::get(key); }                         \
            void x##Enq(typename Level::Value const& value) { this->Level::enq(value); }                     \
            typename Level::Value x##Deq() { return this->Level::deq(); }                                    \
            void x##Is(U32 key, typename Level::Value const& value) { this->Level::is(key, value); }         \
            typename Level::Value x##Del(U32 key) { return this->Level::del(key); }                          \
            typename Level::Value x##Del(typename Level::QueueType::IteratorConst& at) {                     \
                return at ? this->Level::del(at.key()) : typename Level::Value();                            \
            }                                                                                                \
            void x##Notify(U32 key) { this->Level::notify(key); }                                            \
        };                                                                                                   \
                                                                                                             \
        template <class At>                                                                                  \
        struct ScalarHooks : At::Below {                                                                     \
            virtual void on##X() {}                                                                          \
        };                                                                                                   \
                                                                                                             \
        template <class At>                                                                                  \
        struct KeyedHooks : At::Below {                                                                      \
            virtual void on##X(typename At::Attribute::Key const& /*key*/) {}                                \
            virtual void on##X##korImmediate() {}                                                            \
            virtual void on##X() {}                                                                          \
        };                                                                                                   \
                                                                                                             \
        /* Hooks that hand each change to `changed<Attribute>(key...)` of the reactor `Self`. */             \
        template <class Base, class Self, class Attribute>                                                   \
        struct ScalarForward : Base {                                                                        \
            void on##X() override { static_cast<Self*>(this)->template changed<Attribute>(); }               \
        };                                                                                                   \
        template <class Base, class Self, class Attribute>                                                   \
        struct KeyedForward : Base {                                                                         \
            using Base::on##X;                                                                               \
            void on##X(typename Attribute::Key const& key) override {                                        \
                static_cast<Self*>(this)->template changed<Attribute>(key);                                  \
            }                                                                                                \
        };                                                                                                   \
                                                                                                             \
        /* The operations, for code that is given the name. */                                               \
        template <class Object, class... Argument>                                                           \
        static decltype(auto) is(Object& object, Argument&&... argument) {                                   \
            return object.x##Is(std::forward<Argument>(argument)...);                                        \
        }                                                                                                    \
        template <class Object, class At>                                                                    \
        static decltype(auto) del(Object& object, At&& at) {                                                 \
            return object.x##Del(std::forward<At>(at));                                                      \
        }                                                                                                    \
        template <class Object>                                                                              \
        static auto const& map(Object const& object) {                                                       \
            if constexpr (requires { object.x##Queue(); }) {                                                 \
                return object.x##Queue();                                                                    \
            } else {                                                                                         \
                return object.x##Map();                                                                      \
            }                                                                                                \
        }                                                                                                    \
        template <class Object, class Key>                                                                   \
        static void notify(Object& object, Key const& key) {                                                 \
            object.x##Notify(key);                                                                           \
        }                                                                                                    \
        template <class Object>                                                                              \
        static void delAll(Object& object) {                                                                 \
            object.x##DelAll();                                                                              \
        }                                                                                                    \
                                                                                                             \
        template <class Reactor, class... KeyType>                                                           \
        static void tell(Reactor& reactor, KeyType const&... key) {                                          \
            reactor.on##X(key...);                                                                           \
        }                                                                                                    \
    };

/// The factory of an entity: makes one with the constructor's argument. It registers nothing, sets no parent
/// and inserts the entity nowhere.
#define KOR_FACTORY(factory, X, ...)                                                                         \
    inline Kor::Ptr<X> factory(__VA_ARGS__ argument) {                                                       \
        return Kor::makePtr<X>(std::move(argument));                                                         \
    }

/// The same for a constructor without arguments.
#define KOR_PLAIN_FACTORY(factory, X)                                                                        \
    inline Kor::Ptr<X> factory() {                                                                           \
        return Kor::makePtr<X>();                                                                            \
    }
