#include "reflect/type/TypeModule.h"

#include "reflect/type/AttrLogType.h"
#include "reflect/type/IntrospectionReactor.h"
#include "reflect/type/KorType.h"
#include "runtime/TypeHook.h"

#include <map>
#include <string>
#include <unordered_map>

namespace Kor {

namespace {

/// All type objects of the process, and the types that its modules list.
struct Registry {
    struct Listed {
        TypeModule* module;
        TypeSeed const* seed;
    };
    std::map<std::string_view, KorType*> types; // the names are those of the type objects
    std::unordered_map<std::string_view, Listed> listed;

    KorType* find(std::string_view name) const {
        auto const at = types.find(name);
        return at != types.end() ? at->second : nullptr;
    }
    /// Never ends, since type objects do not.
    static Registry& global() {
        static auto* const registry = [] {
            typeHookIs({fwkTypeOf<PtrInterface>, fwkTypeOf<Entity>, &AttrLogType::adapterIs});
            typeSourceIs(&typeOf);
            return new Registry;
        }();
        return *registry;
    }
    static KorType* typeOf(TypeSeed const& seed) {
        Registry& registry = global();
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
                                  : new KorType(String8(shortName(use.name)), nullptr, base, {});
        KorType::typeNodeIs(made, String8(use.name));
        made->referencesLeak();
        if (base != nullptr) {
            base->derivedTypeQEnq(made);
        }
        return made;
    }
};

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

KorType* KorType::named(std::string_view fullName) {
    return Registry::global().find(fullName);
}

std::vector<KorType*> KorType::all() {
    std::vector<KorType*> types;
    for (auto const& [name, type] : Registry::global().types) {
        types.push_back(type);
    }
    return types;
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

TypeModule::Load::Load(TypeModule& module) {
    Registry& registry = Registry::global();
    for (TypeSeed const& seed : module.types_) {
        if (!registry.listed.try_emplace(seed.name, Registry::Listed{&module, &seed}).second) {
            throwInternalException(format("two modules list %s", std::string(seed.name).c_str()));
        }
        if (KorType* const early = registry.find(seed.name)) {
            KorType* const known = seed.make(seed);
            known->referencesLeak();
            static auto& kept = *new std::vector<KorType*>; // as each type object is, up to the end
            kept.push_back(known);
            early->korKnownByIs(*known);
        }
    }
    auto const isIn = [&](TypeSeed const& seed) { return isInner(seed.name, module.types_); };
    auto const isGlobal = [](TypeSeed const& seed) { return seed.name.find("::") == std::string_view::npos; };
    auto const bind = [&](auto const& which) {
        for (TypeSeed const& seed : module.types_) {
            if (which(seed)) {
                KorType::typeNodeIs(typeOfSeed(seed), String8(seed.name));
            }
        }
    };
    bind(isIn);
    bind([&](TypeSeed const& seed) { return !isIn(seed) && !isGlobal(seed); });
    module.init();
    bind(isGlobal);
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
    std::string_view open;
    auto const spaceIs = [&](std::string_view space) { // "Hardware::Loam::"
        if (space == open) {
            return;
        }
        for (auto at = open.find("::"); at != std::string_view::npos; at = open.find("::", at + 2)) {
            reactor->handleScopeExit();
        }
        open = space;
        for (auto at = space.find("::"); at != std::string_view::npos; at = space.find("::")) {
            reactor->handleNameSpace(std::string(space.substr(0, at)).c_str());
            space.remove_prefix(at + 2);
        }
    };
    for (TypeSeed const& seed : types_) {
        if (!isInner(seed.name, types_)) {
            spaceIs(seed.name.substr(0, seed.name.size() - shortName(seed.name).size()));
            define(*reactor, seed);
        }
    }
    spaceIs({});
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

void TypeModule::define(IntrospectionReactor& reactor, TypeSeed const& seed) {
    typeOfSeed(seed)->korDefine(reactor, [&] {
        for (TypeSeed const& inner : types_) {
            if (isNestedIn(inner.name, seed.name)) {
                define(reactor, inner);
            }
        }
    });
}

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

} // namespace Kor
