#pragma once

/// The schema as JSON, for whoever makes types of it: each type with its attributes, fields, limits and
/// defaults; and as JSON Schema of the values.
///
///     Kor::Forms::printSchemaJson(std::cout, Kor::Forms::schemaTypes());
///
/// prints
///
///     {"version": 1, "checksum": "0x0123456789abcdef", "types": [
///         {"name": "Hardware::LoamTunnel::AradLifAcMp", "kind": "value", ..., "attributes": [...]}, ...]}
///
/// Whole numbers and bools are named by attributes and are no types of it. Any thread.

#include "forms/Json.h"
#include "reflect/type/KorType.h"

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace Kor::Forms {

/// "enumeration", "value", "entity" or "object".
KOR_EXPORT std::string_view kindOf(KorType const& type);

struct SchemaType {
    KorType const* type;
    /// Whether it is none of those that were asked for, but named by them.
    bool isPlatform;
};

/// The types, and then those that they name, each once.
KOR_EXPORT std::vector<SchemaType> schemaTypes(std::vector<KorType*> const& types);
/// Of all that the model defines.
KOR_EXPORT std::vector<SchemaType> schemaTypes();

/// The members "version" and "checksum" of an object that was begun.
KOR_EXPORT void writeSchemaHead(JsonWriter& json);
/// One member of "types".
KOR_EXPORT void writeType(JsonWriter& json, SchemaType const& type);
KOR_EXPORT void printSchemaJson(std::ostream& out, std::vector<SchemaType> const& types);

/// JSON Schema, draft 2020-12, of what the program prints and reads as JSON: a definition for each value
/// type.
KOR_EXPORT void printJsonSchema(std::ostream& out, std::vector<SchemaType> const& types);

/// What differs between two that printSchemaJson() has printed, a line each; of the types in `only`, or of
/// all. An older one may be the list of types alone. Refused for what is no schema.
KOR_EXPORT std::vector<std::string> schemaDiff(Json const& before, Json const& after,
                                               std::vector<std::string> const& only);

} // namespace Kor::Forms
