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

constexpr NamedText entityTexts[] = {
    {"", "What all entities are: they have a name, a version and a parent"},
    {"name", "The name in the tree of objects; empty for the child of a map"},
    {"version", "Rises by 1 with each change of an attribute, but not with xInc and xDec"},
    {"mutableReads", "How often a child or a reference was handed out for writing"},
    {"fullName", "The path in the tree of objects"},
    {"korNboAttrLogSaForMsgChannel", "The stream adapter of the same connection as another one"},
    {"korHasAttrLogInterface", "Whether the entity travels on an attribute log"}};

} // namespace

template <>
struct detail::SpecOf<Entity> {
    static constexpr auto& attributes = entityAttributes;
    static constexpr auto& arguments = entityArguments;
};

template <>
struct detail::TextsOf<Entity> {
    static constexpr auto& all = entityTexts;
    static constexpr std::string_view header = "runtime/Entity.h";
};

TypeModule& frameworkTypes() {
    static TypeModule module(FrameworkTypes::seeds);
    return module;
}

} // namespace Kor
