#include "console/Command.h"
#include "console/Completion.h"
#include "console/Live.h"
#include "console/Streams.h"
#include "forms/Declaration.h"
#include "forms/Path.h"
#include "forms/SchemaJson.h"
#include "forms/Text.h"
#include "model/LoamTunnelModule.h"
#include "reflect/type/KorType.h"
#include "tools/Commands.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace tool {

namespace {

using Kor::KorAttr;
using Kor::KorType;

std::string textOf(Kor::String8 const& text) {
    return std::string(text.view());
}

std::string nameOf(KorType const* type) {
    return type != nullptr ? textOf(type->typeName()) : "";
}

/// Names of the own namespace are cut short.
std::string brief(std::string const& type) {
    static std::string const own = "Hardware::LoamTunnel::";
    return type.starts_with(own) ? type.substr(own.size()) : type;
}

/// A longer one pushes its meaning to the right, and not those of all others.
constexpr std::size_t widestSignature = 48;

/// A type as people read it: one of this program's, or one that a peer tells of.
struct TypeText {
    struct Row {
        std::string id, signature, meaning;
        std::array<std::string, 2> flags{};
    };

    static TypeText of(KorType const& type, bool all) {
        TypeText text{nameOf(&type),
                      std::string(kindOf(type)),
                      nameOf(type.base()),
                      {},
                      std::string(type.meaning()),
                      {}};
        for (Forms::Argument const& each : constructorArguments(type)) {
            text.arguments.push_back(each.name + ": " + brief(nameOf(each.type)));
        }
        for (auto const& attr : type.attributes()) {
            if (all || !attr->isInherited()) {
                text.rows.push_back({std::to_string(attr->attributeId()),
                                     type.isEnumType() ? textOf(attr->name()) : signatureOf(*attr, brief),
                                     Cpp::meaningOf(*attr),
                                     {hex(attr->flags().word0, 8), hex(attr->flags().word1, 8)}});
            }
        }
        return text;
    }
    static TypeText of(Json const& type, bool all) {
        // A peer may tell anything.
        auto const element = [](Json const& array, std::size_t i) -> std::string const& {
            if (i >= array.members.size()) {
                throw Refused("the peer's schema has " + array.shown() + " of less than " +
                              std::to_string(i + 1) + " elements");
            }
            return array.members[i].second.text;
        };
        auto const number = [](Json const& json) {
            if (json.kind != Json::Kind::number) {
                throw Refused("the peer's schema has " + json.shown() + " for a number");
            }
            return json.text;
        };
        auto const typed = [&](Json const& pairs) {
            std::vector<std::string> texts;
            for (auto const& [none, pair] : pairs.members) {
                texts.push_back(element(pair, 0) + ": " + brief(element(pair, 1)));
            }
            return texts;
        };
        TypeText text{type.at("name").text,    type.at("kind").text,
                      type.at("base").text,    typed(type.at("constructorArgs")),
                      type.at("meaning").text, {}};
        if (Json const* const enumerators = type.find("enumerators")) {
            for (auto const& [none, each] : enumerators->members) {
                text.rows.push_back(
                    {number(each.at("number")), each.at("name").text, each.at("meaning").text});
            }
            return text;
        }
        for (auto const& [none, each] : type.at("attributes").members) {
            if (!all && each.at("inherited").text == "true") {
                continue;
            }
            std::string const result = each.at("type").text;
            std::string signature = each.at("name").text;
            if (each.at("keyed").text == "true") {
                signature += '[' + brief(each.at("keyType").text) + ']';
            } else if (std::string const& role = each.at("role").text;
                       role == "operation" || role == "classOperation") {
                signature += '(' + join(typed(each.at("args")), ", ") + ')';
            }
            Json const& flags = each.at("flags");
            text.rows.push_back({number(each.at("id")),
                                 signature + (result.empty() ? "" : ": " + brief(result)),
                                 each.at("meaning").text,
                                 {element(flags, 0), element(flags, 1)}});
        }
        return text;
    }

    void print(std::ostream& out, Output const& output) const {
        out << bold(Kor::plainText(name), output.colour) << "  "
            << Kor::plainText(kind + (base.empty() ? "" : ", base " + brief(base)) +
                              (arguments.empty() ? "" : ", made from (" + join(arguments, ", ") + ')'))
            << '\n'
            << (meaning.empty() ? "" : "  " + Kor::plainText(meaning) + '\n');
        std::size_t width = 0;
        for (Row const& row : rows) {
            width = row.signature.size() <= widestSignature ? std::max(width, row.signature.size()) : width;
        }
        auto const blanks = [](std::size_t wanted, std::string const& text) {
            return std::string(wanted - std::min(wanted, text.size()), ' ');
        };
        for (Row const& row : rows) {
            out << "  " << blanks(3, row.id) << row.id << "  "
                << Kor::plainText(row.signature + (row.meaning.empty()
                                                       ? ""
                                                       : blanks(width, row.signature) + "  " + row.meaning))
                << '\n';
        }
    }

    std::string name, kind, base;
    std::vector<std::string> arguments;
    std::string meaning;
    std::vector<Row> rows;
};

void print(Context& context, std::vector<TypeText> const& types, Output const& output) {
    if (output.format == Format::text) {
        for (TypeText const& type : types) {
            context.out << (&type == types.data() ? "" : "\n");
            type.print(context.out, output);
        }
        return;
    }
    Listing listing({"type", "kind", "id", "attribute", "flags0", "flags1", "meaning"});
    for (TypeText const& type : types) {
        for (TypeText::Row const& row : type.rows) {
            listing.add({type.name, type.kind, Cell::raw(row.id), row.signature, row.flags[0], row.flags[1],
                         row.meaning});
        }
    }
    listing.print(context.out, output);
}

/// Those that are named, also of the platform's; all of the model's if none is.
std::vector<KorType*> chosenTypes(std::vector<std::string> const& names) {
    std::vector<KorType*> const all = Hardware::LoamTunnel::loamTunnelModule().defined();
    std::vector<KorType*> chosen;
    for (std::string const& name : names) {
        auto const before = chosen.size();
        for (KorType* type : all) {
            if (nameOf(type) == name || brief(nameOf(type)) == name) {
                chosen.push_back(type);
            }
        }
        if (chosen.size() == before) {
            chosen.push_back(&typeNamed(name));
        }
    }
    return names.empty() ? all : chosen;
}

Json ownSchema() {
    TextStream text;
    printSchemaJson(text, schemaTypes());
    return parseJson(text.str());
}

void diff(Context& context, std::string const& file, Json const& now, std::vector<std::string> const& only) {
    std::string saved, source;
    withInput(context, file, [&](std::istream& stream, std::string const& name) {
        saved.assign(std::istreambuf_iterator<char>(stream), {});
        source = name;
    });
    std::vector<std::string> lines;
    try {
        Json const before = parseJson(saved);
        lines = schemaDiff(before, now, only);
        Json const* const was = before.find("version");
        Json const* const is = now.find("version");
        if (was != nullptr && is != nullptr && was->text != is->text) {
            lines.insert(lines.begin(), "version " + was->text + " -> " + is->text);
        }
    } catch (Broken const&) {
        throw;
    } catch (Refused const&) {
        throw Refused(shown(source) + " is no schema; make one with loamtunnel schema --json");
    }
    for (std::string const& line : lines) {
        context.out << Kor::plainText(line) << '\n';
        context.status = differsStatus;
    }
}

struct SchemaOptions {
    std::vector<std::string> types;
    std::string diff;
    bool all = false;
    bool checksum = false;
    bool cpp = false;
    bool jsonSchema = false;
    Output output;
};

/// In a shell: the types of the process that it looks at, which may have others than this program.
void schemaOfPeer(Context& context, SchemaOptions const& options) {
    if (options.cpp || options.jsonSchema) {
        throw WrongUsage(
            "--cpp and --json-schema print this program's own types: give them outside of the shell");
    }
    Json schema = schemaOf(*context.live);
    if (options.checksum) {
        context.out << Kor::plainText(schema.at("checksum").text) << '\n';
        return;
    }
    std::vector<std::string> only;
    std::vector<std::string> known;
    Json chosen = schema.at("types");
    chosen.members.clear();
    for (auto const& [none, type] : schema.at("types").members) {
        std::string const name = type.at("name").text, shortOne = name.substr(name.rfind(':') + 1);
        known.push_back(shortOne);
        if (std::ranges::any_of(options.types, [&](std::string const& each) {
                return each == name || each == brief(name) || each == shortOne;
            })) {
            only.push_back(name);
            chosen.members.emplace_back("", type);
        }
    }
    if (only.empty() && !options.types.empty()) {
        throw WrongUsage("the peer has no type " + shown(options.types[0]) +
                         suggest(options.types[0], known));
    }
    if (!options.diff.empty()) {
        return diff(context, options.diff, schema, only);
    }
    for (auto& [name, member] : schema.members) {
        member = name == "types" && !only.empty() ? chosen : member;
    }
    if (options.output.format == Format::json) {
        JsonWriter(context.out, true).value(schema);
        context.out << '\n';
        return;
    }
    std::vector<TypeText> texts;
    for (auto const& [none, type] : schema.at("types").members) {
        if (!options.types.empty() || type.at("platform").text != "true") {
            texts.push_back(TypeText::of(type, options.all));
        }
    }
    print(context, texts, options.output);
}

void schema(Context& context, SchemaOptions const& options) {
    bool const isDiff = !options.diff.empty(), isText = options.output.format == Format::text;
    if (options.checksum && (!options.types.empty() || isDiff || options.all || !isText)) {
        throw WrongUsage(
            "--checksum is one number of the whole schema: it takes no types, --all, --diff or --format");
    }
    if (isDiff && (options.all || !isText)) {
        throw WrongUsage("--diff prints lines of its own; it goes with no --all or --format");
    }
    if (options.cpp && (options.checksum || isDiff || options.all || !isText)) {
        throw WrongUsage("--cpp prints declarations; it goes with no --all, --checksum, --diff or --format");
    }
    if (options.jsonSchema && (options.checksum || options.cpp || isDiff || options.all || !isText)) {
        throw WrongUsage("--json-schema goes with types alone");
    }
    if (context.live != nullptr) {
        return schemaOfPeer(context, options);
    }
    if (options.checksum) {
        context.out << hex(Hardware::LoamTunnel::loamTunnelModule().checksum(), 16) << '\n';
        return;
    }
    std::vector<KorType*> const types = chosenTypes(options.types);
    if (options.cpp) {
        std::set<KorType const*> printed;
        for (KorType const* type : types) {
            while (type->scope() != nullptr) {
                type = type->scope(); // whose declaration has it
            }
            if (printed.insert(type).second) {
                context.out << (printed.size() > 1 ? "\n" : "");
                Cpp::printDeclaration(context.out, *type);
            }
        }
    } else if (isDiff) {
        std::vector<std::string> only;
        for (KorType const* type : options.types.empty() ? std::vector<KorType*>() : types) {
            only.push_back(nameOf(type));
        }
        diff(context, options.diff, ownSchema(), only);
    } else if (options.jsonSchema) {
        printJsonSchema(context.out, schemaTypes(types));
    } else if (options.output.format == Format::json) {
        printSchemaJson(context.out, schemaTypes(types));
    } else {
        std::vector<TypeText> texts;
        texts.reserve(types.size());
        for (KorType const* type : types) {
            texts.push_back(TypeText::of(*type, options.all));
        }
        print(context, texts, options.output);
    }
}

} // namespace

Command const schemaCommand = Row<SchemaOptions>{
    .name = "schema",
    .does = "List the types with their attributes",
    .takes =
        [](Takes& takes, SchemaOptions& options) {
            takes.option("type", options.types, "TYPE", "Types, such as LifAppConfig (default: all)");
            takes.flag("-a,--all", options.all, "Show inherited attributes as well");
            takes.flag("--cpp", options.cpp,
                       "Print the types as C++ declarations: each operation and hook, and what it means");
            takes.flag("--json-schema", options.jsonSchema,
                       "Print JSON Schema (draft 2020-12) of the values as JSON, a definition a type");
            takes.flag("--checksum", options.checksum, "Print one number for the whole schema");
            takes.option("--diff", options.diff, "FILE",
                         "Print what differs from a schema that --json has saved; - is the standard input");
            takes.output(options.output, "; without it, each type as a paragraph");
        },
    .run = schema,
    .more = "Types come in the order in which they are defined. The exit status is 3 when --diff finds a\n"
            "difference.\n\n"
            "  loamtunnel schema LifAppConfig AradLifEntry\n"
            "  loamtunnel schema --cpp LifAppConfig\n"
            "  loamtunnel schema --json > schema.json; loamtunnel schema --diff schema.json",
    .isInShell = true,
};

} // namespace tool
