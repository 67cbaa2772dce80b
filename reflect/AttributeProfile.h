#pragma once

/// What the flags of an attribute follow from: the way it was declared. The registry hands these numbers on
/// and never reads them.

#include "reflect/KorType.h"

#include <array>

namespace Kor {

enum class AttributeProfile : U32 {
    fixed,     ///< set by the constructor, no setter: keys, fields of keys and entries
    settable,  ///< set by the constructor, with a setter
    view,      ///< bits of a stored word
    operation, ///< written by hand; also one that overrides
    constant,  ///< of the class
    enumerator,
    fwkKey, ///< the key attribute again
    virtualOperation,
    singleton,
    virtualSingleton,
    valueMap,
    keyedMap,
    entityMap,
    referenceMap,
    localKeyedMap,  ///< of an object without an attribute log
    localEntityMap, ///< likewise
    computed,       ///< read like an attribute, written by hand
    classOperation,
};

struct ProfileFlags {
    AttrFlags flags;
    KorAttrIntrospectionFlags introspection;
};

inline constexpr std::array<ProfileFlags, 18> profileFlags{{
    {{0x220109, 0x40000400}, {2}},
    {{0x22010f, 0x400}, {2}},
    {{0x220007, 0x400}, {0}},
    {{0x20001, 0x400}, {8}},
    {{0x220001, 0x40000410}, {0}},
    {{0x20001, 0x40200400}, {0}},
    {{0x200001, 0x400}, {0}},
    {{0x22001, 0x400}, {8}},
    {{0x220143, 0x1000400}, {2}},
    {{0x222143, 0x1000400}, {2}},
    {{0x1a20143, 0x1000400}, {2}},
    {{0x1a20143, 0x1000400}, {34}},
    {{0x9a20143, 0x11000400}, {34}},
    {{0x9a20143, 0x1000400}, {2}},
    {{0x1a20143, 0x400}, {34}},
    {{0x9a20143, 0x10000400}, {34}},
    {{0x220001, 0x400}, {0}},
    {{0x20001, 0x410}, {8}},
}};

constexpr ProfileFlags const& flagsOf(AttributeProfile profile) {
    return profileFlags[static_cast<U32>(profile)];
}

} // namespace Kor
