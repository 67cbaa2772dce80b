#pragma once

/// Any value of the registry as people and programs write it, and back. Everything goes by what the type
/// objects tell, so that a new type needs nothing here.
///
///     Kor::Forms::Box const box = Kor::Forms::readValue(type, "AradLifAcMp vsi=100", find);
///     Kor::Forms::shortText(*box);                 // AradLifAcMp vsi=100
///     Kor::Forms::jsonText(*box);                  // {"lifType":"lifAcMp","dword0":"100","dword1":"0"}
///
/// A value is read from its text form (reflect/Text.h), or in a shorter way:
///
///     vtAppMpls                                 an enumerator without its quotes; likewise any quoted text
///     VtAppId(99)                               a number that is no enumerator
///     true                                      as well as True
///     AradLifAcMp vsi=100 vlanEditVid1=20       a type and fields of it (forms/Fields.h); the others have
///                                               their default
///     EvecKey fapMask=3 index=4                 a value of one attribute is also that attribute's
///     EvecEntry key=(EvecKey index=4)           in parentheses where there are blanks
///     {"fapMask": "0-3", "index": 4}            JSON; likewise "vtAppMpls" and "5"
///     $lif.appConfig[vtAppMpls].app             what a path (forms/Path.h) leads to
///
/// Fields are set in the order given. A number that a field cannot hold is refused, and so are two fields
/// that say different things of the same bits. A value of a derived type stands for one of its base. An
/// object is given by a path, none by `None`.
///
/// JSON of a value is an object by stored attributes; an enumerator is its name, a number of 64 bits a
/// string, any other number a number, and what has its text in quotes a string. A value of one attribute is
/// also read without its object, views are read like stored attributes, and numbers also from strings.
///
/// Every fault is a Refused (forms/Refused.h), whatever the text is. A path in a path in a path is refused
/// beyond reason. Readers follow paths on the thread of their objects; all else may run on any thread.

#include "forms/Fields.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kor::Forms {

class JsonWriter;

/// How a value is written.
enum class Form { shortForm, text, json, wire };
/// "short", "text", "json" and "wire".
KOR_EXPORT std::vector<std::string> const& formNames();
/// The form of that name; WrongUsage for none.
KOR_EXPORT Form formNamed(std::string_view name);

/// Finds what a path leads to, for texts that name objects. A key in such a path may be a path again, but not
/// without end: what reads it gets a Find that knows how deep it stands.
class KOR_EXPORT Find {
public:
    /// Null for nothing.
    using Follow = std::function<Box(std::string_view path, Find const& inner)>;
    static constexpr unsigned deepest = 32;

    /// Finds nothing, and refuses paths.
    Find() = default;
    explicit Find(Follow follow) : follow_(std::move(follow)) {}

    /// Refused if paths stand in paths more than `deepest` deep.
    Box operator()(std::string_view path) const;

private:
    Follow follow_;
    unsigned depth_ = 0;
};

/// A value of exactly that type; of an object type, an object of it or of a derived one, or null for `None`.
/// Messages begin with `where`, or with the name of the type. `most` bounds a number further.
KOR_EXPORT Box readValue(KorType const& type, std::string_view text, Find const& find = {},
                         std::string_view where = "", std::optional<U64> most = {});
/// Whether a text begins as the text form of a value with several attributes.
KOR_EXPORT bool isTextForm(std::string_view text);
/// A value of the type that the text itself names: `AradLifAcMp vsi=100`, `Value('...', ** {...})`, a type
/// and its JSON, `OutAcValue {"word0":5,...}`, or JSON with a word that only one type has,
/// `{"lifType":"lifAcMp",...}`.
KOR_EXPORT Box readNamed(std::string_view text, Find const& find = {});
KOR_EXPORT Box readJson(KorType const& type, std::string_view json);
/// Bytes in hexadecimal: "0x00000004", "00 00 00 04", "00,00,00,04".
KOR_EXPORT Box readWire(KorType const& type, std::string_view hexadecimal);
/// In that form; of a short form or a text as readValue().
KOR_EXPORT Box read(Form form, KorType const& type, std::string_view text);

/// A new object or value from a text: the arguments of its constructor in order, or as `name=value`; a value
/// also from its text or from fields. An object that is made from a name, and is given none, is called
/// `name`.
KOR_EXPORT Box makeNew(KorType const& type, std::string_view name, std::string_view text, Find const& find);
/// Reads the arguments of an operation, in order. Refused when there are too few or too many.
KOR_EXPORT Box readArguments(KorAttr const& operation, std::string_view text, Find const& find);

/// The value as one of that type, which is its own, a base, or a derived one; null if it is none.
KOR_EXPORT Box asType(Box const& value, KorType const& type);

/// As readValue() reads it: of a value with views those that are not as by default. A value that says itself
/// which derived type it is of is written as one.
KOR_EXPORT std::string shortText(GenericIf const& value);
/// The text form, "None" for a null box.
KOR_EXPORT std::string textOf(Ptr<GenericIf const> const& box);
/// Refused for bytes that are no UTF-8.
KOR_EXPORT void writeJson(JsonWriter& writer, GenericIf const& value);
KOR_EXPORT std::string jsonText(GenericIf const& value);
/// Two digits a byte, with blanks between them. Refused for a type without a byte form.
KOR_EXPORT std::string wireText(GenericIf const& value);
/// Refused for a value whose bytes no reader takes, such as one with an enumerator that is none.
KOR_EXPORT void mustBeRead(GenericIf const& value);
/// In that form; "None" for a null box.
KOR_EXPORT std::string written(Form form, Ptr<GenericIf const> const& box);

/// A key as it is written in a path, the short form.
KOR_EXPORT std::string keyText(GenericIf const& key);

} // namespace Kor::Forms
