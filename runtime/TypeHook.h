#pragma once

/// Where the runtime asks for what is made above it: the type objects of its own two classes, and the stream
/// adapters of entities. A program that has the runtime alone has none, and no application sets one.
///
///     Kor::TypeHook hook;
///     hook.ofEntity = [] { return Kor::fwkTypeOf<Kor::Entity>(); };
///     Kor::typeHookIs(hook); // all three at once: what is not set is null
///
/// Set once, while the library is loaded, before there is a second thread. Nothing here allocates or throws.

#include "runtime/Entity.h"

namespace Kor {

struct TypeHook {
    KorType* (*ofPtrInterface)() = nullptr;
    KorType* (*ofEntity)() = nullptr;
    /// What Entity::korNboAttrLogSaIs() does.
    Ptr<Entity::KorNboAttrLogSa> (*streamAdapterIs)(Entity& entity, Entity::Kor_BitSet flags, unsigned int id,
                                                    Ptr<NboAttrLog::Out> const& out,
                                                    PtrInterface* context) = nullptr;
};

/// Says how they are found. Once, while the library is loaded.
KOR_EXPORT void typeHookIs(TypeHook const& hook) noexcept;

} // namespace Kor
