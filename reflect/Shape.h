#pragma once

/// Kor::Shape: what an attribute is, said once, in its declaration (reflect/Attributes.h). Storage,
/// operations, hooks, box, wire form and flags follow. Kor::KorAttr::shape() tells it at run time:
///
///     Kor::Shape const& shape = type->typeAttr()->attr("reqCount")->shape();
///     shape.keyed && shape.counting == Kor::Counting::both;        // a map of counts

#include "runtime/Types.h"

namespace Kor {

enum class Role : U8 {
    none,           ///< no attribute: an id that stays free
    key,            ///< the key attribute, set by the constructor
    fwkKey,         ///< the key attribute again, as a parent's map knows it
    field,          ///< stored, set by the constructor
    view,           ///< bits of a stored word
    singleton,      ///< stored in an entity
    map,            ///< members by key
    queue,          ///< members in order
    operation,      ///< written by hand, called with arguments
    classOperation, ///< the same without an object
    computed,       ///< read like an attribute, written by hand
    constant,       ///< of the class
    enumerator,     ///< of an enumeration
};

/// Whether a map of counts is counted up alone, or both ways.
enum class Counting : U8 { none, up, both };

struct Shape {
    Role role = Role::none;
    Counting counting = Counting::none;
    bool keyed = false;
    /// The key is an attribute of the value, and does not stand apart.
    bool keyInside = false;
    /// The members are entities that the map makes.
    bool child = false;
    /// The value refers to an object that somebody else has made.
    bool reference = false;
    bool settable = false;
    bool isVirtual = false;
    /// It goes to peers on an attribute log.
    bool travels = false;
    bool checkedOnWire = false; ///< within this value, though a peer may send its type by itself unchecked
    bool byOperation = false;   ///< computed by one, as its flag words tell
    /// Whether it has an id of its own: an override of an operation keeps that of the base.
    bool hasId = true;

    constexpr bool holdsObjects() const noexcept { return child || reference; }
    constexpr bool isOperation() const noexcept {
        return role == Role::operation || role == Role::classOperation;
    }
    /// Whether it can change under its reactors, which then have hooks for it.
    constexpr bool hasHooks() const noexcept { return role == Role::singleton || keyed; }
    constexpr bool isField() const noexcept { return role == Role::field; }
    constexpr bool byConstructor() const noexcept { return role == Role::key || isField(); }
    constexpr bool isStored() const noexcept { return byConstructor() || hasHooks(); }
    constexpr bool hasVirtualSetter() const noexcept { return role == Role::singleton && isVirtual; }

    friend constexpr bool operator==(Shape const&, Shape const&) noexcept = default;
};

} // namespace Kor
