#include "forms/Values.h"

#include "attrlog/adapter/WireForm.h"
#include "forms/Refused.h"
#include "reflect/IntrospectionReactor.h"
#include "reflect/Text.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace Kor::Forms {

namespace {

using Kor::GenericIf;
using Kor::KorType;
using Kor::String8;

std::string nameOf(KorType const& type) {
    return std::string(type.typeName().view());
}

std::string shortNameOf(KorType const& type) {
    return std::string(Kor::shortName(type.typeName().view()));
}

/// The stored attributes of a value, by name and type: what its constructor takes. None for what stands for
/// itself.
struct FieldOfType {
    std::string name;
    KorType const* type;
};
std::vector<FieldOfType> partsOf(KorType const& type) {
    std::vector<FieldOfType> parts;
    auto each = type.constructorArgTypeQQueue().begin();
    for (auto const& name : type.constructorArgNameQQueue()) {
        parts.push_back({std::string(name.value.view()), KorType::named((*each).value.view())});
        ++each;
    }
    return parts;
}

/// A value of constants alone.
bool isStateless(KorType const& type) {
    return !type.isEnumType() && partsOf(type).empty() && !type.attributes().empty();
}

std::string structured(KorType const& type, std::string_view attributes) {
    return "Value('" + nameOf(type) + "', ** {" + std::string(attributes) + "})";
}

Box readText(KorType const& type, std::string_view text) {
    Kor::ExactNumbers const exact;
    Box box = type.genericIf(String8(text), true);
    if (!box) {
        throw Refused(nameOf(type) + " has no text that is read");
    }
    return box;
}

std::string quoted(std::string const& inside) {
    return std::string(Kor::valueToStrep(String8(inside)).view());
}

/// How JSON is shown in a message: never deeper than its first level.
std::string shownJson(Json const& json) {
    return json.is_structured() ? "the " + std::string(json.type_name()) : shown(dumped(json));
}

/// The text of one that stands for itself: a number, a bool, an enumerator or a string.
std::string textOfScalar(Json const& json, KorType const& type, std::string const& where) {
    std::string text;
    if (json.is_string()) {
        text = quoted(json.get<std::string>());
    } else if (json.is_boolean()) {
        text = json.get<bool>() ? "True" : "False";
    } else if (json.is_number_integer()) {
        text = json.dump();
    }
    bool fits = !text.empty();
    if (fits) {
        try {
            readText(type, text);
        } catch (Kor::RangeException const&) {
            fits = false;
        }
    }
    if (!fits) {
        throw Refused(where + ": " + shownJson(json) + " is no " + nameOf(type));
    }
    return text;
}

std::string textOfJson(Json const& json, KorType const& type, std::string const& where) {
    std::vector<FieldOfType> const parts = partsOf(type);
    if (type.isEnumType() || (parts.empty() && !isStateless(type))) {
        return textOfScalar(json, type, where);
    }
    if (!json.is_object()) {
        if (parts.size() != 1) {
            throw Refused(where + ": " + shownJson(json) + " is no object of attributes");
        }
        return textOfJson(json, *parts[0].type, where);
    }
    std::string attributes;
    std::string single =
        parts.size() == 1 ? textOf(*type.genericIf(static_cast<void const*>(nullptr), true)) : "";
    for (auto const& [name, value] : json.items()) {
        auto const part = std::ranges::find_if(
            parts, [&name = name](FieldOfType const& each) { return each.name == name; });
        if (part == parts.end()) {
            std::vector<std::string> known;
            known.reserve(parts.size());
            for (FieldOfType const& each : parts) {
                known.push_back(each.name);
            }
            std::string message = where;
            message.append(" has no attribute ").append(shown(name));
            throw Refused(message.append(known.empty() ? "" : suggest(name, known)));
        }
        std::string inside = where;
        single = textOfJson(value, *part->type, inside.append(1, '.').append(name));
        attributes.append(attributes.empty() ? "'" : ", '").append(name).append("': ").append(single);
    }
    return parts.size() == 1 ? single : structured(type, attributes);
}

} // namespace

Kor::KorType const& valueTypeNamed(std::string_view name) {
    std::vector<KorType const*> found;
    std::vector<std::string> known;
    bool isOther = false;
    for (KorType const* type : Kor::IntrospectionReactor::global()->types()) {
        std::string const full = nameOf(*type);
        bool const isNamed = full == name || shortNameOf(*type) == name;
        if (!type->isValue()) {
            isOther = isOther || isNamed;
            continue;
        }
        known.push_back(shortNameOf(*type));
        if (full == name) {
            return *type;
        }
        if (isNamed) {
            found.push_back(type);
        }
    }
    if (found.size() > 1) {
        std::vector<std::string> names;
        names.reserve(found.size());
        for (KorType const* type : found) {
            names.push_back(nameOf(*type));
        }
        throw WrongUsage(std::string(name) + " can be " + enumerate(names, "or"));
    }
    if (found.empty()) {
        throw WrongUsage(isOther ? shown(name) + " is a type of objects; there is text of values alone"
                                 : "no type " + shown(name) + suggest(name, known));
    }
    return *found[0];
}

Box boxOfText(KorType const& type, std::string_view text) {
    try {
        return readText(type, text);
    } catch (Kor::RangeException const& refused) {
        throw Refused(shortNameOf(type) + ": " + shown(refused.what(), 300));
    }
}

Box boxOfJson(KorType const& type, std::string_view json) {
    std::string text;
    std::vector<std::set<std::string>> names; // of the objects that are open
    auto const once = [&](int, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            names.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            names.pop_back();
        } else if (event == Json::parse_event_t::key &&
                   !names.back().insert(parsed.get<std::string>()).second) {
            throw Refused(shortNameOf(type) + ": " + shown(parsed.get<std::string>()) + " is given twice");
        }
        return true;
    };
    try {
        text = textOfJson(Json::parse(json, once), type, shortNameOf(type));
    } catch (Json::parse_error const& error) {
        throw Refused(shortNameOf(type) + ": no JSON, from byte " + std::to_string(error.byte) + " on");
    }
    // A value of constants alone has a text that is read, which is not the one that it is written as.
    return boxOfText(type, isStateless(type) ? structured(type, "") : text);
}

Box boxOfHex(KorType const& type, std::string_view hexadecimal) {
    std::vector<U8> bytes;
    for (std::string_view word : split(hexadecimal, ",")) {
        std::string_view const given = word;
        word.remove_prefix(word.starts_with("0x") || word.starts_with("0X") ? 2 : 0);
        for (std::size_t i = 0; i < word.size(); i += 2) {
            auto const byte = parseNumber("0x" + std::string(word.substr(i, 2)));
            if (!byte || i + 1 == word.size()) {
                throw Refused(shortNameOf(type) + ": '" + shown(given) +
                              "' is no bytes in hexadecimal, two digits each, such as 00 04 or 0x0004");
            }
            bytes.push_back(static_cast<U8>(*byte));
        }
    }
    try {
        return Kor::NboAttrLog::fromWireForm(type, bytes);
    } catch (Kor::AttrLogRecordException const&) {
        throw Refused(shortNameOf(type) + ": " + std::to_string(bytes.size()) +
                      (bytes.size() == 1 ? " byte is" : " bytes are") +
                      " too few or too many for its byte form");
    } catch (Kor::GenericException const&) {
        throw Refused(nameOf(type) + " has no byte form");
    } catch (Kor::RangeException const& refused) {
        throw Refused(shortNameOf(type) + ": out of range: " + refused.what());
    }
}

std::string textOf(GenericIf const& box) {
    return std::string(box.strRep().view());
}

Json jsonOf(GenericIf const& box) {
    KorType const& type = *box.type();
    std::vector<FieldOfType> const parts = partsOf(type);
    if (!parts.empty() || isStateless(type)) {
        Json object = Json::object();
        for (FieldOfType const& part : parts) {
            // Reading changes nothing: the interface has one operation for both.
            Box const value = const_cast<GenericIf&>(box).attributeOp(
                {box.attributeId(String8(part.name)), GenericIf::AttributeOp::get}, nullptr, nullptr);
            object[part.name] = jsonOf(*value);
        }
        return object;
    }
    std::string const text = textOf(box);
    if (text == "True" || text == "False") {
        return text == "True";
    }
    if (text.starts_with('\'')) {
        return std::string(Kor::strepToValue<String8>(String8(text)).view());
    }
    return Json::parse(text, nullptr, false);
}

std::string hexOf(GenericIf const& box) {
    std::vector<std::string> bytes;
    try {
        for (U8 const byte : Kor::NboAttrLog::wireForm(box)) {
            bytes.push_back(hex(byte, 2).substr(2));
        }
    } catch (Kor::GenericException const&) {
        throw Refused(nameOf(*box.type()) + " has no byte form");
    } catch (Kor::RangeException const& refused) {
        throw Refused(shortNameOf(*box.type()) + ": " + refused.what());
    }
    return join(bytes);
}

bool hasBareText(KorType const& type) {
    return partsOf(type).size() == 1;
}

bool isStructured(std::string_view text) {
    std::string const head = join(split(text.substr(0, text.find('('))));
    return head == "Value" && text.find('(') != text.npos;
}

Box boxOfStructured(std::string_view text) {
    try {
        Kor::TextScanner scanner(text);
        std::string storage;
        scanner.needString(" Value (");
        return boxOfText(valueTypeNamed(scanner.quoted(storage)), text);
    } catch (Kor::RangeException const& refused) {
        throw Refused(shown(refused.what(), 300));
    } catch (WrongUsage const& unknown) {
        throw Refused(unknown.what());
    }
}

} // namespace Kor::Forms
