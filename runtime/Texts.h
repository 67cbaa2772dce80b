#pragma once

/// Kor::texts(): what a class, an enumeration and their attributes mean, said in the declaration, for tools.
///
///     static constexpr auto korTexts = Kor::texts(
///         "", "A slot of the table",                          // the class that has it, under the empty name
///         "index", "Which one, 0 to 7",                       // each attribute
///         "bool isLast() const", "Whether no other follows"); // what is written by hand
///
/// A class has all of its attributes told, or none; the compiler refuses one that is left out and one that is
/// none. Names and texts are literals, so that it is all there at compile time: it costs nothing but the
/// bytes, throws nothing, and any thread may read it (Kor::KorType::texts, KorAttr::meaning).

#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace Kor {

namespace detail {

/// The folder that the library's headers are included from, as the compiler names it.
consteval std::string_view sourceRoot(char const* here = __builtin_FILE()) {
    std::string_view file = here;
    file.remove_suffix(std::string_view("runtime/Texts.h").size());
    return file;
}
/// How a file is included: from the library's folder, or as the compiler names it.
constexpr std::string_view includeOf(std::string_view file) {
    constexpr std::string_view root = sourceRoot();
    if (file.starts_with(root)) {
        file.remove_prefix(root.size());
    }
    return file;
}
/// The first name of a list of texts, and the file that the list stands in.
struct TextsHere {
    // implicit: made of the name where texts() is called
    constexpr TextsHere(char const* first, char const* here = __builtin_FILE()) : name(first), file(here) {}
    char const* name;
    char const* file;
};

} // namespace detail

/// The name of an attribute, and what it means.
struct NamedText {
    std::string_view name;
    std::string_view text;
};

/// What Kor::texts() makes.
template <std::size_t N>
struct Texts {
    std::string_view file;
    std::array<NamedText, N> all;
};

/// What a class and its attributes mean, for people: name and text by turns, the class itself under the empty
/// name, which comes first.
///
///     static constexpr auto korTexts = Kor::texts(
///         "", "What one application asks for",
///         "app", "The application",
///         "reqCount", "How often it asks for the LIF; 0 lets it go");
///
/// Nobody but tools looks at them. A class that has texts has one for each attribute of its own list, of at
/// most 160 characters. Bits of a view are not told again. It also tells Kor::KorType::header().
///
/// A name with a space or a bracket in it, such as `std::string name() const`, is a declaration: of a
/// constructor, a public operation or a constant that the class has beyond its attributes. Types are spelled
/// as in the namespace of the class, those within the class by its name. It takes the place of what the
/// attributes give under the same name. `private newEntry` says that what the attributes give is not public.
/// Templates, operators and what only the patterns call are not told. `using` or `template` begins the whole
/// declaration of a type that is no class of that name.
///
/// What has no room for the member, such as a number, has a function `korTextsOf(std::type_identity<U32>)`
/// beside it that returns the texts.
template <class... Text>
consteval auto texts(detail::TextsHere first, Text... text) { // by value: one function for each length
    static_assert(sizeof...(Text) % 2 == 1, "a text for each name");
    std::string_view const turns[] = {first.name, text...};
    Texts<(sizeof...(Text) + 1) / 2> made{first.file, {}};
    for (std::size_t i = 0; i < made.all.size(); ++i) {
        made.all[i] = {turns[2 * i], turns[2 * i + 1]};
    }
    return made;
}

/// Whether it tells a declaration, and not of an attribute.
constexpr bool isDeclaration(NamedText const& each) {
    return each.name.find_first_of(" (") != std::string_view::npos;
}

/// Of an enumeration that says nothing of itself: where it is declared.
consteval Texts<0> texts(char const* here = __builtin_FILE()) {
    return {here, {}};
}

} // namespace Kor
