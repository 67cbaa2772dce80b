#pragma once

/// The names of the attributes of platform values, and of those that entities and values above share.

#include "reflect/Names.h"

KOR_NAME(count, Count)
KOR_NAME(destinationAddr, DestinationAddr)
KOR_NAME(fapId, FapId)
KOR_NAME(head, Head)
KOR_NAME(idHigh, IdHigh)
KOR_NAME(idLow, IdLow)
KOR_NAME(initialized, Initialized, entity)
KOR_NAME(intf, Intf, entity)
KOR_NAME(key, Key)
KOR_NAME(min, Min)
KOR_NAME(next, Next)
KOR_NAME(null, Null)
KOR_NAME(port, Port)
KOR_NAME(row, Row)
KOR_NAME(source, Source)
KOR_NAME(table, Table)
KOR_NAME(tpid, Tpid)
KOR_NAME(tunnelType, TunnelType)
KOR_NAME(value, Value)
KOR_NAME(vlanId, VlanId)
KOR_NAME(word0, Word0)
KOR_NAME(word1, Word1)
KOR_NAME(word2, Word2)
