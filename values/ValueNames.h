#pragma once

/// The names of value attributes that are not row fields as well, and the vocabulary of value declarations.

#include "reflect/Enumeration.h"
#include "reflect/Value.h"
#include "tables/FieldNames.h"

KOR_NAME(chipType, ChipType)
KOR_NAME(dataBuffer, DataBuffer)
KOR_NAME(destinationHi, DestinationHi)
KOR_NAME(destinationIs, DestinationIs)
KOR_NAME(destinationLo, DestinationLo)
KOR_NAME(dword0, Dword0)
KOR_NAME(dword1, Dword1)
KOR_NAME(hash, Hash)
KOR_NAME(lifType, LifType)
KOR_NAME(termProfile, TermProfile)
KOR_NAME(terminationProfileIs, TerminationProfileIs)
KOR_NAME(variant, Variant)
KOR_NAME(writeToChipFormat, WriteToChipFormat)

namespace Hardware::LoamTunnel {

namespace name = Kor::name;

using Kor::Arg;
using Kor::Constant;
using Kor::Operation;
using Kor::Settable;
using Kor::Stored;
using Kor::View;

using Kor::S32;
using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

} // namespace Hardware::LoamTunnel
