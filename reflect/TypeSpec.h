#pragma once

/// A type's definition as plain data, computed from its declaration at compile time, and the type object that
/// is filled in from it. One loop defines all types; reflect/TypeOf.h has what is computed.

#include "reflect/IntrospectionReactor.h"

#include <functional>
#include <span>
#include <vector>

namespace Kor {

struct ArgumentSpec {
    std::string_view name;
    std::string_view type;
    Passing passing = Passing::byValue;
};

struct AttributeSpec {
    std::string_view name;
    AttributeId id;
    Shape shape;
    TypeSeed::Get type;
    /// Null for an attribute without a key.
    TypeSeed::Get keyType = nullptr;
    /// Empty where the key stands apart from the value.
    std::string_view keyAttribute = {};
    std::span<ArgumentSpec const> arguments = {};
    /// The shape that its flag words tell, where that is another one.
    Shape const* toldAs = nullptr;
    /// Of a view.
    KorAttr::Bits bits = {};
    /// Of an operation.
    bool isConst = false;
};

struct TypeSpec {
    U32 size;
    KorTypeFlags flags;
    std::span<ArgumentSpec const> constructorArguments;
    std::span<AttributeSpec const> attributes;
    /// See Kor::texts().
    std::span<std::string_view const> texts = {};
    std::string_view header = {};
    KorType::Abilities abilities = {};

    /// Of an attribute, or of the type under the empty name; empty where there is none.
    constexpr std::string_view textOf(std::string_view name) const {
        for (std::size_t i = 0; i + 1 < texts.size(); i += 2) {
            if (texts[i] == name) {
                return texts[i + 1];
            }
        }
        return {};
    }
};

/// A type object that is defined from such data.
class KOR_EXPORT SpecifiedType : public KorType {
public:
    /// `spec` must live on: it is not copied.
    SpecifiedType(TypeSeed const& seed, TypeSpec const& spec);

    std::string_view meaning() const override { return spec_.textOf(""); }
    std::string_view header() const override { return spec_.header; }
    Abilities abilities() const override { return spec_.abilities; }

protected:
    void define(KorType& self, IntrospectionReactor& reactor,
                std::function<void()> const& nested) const override;
    std::vector<std::string_view> descriptorNames() const override;

private:
    TypeSpec const& spec_;
};

} // namespace Kor
