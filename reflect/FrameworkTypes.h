#pragma once

/// The types of the framework itself, in the order in which they are defined.

#include "reflect/Dir.h"
#include "reflect/TypeModule.h"

namespace Kor {

using FrameworkTypes = TypeModuleOf<Builtin<void*>, bool, U8, U16, U32, U64, S32, S64, BytePtr, String8, Name,
                                    PtrInterface, Entity, KorType, Dir>;

} // namespace Kor
