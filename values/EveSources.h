#pragma once

/// Where an egress VLAN edit command takes the parts of a tag from.

#include "reflect/Enumeration.h"

namespace Hardware::LoamTunnel {

enum EveVlanIdSource : Kor::U32 {
    eveVidSrcEmpty = 0,
    eveVidSrcOuterTag = 1,
    eveVidSrcInnerTag = 2,
    eveVidSrcEditInfo0 = 3,
    eveVidSrcEditInfo1 = 4,
    eveVidSrcEncapInfo = 5,
};
KOR_ENUMERATION(EveVlanIdSource)

enum EvePcpDeiSource : Kor::U32 {
    evePcpDeiSrcEmpty = 0,
    evePcpDeiSrcOuterTag = 1,
    evePcpDeiSrcInnerTag = 2,
    evePcpDeiSrcMap = 3,
};
KOR_ENUMERATION(EvePcpDeiSource)

} // namespace Hardware::LoamTunnel
