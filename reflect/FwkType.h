#pragma once

/// The type object of a type, found from its C++ name:
///
///     Kor::KorType* type = Kor::fwkTypeOf<Hardware::LoamTunnel::AradLifEntry>();     // also AradLifEntry::_fwkType()
///
/// A type object is made the first time that anybody asks for it, never ends, and is the same one in every
/// library of the process. What it tells is in reflect/type/KorType.h, which only those need to include who
/// ask. After the first call this is a load and a test. One thread at a time until the libraries are loaded,
/// any thread from then on; a type that no module lists is to be asked for on one thread first.

#include "runtime/TypeName.h"

#include <concepts>
#include <type_traits>

namespace Kor {

class Entity;
class KorType;
class PtrInterface;

/// The box of a T, reflect/box/GenericBox.h.
template <class T>
class BoxOf;

/// What is known of a type before it has a type object.
struct TypeSeed {
    using Get = KorType* (*)();
    using Make = KorType* (*)(TypeSeed const& seed);

    std::string_view name;
    /// The base type's object; null for a type without a base.
    Get base;
    /// Makes the object of the class that knows the type; null where only the name is known.
    Make make = nullptr;
};

/// The type object of that name, made if there is none: by the module that lists the type
/// (reflect/type/TypeModule.h), else by the seed, else a bare one with a name and a base. Null in a program
/// that has no type objects.
KOR_EXPORT KorType* typeOfSeed(TypeSeed const& seed);
/// Where typeOfSeed() asks. Once, while the library is loaded.
void typeSourceIs(TypeSeed::Make source) noexcept;

template <class T>
inline KorType* fwkTypeOf();

/// The class of the type object of T, reflect/registry/TypeOf.h.
template <class T>
class TypeOf;

/// The attribute of a child that repeats its key.
inline constexpr AttributeId fwkKeyAttr = 0;

namespace detail {

/// A class of the patterns, value or entity: it has a list of attributes.
template <class T>
concept Declared = requires {
    typename T::Attributes;
};

template <class T>
consteval auto baseTypeOf() {
    if constexpr (std::is_same_v<T, Entity>) {
        return std::type_identity<PtrInterface>();
    } else if constexpr (requires { typename T::BaseValue; }) {
        return std::type_identity<typename T::BaseValue>();
    } else if constexpr (!requires { typename T::BaseEntity; }) {
        return std::type_identity<void>();
    } else if constexpr (Declared<typename T::BaseEntity>) {
        return std::type_identity<typename T::BaseEntity>();
    } else { // classes that are slipped in between to add virtual operations have no type object
        return std::type_identity<
            std::conditional_t<std::derived_from<typename T::BaseEntity, Entity>, Entity, PtrInterface>>();
    }
}
/// The type that T's type object names as its base, or void.
template <class T>
using BaseType = typename decltype(baseTypeOf<T>())::type;

template <class T>
constexpr TypeSeed seedOf(TypeSeed::Make make = nullptr) {
    if constexpr (std::is_void_v<BaseType<T>>) {
        return {typeName<T>(), nullptr, make};
    } else {
        return {typeName<T>(), fwkTypeOf<BaseType<T>>, make};
    }
}

// Each library has a copy of its own, which may see its first use on any thread.
template <class T>
inline constinit KorType* knownType = nullptr; // reached by atomic operations alone

template <class T>
[[gnu::noinline, gnu::cold]] KorType* firstTypeOf() {
    KorType* const type = typeOfSeed(seedOf<T>());
    __atomic_store_n(&knownType<T>, type, __ATOMIC_RELEASE);
    return type;
}

} // namespace detail

template <class T>
[[gnu::always_inline]] inline KorType* fwkTypeOf() {
    KorType* const type = __atomic_load_n(&detail::knownType<T>, __ATOMIC_ACQUIRE);
    return type != nullptr ? type : detail::firstTypeOf<T>();
}

} // namespace Kor
