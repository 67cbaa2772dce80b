/// The types of the framework itself.

#include "reflect/registry/TypeOf.h"
#include "reflect/type/Dir.h"

namespace Kor {

namespace {

constexpr Shape computed{.role = Role::computed, .byOperation = true};
constexpr Shape virtualOperation{.role = Role::operation, .isVirtual = true};

/// Attributes of every entity. The ids between are those of records of the attribute log.
constexpr AttributeSpec entityAttributes[] = {
    {"name", Entity::nameAttr, Shape{.role = Role::field}, fwkTypeOf<Name>},
    {"version", Entity::versionAttr, computed, fwkTypeOf<U32>},
    {"mutableReads", Entity::mutableReadsAttr, computed, fwkTypeOf<U32>},
    {"fullName", Entity::fullNameAttr, computed, fwkTypeOf<String8>},
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

static constinit TypeModule module(FrameworkTypes::seeds);
// Before anything else of the library runs: its other modules build on these types.
[[gnu::init_priority(101)]] static TypeModule::Load const load(module);

} // namespace Kor
