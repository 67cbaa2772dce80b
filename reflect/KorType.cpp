#include "reflect/KorType.h"

#include "reflect/GenericIf.h"
#include "reflect/IntrospectionReactor.h"
#include "reflect/TypeModule.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <utility>

namespace Kor {

namespace {

/// All type objects, and the types that modules list. Never ends.
struct Registry {
    struct Listed {
        TypeModule* module;
        TypeSeed const* seed;
    };
    std::unordered_map<std::string_view, KorType*> types; // the names are those of the type objects
    std::unordered_map<std::string_view, Listed> listed;

    KorType* find(std::string_view name) const {
        auto const at = types.find(name);
        return at != types.end() ? at->second : nullptr;
    }
    static Registry& global() {
        static auto* const registry = new Registry;
        return *registry;
    }
};

} // namespace

KorType* typeOfSeed(TypeSeed const& seed) {
    Registry& registry = Registry::global();
    if (KorType* const found = registry.find(seed.name)) {
        return found;
    }
    TypeSeed use = seed;
    if (auto const at = registry.listed.find(seed.name); at != registry.listed.end()) {
        use = *at->second.seed;
        at->second.module->init();
        if (KorType* const found = registry.find(seed.name)) {
            return found;
        }
    }
    KorType* const base = use.base != nullptr ? use.base() : nullptr;
    KorType* const made = use.make != nullptr
                              ? use.make(use)
                              : new KorType(String8(shortName(use.name)), nullptr, base, KorTypeFlags{});
    made->fullName_ = String8(use.name);
    registry.types.emplace(made->fullName_.view(), made);
    made->referencesLeak();
    if (base != nullptr) {
        base->derivedTypeQEnq(made);
    }
    return made;
}

// The runtime's seam to the type objects.

KorType* PtrInterface::fwkType() const {
    return _fwkType();
}

KorType* PtrInterface::_fwkType() {
    return fwkTypeOf<PtrInterface>();
}

KorType* Entity::fwkType() const {
    return _fwkType();
}

KorType* Entity::_fwkType() {
    return fwkTypeOf<Entity>();
}

KorAttr::KorAttr(KorType* owner, Name name, KorType* type, KorType* keyType, AttrFlags flags, AttributeId id)
    : owner_(owner), name_(std::move(name)), type_(type), keyType_(keyType), flags_(flags), id_(id) {}

Ptr<KorAttr> KorAttr::copyFor(KorType* heir) const {
    auto copy = makePtr<KorAttr>(heir, name_, type_, keyType_, flags_, id_);
    copy->keyAttributeName_ = keyAttributeName_;
    copy->arguments_ = arguments_;
    copy->introspection_ = introspection_;
    copy->isInherited_ = true;
    return copy;
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
    for (auto const& [name, type] : Registry::global().types) {
        types.push_back(type);
    }
    std::ranges::sort(types, {}, [](KorType const* type) { return type->fullName_.view(); });
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
    auto* const renamed = const_cast<KorType*>(type);
    renamed->fullName_ = fullName;
    registry.types.emplace(renamed->fullName_.view(), renamed);
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

// Definition

Ptr<IntrospectionReactor> const& IntrospectionReactor::global() {
    static auto* const reactor = new Ptr<IntrospectionReactor>(makePtr<IntrospectionReactor>());
    return *reactor;
}

void IntrospectionReactor::handleNameSpace(char const* name) {
    scopes_.emplace_back(std::string(name));
}

void IntrospectionReactor::handleType(Ptr<KorType const> const& type, Ptr<KorType const> const& base) {
    auto* const opened = const_cast<KorType*>(type.ptr());
    require(base.ptr() == type->base(), [&] {
        return Breach{"Kor::IntrospectionReactor::handleType",
                      "the base is not that of " + std::string(type->fullName().view())};
    });
    if (!scopes_.empty()) {
        if (auto* const* const outer = std::get_if<KorType*>(&scopes_.back())) {
            opened->scopeIs(*outer);
            (*outer)->nestedTypeIs(opened->name(), opened, opened->typeFlags());
        }
    }
    scopes_.emplace_back(opened);
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

void IntrospectionReactor::handleAttrContextExit() {
    open_ = nullptr;
}

// Modules

TypeModule::Load::Load(TypeModule& module) {
    Registry& registry = Registry::global();
    if (&module != &frameworkTypes()) {
        [[maybe_unused]] static Load const first(frameworkTypes());
    }
    for (TypeSeed const& seed : module.types_) {
        if (!registry.listed.try_emplace(seed.name, Registry::Listed{&module, &seed}).second) {
            throwInternalException(format("two modules list %s", std::string(seed.name).c_str()));
        }
        if (KorType* const early = registry.find(seed.name)) {
            KorType* const known = seed.make(seed);
            known->referencesLeak();
            early->korKnownByIs(known);
        }
    }
    auto const isIn = [&](TypeSeed const& seed) { return isInner(seed.name, module.types_); };
    auto const bind = [](TypeSeed const& seed) { KorType::typeNodeIs(typeOfSeed(seed), String8(seed.name)); };
    auto const isGlobal = [](TypeSeed const& seed) { return seed.name.find("::") == std::string_view::npos; };
    // Inner types first, those outside of all namespaces last.
    for (TypeSeed const& seed : module.types_) {
        if (isIn(seed)) {
            bind(seed);
        }
    }
    for (TypeSeed const& seed : module.types_) {
        if (!isIn(seed) && !isGlobal(seed)) {
            bind(seed);
        }
    }
    module.init();
    for (TypeSeed const& seed : module.types_) {
        if (isGlobal(seed)) {
            bind(seed);
        }
    }
}

void TypeModule::init() {
    if (isInitialized_) {
        return;
    }
    Ptr<IntrospectionReactor> const reactor = IntrospectionReactor::global();
    if (!reactor->state() || !reactor->state()->isReady) {
        return;
    }
    isInitialized_ = true;
    for (TypeSeed const& seed : types_) {
        typeOfSeed(seed);
    }
    std::vector<std::string> open;
    for (TypeSeed const& seed : types_) {
        if (isInner(seed.name, types_)) {
            continue;
        }
        std::vector<std::string> spaces;
        std::string_view rest = seed.name;
        for (auto at = rest.find("::"); at != std::string_view::npos; at = rest.find("::")) {
            spaces.emplace_back(rest.substr(0, at));
            rest.remove_prefix(at + 2);
        }
        if (spaces != open) {
            for (std::size_t i = 0; i < open.size(); ++i) {
                reactor->handleScopeExit();
            }
            for (auto const& each : spaces) {
                reactor->handleNameSpace(each.c_str());
            }
            open = std::move(spaces);
        }
        define(*reactor, seed);
    }
    for (std::size_t i = 0; i < open.size(); ++i) {
        reactor->handleScopeExit();
    }
}

std::vector<KorType*> TypeModule::defined() const {
    std::vector<KorType*> all;
    for (KorType* type : IntrospectionReactor::global()->types()) {
        auto const at = Registry::global().listed.find(type->typeName().view());
        if (at != Registry::global().listed.end() && at->second.module == this) {
            all.push_back(type);
        }
    }
    return all;
}

namespace {

/// FNV-1a of 64 bits.
class Digest {
public:
    Digest& add(std::string_view text) {
        add(U64{text.size()});
        for (char const c : text) {
            addByte(static_cast<U8>(c));
        }
        return *this;
    }
    Digest& add(U64 number) {
        for (int shift = 0; shift < 64; shift += 8) {
            addByte(static_cast<U8>(number >> shift));
        }
        return *this;
    }
    Digest& add(KorType const* type) { return add(type != nullptr ? type->typeName().view() : ""); }
    U64 value() const { return value_; }

private:
    void addByte(U8 byte) { value_ = (value_ ^ byte) * 0x100000001b3; }

    U64 value_ = 0xcbf29ce484222325;
};

} // namespace

U64 TypeModule::checksum() const {
    Digest digest;
    for (KorType const* type : defined()) {
        KorTypeFlags const flags = type->typeFlags();
        digest.add(type).add(type->base()).add(type->scope());
        digest.add(flags.isValue + 2u * flags.isEntity + 4u * flags.isEnumType +
                   8u * flags.hasGenericIfSupport);
        digest.add(type->valAttr() != nullptr ? type->valAttr()->name().view() : "");
        for (auto const* queue : {&type->constructorArgNameQQueue(), &type->constructorArgTypeQQueue()}) {
            for (auto const& each : *queue) {
                digest.add(each.value.view());
            }
        }
        for (auto const& attr : type->attributes()) {
            digest.add(attr->name().view()).add(static_cast<U64>(attr->attributeId()));
            digest.add(attr->type()).add(attr->keyType()).add(attr->keyAttributeName().view());
            for (auto const& argument : attr->arguments()) {
                digest.add(argument.name.view()).add(argument.type.view());
            }
            digest.add(attr->flags().word0).add(attr->flags().word1).add(attr->introspectionFlags().word);
        }
    }
    return digest.value();
}

void TypeModule::define(IntrospectionReactor& reactor, TypeSeed const& seed) {
    typeOfSeed(seed)->korDefine(reactor, [&] {
        for (TypeSeed const& inner : types_) {
            if (isNestedIn(inner.name, seed.name)) {
                define(reactor, inner);
            }
        }
    });
}

} // namespace Kor
