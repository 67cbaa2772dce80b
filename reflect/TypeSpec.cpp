#include "reflect/TypeSpec.h"

namespace Kor {

namespace {

Name nameOf(std::string_view text) {
    return String8(text);
}

/// An operation, or a map whose key is told by an attribute of the member: what is told in detail, and
/// replaces what a base has under the name.
bool isDetailed(AttributeProfile profile) {
    switch (profile) {
    case AttributeProfile::operation:
    case AttributeProfile::virtualOperation:
    case AttributeProfile::classOperation:
    case AttributeProfile::keyedMap:
    case AttributeProfile::entityMap:
    case AttributeProfile::localKeyedMap:
    case AttributeProfile::localEntityMap:
        return true;
    default:
        return false;
    }
}

bool isEntityMap(AttributeProfile profile) {
    return profile == AttributeProfile::entityMap || profile == AttributeProfile::localEntityMap;
}

} // namespace

SpecifiedType::SpecifiedType(TypeSeed const& seed, TypeSpec const& spec)
    : KorType(nameOf(shortName(seed.name)), nullptr, seed.base != nullptr ? seed.base() : nullptr, {}),
      spec_(spec) {}

void SpecifiedType::korDefine(IntrospectionReactor& reactor, std::function<void()> const& nested) {
    reactor.handleType(this, base());
    sizeIs(spec_.size);
    typeFlagsIs(spec_.flags);
    for (ArgumentSpec const& each : spec_.constructorArguments) {
        constructorArgNameQEnq(nameOf(each.name));
        constructorArgTypeQEnq(nameOf(each.type));
    }
    if (base() != nullptr) {
        for (Ptr<KorAttr const> const& each : base()->attributes()) {
            Ptr<KorAttr> const copy = each->copyFor(this);
            attributeQEnq(copy);
            reactor.handleAttr(copy);
            reactor.handleAttrContextExit();
        }
    }
    bool isFirst = true;
    for (AttributeSpec const& each : spec_.attributes) {
        attributeIs(reactor, each);
        if (isFirst) {
            nested();
            isFirst = false;
        }
    }
    if (spec_.flags.isEnumType) {
        typeAttr()->attrIs("value", this, nullptr, nullptr, flagsOf(AttributeProfile::fixed).flags, 1);
    }
    if (KorAttr* const value = typeAttr()->attr("value"); value != nullptr && !value->isInherited()) {
        valAttrIs(value);
    }
    reactor.handleScopeExit();
}

void SpecifiedType::attributeIs(IntrospectionReactor& reactor, AttributeSpec const& attribute) {
    Name const name = nameOf(attribute.name);
    KorType* const keyType = attribute.keyType != nullptr ? attribute.keyType() : nullptr;
    ProfileFlags const& profile = flagsOf(attribute.profile);
    if (!isDetailed(attribute.profile)) {
        reactor.defNoninstantiatingAttr(this, name, attribute.type(), keyType, profile.flags,
                                        profile.introspection, attribute.id);
        return;
    }
    typeAttr()->attrDel(name);
    Ptr<KorAttr> const made =
        typeAttr()->attrIs(name, attribute.type(), typeAttr()->attr(nameOf(attribute.keyAttribute)), nullptr,
                           profile.flags, attribute.id);
    made->keyTypeIs(keyType);
    for (ArgumentSpec const& each : attribute.arguments) {
        made->argumentNameEnq(nameOf(each.name));
        made->argumentTypeEnq(nameOf(each.type));
    }
    made->keyAttributeNameIs(nameOf(attribute.keyAttribute));
    if (isEntityMap(attribute.profile)) {
        made->initialSizeIs(0);
    }
    made->introspectionFlagsIs(profile.introspection);
    attributeQEnq(made);
    reactor.handleAttr(made);
    reactor.handleAttrContextExit();
}

void SpecifiedType::korDescriptorsIs() {
    descriptors_.clear();
    KorTypeAttr const& attrs = *typeAttr();
    auto const add = [&](std::string_view name) {
        if (KorAttr const* const found = attrs.attr(nameOf(name))) {
            descriptors_.push_back(found);
        }
    };
    if (spec_.flags.isEntity) {
        add("korNboAttrLogSaForMsgChannel");
    }
    if (!spec_.flags.isValue) {
        for (AttributeSpec const& each : spec_.attributes) {
            add(each.name);
        }
    }
}

KorAttr const* SpecifiedType::korDescriptor(AttributeId id) const {
    for (KorAttr const* each : descriptors_) {
        if (each->attributeId() == id) {
            return each;
        }
    }
    return nullptr;
}

} // namespace Kor
