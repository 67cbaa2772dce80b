#pragma once

/// Where an ingress VLAN edit command takes the parts of a tag from. There is no number 1.
///
/// What every enumeration has, names, checked conversions and text, stands in reflect/Enumeration.h.

#include "reflect/Enumeration.h"

// clang-format off
namespace Hardware::LoamTunnel {

enum IveVlanIdSource : Kor::U32 {
    iveVidSrcEmpty = 0,
    iveVidSrcAcEditInfo = 2,
    iveVidSrcAcEditInfo2 = 3,
    iveVidSrcOuterTag = 4,
    iveVidSrcInnterTag = 5,
};
KOR_ENUMERATION(IveVlanIdSource,
    "", "Where an ingress VLAN edit command takes a VLAN id from; there is no number 1",
    "iveVidSrcEmpty", "Nowhere",
    "iveVidSrcAcEditInfo", "The first edit information of the AC",
    "iveVidSrcAcEditInfo2", "The second edit information of the AC",
    "iveVidSrcOuterTag", "The outer tag of the packet",
    "iveVidSrcInnterTag", "The inner tag of the packet")

enum IveVlanPcpDeiSource : Kor::U32 {
    ivePcpDeiSrcEmpty = 0,
    ivePcpDeiSrcAcEditInfo = 2,
    ivePcpDeiSrcAcEditInfo2 = 3,
    ivePcpDeiSrcOuterTag = 4,
    ivePcpDeiSrcInnterTag = 5,
};
KOR_ENUMERATION(IveVlanPcpDeiSource,
    "", "Where an ingress VLAN edit command takes PCP and DEI from; there is no number 1",
    "ivePcpDeiSrcEmpty", "Nowhere",
    "ivePcpDeiSrcAcEditInfo", "The first edit information of the AC",
    "ivePcpDeiSrcAcEditInfo2", "The second edit information of the AC",
    "ivePcpDeiSrcOuterTag", "The outer tag of the packet",
    "ivePcpDeiSrcInnterTag", "The inner tag of the packet")

} // namespace Hardware::LoamTunnel
// clang-format on
