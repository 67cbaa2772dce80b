#pragma once

/// The names of entity attributes, and the vocabulary of entity declarations.

#include "reflect/entity/EntityPattern.h"
#include "values/ValueNames.h"

KOR_NAME(acEntry, AcEntry, entity)
KOR_NAME(acRequest, AcRequest, entity)
KOR_NAME(appConfig, AppConfig, entity)
KOR_NAME(appStatus, AppStatus, entity)
KOR_NAME(config, Config, entity)
KOR_NAME(dmaAddrBase, DmaAddrBase)
KOR_NAME(dnldIndex, DnldIndex)
KOR_NAME(dnldSize, DnldSize)
KOR_NAME(enabled, Enabled, entity)
KOR_NAME(entrySize, EntrySize)
KOR_NAME(esemHwSize, EsemHwSize, entity)
KOR_NAME(evecProfileSize, EvecProfileSize, entity)
KOR_NAME(handleInitialized, HandleInitialized)
KOR_NAME(hwIvec, HwIvec, entity)
KOR_NAME(isemHwSize, IsemHwSize, entity)
KOR_NAME(lifBankFromIndex, LifBankFromIndex)
KOR_NAME(lifDnldIndexToDmaAddr, LifDnldIndexToDmaAddr)
KOR_NAME(lifDnldIndexToLifBank, LifDnldIndexToLifBank)
KOR_NAME(lifDnldIndexToLifOffset, LifDnldIndexToLifOffset)
KOR_NAME(lifEntriesPerBank, LifEntriesPerBank, entity)
KOR_NAME(lifEntry, LifEntry, entity)
KOR_NAME(lifIndex, LifIndex)
KOR_NAME(lifOffsetFromIndex, LifOffsetFromIndex)
KOR_NAME(owner, Owner, entity)
KOR_NAME(properties, Properties, entity)
KOR_NAME(reqCount, ReqCount, entity)
KOR_NAME(response, Response, entity)
KOR_NAME(status, Status, entity)
KOR_NAME(tcamEntriesPerBank, TcamEntriesPerBank, entity)

namespace Hardware::LoamTunnel {

using Kor::CountedMap;
using Kor::CountedUpMap;
using Kor::EntityMap;
using Kor::KeyAttribute;
using Kor::KeyedMap;
using Kor::ReferenceMap;
using Kor::Singleton;
using Kor::ValueMap;
using Kor::VirtualSingleton;

} // namespace Hardware::LoamTunnel
