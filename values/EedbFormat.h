#pragma once

/// What a row of the EEDB holds.
///
/// What every enumeration has, names, checked conversions and text, stands in reflect/Enumeration.h.

#include "reflect/Enumeration.h"

// clang-format off
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
KOR_ENUMERATION(EedbFormat,
    "", "What a row of the EEDB holds",
    "invalid", "Nothing that is known",
    "mpls", "An MPLS entry",
    "arp", "An ARP entry",
    "data", "A data entry",
    "ac", "Two out-ACs, an OutAcValue",
    "trill", "A TRILL entry; no row is told to be one",
    "rif", "A router interface entry; no row is told to be one")

} // namespace Hardware::LoamTunnel
// clang-format on
