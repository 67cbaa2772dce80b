#pragma once

/// Where an ingress VLAN edit command takes the parts of a tag from. There is no number 1.

#include "reflect/Enumeration.h"

namespace Hardware::LoamTunnel {

enum IveVlanIdSource : Kor::U32 {
    iveVidSrcEmpty = 0,
    iveVidSrcAcEditInfo = 2,
    iveVidSrcAcEditInfo2 = 3,
    iveVidSrcOuterTag = 4,
    iveVidSrcInnterTag = 5,
};
KOR_ENUMERATION(IveVlanIdSource)

enum IveVlanPcpDeiSource : Kor::U32 {
    ivePcpDeiSrcEmpty = 0,
    ivePcpDeiSrcAcEditInfo = 2,
    ivePcpDeiSrcAcEditInfo2 = 3,
    ivePcpDeiSrcOuterTag = 4,
    ivePcpDeiSrcInnterTag = 5,
};
KOR_ENUMERATION(IveVlanPcpDeiSource)

} // namespace Hardware::LoamTunnel
