#include "reflect/KorType.h"
#include "reflect/TypeModule.h"

#include <utility>

namespace Kor {

KorAttr::KorAttr(KorType* owner, Name name, KorType* type, KorType* keyType, AttrFlags flags, AttributeId id)
    : owner_(owner), name_(std::move(name)), type_(type), keyType_(keyType), flags_(flags), id_(id) {}

Ptr<KorAttr> KorAttr::copyFor(KorType* heir) const {
    auto copy = makePtr<KorAttr>(heir, name_, type_, keyType_, flags_, id_);
    copy->keyAttributeName_ = keyAttributeName_;
    copy->arguments_ = arguments_;
    copy->introspection_ = introspection_;
    copy->shape_ = shape_;
    copy->meaning_ = meaning_;
    copy->bits_ = bits_;
    copy->isConst_ = isConst_;
    copy->isInherited_ = true;
    return copy;
}

bool KorAttr::hasValue() const noexcept {
    return type_ != fwkTypeOf<Builtin<void*>>();
}

bool KorAttr::isOfEveryEntity() const noexcept {
    KorType const* const entity = Entity::_fwkType();
    return owner_->isA(entity) && entity->attribute(id_) != nullptr;
}

KorTypeAttr::KorTypeAttr(KorType* type, Name const& name) : KorAttr(type, name, type, nullptr, {}, 0) {}

KorAttr* KorTypeAttr::attr(Name const& name) {
    Entry const* const found = attrs_.member(name);
    return found ? found->value.ptr() : nullptr;
}

KorAttr const* KorTypeAttr::attr(Name const& name) const {
    return const_cast<KorTypeAttr&>(*this).attr(name);
}

KorAttr* KorTypeAttr::attrIs(Name const& name, Ptr<KorType> const& type, KorAttr* keyAttribute, KorAttr*,
                             AttrFlags const& flags, AttributeId id) {
    auto made = makePtr<KorAttr>(owner(), name, type.ptr(), nullptr, flags, id);
    if (keyAttribute != nullptr) {
        made->keyAttributeNameIs(keyAttribute->name());
    }
    attrAdd(made);
    return made.ptr();
}

void KorTypeAttr::attrDel(Name const& name) {
    if (U32 const key = owner()->attributeQIdx(name); key != 0) {
        owner()->attributeQDel(key);
        owner()->attributeQIdxDel(name);
    }
    attrs_.deleteMember(name);
}

void KorTypeAttr::attrAdd(Ptr<KorAttr> const& attr) {
    attrs_.deleteMember(attr->name());
    attrs_.newMember(makePtr<Entry>(attr->name(), attr));
}

} // namespace Kor
