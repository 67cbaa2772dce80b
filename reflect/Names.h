#pragma once

/// Names are types. The operations of the library carry the names of fields and attributes (`vsiIs`,
/// `isVsiValid`), and C++ cannot build a name from a parameter; so each name is made once, by
///
///     KOR_NAME(vsi, Vsi)          // at global scope; the name, and its form with a capital
///
/// and is from then on the type `Kor::name::vsi`. On it hang, as member templates, all forms that carry the
/// name. A form only forwards to the pattern that it is mixed into and holds no logic:
///
///     FieldForm   the five accessors of a row field     (chip/Row.h)
///     Getter      x()                                   (reflect/Value.h)
///     Setter      xIs(v)                                (reflect/Value.h)
///     Constant    the static constexpr member x         (reflect/Value.h)
///     call, set   o.x(...) and o.xIs(v), for code that is given the name
///     len, isValid   row.xLen() and row.isXValid()
///
/// Two headers that are included together must not make one name twice: a name that several of them use is
/// made in the lowest that they share.

#include "runtime/Types.h"

#include <utility>

#define KOR_NAME(x, X)                                                                                       \
    namespace Kor::name {                                                                                    \
    struct x {                                                                                               \
        static constexpr char text[] = #x;                                                                   \
                                                                                                             \
        template <class Row, class Field>                                                                    \
        struct FieldForm {                                                                                   \
            void x##Is(typename Field::Type value) {                                                         \
                static_cast<Row*>(this)->template fieldIs<Field>(value);                                     \
            }                                                                                                \
            typename Field::Type x() const {                                                                 \
                return static_cast<Row const*>(this)->template field<Field>();                               \
            }                                                                                                \
            U16 x##Len() const { return static_cast<Row const*>(this)->template fieldLen<Field>(); }         \
            bool is##X##Valid() const {                                                                      \
                return static_cast<Row const*>(this)->template isFieldValid<Field>();                        \
            }                                                                                                \
            U16 x##Offset() const { return static_cast<Row const*>(this)->template fieldStart<Field>(); }    \
        };                                                                                                   \
                                                                                                             \
        template <class Self, class Attribute>                                                               \
        struct Getter {                                                                                      \
            constexpr typename Attribute::Type x() const {                                                   \
                return static_cast<Self const*>(this)->template get<Attribute>();                            \
            }                                                                                                \
        };                                                                                                   \
        template <class Self, class Attribute>                                                               \
        struct Setter {                                                                                      \
            constexpr void x##Is(typename Attribute::Type value) {                                           \
                static_cast<Self*>(this)->template set<Attribute>(value);                                    \
            }                                                                                                \
        };                                                                                                   \
        template <class Attribute>                                                                           \
        struct Constant {                                                                                    \
            static constexpr typename Attribute::Type x = Attribute::value;                                  \
        };                                                                                                   \
                                                                                                             \
        template <class Object, class... Arguments>                                                          \
        static constexpr decltype(auto) call(Object&& object, Arguments&&... arguments) {                    \
            return std::forward<Object>(object).x(std::forward<Arguments>(arguments)...);                    \
        }                                                                                                    \
        template <class Object, class T>                                                                     \
        static constexpr decltype(auto) set(Object& object, T&& value) {                                     \
            return object.x##Is(std::forward<T>(value));                                                     \
        }                                                                                                    \
        template <class Row>                                                                                 \
        static U16 len(Row const& row) {                                                                     \
            return row.x##Len();                                                                             \
        }                                                                                                    \
        template <class Row>                                                                                 \
        static bool isValid(Row const& row) {                                                                \
            return row.is##X##Valid();                                                                       \
        }                                                                                                    \
    };                                                                                                       \
    }
