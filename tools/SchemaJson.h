#pragma once

/// The schema as JSON: all types with their attributes, complete for whoever makes types of it, and as JSON
/// Schema of the values.

#include "forms/Json.h"
#include "reflect/KorType.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace tool {

std::string kindOf(Kor::KorType const& type);

/// The types, and then those that they name, each once. Whole numbers and bools are not among them.
std::vector<Kor::KorType const*> withNamedTypes(std::vector<Kor::KorType*> const& types);

/// {"version": 1, "checksum": ..., "types": [...]}.
void printSchemaJson(std::ostream& out, std::vector<Kor::KorType*> const& types);

/// JSON Schema, draft 2020-12, of what the program prints and reads as JSON: a definition for each value
/// type.
void printJsonSchema(std::ostream& out, std::vector<Kor::KorType*> const& types);

/// What differs between two that printSchemaJson() has printed, a line each; of the types in `only`, or of
/// all. An older one may be the list of types alone. Refused for what is no schema.
std::vector<std::string> schemaDiff(Kor::Forms::Json const& before, Kor::Forms::Json const& after,
                                    std::vector<std::string> const& only);

} // namespace tool
