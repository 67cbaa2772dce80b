#pragma once

/// Where the runtime asks for the type objects of its own two classes, which the reflection above it makes. A
/// program that has the runtime alone has none.

#include "runtime/Types.h"

namespace Kor {

class KorType;

struct TypeHook {
    KorType* (*ofPtrInterface)() = nullptr;
    KorType* (*ofEntity)() = nullptr;
};

/// Says how they are found. Once, while the library is loaded.
KOR_EXPORT void typeHookIs(TypeHook const& hook) noexcept;

} // namespace Kor
