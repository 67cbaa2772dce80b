#pragma once

/// The flag words of an attribute, as the model gives them. They follow from its shape. The registry hands
/// them on and compares them between peers; nothing in the library reads a bit of them.

#include "reflect/Shape.h"

namespace Kor {

/// The two words of an attribute's flags.
struct AttrFlags {
    U32 word0 = 0;
    U32 word1 = 0;
    friend bool operator==(AttrFlags const&, AttrFlags const&) = default;
};

/// 2: stored; 8: an operation; 32: a map whose key is in the value.
struct KorAttrIntrospectionFlags {
    U32 word = 0;
    friend bool operator==(KorAttrIntrospectionFlags const&, KorAttrIntrospectionFlags const&) = default;
};

struct AttributeFlags {
    AttrFlags flags;
    KorAttrIntrospectionFlags introspection;
    friend bool operator==(AttributeFlags const&, AttributeFlags const&) = default;
};

constexpr AttributeFlags flagsOf(Shape const& shape) {
    bool const byConstructor = shape.role == Role::key || shape.role == Role::field;
    bool const isChanging = shape.hasHooks();
    bool const isStored = byConstructor || isChanging;
    bool const isClass = shape.role == Role::constant || shape.role == Role::classOperation;
    bool const isEnumerator = shape.role == Role::enumerator;
    bool const isFixed = (byConstructor && !shape.settable) || shape.role == Role::constant || isEnumerator;

    AttributeFlags made;
    auto const mark = [](U32& word, bool on, U32 bits) { word |= on ? bits : 0; };
    U32& word0 = made.flags.word0;
    mark(word0, true, 0x1);
    mark(word0, shape.settable, 0x2);
    mark(word0, shape.settable && !isChanging, 0x4);
    mark(word0, byConstructor, 0x8);
    mark(word0, isChanging, 0x40);
    mark(word0, isStored, 0x100);
    mark(word0, shape.isVirtual, 0x2000);
    mark(word0, shape.role != Role::fwkKey, 0x20000);
    mark(word0, !shape.isOperation() && !isEnumerator, 0x200000);
    mark(word0, shape.keyed, 0x1800000);
    mark(word0, shape.keyed && shape.holdsObjects(), 0x8000000);

    U32& word1 = made.flags.word1;
    mark(word1, true, 0x400);
    mark(word1, isClass, 0x10);
    mark(word1, isEnumerator, 0x200000);
    // Where the class has no attribute log it is only of maps with keys inside that the word tells.
    mark(word1, isChanging && (shape.travels || !shape.keyInside), 0x1000000);
    mark(word1, shape.child, 0x10000000);
    mark(word1, isFixed, 0x40000000);

    U32& introspection = made.introspection.word;
    mark(introspection, isStored, 2);
    mark(introspection, shape.isOperation(), 8);
    mark(introspection, shape.keyInside, 32);
    return made;
}

} // namespace Kor
