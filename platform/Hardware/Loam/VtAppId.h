#pragma once

/// The applications of the driver stack that share the chip's tunnel and VLAN edit resources.
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
KOR_ENUMERATION(VtAppId)

} // namespace Hardware::Loam
