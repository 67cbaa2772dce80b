#include "reflect/FrameworkTypes.h"

#include "reflect/TypeOf.h"

namespace Kor {

namespace {

/// Attributes of every entity. The ids between are those of records of the attribute log.
constexpr AttributeSpec entityAttributes[] = {
    {"name", Entity::nameAttr, AttributeProfile::fixed, fwkTypeOf<Name>},
    {"version", Entity::versionAttr, AttributeProfile::operation, fwkTypeOf<U32>},
    {"mutableReads", Entity::mutableReadsAttr, AttributeProfile::operation, fwkTypeOf<U32>},
    {"fullName", Entity::fullNameAttr, AttributeProfile::operation, fwkTypeOf<String8>},
    {"korNboAttrLogSaForMsgChannel", 153, AttributeProfile::virtualOperation, fwkTypeOf<Builtin<void*>>},
    {"korHasAttrLogInterface", Entity::korHasAttrLogInterfaceAttr, AttributeProfile::virtualOperation,
     fwkTypeOf<bool>},
};

constexpr ArgumentSpec entityArguments[] = {{"name", "Kor::Name"}};

} // namespace

template <>
struct detail::SpecOf<Entity> {
    static constexpr TypeSpec spec{
        sizeof(Entity), {.isEntity = true, .hasGenericIfSupport = true}, entityArguments, entityAttributes};
};

template <>
struct detail::SpecOf<PtrInterface> {
    static constexpr TypeSpec spec{sizeof(PtrInterface), {.hasGenericIfSupport = true}, {}, {}};
};

// A type object is told of, but not boxed: it is made with its type alone.
template <>
KorType* TypeMaker<KorType>::make(TypeSeed const& seed) {
    return new SpecifiedType(seed, detail::SpecOf<KorType>::spec);
}

TypeModule& frameworkTypes() {
    static TypeModule module(FrameworkTypes::seeds);
    return module;
}

} // namespace Kor
