#pragma once

/// The text form of values, as a person reads it.
///
///     std::cout << key;
///     // Value('Hardware::LoamTunnel::EvecKey', ** {'fapMask': '0', 'index': 4})
///
/// A value of one stored attribute is the bare text of that attribute; one of several is the word `Value`,
/// its full name and a brace list of the attributes. An enumerator stands in single quotes, an integer is
/// decimal, a bool is True or False. All of this works on its arguments alone and may run on any thread.

#include "reflect/Enumeration.h"
#include "reflect/TypeName.h"
#include "reflect/Value.h"
#include "runtime/String8.h"

#include <ostream>
#include <string>
#include <type_traits>

namespace Kor {

/// A value type made by the pattern of reflect/Value.h.
template <class T>
concept PatternValue = requires {
    typename T::Attributes;
};

namespace detail {

template <class T>
void appendText(std::string& text, T const& value);

template <class T, class... S>
void appendAttributes(std::string& text, Storage<S...> const& storage) {
    if constexpr (sizeof...(S) == 1) {
        (appendText(text, storage.template at<S>()), ...);
    } else if constexpr (sizeof...(S) > 1) {
        text.append("Value('").append(typeName<T>()).append("', ** {");
        char const* separator = "'";
        ((text.append(separator).append(S::Name::text).append("': "),
          appendText(text, storage.template at<S>()), separator = ", '"),
         ...);
        text += "})";
    }
}

template <class T>
void appendText(std::string& text, T const& value) {
    if constexpr (std::is_same_v<T, bool>) {
        text += value ? "True" : "False";
    } else if constexpr (std::is_enum_v<T>) {
        text.append(1, '\'').append(stringValue(value).view()).append(1, '\'');
    } else if constexpr (std::is_integral_v<T>) {
        text += std::to_string(value);
    } else if constexpr (PatternValue<T>) {
        appendAttributes<T>(text, T::storage(value));
    } else {
        value.appendTextTo(text);
    }
}

} // namespace detail

/// The text of a value, an enumerator, an integer or a bool.
template <class T>
String8 valueToStrep(T const& value) {
    std::string text;
    detail::appendText(text, value);
    return String8(text);
}

template <PatternValue T>
std::ostream& operator<<(std::ostream& stream, T const& value) {
    return stream << valueToStrep(value).view();
}

} // namespace Kor
