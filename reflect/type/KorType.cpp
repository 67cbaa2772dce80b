#include "reflect/type/KorType.h"

#include "reflect/type/IntrospectionReactor.h"
#include "reflect/type/TypeModule.h"
#include "reflect/type/TypeSpec.h"

#include <utility>

namespace Kor {

namespace {

/// Of a type of which no more than the seed is known.
constexpr TypeSpec bare{0, {}, {}, {}};

/// Of what every child of a map has, and no class says.
constexpr std::string_view fwkKeyText = "The key attribute again, under which the map of the parent knows it";

struct AttributeFlags {
    AttrFlags flags;
    KorAttrIntrospectionFlags introspection;
};
AttributeFlags flagsOf(Shape const& shape) {
    bool const isChanging = shape.hasHooks();
    bool const isClass = shape.role == Role::constant || shape.role == Role::classOperation;
    bool const isEnumerator = shape.role == Role::enumerator;
    bool const isCalled = shape.isOperation() || shape.byOperation;
    bool const isFixed =
        (shape.byConstructor() && !shape.settable) || shape.role == Role::constant || isEnumerator;

    AttributeFlags made;
    auto const mark = [](U32& word, bool on, U32 bits) { word |= on ? bits : 0; };
    U32& word0 = made.flags.word0;
    mark(word0, true, 0x1);
    mark(word0, shape.settable, 0x2);
    mark(word0, shape.settable && !isChanging, 0x4);
    mark(word0, shape.byConstructor(), 0x8);
    mark(word0, isChanging, 0x40);
    mark(word0, shape.isStored(), 0x100);
    mark(word0, shape.isVirtual, 0x2000);
    mark(word0, shape.role != Role::fwkKey, 0x20000);
    mark(word0, !isCalled && !isEnumerator, 0x200000);
    mark(word0, shape.keyed, 0x1800000);
    mark(word0, shape.keyed && shape.holdsObjects(), 0x8000000);

    U32& word1 = made.flags.word1;
    mark(word1, true, 0x400);
    mark(word1, isClass, 0x10);
    mark(word1, isEnumerator, 0x200000);
    // Where the class has no attribute log it is only of maps with keys inside that the word tells.
    mark(word1, isChanging && (shape.travels || !shape.keyInside), 0x1000000);
    mark(word1, shape.child, 0x10000000);
    mark(word1, isFixed, 0x40000000);

    U32& introspection = made.introspection.word;
    mark(introspection, shape.isStored(), 2);
    mark(introspection, isCalled, 8);
    mark(introspection, shape.keyInside, 32);
    return made;
}

void attributeIs(KorType& self, IntrospectionReactor& reactor, AttributeSpec const& spec,
                 std::string_view meaning) {
    Name const name = String8(spec.name);
    KorTypeAttr& attrs = *self.typeAttr();
    KorType* const keyType = spec.keyType != nullptr ? spec.keyType() : nullptr;
    AttributeFlags const flags = flagsOf(spec.shape);
    if (!spec.shape.isOperation() && !spec.shape.keyInside) {
        reactor.defNoninstantiatingAttr(&self, name, spec.type(), keyType, flags.flags, flags.introspection,
                                        spec.id);
        attrs.attr(name)->describe(spec, meaning);
        return;
    }
    // An operation that is declared again replaces that of the base, and means the same, unless it says
    // otherwise. So does a map whose key is told by an attribute of the member. Who hears of either can ask
    // it for its arguments and its key.
    if (KorAttr const* const inherited = attrs.attr(name); meaning.empty() && inherited != nullptr) {
        meaning = inherited->meaning();
    }
    attrs.attrDel(name);
    Ptr<KorAttr> const made = attrs.attrIs(name, spec.type(), nullptr, nullptr, flags.flags, spec.id);
    made->keyTypeIs(keyType);
    made->describe(spec, meaning);
    made->introspectionFlagsIs(flags.introspection);
    self.attributeQEnq(made);
    reactor.handleAttr(made);
    reactor.handleAttrContextExit();
}

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
    auto const at = byId_.find(id);
    return at != byId_.end() ? at->second : nullptr;
}

std::string_view KorType::meaning() const {
    return spec_->textOf("");
}
std::string_view KorType::header() const {
    return spec_->header;
}
std::span<NamedText const> KorType::texts() const {
    return spec_->texts;
}
KorType::Abilities KorType::abilities() const {
    return spec_->abilities;
}

Ptr<Entity> KorType::newEntity(Name const& name, Dir*) const {
    return spec_->ofName != nullptr ? spec_->ofName(name) : nullptr;
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

void KorType::korDefine(IntrospectionReactor& reactor, std::function<void()> const& nested) {
    reactor.handleType(this, base_);
    sizeIs(spec_->size);
    typeFlagsIs(spec_->flags);
    for (ArgumentSpec const& each : spec_->constructorArguments) {
        constructorArgNameQEnq(String8(each.name));
        constructorArgTypeQEnq(String8(each.type));
    }
    if (base_ != nullptr) {
        for (Ptr<KorAttr const> const& each : base_->attributes()) {
            Ptr<KorAttr> const copy = each->copyFor(this);
            attributeQEnq(copy);
            reactor.handleAttr(copy);
            reactor.handleAttrContextExit();
        }
    }
    for (AttributeSpec const& each : spec_->attributes) {
        attributeIs(*this, reactor, each,
                    each.shape.role == Role::fwkKey ? fwkKeyText : spec_->textOf(each.name));
        if (&each == spec_->attributes.data()) {
            nested();
        }
    }
    if (spec_->flags.isEnumType) { // its value, which no order has
        AttributeSpec const value{"value", 1, {.role = Role::field}, nullptr};
        KorAttr* const made =
            typeAttr()->attrIs("value", this, nullptr, nullptr, flagsOf(value.shape).flags, 1);
        made->describe(value, {});
    }
    if (KorAttr* const value = typeAttr()->attr("value"); value != nullptr && !value->isInherited()) {
        valAttrIs(value);
    }
    reactor.handleScopeExit();
    for (auto const& each : attributeQQueue()) {
        byId_.try_emplace(each.value->attributeId(), each.value.ptr());
    }
}

KorAttr::KorAttr(KorType* owner, Name name, KorType* type, KorType* keyType, AttrFlags flags, AttributeId id)
    : owner_(owner), name_(std::move(name)), type_(type), keyType_(keyType), flags_(flags), id_(id) {}

Ptr<KorAttr> KorAttr::copyFor(KorType* heir) const {
    auto copy = makePtr<KorAttr>(*this);
    copy->owner_ = heir;
    copy->isInherited_ = true;
    return copy;
}

void KorAttr::describe(AttributeSpec const& spec, std::string_view meaning) {
    shape_ = spec.shape;
    meaning_ = meaning;
    bits_ = spec.bits;
    isConst_ = spec.isConst;
    keyAttributeName_ = String8(spec.keyAttribute);
    arguments_.clear();
    for (ArgumentSpec const& each : spec.arguments) {
        arguments_.push_back({String8(each.name), String8(each.type), each.passing});
    }
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
