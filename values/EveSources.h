#pragma once

/// Where an egress VLAN edit command takes the parts of a tag from.
///
/// What every enumeration has, names, checked conversions and text, stands in reflect/Enumeration.h.

#include "reflect/Enumeration.h"

// clang-format off
namespace Hardware::LoamTunnel {

enum EveVlanIdSource : Kor::U32 {
    eveVidSrcEmpty = 0,
    eveVidSrcOuterTag = 1,
    eveVidSrcInnerTag = 2,
    eveVidSrcEditInfo0 = 3,
    eveVidSrcEditInfo1 = 4,
    eveVidSrcEncapInfo = 5,
};
KOR_ENUMERATION(EveVlanIdSource,
    "", "Where an egress VLAN edit command takes a VLAN id from",
    "eveVidSrcEmpty", "Nowhere",
    "eveVidSrcOuterTag", "The outer tag of the packet",
    "eveVidSrcInnerTag", "The inner tag of the packet",
    "eveVidSrcEditInfo0", "The first edit information",
    "eveVidSrcEditInfo1", "The second edit information",
    "eveVidSrcEncapInfo", "The encapsulation information")

enum EvePcpDeiSource : Kor::U32 {
    evePcpDeiSrcEmpty = 0,
    evePcpDeiSrcOuterTag = 1,
    evePcpDeiSrcInnerTag = 2,
    evePcpDeiSrcMap = 3,
};
KOR_ENUMERATION(EvePcpDeiSource,
    "", "Where an egress VLAN edit command takes PCP and DEI from",
    "evePcpDeiSrcEmpty", "Nowhere",
    "evePcpDeiSrcOuterTag", "The outer tag of the packet",
    "evePcpDeiSrcInnerTag", "The inner tag of the packet",
    "evePcpDeiSrcMap", "The map")

} // namespace Hardware::LoamTunnel
// clang-format on
