#pragma once

/// Random values of any type of the registry, found through type objects alone: each is composed as text.

#include "reflect/Text.h"
#include "reflect/box/GenericIf.h"
#include "reflect/type/IntrospectionReactor.h"
#include "support/Random.h"

#include <string>
#include <vector>

namespace support {

using Box = Kor::Ptr<Kor::GenericIf>;

struct StoredPart {
    std::string name;
    Kor::KorType const* type;
};

/// What the constructor of a value takes: its stored attributes.
inline std::vector<StoredPart> storedParts(Kor::KorType const& type) {
    std::vector<StoredPart> parts;
    auto each = type.constructorArgTypeQQueue().begin();
    for (auto const& name : type.constructorArgNameQQueue()) {
        parts.push_back({std::string(name.value.view()), Kor::KorType::named((*each).value.view())});
        ++each;
    }
    return parts;
}

/// A value that has nothing but constants: the one text that does not read back.
inline bool isStateless(Kor::KorType const& type) {
    return !type.isEnumType() && storedParts(type).empty() && !type.attributes().empty();
}

/// All values and enumerations that are read from text.
inline std::vector<Kor::KorType const*> textTypes() {
    std::vector<Kor::KorType const*> types;
    for (Kor::KorType const* type : Kor::IntrospectionReactor::global()->types()) {
        try {
            if (type->isValue() && type->genericIf(Kor::String8(), true)) {
                types.push_back(type);
            }
        } catch (Kor::RangeException const&) {
            types.push_back(type); // the empty text is none of this type
        }
    }
    return types;
}

inline Box readAny(Kor::KorType const& type, std::string const& text) {
    return type.genericIf(Kor::String8(text), true);
}

inline Box defaultBox(Kor::KorType const& type) {
    return type.genericIf(static_cast<void const*>(nullptr), true);
}

inline std::string textOf(Box const& box) {
    return std::string(box->strRep().view());
}

inline bool areEqual(Box const& a, Box const& b) {
    if (a->type()->isEnumType()) {
        return textOf(a) == textOf(b);
    }
    return Kor::unbox<bool>(*a->attributeOp({0, Kor::GenericIf::AttributeOp::equals}, b, nullptr));
}

/// The text of a value that stands for itself: the first of the random ones of all kinds that the type takes.
inline std::string randomScalar(Kor::KorType const& type, Random& random) {
    for (;;) {
        auto const number = [&](Kor::U32 below) { return std::to_string(random.below(below)); };
        auto const quoted = [](std::string const& inside) {
            return std::string(Kor::valueToStrep(Kor::String8(inside)).view());
        };
        std::string any(random.below(6), ' ');
        random.fill(any.data(), any.size());
        std::string const port =
            "Ethernet" + number(64) + '/' + number(4) + '.' + std::to_string(1 + random.below(99));
        std::string const chip = number(60);
        for (std::string const& text :
             {std::to_string(random.next() >> random.below(64)),
              std::string(random.below(2) != 0 ? "True" : "False"),
              quoted(chip + ',' + std::to_string(61 + random.below(5)) + '-' +
                     std::to_string(67 + random.below(61))),
              quoted(number(256) + '.' + number(256) + '.' + number(256) + '.' + number(256)), quoted(port),
              quoted(port + ",Vlan7"), quoted(any)}) {
            try {
                return textOf(readAny(type, text));
            } catch (Kor::RangeException const&) {
                // Not of this type.
            }
        }
    }
}

/// A text of a random value, as it is written but for what a reader cuts or mends.
inline std::string randomText(Kor::KorType const& type, Random& random) {
    if (type.isEnumType()) {
        auto const all = type.attributes();
        return '\'' + std::string(all[random.below(static_cast<Kor::U32>(all.size()))]->name().view()) + '\'';
    }
    std::vector<StoredPart> const parts = storedParts(type);
    if (parts.size() == 1) {
        return randomText(*parts[0].type, random);
    }
    if (parts.empty() && !isStateless(type)) {
        return randomScalar(type, random);
    }
    std::string text = "Value('" + std::string(type.typeName().view()) + "', ** {";
    for (StoredPart const& part : parts) {
        text += &part == &parts[0] ? "'" : ", '";
        text += part.name + "': " + randomText(*part.type, random);
    }
    return text + "})";
}

/// Of those that the type's range takes.
inline Box randomBox(Kor::KorType const& type, Random& random) {
    for (;;) {
        try {
            return readAny(type, randomText(type, random));
        } catch (Kor::RangeException const&) {
            // Out of the type's range: another one.
        }
    }
}

} // namespace support
