#pragma once

/// Hardware::LifTable and its data sheet. What a row costs, what it requires and who may use it: chip/Row.h.

#include "chip/Row.h"
#include "tables/FieldNames.h"

namespace Hardware::layout {

struct KOR_EXPORT LifTableSheet {
    // clang-format off
    using Whole = Raw128;

    using Fields = FieldList<
        Field<1, Kor::name::actionProfileIndex, U8>,
        Field<35, Kor::name::cosProfile, U8>,
        Field<36, Kor::name::daNotFoundProfile, U8>,
        Field<37, Kor::name::destination, U32>,
        Field<38, Kor::name::destinationValid, U8>,
        Field<39, Kor::name::destinationValidOrTerminationTypeMsb, U8>,
        Field<40, Kor::name::doubleDataEntry, U8>,
        Field<43, Kor::name::eeiIsLabel, U8>,
        Field<44, Kor::name::eeiOrOutLif, U32>,
        Field<45, Kor::name::eeiOrOutLifIdentifier, U8>,
        Field<46, Kor::name::eeiOrOutLifType, U8>,
        Field<92, Kor::name::expectBos, U8>,
        Field<93, Kor::name::forwardingCode, U8>,
        Field<97, Kor::name::inLif, U16>,
        Field<98, Kor::name::inLifProfile, U8>,
        Field<99, Kor::name::inLifValid, U8>,
        Field<100, Kor::name::inRif, U16>,
        Field<101, Kor::name::inRifMsb, U16>,
        Field<102, Kor::name::inRifValid, U8>,
        Field<128, Kor::name::learnInfo, U32>,
        Field<129, Kor::name::modelIsPipe, U8>,
        Field<130, Kor::name::mplsPushProfile, U8>,
        Field<131, Kor::name::mplsVcLabel, U32>,
        Field<132, Kor::name::oamLifSet, U8>,
        Field<133, Kor::name::orientationIsHub, U8>,
        Field<137, Kor::name::outLif, U16>,
        Field<138, Kor::name::outLifLsb, U32>,
        Field<139, Kor::name::outLifMsb, U8>,
        Field<140, Kor::name::outLifOrLabel, U32>,
        Field<141, Kor::name::outLifValid, U8>,
        Field<142, Kor::name::outLifValidBit, U8>,
        Field<143, Kor::name::outLifValue, U32>,
        Field<145, Kor::name::protectionPath, U8>,
        Field<146, Kor::name::protectionPointer, U16>,
        Field<147, Kor::name::serviceType, U8>,
        Field<148, Kor::name::sysInLif, U32>,
        Field<156, Kor::name::terminationProfile, U8>,
        Field<157, Kor::name::terminationProfileLsb, U8>,
        Field<158, Kor::name::terminationProfileMsb, U8>,
        Field<159, Kor::name::terminationTypeLsb, U8>,
        Field<160, Kor::name::terminationTypeMsb, U8>,
        Field<161, Kor::name::tpidProfile, U8>,
        Field<162, Kor::name::ttLearnEnable, U8>,
        Field<163, Kor::name::type, U8>,
        Field<164, Kor::name::useInLif, U8>,
        Field<165, Kor::name::vlanEditPcpDeiProfile, U8>,
        Field<166, Kor::name::vlanEditProfile, U8>,
        Field<167, Kor::name::vlanEditVid1, U16>,
        Field<168, Kor::name::vlanEditVid2, U16>,
        Field<169, Kor::name::vsi, U16>,
        Field<170, Kor::name::vsiAssignmentMode, U8>,
        Field<171, Kor::name::vsiMsb, U8>>;

    static constexpr GeometryRow geometry[] = {
        // chips      variants        entries array words base       block last identifier
        {chips(3, 4), variants(0, 4), 16384,  4,    4,    0x1070000, 0x34, 0},
        {chips(5, 7), variants(0, 4), 16384,  8,    4,    0x2000000, 0x40, 0},
        {chips(8, 9), variants(0, 4), 32768,  2,    4,    0x680000,  0x3a, 0},
        {chips(10),   variants(0, 4), 16384,  8,    4,    0x2000000, 0x47, 0},
    };

    static constexpr SheetRow variant0[] = {
        // field                  3, 4      5, 7, 8, 9, 10
        {"destination",           {0, 19},  {0, 19}},
        {"destinationValid",      {19, 1},  none},
        {"outLifLsb",             none,     {19, 17}},
        {"outLif",                {20, 16}, none},
        {"vlanEditVid2",          {36, 12}, {36, 12}},
        {"vlanEditVid1",          {48, 12}, {48, 12}},
        {"vlanEditPcpDeiProfile", {60, 4},  {60, 4}},
        {"vlanEditProfile",       {64, 3},  {64, 3}},
        {"orientationIsHub",      {67, 1},  {67, 1}},
        {"cosProfile",            {68, 6},  {68, 6}},
        {"inLifProfile",          {74, 4},  {74, 4}},
        {"outLifValid",           {78, 1},  {78, 1}},
        {"outLifMsb",             none,     {79, 1}},
        {"oamLifSet",             {80, 1},  {80, 1}},
        {"protectionPath",        {81, 1},  {81, 1}},
        {"protectionPointer",     {82, 14}, {82, 14}},
        {"useInLif",              {96, 1},  none},
        {"type",                  {97, 2},  {96, 2}},
        {"sysInLif",              none,     {98, 18}},
        {"doubleDataEntry",       none,     {116, 1}},
    };

    static constexpr SheetRow variant1[] = {
        // field                  3, 4      5, 7, 8, 9, 10
        {"vsi",                   {0, 16},  {0, 16}},
        {"learnInfo",             {16, 16}, {16, 17}},
        {"ttLearnEnable",         {32, 1},  {35, 1}},
        {"daNotFoundProfile",     {33, 2},  {33, 2}},
        {"vlanEditVid2",          {36, 12}, {36, 12}},
        {"vlanEditVid1",          {48, 12}, {48, 12}},
        {"vlanEditPcpDeiProfile", {60, 4},  {60, 4}},
        {"vlanEditProfile",       {64, 3},  {64, 3}},
        {"orientationIsHub",      {67, 1},  {67, 1}},
        {"cosProfile",            {68, 6},  {68, 6}},
        {"inLifProfile",          {74, 4},  {74, 4}},
        {"vsiAssignmentMode",     {78, 2},  {78, 2}},
        {"oamLifSet",             {80, 1},  {80, 1}},
        {"protectionPath",        {81, 1},  {81, 1}},
        {"protectionPointer",     {82, 14}, {82, 14}},
        {"useInLif",              {96, 1},  none},
        {"type",                  {97, 2},  {96, 2}},
        {"sysInLif",              none,     {98, 18}},
        {"doubleDataEntry",       none,     {116, 1}},
    };

    static constexpr SheetRow variant2[] = {
        // field                  3, 4      5, 7, 10  8, 9
        {"destination",           {0, 19},  {0, 19},  {0, 19}},
        {"destinationValid",      {19, 1},  {19, 1},  {19, 1}},
        {"eeiOrOutLif",           {20, 20}, none,     none},
        {"mplsVcLabel",           {20, 20}, {20, 20}, {20, 20}},
        {"outLifOrLabel",         none,     {20, 24}, {20, 24}},
        {"eeiOrOutLifIdentifier", {40, 4},  none,     none},
        {"mplsPushProfile",       {40, 4},  {40, 4},  {40, 4}},
        {"eeiIsLabel",            none,     {44, 1},  none},
        {"eeiOrOutLifType",       none,     {44, 1},  {44, 1}},
        {"vlanEditVid1",          {48, 12}, {48, 12}, {48, 12}},
        {"vlanEditPcpDeiProfile", {60, 4},  {60, 4},  {60, 4}},
        {"vlanEditProfile",       {64, 3},  {64, 3},  {64, 3}},
        {"orientationIsHub",      {67, 1},  {67, 1},  {67, 1}},
        {"cosProfile",            {68, 6},  {68, 6},  {68, 6}},
        {"inLifProfile",          {74, 4},  {74, 4},  {74, 4}},
        {"vsiAssignmentMode",     {78, 2},  {78, 2},  {78, 2}},
        {"oamLifSet",             {80, 1},  {80, 1},  {80, 1}},
        {"protectionPath",        {81, 1},  {81, 1},  {81, 1}},
        {"protectionPointer",     {82, 14}, {82, 14}, {82, 14}},
        {"useInLif",              {96, 1},  none,     none},
        {"type",                  {97, 2},  {96, 2},  {96, 2}},
        {"sysInLif",              none,     {98, 18}, {98, 18}},
        {"doubleDataEntry",       none,     {116, 1}, {116, 1}},
    };

    static constexpr SheetRow variant3[] = {
        // field                  3, 4      5, 7, 8, 9, 10
        {"orientationIsHub",      {0, 1},   {0, 1}},
        {"actionProfileIndex",    {1, 3},   {1, 3}},
        {"modelIsPipe",           {4, 1},   {4, 1}},
        {"terminationProfile",    {5, 2},   none},
        {"terminationProfileLsb", {5, 2},   {5, 2}},
        {"terminationTypeLsb",    {5, 2},   {5, 2}},
        {"inLifProfile",          {7, 4},   {7, 4}},
        {"tpidProfile",           {11, 2},  {11, 2}},
        {"cosProfile",            {13, 4},  {13, 4}},
        {"inLif",                 {17, 16}, none},
        {"sysInLif",              {17, 16}, {98, 18}},
        {"outLifValue",           {33, 16}, {33, 18}},
        {"eeiOrOutLif",           {33, 24}, {33, 24}},
        {"outLifValidBit",        {49, 1},  {51, 1}},
        {"destination",           {57, 19}, {57, 19}},
        {"destinationValid",      {76, 1},  none},
        {"terminationProfileMsb", {96, 1},  {76, 1}},
        {"terminationTypeMsb",    {96, 1},  {76, 1}},
        {"eeiOrOutLifType",       {77, 1},  {77, 1}},
        {"vsiAssignmentMode",     {78, 2},  {78, 2}},
        {"oamLifSet",             {80, 1},  {80, 1}},
        {"protectionPath",        {81, 1},  {81, 1}},
        {"protectionPointer",     {82, 14}, {82, 14}},
        {"type",                  {97, 2},  {96, 2}},
        {"doubleDataEntry",       none,     {116, 1}},
    };

    static constexpr SheetRow variant4[] = {
        // field                                 3, 4      5, 7, 10  8, 9
        {"orientationIsHub",                     {0, 1},   {0, 1},   {0, 1}},
        {"actionProfileIndex",                   {1, 3},   {1, 3},   {1, 3}},
        {"modelIsPipe",                          {4, 1},   {4, 1},   {4, 1}},
        {"terminationProfile",                   {5, 2},   none,     none},
        {"terminationTypeLsb",                   {5, 2},   {5, 2},   {5, 2}},
        {"inLifProfile",                         {7, 4},   {7, 4},   {7, 4}},
        {"tpidProfile",                          {11, 2},  {11, 2},  {11, 2}},
        {"cosProfile",                           {13, 6},  {13, 6},  {13, 6}},
        {"daNotFoundProfile",                    {19, 2},  {55, 2},  {55, 2}},
        {"vsi",                                  {19, 15}, {19, 15}, {19, 15}},
        {"vsiMsb",                               none,     {32, 2},  {32, 2}},
        {"serviceType",                          {34, 3},  {34, 3},  {34, 3}},
        {"inRif",                                {37, 12}, none,     none},
        {"inRifMsb",                             {37, 12}, {37, 13}, {37, 13}},
        {"inRifValid",                           {49, 1},  {50, 1},  {50, 1}},
        {"forwardingCode",                       {50, 4},  {51, 4},  {51, 4}},
        {"expectBos",                            {54, 1},  none,     {51, 1}},
        {"destination",                          {57, 19}, {57, 19}, {57, 19}},
        {"destinationValid",                     {76, 1},  none,     none},
        {"destinationValidOrTerminationTypeMsb", {76, 1},  {76, 1},  {76, 1}},
        {"ttLearnEnable",                        {77, 1},  {77, 1},  {77, 1}},
        {"vsiAssignmentMode",                    {78, 2},  {78, 2},  {78, 2}},
        {"oamLifSet",                            {80, 1},  {80, 1},  {80, 1}},
        {"protectionPath",                       {81, 1},  {81, 1},  {81, 1}},
        {"protectionPointer",                    {82, 14}, {82, 14}, {82, 14}},
        {"inLifValid",                           {96, 1},  none,     none},
        {"type",                                 {97, 2},  {96, 2},  {96, 2}},
        {"sysInLif",                             none,     {98, 18}, {98, 18}},
        {"doubleDataEntry",                      none,     {116, 1}, {116, 1}},
    };

    static constexpr Sheet sheets[] = {
        {variant(0), {chips(3, 4), chips(5, 7, 8, 9, 10)}, variant0, "AradLifAcP2pToAc"},
        {variant(1), {chips(3, 4), chips(5, 7, 8, 9, 10)}, variant1, "AradLifAcMp"},
        {variant(2), {chips(3, 4), chips(5, 7, 10), chips(8, 9)}, variant2, "AradLifAcP2pToPwe"},
        {variant(3), {chips(3, 4), chips(5, 7, 8, 9, 10)}, variant3, "AradLifPweToP2p"},
        {variant(4), {chips(3, 4), chips(5, 7, 10), chips(8, 9)}, variant4, "AradLifLabelProtocolOrLsp"},
    };
    // clang-format on
};

} // namespace Hardware::layout

namespace Hardware {

/// One row of the logical-interface table: 128 bits, in five row formats that share a few fields at fixed
/// places.
///
///     U8 buffer[16] = {};
///     Hardware::LifTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 1);
///     row.vsiIs(100);
///
/// The variant given to the constructor decides which format the accessors see; the row's own field `type` is
/// never read for it. Variant 0: AC point-to-point to AC. 1: AC multipoint. 2: AC point-to-point to
/// pseudowire. 3: pseudowire label. 4: protocol or LSP label.
///
/// Where chips or names meet on the same bits the last write prevails: `daNotFoundProfile` lies inside `vsi`
/// in variant 4 on chips 3 and 4, `expectBos` inside `forwardingCode` on chips 8 and 9.
class KOR_EXPORT LifTable final : public RowOf<LifTable, layout::LifTableSheet> {
public:
    using RowOf::RowOf;
};

extern template class RowOf<LifTable, layout::LifTableSheet>;

} // namespace Hardware
