#pragma once

/// The names of entity attributes, and the vocabulary of entity declarations.

#include "reflect/EntityPattern.h"
#include "values/ValueNames.h"

KOR_NAME(acEntry, AcEntry)
KOR_NAME(acRequest, AcRequest)
KOR_NAME(appConfig, AppConfig)
KOR_NAME(appStatus, AppStatus)
KOR_NAME(config, Config)
KOR_NAME(dmaAddrBase, DmaAddrBase)
KOR_NAME(dnldIndex, DnldIndex)
KOR_NAME(dnldSize, DnldSize)
KOR_NAME(enabled, Enabled)
KOR_NAME(entrySize, EntrySize)
KOR_NAME(esemHwSize, EsemHwSize)
KOR_NAME(evecProfileSize, EvecProfileSize)
KOR_NAME(handleInitialized, HandleInitialized)
KOR_NAME(hwIvec, HwIvec)
KOR_NAME(isemHwSize, IsemHwSize)
KOR_NAME(lifBankFromIndex, LifBankFromIndex)
KOR_NAME(lifDnldIndexToDmaAddr, LifDnldIndexToDmaAddr)
KOR_NAME(lifDnldIndexToLifBank, LifDnldIndexToLifBank)
KOR_NAME(lifDnldIndexToLifOffset, LifDnldIndexToLifOffset)
KOR_NAME(lifEntriesPerBank, LifEntriesPerBank)
KOR_NAME(lifEntry, LifEntry)
KOR_NAME(lifIndex, LifIndex)
KOR_NAME(lifOffsetFromIndex, LifOffsetFromIndex)
KOR_NAME(owner, Owner)
KOR_NAME(properties, Properties)
KOR_NAME(reqCount, ReqCount)
KOR_NAME(response, Response)
KOR_NAME(status, Status)
KOR_NAME(tcamEntriesPerBank, TcamEntriesPerBank)

KOR_ENTITY_NAME(acEntry, AcEntry)
KOR_ENTITY_NAME(acKey, AcKey)
KOR_ENTITY_NAME(acRequest, AcRequest)
KOR_ENTITY_NAME(app, App)
KOR_ENTITY_NAME(appConfig, AppConfig)
KOR_ENTITY_NAME(appStatus, AppStatus)
KOR_ENTITY_NAME(config, Config)
KOR_ENTITY_NAME(enabled, Enabled)
KOR_ENTITY_NAME(esemHwSize, EsemHwSize)
KOR_ENTITY_NAME(evecProfileSize, EvecProfileSize)
KOR_ENTITY_NAME(fapMask, FapMask)
KOR_ENTITY_NAME(fapType, FapType)
KOR_ENTITY_NAME(hwIvec, HwIvec)
KOR_ENTITY_NAME(isemHwSize, IsemHwSize)
KOR_ENTITY_NAME(lifEntriesPerBank, LifEntriesPerBank)
KOR_ENTITY_NAME(lifEntry, LifEntry)
KOR_ENTITY_NAME(owner, Owner)
KOR_ENTITY_NAME(properties, Properties)
KOR_ENTITY_NAME(reqCount, ReqCount)
KOR_ENTITY_NAME(request, Request)
KOR_ENTITY_NAME(response, Response)
KOR_ENTITY_NAME(status, Status)
KOR_ENTITY_NAME(tcamEntriesPerBank, TcamEntriesPerBank)

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
