#include "reflect/TypeSpec.h"

#include "reflect/IntrospectionReactor.h"

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

/// Of what every child of a map has, and no class says.
constexpr std::string_view fwkKeyText = "The key attribute again, under which the map of the parent knows it";

void attributeIs(KorType& self, IntrospectionReactor& reactor, AttributeSpec const& attribute,
                 std::string_view meaning) {
    Name const name = nameOf(attribute.name);
    KorTypeAttr& attrs = *self.typeAttr();
    KorType* const keyType = attribute.keyType != nullptr ? attribute.keyType() : nullptr;
    AttributeFlags const flags = flagsOf(attribute.toldAs != nullptr ? *attribute.toldAs : attribute.shape);
    auto const describe = [&](KorAttr& attr) {
        attr.describe(attribute.shape, meaning, attribute.bits, attribute.isConst);
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
        made->argumentEnq({nameOf(each.name), nameOf(each.type), each.passing});
    }
    made->keyAttributeNameIs(nameOf(attribute.keyAttribute));
    made->introspectionFlagsIs(flags.introspection);
    self.attributeQEnq(made);
    reactor.handleAttr(made);
    reactor.handleAttrContextExit();
}

} // namespace

void KorType::korDefine(IntrospectionReactor& reactor, std::function<void()> const& nested) {
    reactor.handleType(this, base_);
    sizeIs(spec_->size);
    typeFlagsIs(spec_->flags);
    for (ArgumentSpec const& each : spec_->constructorArguments) {
        constructorArgNameQEnq(nameOf(each.name));
        constructorArgTypeQEnq(nameOf(each.type));
    }
    if (base_ != nullptr) {
        for (Ptr<KorAttr const> const& each : base_->attributes()) {
            Ptr<KorAttr> const copy = each->copyFor(this);
            attributeQEnq(copy);
            reactor.handleAttr(copy);
            reactor.handleAttrContextExit();
        }
    }
    bool isFirst = true;
    for (AttributeSpec const& each : spec_->attributes) {
        attributeIs(*this, reactor, each,
                    each.shape.role == Role::fwkKey ? fwkKeyText : spec_->textOf(each.name));
        if (isFirst) {
            nested();
            isFirst = false;
        }
    }
    if (spec_->flags.isEnumType) {
        constexpr Shape field{.role = Role::field};
        typeAttr()
            ->attrIs("value", this, nullptr, nullptr, flagsOf(field).flags, 1)
            ->describe(field, {}, {}, false);
    }
    if (KorAttr* const value = typeAttr()->attr("value"); value != nullptr && !value->isInherited()) {
        valAttrIs(value);
    }
    reactor.handleScopeExit();

    auto const describe = [this](std::string_view name) {
        if (KorAttr const* const found = typeAttr()->attr(nameOf(name))) {
            descriptors_.push_back(found);
        }
    };
    if (spec_->flags.isEntity && !spec_->attributes.empty()) {
        describe("korNboAttrLogSaForMsgChannel");
    }
    for (AttributeSpec const& each : spec_->attributes) {
        if (!spec_->flags.isValue) {
            describe(each.name);
        }
    }
}

} // namespace Kor
