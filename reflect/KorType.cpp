#include "reflect/KorType.h"

#include "reflect/Registry.h"
#include "reflect/TypeModule.h"
#include "reflect/TypeSpec.h"
#include "reflect/box/GenericIf.h"

#include <algorithm>
#include <utility>

namespace Kor {

using detail::Registry;

namespace {

/// Of a type of which no more than the seed is known.
constexpr TypeSpec bare{0, {}, {}, {}};

} // namespace

KorType::KorType(Name name, KorType*, KorType* base, KorTypeFlags const& flags)
    : EntityOver(std::move(name)), base_(base), typeAttr_(makePtr<KorTypeAttr>(this, this->name())),
      spec_(&bare) {
    typeFlagsIs(flags);
}

KorType::KorType(TypeSeed const& seed, TypeSpec const& spec)
    : KorType(String8(shortName(seed.name)), nullptr, seed.base != nullptr ? seed.base() : nullptr, {}) {
    spec_ = &spec;
}

KorType::~KorType() = default;

KorType* KorType::named(std::string_view fullName) {
    return Registry::global().find(fullName);
}

std::vector<KorType*> KorType::all() {
    std::vector<KorType*> types;
    types.reserve(Registry::global().types.size());
    for (auto const& [name, type] : Registry::global().types) {
        types.push_back(type);
    }
    return types;
}

bool KorType::isA(KorType const* other) const noexcept {
    KorType const* at = this;
    while (at != nullptr && at != other) {
        at = at->base_;
    }
    return at != nullptr;
}

std::vector<Ptr<KorAttr const>> KorType::attributes() const {
    std::vector<Ptr<KorAttr const>> all;
    for (auto const& each : attributeQQueue()) {
        all.emplace_back(each.value);
    }
    return all;
}

KorAttr const* KorType::attribute(AttributeId id) const {
    for (auto const& each : attributeQQueue()) {
        if (each.value->attributeId() == id) {
            return each.value.ptr();
        }
    }
    return nullptr;
}

std::string_view KorType::meaning() const {
    return spec_->textOf("");
}

std::string_view KorType::header() const {
    return spec_->header;
}

KorType::Abilities KorType::abilities() const {
    return spec_->abilities;
}

Ptr<Entity> KorType::newEntity(Name const& name, Dir*) const {
    return spec_->ofName != nullptr ? spec_->ofName(name) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(void const* value, bool isConst) const {
    return spec_->ofValue != nullptr ? spec_->ofValue(value, isConst) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(GenericIf const* arguments, bool) const {
    return spec_->ofArguments != nullptr ? spec_->ofArguments(arguments) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(String8 const& text, bool isConst) const {
    return spec_->ofText != nullptr ? spec_->ofText(text, isConst) : nullptr;
}

Ptr<GenericIf> KorType::genericIf_(PtrInterface* object, bool isConst) const {
    return spec_->ofObject != nullptr ? spec_->ofObject(object, isConst) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(PtrInterface* object, bool isConst) {
    return object != nullptr ? object->fwkType()->genericIf_(object, isConst) : nullptr;
}

void KorType::nestedTypeIs(Name const& name, KorType* type, KorTypeFlags const& flags) {
    EntityOver::nestedTypeIs(name, type);
    type->typeFlagsIs(flags);
}

void KorType::flagIs(bool KorTypeFlags::*flag, bool on) {
    KorTypeFlags flags = typeFlags();
    flags.*flag = on;
    typeFlagsIs(flags);
}

void KorType::typeNodeIs(KorType const* type, Name const& fullName) {
    Registry& registry = Registry::global();
    KorType* const known = registry.find(fullName.view());
    if (known == type) {
        return;
    }
    if (known != nullptr) {
        throwInternalException(format("two types are called %s", fullName.charPtr()));
    }
    registry.types.erase(type->fullName_.view());
    auto* const renamed = const_cast<KorType*>(type);
    renamed->fullName_ = fullName;
    registry.types.emplace(renamed->fullName_.view(), renamed);
}

KorAttr const* KorType::korDescriptor(AttributeId id) const {
    auto const at = std::ranges::find(descriptors_, id, &KorAttr::attributeId);
    return at != descriptors_.end() ? *at : nullptr;
}

KorAttr::KorAttr(KorType* owner, Name name, KorType* type, KorType* keyType, AttrFlags flags, AttributeId id)
    : owner_(owner), name_(std::move(name)), type_(type), keyType_(keyType), flags_(flags), id_(id) {}

Ptr<KorAttr> KorAttr::copyFor(KorType* heir) const {
    auto copy = makePtr<KorAttr>(*this);
    copy->owner_ = heir;
    copy->isInherited_ = true;
    return copy;
}

void KorAttr::describe(Shape const& shape, std::string_view meaning, Bits const& bits,
                       bool isConst) noexcept {
    shape_ = shape;
    meaning_ = meaning;
    bits_ = bits;
    isConst_ = isConst;
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
