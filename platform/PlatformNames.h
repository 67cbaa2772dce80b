#pragma once

/// The names of the attributes of platform values.

#include "reflect/Names.h"

KOR_NAME(destinationAddr, DestinationAddr)
KOR_NAME(idHigh, IdHigh)
KOR_NAME(idLow, IdLow)
KOR_NAME(min, Min)
KOR_NAME(null, Null)
KOR_NAME(source, Source)
KOR_NAME(tunnelType, TunnelType)
KOR_NAME(value, Value)
KOR_NAME(word0, Word0)
KOR_NAME(word1, Word1)
KOR_NAME(word2, Word2)
