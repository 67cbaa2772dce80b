#include "reflect/TypeModule.h"

#include "reflect/IntrospectionReactor.h"
#include "reflect/Registry.h"

#include <string>
#include <utility>

namespace Kor {

using detail::Registry;

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
