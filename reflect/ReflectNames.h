#pragma once

/// The names of the attributes of type objects.

#include "reflect/EntityNames.h"
#include "reflect/Names.h"

KOR_NAME(attributeQ, AttributeQ)
KOR_NAME(attributeQIdx, AttributeQIdx)
KOR_NAME(constructorArgNameQ, ConstructorArgNameQ)
KOR_NAME(constructorArgTypeQ, ConstructorArgTypeQ)
KOR_NAME(derivedTypeQ, DerivedTypeQ)
KOR_NAME(nestedType, NestedType)
KOR_NAME(referringAttrQ, ReferringAttrQ)
KOR_NAME(size, Size)
KOR_NAME(typeFlags, TypeFlags)

KOR_ENTITY_NAME(attributeQ, AttributeQ)
KOR_ENTITY_NAME(attributeQIdx, AttributeQIdx)
KOR_ENTITY_NAME(constructorArgNameQ, ConstructorArgNameQ)
KOR_ENTITY_NAME(constructorArgTypeQ, ConstructorArgTypeQ)
KOR_ENTITY_NAME(derivedTypeQ, DerivedTypeQ)
KOR_ENTITY_NAME(nestedType, NestedType)
KOR_ENTITY_NAME(referringAttrQ, ReferringAttrQ)
KOR_ENTITY_NAME(size, Size)
KOR_ENTITY_NAME(typeFlags, TypeFlags)
