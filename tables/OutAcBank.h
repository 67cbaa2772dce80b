#pragma once

/// Hardware::OutAcBank and its data sheet. What a row costs, what it requires and who may use it: chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT OutAcBankSheet {
    // clang-format off
    using Whole = Raw128;

    using Fields = FieldList<
        Field<2, Kor::name::ac0ActionDrop, U8>,
        Field<3, Kor::name::ac0ActionOamLifSet, U8>,
        Field<4, Kor::name::ac0ActionOutlifProfile, U8>,
        Field<5, Kor::name::ac0ActionPcpDeiProfile, U8>,
        Field<6, Kor::name::ac0ActionUseAsDataBit, U8>,
        Field<7, Kor::name::ac0ActionVid1, U16>,
        Field<8, Kor::name::ac0ActionVid2, U16>,
        Field<9, Kor::name::ac0ActionVlanEditProfile, U8>,
        Field<10, Kor::name::ac0EntryFormat, U8>,
        Field<11, Kor::name::ac1ActionDrop, U8>,
        Field<12, Kor::name::ac1ActionOamLifSet, U8>,
        Field<13, Kor::name::ac1ActionOutlifProfile, U8>,
        Field<14, Kor::name::ac1ActionPcpDeiProfile, U8>,
        Field<15, Kor::name::ac1ActionUseAsDataBit, U8>,
        Field<16, Kor::name::ac1ActionVid1, U16>,
        Field<17, Kor::name::ac1ActionVid2, U16>,
        Field<18, Kor::name::ac1ActionVlanEditProfile, U8>,
        Field<19, Kor::name::ac1EntryFormat, U8>,
        Field<20, Kor::name::acEntryFormat, U8>,
        Field<21, Kor::name::acPlusDataEntry, U8>,
        Field<22, Kor::name::arpLlActionActionIdentifier, U8>,
        Field<23, Kor::name::arpLlActionDrop, U8>,
        Field<24, Kor::name::arpLlActionMac, U64>,
        Field<25, Kor::name::arpLlActionNativeLl, U8>,
        Field<26, Kor::name::arpLlActionNextOutLifLsb, U8>,
        Field<27, Kor::name::arpLlActionNextOutLifValid, U8>,
        Field<28, Kor::name::arpLlActionOamLifSet, U8>,
        Field<29, Kor::name::arpLlActionOutlifProfile, U8>,
        Field<30, Kor::name::arpLlActionRemarkProfile, U8>,
        Field<31, Kor::name::arpLlActionReserved, U8>,
        Field<32, Kor::name::arpLlActionVsi, U16>,
        Field<33, Kor::name::arpLlActionVsiValid, U8>,
        Field<34, Kor::name::arpLlEntryFormat, U8>,
        Field<42, Kor::name::eedbBankData, Raw128>,
        Field<144, Kor::name::parity, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants        entries array words base      block last identifier
        {chips(3, 4), variants(0, 2), 2048,   16,   3,    0x140000, 0x3,  0},
        {chips(5, 7), variant(0),     4096,   22,   3,    0x100000, 0x34, 0},
        {chips(5),    variants(1, 2), 2048,   22,   3,    0x100000, 0x34, 0},
        {chips(7),    variants(1, 2), 2048,   1,    3,    0x100000, 0x34, 0},
        {chips(8, 9), variants(0, 2), 4096,   18,   3,    0x100000, 0x34, 0},
        {chips(10),   variant(0),     4096,   26,   3,    0x100000, 0x38, 0},
        {chips(10),   variants(1, 2), 2048,   26,   3,    0x100000, 0x38, 0},
    };

    static constexpr SheetRow variant0[] = {
        // field         3, 4     5, 7, 8, 9, 10
        {"eedbBankData", {0, 78}, {0, 88}},
        {"parity",       {78, 3}, none},
    };

    static constexpr SheetRow variant1[] = {
        // field                     3         4         5, 7      8, 9, 10
        {"ac0ActionPcpDeiProfile",   {0, 4},   {0, 4},   {0, 4},   {0, 4}},
        {"ac0ActionVid1",            {4, 12},  {4, 12},  {4, 12},  {16, 12}},
        {"ac0ActionVid2",            {16, 12}, {16, 12}, {16, 12}, {4, 12}},
        {"ac0ActionVlanEditProfile", {28, 4},  {28, 4},  {28, 5},  {28, 5}},
        {"ac0ActionOamLifSet",       {32, 1},  {32, 1},  {33, 1},  {33, 1}},
        {"ac0ActionDrop",            {33, 1},  {33, 1},  {37, 1},  {40, 1}},
        {"ac0ActionUseAsDataBit",    none,     {34, 1},  {38, 1},  none},
        {"ac0EntryFormat",           {34, 3},  {35, 2},  {39, 2},  none},
        {"ac0ActionOutlifProfile",   none,     none,     {34, 3},  {34, 6}},
        {"ac1ActionPcpDeiProfile",   {37, 4},  {37, 4},  {41, 4},  {41, 4}},
        {"ac1ActionVid1",            {41, 12}, {41, 12}, {45, 12}, {57, 12}},
        {"ac1ActionVid2",            {53, 12}, {53, 12}, {57, 12}, {45, 12}},
        {"ac1ActionVlanEditProfile", {65, 4},  {65, 4},  {69, 5},  {69, 5}},
        {"ac1ActionOamLifSet",       {69, 1},  {69, 1},  {74, 1},  {74, 1}},
        {"ac1ActionDrop",            {70, 1},  {70, 1},  {78, 1},  {81, 1}},
        {"ac1ActionUseAsDataBit",    none,     {71, 1},  {79, 1},  none},
        {"ac1EntryFormat",           {71, 3},  {72, 2},  {80, 4},  none},
        {"acEntryFormat",            {74, 4},  {74, 4},  {84, 4},  {84, 4}},
        {"ac1ActionOutlifProfile",   none,     none,     {75, 3},  {75, 6}},
        {"acPlusDataEntry",          none,     none,     none,     {82, 2}},
    };

    static constexpr SheetRow variant2[] = {
        // field                        3, 4      5, 7, 8   9, 10
        {"arpLlActionNextOutLifLsb",    {0, 5},   {0, 6},   {0, 6}},
        {"arpLlActionNextOutLifValid",  {5, 1},   {6, 1},   {6, 1}},
        {"arpLlActionVsi",              {6, 16},  {7, 16},  {7, 16}},
        {"arpLlActionVsiValid",         {22, 1},  {23, 1},  {23, 1}},
        {"arpLlActionMac",              {23, 48}, {24, 48}, {24, 48}},
        {"arpLlActionOamLifSet",        {71, 1},  {75, 1},  {75, 1}},
        {"arpLlActionDrop",             {72, 1},  {82, 1},  {82, 1}},
        {"arpLlActionRemarkProfile",    {73, 2},  {72, 3},  {72, 3}},
        {"arpLlEntryFormat",            {75, 3},  {85, 3},  {85, 3}},
        {"arpLlActionOutlifProfile",    none,     {76, 5},  {76, 5}},
        {"arpLlActionActionIdentifier", none,     {81, 1},  {81, 1}},
        {"arpLlActionNativeLl",         none,     none,     {83, 1}},
        {"arpLlActionReserved",         none,     {83, 2},  {84, 1}},
    };

    static constexpr Sheet sheets[] = {
        {variant(0), {chips(3, 4), chips(5, 7, 8, 9, 10)}, variant0, "bank data"},
        {variant(1), {chips(3), chips(4), chips(5, 7), chips(8, 9, 10)}, variant1, "out-AC pair"},
        {variant(2), {chips(3, 4), chips(5, 7, 8), chips(9, 10)}, variant2, "ARP link layer"},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One row of a bank of the EEDB: 96 bits, in three row formats. Variant 0 is the whole row as one block of
/// data, variant 1 a pair of out-AC entries, variant 2 an ARP link-layer entry.
///
///     U8 buffer[12] = {};
///     Hardware::OutAcBank row(Hardware::aradChip3, buffer, sizeof buffer, false, 1);
///     row.ac0ActionVid1Is(20);
///
/// The array elements are the banks, and `entries` counts the rows of one; both depend on the variant on
/// chips 5, 7 and 10. Chip 7 has 22 banks in variant 0 and one in the others. Ask before writing:
/// `isAc0EntryFormatValid()`, `ac0ActionUseAsDataBitLen()`, `isAcPlusDataEntryValid()`.
class KOR_EXPORT OutAcBank final : public RowOf<OutAcBank, layout::OutAcBankSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<OutAcBank, layout::OutAcBankSheet>;

} // namespace Hardware
