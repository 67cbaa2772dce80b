#include "forms/Path.h"
#include "model/LoamTunnelTypeList.h"
#include "reflect/KorType.h"
#include "tools/Commands.h"
#include "tools/Declaration.h"
#include "tools/Failure.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
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

std::string kindOf(KorType const& type) {
    return type.isEnumType() ? "enumeration"
           : type.isValue()  ? "value"
           : type.isEntity() ? "entity"
                             : "object";
}

Json pairsOf(auto const& names, auto const& types) {
    Json pairs = Json::array();
    auto type = types.begin();
    for (auto const& name : names) {
        pairs.push_back({textOf(name.value), textOf((*type).value)});
        ++type;
    }
    return pairs;
}

Json attributeJson(KorAttr const& attr) {
    Json args = Json::array();
    for (auto const& each : attr.arguments()) {
        args.push_back({textOf(each.name), textOf(each.type)});
    }
    Json json;
    json["name"] = textOf(attr.name());
    json["id"] = attr.attributeId();
    json["type"] = nameOf(attr.type());
    json["keyType"] = nameOf(attr.keyType());
    json["keyAttribute"] = textOf(attr.keyAttributeName());
    json["args"] = args;
    json["flags"] = {hex(attr.flags().word0, 8), hex(attr.flags().word1, 8)};
    json["introspection"] = attr.introspectionFlags().word;
    json["inherited"] = attr.isInherited();
    if (KorAttr::Bits const& bits = attr.bits(); !bits.word.empty()) {
        json["bits"] = {bits.word, bits.first, bits.last};
    }
    json["meaning"] = attr.meaning();
    return json;
}

Json typeJson(KorType const& type) {
    Json json;
    json["name"] = nameOf(&type);
    json["kind"] = kindOf(type);
    json["base"] = nameOf(type.base());
    json["outer"] = nameOf(type.scope());
    json["constructorArgs"] = pairsOf(type.constructorArgNameQQueue(), type.constructorArgTypeQQueue());
    json["valueAttribute"] = type.valAttr() != nullptr ? textOf(type.valAttr()->name()) : "";
    json["size"] = type.size();
    json["header"] = type.header();
    json["meaning"] = type.meaning();
    Json list = Json::array();
    for (auto const& attr : type.attributes()) {
        if (type.isEnumType()) {
            list.push_back({{"name", textOf(attr->name())},
                            {"number", attr->attributeId()},
                            {"meaning", attr->meaning()}});
        } else {
            list.push_back(attributeJson(*attr));
        }
    }
    json[type.isEnumType() ? "enumerators" : "attributes"] = list;
    return json;
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
    Json const arguments = pairsOf(type.constructorArgNameQQueue(), type.constructorArgTypeQQueue());
    for (Json const& each : arguments) {
        words.push_back(each[0].get<std::string>() + ": " + brief(each[1].get<std::string>()));
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

std::vector<KorType*> chosenTypes(std::vector<std::string> const& names) {
    std::vector<KorType*> all = Hardware::LoamTunnel::loamTunnelModule().defined();
    if (names.empty()) {
        return all;
    }
    std::vector<std::string> known;
    known.reserve(all.size());
    for (KorType const* type : all) {
        known.push_back(brief(nameOf(type)));
    }
    std::vector<KorType*> chosen;
    for (std::string const& name : names) {
        auto const before = chosen.size();
        for (KorType* type : all) {
            if (nameOf(type) == name || brief(nameOf(type)) == name) {
                chosen.push_back(type);
            }
        }
        if (chosen.size() == before) {
            throw WrongUsage("no type " + shown(name) + suggest(name, known));
        }
    }
    return chosen;
}

/// What differs between two saved types, one line each.
void diffFields(std::vector<std::string>& lines, std::string const& where, Json const& before,
                Json const& after) {
    auto const compare = [&](std::string const& key) {
        Json const was = before.value(key, Json());
        if (after.contains(key) && was != after[key]) {
            lines.push_back(where);
            lines.back().append(": ").append(key).append(" is ").append(after[key].dump());
            lines.back().append(", was ").append(was.dump());
        }
    };
    for (auto const& [key, value] : after.items()) {
        // What is for people is no difference.
        if (!value.is_array() && key != "meaning" && key != "header") {
            compare(key);
        }
    }
    for (char const* key : {"constructorArgs", "args", "flags"}) {
        compare(key);
    }
    if (before.contains("bits")) { // an older program saved none
        compare("bits");
    }
}

std::map<std::string, Json> byName(Json const& list) {
    std::map<std::string, Json> all;
    for (Json const& each : list) {
        all[each.at("name").get<std::string>()] = each;
    }
    return all;
}

/// The first place where those that are in both lists stand in another order: ids of the log and layouts
/// follow from it.
void diffOrder(std::vector<std::string>& lines, std::string const& where, Json const& before,
               Json const& after) {
    auto const namesOf = [](Json const& list, std::map<std::string, Json> const& others) {
        std::vector<std::string> names;
        for (Json const& each : list) {
            std::string const name = each.at("name").get<std::string>();
            if (others.contains(name)) {
                names.push_back(name);
            }
        }
        return names;
    };
    std::vector<std::string> const was = namesOf(before, byName(after));
    std::vector<std::string> const is = namesOf(after, byName(before));
    auto const [old, now] = std::ranges::mismatch(was, is);
    if (old != was.end() && now != is.end()) {
        lines.push_back(where + *now + ": in another order, stands where " + *old + " stood");
    }
}

void diffLists(std::vector<std::string>& lines, std::string const& where, Json const& before,
               Json const& after) {
    auto const old = byName(before);
    auto const now = byName(after);
    auto const inner = [](Json const& type) {
        return type.contains("enumerators") ? type["enumerators"] : type.value("attributes", Json::array());
    };
    for (auto const& [name, each] : old) {
        if (!now.contains(name)) {
            lines.push_back(where + name + ": gone");
        }
    }
    for (auto const& [name, each] : now) {
        auto const found = old.find(name);
        if (found == old.end()) {
            lines.push_back(where + name + ": new");
            continue;
        }
        diffFields(lines, where + name, found->second, each);
        diffLists(lines, where + name + '.', inner(found->second), inner(each));
    }
    diffOrder(lines, where, before, after);
}

/// Of a list of types those in `only`, unless that is empty.
Json chosen(Json const& list, std::set<std::string> const& only) {
    Json kept = Json::array();
    for (Json const& each : list) {
        if (only.empty() || only.contains(each.at("name").get<std::string>())) {
            kept.push_back(each);
        }
    }
    return kept;
}

std::vector<std::string> diff(std::string const& file, Json const& now, std::set<std::string> const& only) {
    std::ifstream stream(file);
    if (!stream) {
        throw Refused("cannot read " + shown(file));
    }
    std::vector<std::string> lines;
    try {
        diffLists(lines, "", chosen(Json::parse(stream), only), chosen(now, only));
    } catch (Json::exception const&) {
        throw Refused(shown(file) + " is no schema; make one with loamtunnel schema --json");
    }
    return lines;
}

} // namespace

void schema(Context& context, SchemaOptions const& options) {
    if (options.checksum) {
        context.out << hex(Hardware::LoamTunnel::loamTunnelModule().checksum(), 16) << '\n';
        return;
    }
    std::vector<KorType*> const types = chosenTypes(options.types);
    auto const listOf = [](std::vector<KorType*> const& some) {
        Json list = Json::array();
        for (KorType const* type : some) {
            list.push_back(typeJson(*type));
        }
        return list;
    };
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
        std::set<std::string> only;
        for (KorType const* type : options.types.empty() ? std::vector<KorType*>() : types) {
            only.insert(nameOf(type));
        }
        for (std::string const& line : diff(options.diff, listOf(chosenTypes({})), only)) {
            context.out << Kor::plainText(line) << '\n';
            context.status = refusedStatus;
        }
    } else if (options.output.format == Format::json) {
        printJson(context.out, listOf(types));
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
                    listing.add({nameOf(type), kindOf(*type), attr->attributeId(),
                                 type->isEnumType() ? textOf(attr->name()) : signatureOf(*attr, brief),
                                 hex(attr->flags().word0, 8), hex(attr->flags().word1, 8), meaningOf(*attr)});
                }
            }
        }
        listing.print(context.out, options.output);
    }
}

} // namespace tool
