#pragma once

/// What chooses an ingress VLAN edit command: the profile of the interface and the tags of the packet. Any
/// number of 3 or 4 bits is one.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "reflect/Enumeration.h"

namespace Hardware::Loam {

enum IveProfile : Kor::U32 {
    iveProfile0 = 0,
    iveProfile1 = 1,
    iveProfile2 = 2,
    iveProfile3 = 3,
    iveProfile4 = 4,
    iveProfile5 = 5,
    iveProfile6 = 6,
    iveProfile7 = 7,
};
KOR_ENUMERATION(IveProfile)

/// The outer tag, then the inner one: none, a priority tag (VID 0), a C-tag, an S-tag.
enum VlanTagFormat : Kor::U32 {
    vlanTagNone = 0,
    vlanTagPriority = 1,
    vlanTagC = 2,
    vlanTagS = 3,
    vlanTagNoneNone = 4,
    vlanTagPriorityPriority = 5,
    vlanTagPriorityC = 6,
    vlanTagPriorityS = 7,
    vlanTagCNone = 8,
    vlanTagCPriority = 9,
    vlanTagCC = 10,
    vlanTagCS = 11,
    vlanTagSNone = 12,
    vlanTagSPriority = 13,
    vlanTagSC = 14,
    vlanTagSS = 15,
};
KOR_ENUMERATION(VlanTagFormat)

} // namespace Hardware::Loam
