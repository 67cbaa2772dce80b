#pragma once

/// Hardware::EsemMgmtReq and its data sheet. What a row costs, what it requires and who may use it:
/// chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT EsemMgmtReqSheet {
    // clang-format off
    using Whole = Raw128;

    using Fields = FieldList<
        Field<63, Kor::name::esem0AgeStatus, U8>,
        Field<64, Kor::name::esem0Key, U64>,
        Field<65, Kor::name::esem0Payload, U32>,
        Field<66, Kor::name::esem0RefreshedByDsp, U8>,
        Field<67, Kor::name::esem0ReservedLow, U8>,
        Field<68, Kor::name::esem0Self, U8>,
        Field<69, Kor::name::esem0Stamp, U8>,
        Field<70, Kor::name::esem0Type, U8>,
        Field<71, Kor::name::esem1AgeStatus, U8>,
        Field<72, Kor::name::esem1Key, U64>,
        Field<73, Kor::name::esem1Payload, U32>,
        Field<74, Kor::name::esem1RefreshedByDsp, U8>,
        Field<75, Kor::name::esem1ReservedLow, U8>,
        Field<76, Kor::name::esem1Self, U8>,
        Field<77, Kor::name::esem1Stamp, U8>,
        Field<78, Kor::name::esem1Type, U8>,
        Field<79, Kor::name::esemAgeStatus, U8>,
        Field<80, Kor::name::esemKey, U64>,
        Field<81, Kor::name::esemKeyCvid, U16>,
        Field<82, Kor::name::esemKeyDbId, U8>,
        Field<83, Kor::name::esemKeyVd, U16>,
        Field<84, Kor::name::esemKeyVsi, U16>,
        Field<85, Kor::name::esemPayload, U32>,
        Field<86, Kor::name::esemRefreshedByDsp, U8>,
        Field<87, Kor::name::esemReservedLow, U8>,
        Field<88, Kor::name::esemSelf, U8>,
        Field<89, Kor::name::esemStamp, U8>,
        Field<90, Kor::name::esemType, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips            variants    entries array words base      block last identifier
        {chips(3, 4),       variant(0), 1,      1,    3,    0x7a0000, 0x3,  0},
        {chips(5, 7, 8, 9), variant(0), 1,      1,    3,    0x7a0000, 0x34, 0},
        {chips(10),         variant(0), 1,      1,    3,    0x7a0000, 0x38, 0},
        {chips(10),         variant(1), 1,      1,    3,    0x7c0000, 0x38, 0},
    };

    static constexpr SheetRow variant0[] = {
        // field                3, 4      5, 7, 8, 9 10
        {"esem0Type",           none,     none,      {0, 3}},
        {"esemType",            {0, 3},   {0, 3},    {0, 3}},
        {"esem0Stamp",          none,     none,      {3, 8}},
        {"esemStamp",           {3, 8},   {3, 8},    none},
        {"esemKeyCvid",         {11, 12}, {11, 12},  {11, 12}},
        {"esemKey",             {11, 37}, {11, 40},  {11, 40}},
        {"esem0Key",            none,     none,      {11, 40}},
        {"esemKeyVsi",          {23, 16}, {23, 16},  {23, 16}},
        {"esemKeyVd",           {39, 8},  {39, 9},   {39, 9}},
        {"esemKeyDbId",         {47, 1},  {48, 1},   {48, 1}},
        {"esemPayload",         {48, 16}, {51, 17},  {51, 17}},
        {"esem0Payload",        none,     none,      {51, 17}},
        {"esemAgeStatus",       {64, 2},  {68, 3},   none},
        {"esemReservedLow",     {64, 4},  {68, 5},   none},
        {"esemSelf",            {66, 1},  {71, 1},   none},
        {"esemRefreshedByDsp",  {67, 1},  {72, 1},   none},
        {"esem0AgeStatus",      none,     none,      {68, 3}},
        {"esem0ReservedLow",    none,     none,      {68, 5}},
        {"esem0Self",           none,     none,      {71, 1}},
        {"esem0RefreshedByDsp", none,     none,      {72, 1}},
    };

    static constexpr SheetRow variant1[] = {
        // field                10
        {"esem1Type",           {0, 3}},
        {"esemType",            {0, 3}},
        {"esem1Stamp",          {3, 8}},
        {"esemKeyCvid",         {11, 12}},
        {"esem1Key",            {11, 40}},
        {"esemKey",             {11, 40}},
        {"esemKeyVsi",          {23, 16}},
        {"esemKeyVd",           {39, 9}},
        {"esemKeyDbId",         {48, 1}},
        {"esem1Payload",        {51, 17}},
        {"esemPayload",         {51, 17}},
        {"esem1AgeStatus",      {68, 3}},
        {"esem1ReservedLow",    {68, 5}},
        {"esem1Self",           {71, 1}},
        {"esem1RefreshedByDsp", {72, 1}},
    };

    static constexpr Sheet sheets[] = {
        {variant(0), {chips(3, 4), chips(5, 7, 8, 9), chips(10)}, variant0, "ESEM 0"},
        {variant(1), {chips(10)}, variant1, "ESEM 1"},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// The management request word of the ESEM: 96 bits, a table of a single row. Chip 10 has two such words, and
/// there the variant, 0 or 1, picks one; on the others variant 0 alone exists.
///
///     U8 buffer[12] = {};
///     Hardware::EsemMgmtReq row(Hardware::jerichoChip10, buffer, sizeof buffer, false, 1);
///     row.esem1KeyIs(0x123456);
///     row.esemPayloadIs(7);
///
/// `esemKey` is the whole key, `esemKeyCvid`, `esemKeyVsi`, `esemKeyVd` and `esemKeyDbId` are views into it.
/// On chip 10 `esemType`, `esemKey` and `esemPayload` are other names for those of the variant's own prefix.
class KOR_EXPORT EsemMgmtReq final : public RowOf<EsemMgmtReq, layout::EsemMgmtReqSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<EsemMgmtReq, layout::EsemMgmtReqSheet>;

} // namespace Hardware
