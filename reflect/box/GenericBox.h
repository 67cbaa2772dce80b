#pragma once

/// Kor::BoxOf<T>, the box of the type T, as `X::GenericIf_` (of an enumeration X, `X_GenericIf_`): one
/// template for each kind of type, filled from T's declaration.
///
/// What a box does for an attribute is in tables: one constant BoxAttribute an attribute, of plain functions
/// that get at the attribute of an object that is given as a void pointer. Which operations there are, in
/// which order they are checked and what they raise is written once, in reflect/box/GenericIf.cpp, over these
/// tables.
///
/// Like reflect/TypeOf.h, which includes it, this header is for the source files that instantiate.

#include "reflect/box/ObjectBox.h"
#include "reflect/box/ValueBox.h"
