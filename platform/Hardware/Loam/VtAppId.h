#pragma once

/// The applications of the driver stack that share the chip's tunnel and VLAN edit resources.
///
///     stringValue(Hardware::Loam::vtAppVxlan);      // "vtAppVxlan"
///     Hardware::Loam::VtAppIdInstance("vtAppMpls"); // raises Kor::RangeException for a name that is none
///
/// What every enumeration has, names, checked conversions and text, stands in reflect/Enumeration.h.

#include "reflect/Enumeration.h"

namespace Hardware::Loam {

enum VtAppId : Kor::U32 {
    vtAppNone = 0,
    vtAppBridging = 1,
    vtAppRouting = 2,
    vtAppSubinterface = 3,
    vtAppVlanTranslation = 4,
    vtAppDot1qTunnel = 5,
    vtAppVxlan = 6,
    vtAppMpls = 7,
    vtAppPseudowire = 8,
    vtAppEvpn = 9,
    vtAppMulticast = 10,
    vtAppMirroring = 11,
    vtAppTapAggregation = 12,
};
// clang-format off
KOR_ENUMERATION(VtAppId,
    "", "The application of the driver stack that asks for tunnel and VLAN edit resources of the chip",
    "vtAppNone", "No application",
    "vtAppBridging", "Bridging",
    "vtAppRouting", "Routing",
    "vtAppSubinterface", "Subinterfaces",
    "vtAppVlanTranslation", "Translation of VLAN ids",
    "vtAppDot1qTunnel", "802.1Q tunnels",
    "vtAppVxlan", "VXLAN tunnels",
    "vtAppMpls", "MPLS",
    "vtAppPseudowire", "Pseudowires",
    "vtAppEvpn", "Ethernet VPN",
    "vtAppMulticast", "Multicast",
    "vtAppMirroring", "Mirror sessions",
    "vtAppTapAggregation", "Tap aggregation")
// clang-format on

} // namespace Hardware::Loam
