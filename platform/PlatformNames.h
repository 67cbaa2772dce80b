#pragma once

/// The names of the attributes of platform values.

#include "reflect/Names.h"

KOR_NAME(value, Value)
KOR_NAME(word0, Word0)
KOR_NAME(word1, Word1)
KOR_NAME(word2, Word2)
