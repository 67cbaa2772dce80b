/// The types of the framework itself.

#include "reflect/registry/TypeOf.h"
#include "reflect/type/Dir.h"

namespace Kor {

namespace {

constexpr Shape computed{.role = Role::computed};
constexpr Shape operation{.role = Role::operation};
constexpr Shape virtualOperation{.role = Role::operation, .isVirtual = true};

constexpr AttributeSpec read(std::string_view name, AttributeId id, TypeSeed::Get type) {
    return {.name = name, .id = id, .shape = computed, .type = type, .toldAs = &operation};
}

/// Attributes of every entity. The ids between are those of records of the attribute log.
constexpr AttributeSpec entityAttributes[] = {
    {"name", Entity::nameAttr, Shape{.role = Role::field}, fwkTypeOf<Name>},
    read("version", Entity::versionAttr, fwkTypeOf<U32>),
    read("mutableReads", Entity::mutableReadsAttr, fwkTypeOf<U32>),
    read("fullName", Entity::fullNameAttr, fwkTypeOf<String8>),
    {"korNboAttrLogSaForMsgChannel", 153, virtualOperation, fwkTypeOf<Builtin<void*>>},
    {"korHasAttrLogInterface", Entity::korHasAttrLogInterfaceAttr, virtualOperation, fwkTypeOf<bool>},
};

constexpr ArgumentSpec entityArguments[] = {{"name", "Kor::Name"}};

} // namespace

template <>
struct detail::SpecOf<Entity> {
    static constexpr auto& attributes = entityAttributes;
    static constexpr auto& arguments = entityArguments;
};

TypeModule& frameworkTypes() {
    static TypeModule module(FrameworkTypes::seeds);
    return module;
}

} // namespace Kor
