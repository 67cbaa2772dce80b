#pragma once

/// The name of a type as its declaration spells it, at compile time, so that no class has to repeat its own:
/// `Kor::typeName<Hardware::LifTable>()` is "Hardware::LifTable". The scalar names of runtime/Types.h and
/// `bool` keep those names, its BytePtr is "Kor::BytePtr", `void` is "void". A class that is known by another
/// name than its declaration's gives it in a member `korTypeName`, and so does each class below it. It costs
/// nothing at run time, and any thread may ask. Of an object whose class is not known: runtime/ClassName.h.
///
///     Kor::typeName<Hardware::LifTable>();                 // "Hardware::LifTable"
///     Kor::shortTypeName<Hardware::LifTable>();            // "LifTable"

#include "runtime/Types.h"

#include <string_view>
#include <type_traits>

namespace Kor {

namespace detail {

/// The one template argument in a function's name as the compiler prints that.
constexpr std::string_view argumentIn(std::string_view function) {
    function.remove_prefix(function.find(" = ") + 3);
    return function.substr(0, function.find_first_of(";]"));
}
template <class Argument>
constexpr std::string_view printed() {
    return argumentIn(__PRETTY_FUNCTION__);
}
template <auto Value>
constexpr std::string_view printedValue() {
    return argumentIn(__PRETTY_FUNCTION__);
}

} // namespace detail

/// The full name of T, namespaces included.
template <class T>
constexpr std::string_view typeName() {
    if constexpr (requires { T::korTypeName; }) {
        return T::korTypeName;
    } else if constexpr (std::is_same_v<T, bool>) {
        return "bool";
    } else if constexpr (std::is_unsigned_v<T>) {
        constexpr std::string_view names[] = {"U8", "U16", "U32", "", "U64"};
        return names[sizeof(T) > 4 ? 4 : sizeof(T) / 2];
    } else if constexpr (std::is_same_v<T, S32>) {
        return "S32";
    } else if constexpr (std::is_same_v<T, S64>) {
        return "S64";
    } else if constexpr (std::is_same_v<T, BytePtr>) {
        return "Kor::BytePtr";
    } else {
        return detail::printed<T>();
    }
}

/// The name without the namespaces and classes around it.
constexpr std::string_view shortName(std::string_view name) {
    auto const colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

template <class T>
constexpr std::string_view shortTypeName() {
    return shortName(typeName<T>());
}

} // namespace Kor
