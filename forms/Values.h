#pragma once

/// Any value of the registry as text, JSON, wire bytes and, where it has an encoder, row of a chip. All of it
/// goes through type objects and boxes, and is safe on any input: what cannot be is Refused.
///
/// JSON of a value is an object by stored attributes; an enumerator is its name, a number a number, and what
/// the platform writes in quotes a string. A value of one attribute is also read without its object.

#include "forms/Text.h"
#include "reflect/box/GenericIf.h"

#include <nlohmann/json.hpp>
#include <span>
#include <string>

namespace Kor::Forms {

using Json = nlohmann::ordered_json;
using Box = Kor::Ptr<Kor::GenericIf>;

/// The value type or enumeration of that name, full or short. WrongUsage when there is none, or several.
KOR_EXPORT Kor::KorType const& valueTypeNamed(std::string_view name);

/// Names the type, and what was wrong where. A number that the attribute cannot hold is refused.
KOR_EXPORT Box boxOfText(Kor::KorType const& type, std::string_view text);
/// An attribute that is not given has its default; one that is given twice is refused, as is a number that
/// the attribute cannot hold.
KOR_EXPORT Box boxOfJson(Kor::KorType const& type, std::string_view json);
/// Bytes in hexadecimal: "0x00000004", "00 00 00 04", "00,00,00,04".
KOR_EXPORT Box boxOfHex(Kor::KorType const& type, std::string_view hexadecimal);

KOR_EXPORT std::string textOf(Kor::GenericIf const& box);
KOR_EXPORT Json jsonOf(Kor::GenericIf const& box);
/// Two digits a byte, with blanks between them.
KOR_EXPORT std::string hexOf(Kor::GenericIf const& box);

/// Whether a value of the type has one attribute, so that its text is that of the attribute.
KOR_EXPORT bool hasBareText(Kor::KorType const& type);
/// Whether the text begins as that of a structured value, `Value(`.
KOR_EXPORT bool isStructured(std::string_view text);
/// The value of such a text, of whatever type it names.
KOR_EXPORT Box boxOfStructured(std::string_view text);

} // namespace Kor::Forms
