#pragma once

/// What a row of the EEDB holds.

#include "reflect/Enumeration.h"

namespace Hardware::LoamTunnel {

enum EedbFormat : Kor::U32 {
    invalid = 0,
    mpls = 1,
    arp = 2,
    data = 3,
    ac = 4,
    trill = 5,
    rif = 6,
};
KOR_ENUMERATION(EedbFormat)

} // namespace Hardware::LoamTunnel
