#include "reflect/TypeModule.h"

#include "reflect/IntrospectionReactor.h"
#include "reflect/Registry.h"
#include "runtime/TypeHook.h"

#include <string>
#include <utility>
#include <vector>

namespace Kor {

using detail::Registry;

Registry& Registry::global() {
    static auto* const registry = [] {
        typeHookIs({fwkTypeOf<PtrInterface>, fwkTypeOf<Entity>});
        return new Registry;
    }();
    return *registry;
}

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
    KorType* const made =
        use.make != nullptr ? use.make(use) : new KorType(String8(shortName(use.name)), nullptr, base, {});
    made->fullName_ = String8(use.name);
    registry.types.emplace(made->fullName_.view(), made);
    made->referencesLeak();
    if (base != nullptr) {
        base->derivedTypeQEnq(made);
    }
    return made;
}

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

} // namespace Kor
