#include "reflect/type/IntrospectionReactor.h"

namespace Kor {

Ptr<IntrospectionReactor> const& IntrospectionReactor::global() {
    static auto* const reactor = new Ptr<IntrospectionReactor>(makePtr<IntrospectionReactor>());
    return *reactor;
}

void IntrospectionReactor::handleType(Ptr<KorType const> const& type, Ptr<KorType const> const& base) {
    auto* const opened = const_cast<KorType*>(type.ptr());
    require(base.ptr() == type->base(), [&] {
        return Breach{"Kor::IntrospectionReactor::handleType",
                      "the base is not that of " + std::string(type->fullName().view())};
    });
    if (!scopes_.empty() && scopes_.back() != nullptr) {
        opened->scopeIs(scopes_.back());
        scopes_.back()->nestedTypeIs(opened->name(), opened, opened->typeFlags());
    }
    scopes_.push_back(opened);
    types_.push_back(opened);
}

void IntrospectionReactor::handleScopeExit() {
    require(!scopes_.empty() && !open_, [] {
        return Breach{"Kor::IntrospectionReactor::handleScopeExit", "no scope is open, or an attribute is"};
    });
    scopes_.pop_back();
}

void IntrospectionReactor::defNoninstantiatingAttr(Ptr<KorType> const& owner, Name const& name,
                                                   Ptr<KorType> const& type, Ptr<KorType> const& keyType,
                                                   AttrFlags const& flags,
                                                   KorAttrIntrospectionFlags introspection, AttributeId id) {
    Ptr<KorAttr> const attr = owner->typeAttr()->attrIs(name, type, nullptr, nullptr, flags, id);
    attr->keyTypeIs(keyType.ptr());
    attr->introspectionFlagsIs(introspection);
    owner->attributeQEnq(attr);
    handleAttr(attr);
    handleAttrContextExit();
}

void IntrospectionReactor::handleAttr(Ptr<KorAttr> const& attr) {
    require(!open_, [] { return Breach{"Kor::IntrospectionReactor::handleAttr", "an attribute is open"}; });
    open_ = attr;
    KorType* const owner = attr->owner();
    if (owner->typeAttr()->attr(attr->name()) != attr) {
        owner->typeAttr()->attrAdd(attr);
    }
    owner->attributeQIdxIs(attr->name(), owner->attributeQQueue().tail()->fwkQkey());
    if (!attr->isInherited()) {
        attr->type()->referringAttrQEnq(attr);
    }
}

} // namespace Kor
