#pragma once

/// Hardware::TcamBankTable and its data sheet. What a row costs, what it requires and who may use it stand in
/// chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT TcamBankTableSheet {
    // clang-format off
    using Whole = Raw256;

    using Fields = FieldList<
        Field<150, Kor::name::tcamCpuCmdCmp, U8>,
        Field<151, Kor::name::tcamCpuCmdDi, Raw256>,
        Field<152, Kor::name::tcamCpuCmdRd, U8>,
        Field<153, Kor::name::tcamCpuCmdReserved, U16>,
        Field<154, Kor::name::tcamCpuCmdValid, U8>,
        Field<155, Kor::name::tcamCpuCmdWr, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base        block last identifier
        {chips(3, 4), variant(0), 26880,  1,    6,    0x1800000,  0x35, 0},
        {chips(5, 7), variant(0), 65536,  1,    6,    0x1a000000, 0x3f, 0},
        {chips(8, 9), variant(0), 32768,  1,    6,    0x1a000000, 0x3f, 0},
        {chips(10),   variant(0), 65536,  1,    6,    0x1a000000, 0x46, 0},
    };

    static constexpr SheetRow rows[] = {
        // field               3, 4      5, 7, 8, 9, 10
        {"tcamCpuCmdWr",       {0, 1},   {0, 2}},
        {"tcamCpuCmdRd",       {1, 1},   {2, 1}},
        {"tcamCpuCmdCmp",      {2, 1},   {3, 1}},
        {"tcamCpuCmdDi",       {3, 164}, {4, 164}},
        {"tcamCpuCmdValid",    {167, 2}, {168, 2}},
        {"tcamCpuCmdReserved", {169, 9}, {170, 10}},
    };

    static constexpr Sheet sheets[] = {
        {variant(0), {chips(3, 4), chips(5, 7, 8, 9, 10)}, rows},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// The CPU command word of a TCAM bank: 192 bits. Variant 0 alone.
///
///     U8 buffer[24] = {};
///     Hardware::TcamBankTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.tcamCpuCmdDiIs(data);      // a Raw256, of which the low 164 bits reach the row
///     row.tcamCpuCmdWrIs(1);
///
/// `getAllFields` gives six words and two that are 0.
class KOR_EXPORT TcamBankTable final : public RowOf<TcamBankTable, layout::TcamBankTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<TcamBankTable, layout::TcamBankTableSheet>;

} // namespace Hardware
