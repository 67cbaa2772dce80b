#pragma once

/// Hardware::IsemMgmtReq and its data sheet. What a row costs, what it requires and who may use it:
/// chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT IsemMgmtReqSheet {
    // clang-format off
    using Whole = Raw128;

    using Fields = FieldList<
        Field<103, Kor::name::isaAgeStatus, U8>,
        Field<104, Kor::name::isaKey, U64>,
        Field<105, Kor::name::isaPayload, U16>,
        Field<106, Kor::name::isaRefreshedByDsp, U8>,
        Field<107, Kor::name::isaReservedLow, U8>,
        Field<108, Kor::name::isaSelf, U8>,
        Field<109, Kor::name::isaStamp, U8>,
        Field<110, Kor::name::isaType, U8>,
        Field<111, Kor::name::isemAgeStatus, U8>,
        Field<112, Kor::name::isemKey, U64>,
        Field<113, Kor::name::isemKeyInAcInnerOrOuter, U8>,
        Field<114, Kor::name::isemKeyInAcInnerVid, U16>,
        Field<115, Kor::name::isemKeyInAcVd, U16>,
        Field<116, Kor::name::isemKeyInAcVid, U16>,
        Field<117, Kor::name::isemKeyTcamSharingVd, U16>,
        Field<118, Kor::name::isemKeyTcamSharingVid, U16>,
        Field<119, Kor::name::isemKeyTunnelType, U8>,
        Field<120, Kor::name::isemPayload, U32>,
        Field<121, Kor::name::isemRefreshedByDsp, U8>,
        Field<122, Kor::name::isemReservedLow, U8>,
        Field<123, Kor::name::isemSelf, U8>,
        Field<124, Kor::name::isemStamp, U8>,
        Field<125, Kor::name::isemType, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants    entries array words base       block last identifier
        {chips(3, 4), variant(0), 1,      1,    3,    0x480000,  0x34, 0},
        {chips(5, 7), variant(0), 1,      1,    3,    0x1000000, 0x3c, 1},
        {chips(8, 9), variant(0), 1,      1,    3,    0x1000000, 0x40, 0},
        {chips(10),   variant(0), 1,      1,    3,    0x1000000, 0x40, 1},
    };

    static constexpr SheetRow rows[] = {
        // field                    3, 4      5, 7, 10  8, 9
        {"isaType",                 {0, 3},   none,     none},
        {"isemType",                {0, 3},   {0, 3},   {0, 3}},
        {"isaStamp",                {3, 8},   none,     none},
        {"isemStamp",               none,     {3, 8},   {3, 8}},
        {"isemKeyInAcVd",           {11, 8},  {11, 9},  {11, 9}},
        {"isemKeyTcamSharingVd",    {11, 8},  {11, 9},  {11, 9}},
        {"isaKey",                  {11, 41}, none,     none},
        {"isemKey",                 {11, 41}, {11, 50}, {11, 50}},
        {"isemKeyInAcInnerOrOuter", {19, 2},  {20, 2},  {20, 2}},
        {"isemKeyTcamSharingVid",   {19, 12}, {20, 12}, {20, 12}},
        {"isemKeyInAcVid",          {21, 12}, {22, 12}, {22, 12}},
        {"isemKeyInAcInnerVid",     {33, 12}, {34, 12}, {34, 12}},
        {"isemKeyTunnelType",       {48, 4},  {55, 6},  {55, 6}},
        {"isaPayload",              {52, 16}, none,     none},
        {"isemPayload",             {52, 16}, {61, 17}, {61, 16}},
        {"isaAgeStatus",            {68, 2},  none,     none},
        {"isaReservedLow",          {68, 4},  none,     none},
        {"isaSelf",                 {70, 1},  none,     none},
        {"isaRefreshedByDsp",       {71, 1},  none,     none},
        {"isemAgeStatus",           none,     {78, 3},  {77, 3}},
        {"isemReservedLow",         none,     {78, 5},  {77, 5}},
        {"isemSelf",                none,     {81, 1},  {80, 1}},
        {"isemRefreshedByDsp",      none,     {82, 1},  {81, 1}},
    };

    static constexpr Sheet sheets[] = {
        {variant(0), {chips(3, 4), chips(5, 7, 10), chips(8, 9)}, rows},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// The management request word of the ISEM: 96 bits, a table of a single row. Variant 0 alone.
///
///     U8 buffer[12] = {};
///     Hardware::IsemMgmtReq row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 0);
///     row.isemKeyInAcVidIs(20);
///     row.isemPayloadIs(7);
///
/// `isemKey` is the whole key and the `isemKey...` fields are views into it, for alternative key formats that
/// overlap one another. Chips 3 and 4 have the `isa...` names, some of them beside the `isem...` ones.
class KOR_EXPORT IsemMgmtReq final : public RowOf<IsemMgmtReq, layout::IsemMgmtReqSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<IsemMgmtReq, layout::IsemMgmtReqSheet>;

} // namespace Hardware
