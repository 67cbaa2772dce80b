#pragma once

/// The types of a library or program, and their one definition.
///
///     // MyTypes.cpp
///     using MyTypes = Kor::TypeModuleOf<my::Color, my::Point, my::Shape>;      // in the order of definition
///     constinit Kor::TypeModule myTypes(MyTypes::seeds);                       // with reflect/registry/TypeOf.h
///     Kor::TypeModule::Load const load(myTypes);                               // at load
///
/// From then on `my::Shape::_fwkType()` tells all attributes of the shape. A type that is declared inside
/// another one is listed anywhere behind it, and is defined while the outer type is.
///
/// Definition runs once for a module: at load, or earlier, the first time that anybody asks for one of its
/// types. While Kor::IntrospectionReactor says that it is not ready it does nothing, and a type object is
/// bare until a later try. An exception ends the definition, and it is not tried again.

#include "reflect/FwkType.h"
#include "runtime/Entity.h"

#include <algorithm>
#include <array>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace Kor {

class Dir;
class IntrospectionReactor;
class KorAttr;
struct KorTypeFlags;

class KOR_EXPORT TypeModule {
public:
    constexpr explicit TypeModule(std::span<TypeSeed const> types) : types_(types) {}
    TypeModule(TypeModule const&) = delete;

    /// Defines the types, unless that has been begun.
    void init();
    bool isInitialized() const noexcept { return isInitialized_; }
    std::span<TypeSeed const> types() const noexcept { return types_; }
    /// The types in the order in which they were defined.
    std::vector<KorType*> defined() const;
    /// One number for all that is told of the types but their size in memory, which is the platform's. Two
    /// libraries with the same number understand each other's records.
    U64 checksum() const;

    /// Makes the module known and, at load, binds its types to their names and defines them.
    class KOR_EXPORT Load {
    public:
        explicit Load(TypeModule& module);
    };

private:
    void define(IntrospectionReactor& reactor, TypeSeed const& seed);

    std::span<TypeSeed const> types_;
    bool isInitialized_ = false;
};

/// A scalar or string as a type of the registry; Builtin<void*> stands for a result that is none.
template <class T>
struct Builtin {
    using GenericIf_ = BoxOf<T>;
    static KorType* _fwkType() { return fwkTypeOf<T>(); }
};
template <>
struct Builtin<void*> {
    static constexpr std::string_view korTypeName = "Kor::Builtin<void*>"; // compilers print it differently
};

/// Makes the type object of T. The function is a template of reflect/registry/TypeOf.h: a source file that
/// includes that one, and instantiates it, has to be in the program.
template <class T>
struct TypeMaker {
    static KorType* make(TypeSeed const& seed);
};

/// Whether the first name is that of a type declared inside the second.
constexpr bool isNestedIn(std::string_view name, std::string_view outer) {
    // The cheap tests first: this runs at compile time for all pairs of a list.
    return name.size() > outer.size() + 2 && name[outer.size()] == ':' && name[outer.size() + 1] == ':' &&
           name.find(':', outer.size() + 2) == std::string_view::npos && name.starts_with(outer);
}

/// Whether it is that of a type declared inside one of the list.
constexpr bool isInner(std::string_view name, std::span<TypeSeed const> types) {
    return std::ranges::any_of(types, [&](TypeSeed const& other) { return isNestedIn(name, other.name); });
}

/// A list of types, as a module takes it.
template <class... T>
struct TypeModuleOf {
    static constexpr std::array<TypeSeed, sizeof...(T)> seeds{detail::seedOf<T>(&TypeMaker<T>::make)...};
    template <std::size_t First, std::size_t Of, std::size_t... I>
    static TypeModuleOf<std::tuple_element_t<First + I * Of, std::tuple<T...>>...>
        every(std::index_sequence<I...>);
    /// Every `Of`th type from `First` on: several files instantiate a long list faster.
    template <std::size_t First, std::size_t Of>
    using Every =
        decltype(every<First, Of>(std::make_index_sequence<(sizeof...(T) - First + Of - 1) / Of>()));
};
consteval auto korTextsOf(std::type_identity<Builtin<void*>>) {
    return texts("", "A result that is none", "template <> struct Builtin<void*>", "No object of it is made");
}

/// The types of the framework itself, which are loaded before all others. Who uses the list includes
/// reflect/type/Dir.h.
using FrameworkTypes = TypeModuleOf<Builtin<void*>, bool, U8, U16, U32, U64, S32, S64, BytePtr, String8, Name,
                                    PtrInterface, Entity, KorType, Dir, KorAttr, KorTypeFlags>;

} // namespace Kor
