#include "forms/Path.h"
#include "forms/SchemaJson.h"
#include "model/LoamTunnelTypeList.h"
#include "reflect/KorType.h"
#include "tools/Commands.h"
#include "tools/Declaration.h"
#include "tools/Failure.h"
#include "tools/Streams.h"

#include <algorithm>
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

void printType(std::ostream& out, KorType const& type, bool all, Output const& output) {
    out << bold(nameOf(&type), output.colour) << "  " << kindOf(type);
    if (type.base() != nullptr) {
        out << ", base " << brief(nameOf(type.base()));
    }
    std::vector<std::string> words;
    for (Argument const& each : constructorArguments(type)) {
        words.push_back(each.name + ": " + brief(nameOf(each.type)));
    }
    if (!words.empty()) {
        out << ", made from (" << join(words, ", ") << ')';
    }
    out << '\n';
    if (!type.meaning().empty()) {
        out << "  " << type.meaning() << '\n';
    }
    struct Row {
        std::string id;
        std::string signature;
        std::string meaning;
    };
    std::vector<Row> rows;
    std::size_t width = 0;
    for (auto const& attr : type.attributes()) {
        if (attr->isInherited() && !all) {
            continue;
        }
        rows.push_back({std::to_string(attr->attributeId()),
                        type.isEnumType() ? textOf(attr->name()) : signatureOf(*attr, brief),
                        meaningOf(*attr)});
        if (rows.back().signature.size() <= widestSignature) {
            width = std::max(width, rows.back().signature.size());
        }
    }
    for (Row const& row : rows) {
        out << "  " << std::string(row.id.size() < 3 ? 3 - row.id.size() : 0, ' ') << row.id << "  "
            << row.signature;
        if (!row.meaning.empty()) {
            out << std::string(width > row.signature.size() ? width - row.signature.size() : 0, ' ') << "  "
                << row.meaning;
        }
        out << '\n';
    }
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

std::vector<std::string> diff(std::string const& file, std::vector<std::string> const& only) {
    InputFile input(file);
    std::string const saved(std::istreambuf_iterator<char>(input.stream()), {});
    std::ostringstream now;
    printSchemaJson(now, schemaTypes());
    try {
        return schemaDiff(parseJson(saved), parseJson(now.str()), only);
    } catch (Refused const&) {
        throw Refused(shown(file) + " is no schema; make one with loamtunnel schema --json");
    }
}

} // namespace

void schema(Context& context, SchemaOptions const& options) {
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
                printDeclaration(context.out, *type);
            }
        }
    } else if (!options.diff.empty()) {
        std::vector<std::string> only;
        for (KorType const* type : options.types.empty() ? std::vector<KorType*>() : types) {
            only.push_back(nameOf(type));
        }
        for (std::string const& line : diff(options.diff, only)) {
            context.out << Kor::plainText(line) << '\n';
            context.status = differsStatus;
        }
    } else if (options.jsonSchema) {
        printJsonSchema(context.out, schemaTypes(types));
    } else if (options.output.format == Format::json) {
        printSchemaJson(context.out, schemaTypes(types));
    } else if (options.output.format == Format::text) {
        char const* separator = "";
        for (KorType const* type : types) {
            context.out << separator;
            printType(context.out, *type, options.all, options.output);
            separator = "\n";
        }
    } else {
        Listing listing({"type", "kind", "id", "attribute", "flags0", "flags1", "meaning"});
        for (KorType const* type : types) {
            for (auto const& attr : type->attributes()) {
                if (options.all || !attr->isInherited()) {
                    listing.add({nameOf(type), std::string(kindOf(*type)), attr->attributeId(),
                                 type->isEnumType() ? textOf(attr->name()) : signatureOf(*attr, brief),
                                 hex(attr->flags().word0, 8), hex(attr->flags().word1, 8), meaningOf(*attr)});
                }
            }
        }
        listing.print(context.out, options.output);
    }
}

} // namespace tool
