#pragma once

/// The types of a library or program, and their one definition.
///
///     // MyTypes.cpp
///     using MyTypes = Kor::TypeModuleOf<my::Color, my::Point, my::Shape>;      // in the order of definition
///     constinit Kor::TypeModule myTypes(MyTypes::seeds<Kor::TypeOf>);          // TypeOf: the type objects' class
///     Kor::TypeModule::Load const load(myTypes);                               // at load
///
/// From then on `my::Shape::_fwkType()` tells all attributes of the shape. A type that is declared inside
/// another one is listed anywhere behind it, and is defined while the outer type is.
///
/// Definition runs once for a module: at load, or earlier, the first time that anybody asks for one of its
/// types. While Kor::IntrospectionReactor says that it is not ready it does nothing, and a type object is
/// bare until a later try. An exception ends the definition, and it is not tried again.

#include "reflect/FwkType.h"

#include <array>
#include <span>

namespace Kor {

class IntrospectionReactor;

class __attribute__((visibility("default"))) TypeModule {
public:
    constexpr explicit TypeModule(std::span<TypeSeed const> types) : types_(types) {}
    TypeModule(TypeModule const&) = delete;

    /// Defines the types, unless that has been begun.
    void init();
    bool isInitialized() const noexcept { return isInitialized_; }
    std::span<TypeSeed const> types() const noexcept { return types_; }

    /// Makes the module known and, at load, binds its types to their names and defines them.
    class __attribute__((visibility("default"))) Load {
    public:
        explicit Load(TypeModule& module);
    };

private:
    void define(IntrospectionReactor& reactor, TypeSeed const& seed);

    std::span<TypeSeed const> types_;
    bool isInitialized_ = false;
};

/// The types of the framework itself: scalars, strings, Kor::PtrInterface and Kor::Entity. The other modules
/// load it.
TypeModule& frameworkTypes();

template <class... T>
struct TypeModuleOf {
    /// `Object<T>::make` makes the type object of T.
    template <template <class> class Object>
    static constexpr std::array<TypeSeed, sizeof...(T)> seeds{detail::seedOf<T>(&Object<T>::make)...};
};

/// Whether the first name is that of a type inside the second, or inside any type for an empty second.
constexpr bool isNestedIn(std::string_view name, std::string_view outer) {
    return name.size() > outer.size() + 2 && name.starts_with(outer) &&
           name.substr(outer.size(), 2) == "::" &&
           name.find("::", outer.size() + 2) == std::string_view::npos;
}

} // namespace Kor
