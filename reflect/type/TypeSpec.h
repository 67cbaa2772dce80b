#pragma once

/// A type's definition as plain data, computed from its declaration at compile time: what its type object is
/// filled in from. One loop defines all types; reflect/registry/TypeOf.h has what is computed.

#include "reflect/type/KorType.h"
#include "runtime/Texts.h"

#include <algorithm>
#include <span>

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
    /// Of a view.
    KorAttr::Bits bits = {};
    /// Of an operation, or of the object of a reference.
    bool isConst = false;
};

struct TypeSpec {
    U32 size;
    KorTypeFlags flags;
    std::span<ArgumentSpec const> constructorArguments;
    std::span<AttributeSpec const> attributes;
    std::span<NamedText const> texts = {};
    std::string_view header = {};
    KorType::Abilities abilities = {};

    // How boxes and entities of the type are made; null where they are not.
    Ptr<GenericIf> (*ofValue)(void const* value, bool isConst) = nullptr;
    Ptr<GenericIf> (*ofArguments)(GenericIf const* arguments) = nullptr;
    Ptr<GenericIf> (*ofText)(String8 const& text, bool isConst) = nullptr;
    Ptr<GenericIf> (*ofObject)(PtrInterface* object, bool isConst) = nullptr;
    Ptr<Entity> (*ofName)(Name const& name) = nullptr;

    /// Of an attribute, or of the type under the empty name; empty where there is none.
    std::string_view textOf(std::string_view name) const {
        auto const at = std::ranges::find(texts, name, &NamedText::name);
        return at != texts.end() ? at->text : std::string_view();
    }
};

} // namespace Kor
