#include "reflect/type/AttrLogType.h"

#include "reflect/type/KorType.h"

#include <unordered_map>

namespace Kor {

static auto& known() {
    static auto* const types = new std::unordered_map<std::string_view, AttrLogType const*>;
    return *types;
}

AttrLogType const* AttrLogType::named(std::string_view typeName) {
    auto const at = known().find(typeName);
    return at != known().end() ? at->second : nullptr;
}

void AttrLogType::add(std::string_view typeName, AttrLogType const& type) {
    known().try_emplace(typeName, &type);
}

Ptr<Entity::KorNboAttrLogSa> AttrLogType::adapterIs(Entity& entity, Entity::Kor_BitSet flags, unsigned int id,
                                                    Ptr<NboAttrLog::Out> const& out, PtrInterface* context) {
    if (!out) {
        throwRangeException("null ValidPtr");
    }
    AttrLogType const* const type = named(entity.fwkType()->typeName().view());
    return type != nullptr ? type->streamAdapterIs(entity, flags, id, out, context) : nullptr;
}

Ptr<Entity> KorType::newEntity(Ptr<NboAttrLog::In> const& in, Entity::Kor_BitSet, unsigned int,
                               PtrInterface*) const {
    AttrLogType const* const type = AttrLogType::named(typeName().view());
    return type != nullptr ? type->newEntity(*in) : nullptr;
}

void KorType::childAttrLogIs(Ptr<KorAttr const> const& attr, Ptr<PtrInterface> const& owner,
                             Ptr<NboAttrLog::Out> const& out) const {
    AttrLogType const* const type = AttrLogType::named(typeName().view());
    if (Ptr<Entity> const entity = ptrCast<Entity>(owner);
        entity && entity->fwkType() == this && type != nullptr) {
        type->childAttrLogIs(*entity, attr->attributeId(), out);
    }
}

} // namespace Kor
