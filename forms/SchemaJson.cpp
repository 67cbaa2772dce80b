#include "forms/SchemaJson.h"

#include "forms/Fields.h"
#include "forms/Kind.h"
#include "forms/Text.h"
#include "forms/Values.h"
#include "model/LoamTunnelModule.h"
#include "reflect/type/AttrLogType.h"
#include "reflect/type/TypeModule.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <ostream>
#include <set>
#include <sstream>

namespace Kor::Forms {

namespace {

using Op = GenericIf::AttributeOp;

std::string_view textOfName(KorType const* type) {
    return type != nullptr ? type->typeName().view() : std::string_view();
}

void writePairs(JsonWriter& json, auto const& names, auto const& types) {
    json.beginArray();
    auto type = types.begin();
    for (auto const& name : names) {
        json.beginArray().string(name.value.view()).string((*type).value.view()).end();
        ++type;
    }
    json.end();
}

std::string_view roleText(Role role) {
    constexpr std::string_view names[] = {"none",      "key",      "fwkKey",    "field",     "view",
                                          "singleton", "map",      "queue",     "operation", "classOperation",
                                          "computed",  "constant", "enumerator"};
    return names[static_cast<std::size_t>(role)];
}

/// How the text form has a value.
std::string_view textOf(KorType const& type) {
    return type.isEnumType()                        ? "enumerator"
           : isNumberType(type)                     ? "number"
           : !type.isValue() || !defaultOf(type)    ? ""
           : isQuotedType(type)                     ? "quoted"
           : constructorArguments(type).size() == 1 ? "bare"
                                                    : "attributes";
}

Field const* fieldOf(KorType const& type, KorAttr const& attribute) {
    if (!type.isValue()) {
        return nullptr;
    }
    auto const found = std::ranges::find(fieldsOf(type), attribute.name().view(), &Field::name);
    return found != fieldsOf(type).end() ? &*found : nullptr;
}

/// A value under a name, where the value has JSON.
void writeValue(JsonWriter& json, std::string_view name, Box const& value) {
    if (value && (value->type()->isValue() || value->type()->isEnumType())) {
        json.key(name).raw(jsonText(*value));
    }
}

void writeAttribute(JsonWriter& json, KorType const& type, KorAttr const& attr) {
    Shape const& shape = attr.shape();
    json.beginObject().string("name", attr.name().view());
    json.key("id").raw(std::to_string(attr.attributeId()));
    json.string("type", textOfName(attr.type())).string("keyType", textOfName(attr.keyType()));
    json.string("keyAttribute", attr.keyAttributeName().view()).key("args").beginArray();
    for (auto const& each : attr.arguments()) {
        json.beginArray().string(each.name.view()).string(each.type.view()).end();
    }
    json.end()
        .key("flags")
        .beginArray()
        .string(hex(attr.flags().word0, 8))
        .string(hex(attr.flags().word1, 8))
        .end();
    json.number("introspection", attr.introspectionFlags().word).boolean("inherited", attr.isInherited());
    json.string("role", roleText(shape.role));
    json.string("counting", shape.counting == Counting::both ? "both"
                            : shape.counting == Counting::up ? "up"
                                                             : "none");
    json.boolean("keyed", shape.keyed).boolean("keyInside", shape.keyInside).boolean("child", shape.child);
    json.boolean("reference", shape.reference)
        .boolean("settable", shape.settable)
        .boolean("virtual", shape.isVirtual);
    json.boolean("travels", shape.travels);
    if (KorAttr::Bits const& bits = attr.bits(); !bits.word.empty()) {
        json.key("view")
            .beginObject()
            .string("word", bits.word)
            .number("low", bits.first)
            .number("bits", bits.last - bits.first + 1)
            .end();
    }
    if (Field const* const field = fieldOf(type, attr)) {
        writeValue(json, "default", field->get(*defaultOf(type)));
        if (isNumberType(*field->type)) {
            json.string("most", std::to_string(field->most)).string("words", field->refusal);
        }
        if (shape.checkedOnWire) {
            json.boolean("checkedOnWire", true);
        }
        if (U64 const always = type.abilities().always; shape.isField() && always != 0) {
            json.string("always", std::to_string(always));
        }
    } else if (shape.role == Role::singleton && attr.type()->isValue()) {
        writeValue(json, "default", defaultOf(*attr.type()));
    } else if (shape.role == Role::constant && type.isValue()) {
        writeValue(json, "value",
                   defaultOf(type)->attributeOp({attr.attributeId(), Op::get}, nullptr, nullptr));
    }
    json.string("meaning", attr.meaning()).end();
}

/// What JSON may stand for a value of the type.
void writeValueSchema(JsonWriter& json, KorType const& type);

void writeReference(JsonWriter& json, KorType const& type) {
    if (isNumberType(type)) {
        writeValueSchema(json, type);
    } else {
        json.beginObject().string("$ref", "#/$defs/" + std::string(textOfName(&type))).end();
    }
}

/// A number, or a string of one.
void writeNumberSchema(JsonWriter& json, std::string const& least, U64 most) {
    json.beginObject().key("anyOf").beginArray();
    json.beginObject().string("type", "integer").key("minimum").raw(least);
    json.number("maximum", most).end().beginObject().string("type", "string");
    json.string("pattern", std::string(least == "0" ? "^" : "^-?") + "(0[xX][0-9a-fA-F]+|[0-9]+)$");
    json.end().end().end();
}

/// A field of a value: a number has the limits of the field.
void writeFieldSchema(JsonWriter& json, KorType const& type, Argument const& argument) {
    Field const& field = fieldNamed(type, argument.name);
    if (field.type->abilities().scalar != Scalar::number || field.most == 0) {
        writeReference(json, *argument.type);
        return;
    }
    writeNumberSchema(json, "0", field.most);
}

void writeObjectSchema(JsonWriter& json, KorType const& type) {
    json.beginObject().string("type", "object").key("properties").beginObject();
    for (Argument const& each : constructorArguments(type)) {
        writeFieldSchema(json.key(each.name), type, each);
    }
    json.end().boolean("additionalProperties", false).end();
}

void writeValueSchema(JsonWriter& json, KorType const& type) {
    if (isBoolType(type)) {
        json.beginObject().string("type", "boolean").end();
    } else if (isNumberType(type)) {
        bool const isSigned = type.abilities().scalar == Scalar::signedNumber;
        U64 const half = U64{1} << (8 * type.size() - 1);
        writeNumberSchema(json, isSigned ? '-' + std::to_string(half) : "0",
                          half - 1 + (isSigned ? 0 : half));
    } else if (type.isEnumType()) {
        json.beginObject()
            .string("type", "string")
            .key("anyOf")
            .beginArray()
            .beginObject()
            .key("enum")
            .beginArray();
        for (auto const& each : type.attributes()) {
            json.string(each->name().view());
        }
        json.end().end().beginObject().string("pattern", "^[A-Za-z:]+\\(-?[0-9]+\\)$").end().end().end();
    } else if (isQuotedType(type)) {
        json.beginObject().string("type", "string").end();
    } else if (std::vector<Argument> const arguments = constructorArguments(type); arguments.size() == 1) {
        json.beginObject().key("anyOf").beginArray();
        writeObjectSchema(json, type);
        writeFieldSchema(json, type, arguments[0]);
        json.end().end();
    } else {
        writeObjectSchema(json, type);
    }
}

// Differences

std::string dumped(Json const& json) {
    TextStream text;
    JsonWriter(text).value(json);
    return text.str();
}

void diffFields(std::vector<std::string>& lines, std::string const& where, Json const& before,
                Json const& after) {
    for (auto const& [key, is] : after.members) {
        bool const isList = key == "attributes" || key == "enumerators";
        if (isList || key == "meaning" || key == "header") { // what is for people is no difference
            continue;
        }
        Json const* const was = before.find(key);
        if (was != nullptr && *was != is) { // an older program did not save all
            std::string line = where;
            line.append(": ").append(key).append(" is ").append(dumped(is));
            lines.push_back(line.append(", was ").append(dumped(*was)));
        }
    }
}

using Names = std::vector<std::pair<std::string, Json const*>>;

Names namesOf(Json const* list) {
    Names names;
    if (list != nullptr) {
        for (auto const& [none, each] : list->members) {
            names.emplace_back(each.at("name").text, &each);
        }
    }
    return names;
}

/// The first place where those that are in both lists stand in another order: ids of the log and layouts
/// follow from it.
void diffOrder(std::vector<std::string>& lines, std::string const& where, Names const& before,
               Names const& after, std::map<std::string, Json const*> const& old,
               std::map<std::string, Json const*> const& now) {
    auto const common = [](Names const& list, std::map<std::string, Json const*> const& others) {
        std::vector<std::string> names;
        for (auto const& [name, json] : list) {
            if (others.contains(name)) {
                names.push_back(name);
            }
        }
        return names;
    };
    std::vector<std::string> const was = common(before, now);
    std::vector<std::string> const is = common(after, old);
    auto const [first, other] = std::ranges::mismatch(was, is);
    if (first != was.end() && other != is.end()) {
        lines.push_back(where + *other + ": in another order, stands where " + *first + " stood");
    }
}

void diffLists(std::vector<std::string>& lines, std::string const& where, Names const& before,
               Names const& after) {
    std::map<std::string, Json const*> const old(before.begin(), before.end());
    std::map<std::string, Json const*> const now(after.begin(), after.end());
    auto const inner = [](Json const& type) {
        Json const* const enumerators = type.find("enumerators");
        return namesOf(enumerators != nullptr ? enumerators : type.find("attributes"));
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
        diffFields(lines, where + name, *found->second, *each);
        diffLists(lines, where + name + '.', inner(*found->second), inner(*each));
    }
    diffOrder(lines, where, before, after, old, now);
}

} // namespace

std::string_view kindOf(KorType const& type) {
    return type.isEnumType() ? "enumeration"
           : type.isValue()  ? "value"
           : type.isEntity() ? "entity"
                             : "object";
}

std::vector<SchemaType> schemaTypes(std::vector<KorType*> const& types) {
    std::vector<SchemaType> all;
    std::set<KorType const*> known(types.begin(), types.end());
    for (KorType const* type : types) {
        all.push_back({type, false});
    }
    std::map<std::string_view, KorType const*> others;
    auto const take = [&](KorType const* type) {
        if (type != nullptr && !isNumberType(*type) && type != fwkTypeOf<Builtin<void*>>() &&
            known.insert(type).second) {
            all.push_back({type, true});
            others.emplace(textOfName(type), type);
        }
    };
    // NOLINTNEXTLINE(modernize-loop-convert): it goes on to those that are found on the way
    for (std::size_t i = 0; i < all.size(); ++i) {
        KorType const& type = *all[i].type;
        take(type.base());
        for (auto const& name : type.constructorArgTypeQQueue()) {
            take(KorType::named(name.value.view()));
        }
        for (auto const& attr : type.attributes()) {
            take(attr->type());
            take(attr->keyType());
            for (auto const& argument : attr->arguments()) {
                take(KorType::named(argument.type.view()));
            }
        }
    }
    all.resize(types.size());
    for (auto const& [name, type] : others) {
        all.push_back({type, true});
    }
    return all;
}

std::vector<SchemaType> schemaTypes() {
    return schemaTypes(Hardware::LoamTunnel::loamTunnelModule().defined());
}

void writeSchemaHead(JsonWriter& json) {
    json.number("version", 1);
    json.string("checksum", hex(Hardware::LoamTunnel::loamTunnelModule().checksum(), 16));
}

void writeType(JsonWriter& json, SchemaType const& each) {
    KorType const& type = *each.type;
    json.beginObject()
        .string("name", textOfName(&type))
        .string("kind", kindOf(type))
        .boolean("platform", each.isPlatform);
    json.string("base", textOfName(type.base()))
        .string("outer", textOfName(type.scope()))
        .key("constructorArgs");
    writePairs(json, type.constructorArgNameQQueue(), type.constructorArgTypeQQueue());
    json.string("valueAttribute",
                type.valAttr() != nullptr ? type.valAttr()->name().view() : std::string_view());
    json.number("size", type.size()).string("header", type.header()).string("meaning", type.meaning());
    json.boolean("travels", AttrLogType::named(textOfName(&type)) != nullptr);
    std::string_view const text = textOf(type);
    json.string("text", text);
    if (text == "bare") {
        json.string("scalar", constructorArguments(type)[0].name);
    }
    if (!text.empty()) {
        writeValue(json, "default", defaultOf(type));
    }
    if (std::string_view const tag = tagOf(type);
        !tag.empty()) { // the enumerator that says of which type it is
        json.string("tag", tag);
    }
    json.key(type.isEnumType() ? "enumerators" : "attributes").beginArray();
    for (auto const& attr : type.attributes()) {
        if (type.isEnumType()) {
            json.beginObject()
                .string("name", attr->name().view())
                .number("number", static_cast<U64>(attr->attributeId()));
            json.string("meaning", attr->meaning()).end();
        } else {
            writeAttribute(json, type, *attr);
        }
    }
    json.end().end();
}

void printSchemaJson(std::ostream& out, std::vector<SchemaType> const& types) {
    JsonWriter json(out, true);
    json.beginObject();
    writeSchemaHead(json);
    json.key("types").beginArray();
    for (SchemaType const& each : types) {
        writeType(json, each);
    }
    json.end().end();
    out << '\n';
}

void printJsonSchema(std::ostream& out, std::vector<SchemaType> const& types) {
    JsonWriter json(out, true);
    json.beginObject().string("$schema", "https://json-schema.org/draft/2020-12/schema");
    json.string("title", "Values as loamtunnel prints and reads them").key("$defs").beginObject();
    for (SchemaType const& each : types) {
        if (!textOf(*each.type).empty()) {
            writeValueSchema(json.key(textOfName(each.type)), *each.type);
        }
    }
    json.end().end();
    out << '\n';
}

std::vector<std::string> schemaDiff(Json const& before, Json const& after,
                                    std::vector<std::string> const& only) {
    auto const typesOf = [](Json const& schema) {
        return namesOf(schema.isArray() ? &schema : &schema.at("types"));
    };
    auto const isPlatform = [](auto const& each) {
        Json const* const is = each.second->find("platform");
        return is != nullptr && is->text == "true";
    };
    // An old schema has none of the platform's types.
    bool const both = std::ranges::any_of(typesOf(before), isPlatform);
    auto const chosen = [&](Json const& schema) {
        Names names = typesOf(schema);
        std::erase_if(names, [&](auto const& each) {
            return (!both && isPlatform(each)) ||
                   (!only.empty() && std::ranges::find(only, each.first) == only.end());
        });
        return names;
    };
    std::vector<std::string> lines;
    diffLists(lines, "", chosen(before), chosen(after));
    return lines;
}

} // namespace Kor::Forms
