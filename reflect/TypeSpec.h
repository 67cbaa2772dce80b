#pragma once

/// A type's definition as plain data, computed from its declaration at compile time, and the type object that
/// is filled in from it. One loop defines all types; reflect/TypeOf.h has what is computed.

#include "reflect/AttributeProfile.h"
#include "reflect/IntrospectionReactor.h"

#include <span>

namespace Kor {

struct ArgumentSpec {
    std::string_view name;
    std::string_view type;
};

struct AttributeSpec {
    std::string_view name;
    AttributeId id;
    AttributeProfile profile;
    TypeSeed::Get type;
    /// Null for an attribute without a key.
    TypeSeed::Get keyType = nullptr;
    /// Empty where the key stands apart from the value.
    std::string_view keyAttribute = {};
    std::span<ArgumentSpec const> arguments = {};
};

struct TypeSpec {
    U32 size;
    KorTypeFlags flags;
    std::span<ArgumentSpec const> constructorArguments;
    std::span<AttributeSpec const> attributes;
};

/// A type object that is defined from such data.
class __attribute__((visibility("default"))) SpecifiedType : public KorType {
public:
    /// `spec` must live on: it is not copied.
    SpecifiedType(TypeSeed const& seed, TypeSpec const& spec);

protected:
    void define(KorType& self, IntrospectionReactor& reactor,
                std::function<void()> const& nested) const override;
    std::vector<std::string_view> descriptorNames() const override;

private:
    TypeSpec const& spec_;
};

} // namespace Kor
