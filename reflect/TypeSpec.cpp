#include "reflect/TypeSpec.h"

#include <functional>
#include <vector>

namespace Kor {

namespace {

Name nameOf(std::string_view text) {
    return String8(text);
}

/// An operation, or a map whose key is told by an attribute of the member: what is told in detail, and
/// replaces what a base has under the name.
bool isDetailed(Shape const& shape) {
    return shape.isOperation() || shape.keyInside;
}

} // namespace

SpecifiedType::SpecifiedType(TypeSeed const& seed, TypeSpec const& spec)
    : KorType(nameOf(shortName(seed.name)), nullptr, seed.base != nullptr ? seed.base() : nullptr, {}),
      spec_(spec) {}

namespace {

/// Of what every child of a map has, and no class says.
constexpr std::string_view fwkKeyText = "The key attribute again, under which the map of the parent knows it";

void attributeIs(KorType& self, IntrospectionReactor& reactor, AttributeSpec const& attribute,
                 std::string_view meaning) {
    Name const name = nameOf(attribute.name);
    KorTypeAttr& attrs = *self.typeAttr();
    KorType* const keyType = attribute.keyType != nullptr ? attribute.keyType() : nullptr;
    AttributeFlags const flags = flagsOf(attribute.toldAs != nullptr ? *attribute.toldAs : attribute.shape);
    auto const describe = [&](KorAttr& attr) {
        attr.shapeIs(attribute.shape);
        attr.meaningIs(meaning);
        attr.bitsIs(attribute.bits);
        attr.isConstIs(attribute.isConst);
    };
    if (!isDetailed(attribute.shape)) {
        reactor.defNoninstantiatingAttr(&self, name, attribute.type(), keyType, flags.flags,
                                        flags.introspection, attribute.id);
        describe(*attrs.attr(name));
        return;
    }
    // An operation that is declared again means what it means in the base, unless it says otherwise.
    if (KorAttr const* const inherited = attrs.attr(name); meaning.empty() && inherited != nullptr) {
        meaning = inherited->meaning();
    }
    attrs.attrDel(name);
    Ptr<KorAttr> const made = attrs.attrIs(name, attribute.type(), attrs.attr(nameOf(attribute.keyAttribute)),
                                           nullptr, flags.flags, attribute.id);
    describe(*made);
    made->keyTypeIs(keyType);
    for (ArgumentSpec const& each : attribute.arguments) {
        made->argumentNameEnq(nameOf(each.name));
        made->argumentTypeEnq(nameOf(each.type));
        made->argumentPassingIs(each.passing);
    }
    made->keyAttributeNameIs(nameOf(attribute.keyAttribute));
    if (attribute.shape.child) {
        made->initialSizeIs(0);
    }
    made->introspectionFlagsIs(flags.introspection);
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
        attributeIs(self, reactor, each,
                    each.shape.role == Role::fwkKey ? fwkKeyText : spec_.textOf(each.name));
        if (isFirst) {
            nested();
            isFirst = false;
        }
    }
    KorTypeAttr& attrs = *self.typeAttr();
    if (spec_.flags.isEnumType) {
        attrs.attrIs("value", &self, nullptr, nullptr, flagsOf({.role = Role::field}).flags, 1)
            ->shapeIs({.role = Role::field});
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
