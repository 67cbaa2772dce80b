#include "reflect/Registry.h"

#include "runtime/TypeHook.h"

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
    KorType* const made = use.make != nullptr
                              ? use.make(use)
                              : new KorType(String8(shortName(use.name)), nullptr, base, KorTypeFlags{});
    made->fullName_ = String8(use.name);
    registry.types.emplace(made->fullName_.view(), made);
    registry.sorted.emplace(made->fullName_.view(), made);
    made->referencesLeak();
    if (base != nullptr) {
        base->derivedTypeQEnq(made);
    }
    return made;
}

} // namespace Kor
