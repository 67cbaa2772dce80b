#pragma once

/// What chooses an ingress VLAN edit command: the profile of the interface and the tags of the packet. Any
/// number of 3 or 4 bits is one.
///
///     AradIhpIvectIndex index;
///     index.setProfileAndFormat(Hardware::Loam::iveProfile2, Hardware::Loam::vlanTagC);
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
// clang-format off
KOR_ENUMERATION(IveProfile,
    "", "The profile of an interface, which with the tags of a packet chooses the ingress VLAN edit command",
    "iveProfile0", "Profile 0",
    "iveProfile1", "Profile 1",
    "iveProfile2", "Profile 2",
    "iveProfile3", "Profile 3",
    "iveProfile4", "Profile 4",
    "iveProfile5", "Profile 5",
    "iveProfile6", "Profile 6",
    "iveProfile7", "Profile 7")
// clang-format on

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
// clang-format off
KOR_ENUMERATION(VlanTagFormat,
    "", "The tags of a packet, the outer one first; a priority tag has the VLAN id 0",
    "vlanTagNone", "No tag",
    "vlanTagPriority", "A priority tag alone",
    "vlanTagC", "A C-tag alone",
    "vlanTagS", "An S-tag alone",
    "vlanTagNoneNone", "Outer: no tag; inner: no tag",
    "vlanTagPriorityPriority", "Outer: a priority tag; inner: a priority tag",
    "vlanTagPriorityC", "Outer: a priority tag; inner: a C-tag",
    "vlanTagPriorityS", "Outer: a priority tag; inner: an S-tag",
    "vlanTagCNone", "Outer: a C-tag; inner: no tag",
    "vlanTagCPriority", "Outer: a C-tag; inner: a priority tag",
    "vlanTagCC", "Outer: a C-tag; inner: a C-tag",
    "vlanTagCS", "Outer: a C-tag; inner: an S-tag",
    "vlanTagSNone", "Outer: an S-tag; inner: no tag",
    "vlanTagSPriority", "Outer: an S-tag; inner: a priority tag",
    "vlanTagSC", "Outer: an S-tag; inner: a C-tag",
    "vlanTagSS", "Outer: an S-tag; inner: an S-tag")
// clang-format on

} // namespace Hardware::Loam
