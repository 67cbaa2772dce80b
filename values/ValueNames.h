#pragma once

/// The names of value attributes that are not row fields as well, and the vocabulary of value declarations.

#include "platform/PlatformNames.h"
#include "reflect/Enumeration.h"
#include "reflect/ReflectNames.h"
#include "reflect/Value.h"
#include "tables/FieldNames.h"

KOR_NAME(ac0_0_31, Ac0_0_31)
KOR_NAME(ac0_32_36, Ac0_32_36)
KOR_NAME(ac1_0_26, Ac1_0_26)
KOR_NAME(ac1_27_36, Ac1_27_36)
KOR_NAME(acBaseIndex, AcBaseIndex)
KOR_NAME(acFormat, AcFormat)
KOR_NAME(acFormatIs, AcFormatIs)
KOR_NAME(acIndex, AcIndex)
KOR_NAME(acKey, AcKey, entity)
KOR_NAME(addStatus, AddStatus)
KOR_NAME(app, App, entity)
KOR_NAME(aradAcStartIndex, AradAcStartIndex)
KOR_NAME(chipType, ChipType)
KOR_NAME(dataBuffer, DataBuffer)
KOR_NAME(destinationHi, DestinationHi)
KOR_NAME(destinationIs, DestinationIs)
KOR_NAME(destinationLo, DestinationLo)
KOR_NAME(drop, Drop)
KOR_NAME(dword0, Dword0)
KOR_NAME(dword1, Dword1)
KOR_NAME(entryFormat, EntryFormat)
KOR_NAME(evec0, Evec0)
KOR_NAME(evec1, Evec1)
KOR_NAME(evecFormat, EvecFormat)
KOR_NAME(evecFormatIs, EvecFormatIs)
KOR_NAME(fapMask, FapMask, entity)
KOR_NAME(fapType, FapType, entity)
KOR_NAME(fapTypeProperties, FapTypeProperties)
KOR_NAME(fapmask, Fapmask)
KOR_NAME(format, Format)
KOR_NAME(haloAclLabel, HaloAclLabel)
KOR_NAME(hash, Hash)
KOR_NAME(hwOffset, HwOffset)
KOR_NAME(index, Index)
KOR_NAME(innerTpidIdx, InnerTpidIdx)
KOR_NAME(innerVlanIdSrc, InnerVlanIdSrc)
KOR_NAME(innerVlanIdSrcIs, InnerVlanIdSrcIs)
KOR_NAME(insert, Insert)
KOR_NAME(intfId, IntfId)
KOR_NAME(intfTpid, IntfTpid)
KOR_NAME(intfTpidIndex, IntfTpidIndex)
KOR_NAME(ipv4Policy, Ipv4Policy)
KOR_NAME(ipv6EgressPolicy, Ipv6EgressPolicy)
KOR_NAME(ipv6Policy, Ipv6Policy)
KOR_NAME(ipv6PolicyValid, Ipv6PolicyValid)
KOR_NAME(isAc0, IsAc0)
KOR_NAME(isEvec0, IsEvec0)
KOR_NAME(iveProfile, IveProfile)
KOR_NAME(jerichoAcStartIndex, JerichoAcStartIndex)
KOR_NAME(l3FloodPortVlanId, L3FloodPortVlanId)
KOR_NAME(lifType, LifType)
KOR_NAME(max, Max)
KOR_NAME(membershipCheckType, MembershipCheckType)
KOR_NAME(nTagsToRemove, NTagsToRemove)
KOR_NAME(nhId, NhId)
KOR_NAME(outerTpidIdx, OuterTpidIdx)
KOR_NAME(outerVlanIdSrc, OuterVlanIdSrc)
KOR_NAME(outerVlanIdSrcIs, OuterVlanIdSrcIs)
KOR_NAME(pbrPolicy, PbrPolicy)
KOR_NAME(pcpDeiProfile, PcpDeiProfile)
KOR_NAME(policyId, PolicyId)
KOR_NAME(profile, Profile)
KOR_NAME(qosPolicy, QosPolicy)
KOR_NAME(request, Request, entity)
KOR_NAME(result, Result)
KOR_NAME(setProfileAndFormat, SetProfileAndFormat)
KOR_NAME(src, Src)
KOR_NAME(startingBank, StartingBank)
KOR_NAME(success, Success)
KOR_NAME(termProfile, TermProfile)
KOR_NAME(terminatingIpAddr, TerminatingIpAddr)
KOR_NAME(terminationProfileIs, TerminationProfileIs)
KOR_NAME(unused, Unused)
KOR_NAME(valid, Valid)
KOR_NAME(variant, Variant)
KOR_NAME(vid1, Vid1)
KOR_NAME(vid2, Vid2)
KOR_NAME(vlanTagFormat, VlanTagFormat)
KOR_NAME(word, Word)
KOR_NAME(writeToChipFormat, WriteToChipFormat)

namespace Hardware::LoamTunnel {

namespace name = Kor::name;

using Kor::Arg;
using Kor::CheckedOnWire;
using Kor::ClassOperation;
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
