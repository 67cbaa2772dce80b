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

namespace {

void attributeIs(KorType& self, IntrospectionReactor& reactor, AttributeSpec const& attribute) {
    Name const name = nameOf(attribute.name);
    KorTypeAttr& attrs = *self.typeAttr();
    KorType* const keyType = attribute.keyType != nullptr ? attribute.keyType() : nullptr;
    ProfileFlags const& profile = flagsOf(attribute.profile);
    if (!isDetailed(attribute.profile)) {
        reactor.defNoninstantiatingAttr(&self, name, attribute.type(), keyType, profile.flags,
                                        profile.introspection, attribute.id);
        return;
    }
    attrs.attrDel(name);
    Ptr<KorAttr> const made = attrs.attrIs(name, attribute.type(), attrs.attr(nameOf(attribute.keyAttribute)),
                                           nullptr, profile.flags, attribute.id);
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
    self.attributeQEnq(made);
    reactor.handleAttr(made);
    reactor.handleAttrContextExit();
}

} // namespace

void SpecifiedType::define(KorType& self, IntrospectionReactor& reactor,
                           std::function<void()> const& nested) const {
    reactor.handleType(&self, self.base());
    self.sizeIs(spec_.size);
    self.typeFlagsIs(spec_.flags);
    for (ArgumentSpec const& each : spec_.constructorArguments) {
        self.constructorArgNameQEnq(nameOf(each.name));
        self.constructorArgTypeQEnq(nameOf(each.type));
    }
    if (self.base() != nullptr) {
        for (Ptr<KorAttr const> const& each : self.base()->attributes()) {
            Ptr<KorAttr> const copy = each->copyFor(&self);
            self.attributeQEnq(copy);
            reactor.handleAttr(copy);
            reactor.handleAttrContextExit();
        }
    }
    bool isFirst = true;
    for (AttributeSpec const& each : spec_.attributes) {
        attributeIs(self, reactor, each);
        if (isFirst) {
            nested();
            isFirst = false;
        }
    }
    KorTypeAttr& attrs = *self.typeAttr();
    if (spec_.flags.isEnumType) {
        attrs.attrIs("value", &self, nullptr, nullptr, flagsOf(AttributeProfile::fixed).flags, 1);
    }
    if (KorAttr* const value = attrs.attr("value"); value != nullptr && !value->isInherited()) {
        self.valAttrIs(value);
    }
    reactor.handleScopeExit();
}

std::vector<std::string_view> SpecifiedType::descriptorNames() const {
    std::vector<std::string_view> names;
    if (spec_.flags.isEntity && !spec_.attributes.empty()) {
        names.emplace_back("korNboAttrLogSaForMsgChannel");
    }
    if (!spec_.flags.isValue) {
        for (AttributeSpec const& each : spec_.attributes) {
            names.push_back(each.name);
        }
    }
    return names;
}

} // namespace Kor
