#pragma once

/// Values and objects in boxes (reflect/box/GenericIf.h) from what a person types. Everything goes by what
/// the type objects tell, so that a new type needs nothing here.
///
/// A value of a known type is written as its text form (reflect/Text.h), or in a shorter way:
///
///     vtAppMpls                                 an enumerator without its quotes; likewise any quoted text
///     true                                      as well as True
///     AradLifAcMp vsi=100 vlanEditVid1=20       a type and fields of it, the others have their default
///     EvecKey fapMask=3 index=(EvecIndex value=4)   in parentheses where there are blanks
///     $lif.appConfig[vtAppMpls].app             what a path (forms/Path.h) leads to
///
/// A value of a derived type stands for one of its base. An object is given by a path, none by `None`.
///
/// A number that the type cannot hold is refused, and so is a path in a path in a path beyond reason. Every
/// fault is a Refused (forms/Refused.h).

#include "forms/Refused.h"
#include "forms/Values.h"
#include "reflect/KorType.h"
#include "reflect/box/GenericIf.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Kor::Forms {

/// Follows a text past quotes and brackets.
class KOR_EXPORT Nesting {
public:
    /// Whether the character stands outside of all quotes and brackets, of which it may be the first or last.
    bool step(char c);
    bool isQuoted() const { return quote_ != 0; }
    /// How many brackets are open.
    std::size_t depth() const { return open_.size(); }
    /// Whether all that was opened is closed, and nothing else.
    bool isComplete() const { return open_.empty() && quote_ == 0 && wrong_ == 0; }
    /// Refused if something is still open, or was closed that was not open.
    void end() const;

private:
    std::string open_;
    char quote_ = 0;
    bool escaped_ = false;
    char wrong_ = 0;
};

KOR_EXPORT std::string_view trimmed(std::string_view text);

/// The text cut at blanks outside of quotes and brackets. Refused if these do not match.
KOR_EXPORT std::vector<std::string_view> words(std::string_view text);

/// The short name of a type, with those of the types around it, such as "FapTypeProperties::Properties".
KOR_EXPORT std::string shortName(Kor::KorType const& type);

/// The type of that full name, or of that last part of it. Refused if there is none.
KOR_EXPORT Kor::KorType& typeNamed(std::string_view name);

/// Finds what a path leads to, for texts that name objects. A key in such a path may be a path again, but not
/// without end: what reads it gets a Find that knows how deep it stands.
class KOR_EXPORT Find {
public:
    /// Null for nothing.
    using Follow = std::function<Box(std::string_view path, Find const& inner)>;
    static constexpr unsigned deepest = 32;

    explicit Find(Follow follow) : follow_(std::move(follow)) {}

    /// Refused if paths stand in paths more than `deepest` deep.
    Box operator()(std::string_view path) const;

private:
    Follow follow_;
    unsigned depth_ = 0;
};

/// A value of exactly that type; of an object type, an object of it or of a derived one, or null for `None`.
KOR_EXPORT Box readValue(Kor::KorType const& type, std::string_view text, Find const& find);

/// A new object or value from a text: the arguments of its constructor in order, or as `name=value`; a value
/// also from its text or from fields. An object that is made from a name, and is given none, is called
/// `name`.
KOR_EXPORT Box makeNew(Kor::KorType const& type, std::string_view name, std::string_view text,
                       Find const& find);

/// A key as it is written in a path: without the quotes that it can do without.
KOR_EXPORT std::string keyText(Kor::GenericIf const& key);

/// The text of what is in the box, "None" for a null box.
KOR_EXPORT std::string textOf(Kor::Ptr<Kor::GenericIf const> const& box);

/// Reads the arguments of an operation, in order. Refused when there are too few or too many.
KOR_EXPORT Box readArguments(Kor::KorAttr const& operation, std::string_view text, Find const& find);

} // namespace Kor::Forms
