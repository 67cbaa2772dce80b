#pragma once

/// Kor::BoxOf<T>, the box of the type T, as `X::GenericIf_` (of an enumeration X, `X_GenericIf_`): one
/// template for each kind of type, filled from T's declaration.
///
/// Like reflect/TypeOf.h, which includes it, this header is for the source files that instantiate.

#include "reflect/box/ObjectBox.h"
#include "reflect/box/ValueBox.h"
