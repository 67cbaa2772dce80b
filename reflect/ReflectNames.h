#pragma once

/// The names of the attributes of type objects.

#include "reflect/DirNames.h"

KOR_NAME(attributeQ, AttributeQ, entity)
KOR_NAME(attributeQIdx, AttributeQIdx, entity)
KOR_NAME(constructorArgNameQ, ConstructorArgNameQ, entity)
KOR_NAME(constructorArgTypeQ, ConstructorArgTypeQ, entity)
KOR_NAME(derivedTypeQ, DerivedTypeQ, entity)
KOR_NAME(nestedType, NestedType, entity)
KOR_NAME(referringAttrQ, ReferringAttrQ, entity)
KOR_NAME(size, Size, entity)
KOR_NAME(typeFlags, TypeFlags, entity)
