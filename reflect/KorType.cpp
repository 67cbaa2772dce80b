#include "reflect/KorType.h"

#include "reflect/IntrospectionReactor.h"
#include "reflect/Registry.h"
#include "reflect/box/GenericIf.h"

#include <algorithm>
#include <utility>

namespace Kor {

using detail::Registry;

KorType::KorType(Name name, KorType*, KorType* base, KorTypeFlags const& flags)
    : EntityOver(std::move(name)), base_(base), typeAttr_(makePtr<KorTypeAttr>(this, this->name())) {
    typeFlagsIs(flags);
}

KorType::~KorType() = default;

KorType* KorType::named(std::string_view fullName) {
    return Registry::global().find(fullName);
}

std::vector<KorType*> KorType::all() {
    std::vector<KorType*> types;
    types.reserve(Registry::global().sorted.size());
    for (auto const& [name, type] : Registry::global().sorted) {
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

// A bare object answers by the one that knows the type, if there is one.

Ptr<Entity> KorType::newEntity(Name const& name, Dir* dir) const {
    return knownBy_ != nullptr ? knownBy_->newEntity(name, dir) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(void const* value, bool isConst) const {
    return knownBy_ != nullptr ? knownBy_->genericIf(value, isConst) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(GenericIf const* arguments, bool isConst) const {
    return knownBy_ != nullptr ? knownBy_->genericIf(arguments, isConst) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(String8 const& text, bool isConst) const {
    return knownBy_ != nullptr ? knownBy_->genericIf(text, isConst) : nullptr;
}

Ptr<GenericIf> KorType::genericIf_(PtrInterface* object, bool isConst) const {
    return knownBy_ != nullptr ? knownBy_->genericIf_(object, isConst) : nullptr;
}

Ptr<GenericIf> KorType::genericIf(PtrInterface* object, bool isConst) {
    return object != nullptr ? object->fwkType()->genericIf_(object, isConst) : nullptr;
}

void KorType::typeFlagsDoEmbeddedWriteConstraints() {}

void KorType::nestedTypeIs(Name const& name, KorType* type, KorTypeFlags const& flags) {
    EntityOver::nestedTypeIs(name, type);
    type->typeFlagsIs(flags);
}

void KorType::flagIs(bool KorTypeFlags::*flag, bool on) {
    KorTypeFlags flags = typeFlags();
    flags.*flag = on;
    typeFlagsIs(flags);
}

void KorType::isValueIs(bool on) {
    flagIs(&KorTypeFlags::isValue, on);
}

void KorType::isEntityIs(bool on) {
    flagIs(&KorTypeFlags::isEntity, on);
}

void KorType::isEnumTypeIs(bool on) {
    flagIs(&KorTypeFlags::isEnumType, on);
}

void KorType::hasGenericIfSupportIs(bool on) {
    flagIs(&KorTypeFlags::hasGenericIfSupport, on);
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
    registry.sorted.erase(type->fullName_.view());
    auto* const renamed = const_cast<KorType*>(type);
    renamed->fullName_ = fullName;
    registry.types.emplace(renamed->fullName_.view(), renamed);
    registry.sorted.emplace(renamed->fullName_.view(), renamed);
}

void KorType::korDefine(IntrospectionReactor& reactor, std::function<void()> const& nested) {
    (knownBy_ != nullptr ? knownBy_ : this)->define(*this, reactor, nested);
    descriptorsIs();
}

void KorType::define(KorType&, IntrospectionReactor&, std::function<void()> const&) const {}

std::vector<std::string_view> KorType::descriptorNames() const {
    return {};
}

void KorType::descriptorsIs() {
    descriptors_.clear();
    for (std::string_view const name : (knownBy_ != nullptr ? knownBy_ : this)->descriptorNames()) {
        if (KorAttr const* const found = typeAttr()->attr(Name(String8(name)))) {
            descriptors_.push_back(found);
        }
    }
}

KorAttr const* KorType::korDescriptor(AttributeId id) const {
    for (KorAttr const* each : descriptors_) {
        if (each->attributeId() == id) {
            return each;
        }
    }
    return nullptr;
}

} // namespace Kor
