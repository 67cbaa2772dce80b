#include "platform/Hardware/ChipType.h"
#include "platform/Hardware/Loam/DestinationId.h"
#include "platform/LoamLib/LoamLibCommonUtils.h"
#include "support/Refusal.h"
#include "values/LifType.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

template <class E>
std::string refusal(E (*instance)(unsigned), unsigned number) {
    return support::refusal([&] { instance(number); });
}

TEST(Enumeration, TakesItsOwnNumbersAndNamesAndNoOther) {
    for (unsigned number = 0; number < 12; ++number) {
        EXPECT_EQ(LifTypeInstance(number), number);
    }
    EXPECT_EQ(refusal<LifType>(LifTypeInstance, 12), "LifType");
    EXPECT_EQ(refusal<LifType>(LifTypeInstance, 0xffffffff), "LifType");
    EXPECT_EQ(refusal<acType>(acTypeInstance, 3), "accepted");
    EXPECT_EQ(refusal<acType>(acTypeInstance, 4), "acType");
    EXPECT_EQ(refusal<labelLifType>(labelLifTypeInstance, 4), "labelLifType");
    EXPECT_EQ(LifTypeInstance("lifLabelPweP2p"), lifLabelPweP2p);
    EXPECT_THROW(LifTypeInstance("LIFACMP"), Kor::RangeException);
}

TEST(Enumeration, PrintsItsNameOrItsNumber) {
    std::ostringstream text;
    text << lifAcMp << ' ' << static_cast<LifType>(99) << ' ' << jerichoChip8 << ' ' << Loam::fapTypeArad;
    EXPECT_EQ(text.str(), "lifAcMp LifType(99) jerichoChip8 fapTypeArad");
    EXPECT_STREQ(stringValue(acP2pToPbb).charPtr(), "acP2pToPbb");
}

TEST(Chip, HasAFamilyAlsoWithoutATable) {
    EXPECT_EQ(chipTypeToFapType(otherChip1), Loam::fapTypeOther);
    EXPECT_EQ(chipTypeToFapType(aradChip2), Loam::fapTypeArad);
    EXPECT_EQ(chipTypeToFapType(jerichoChip6), Loam::fapTypeJericho);
    if constexpr (Kor::contractChecks) {
        EXPECT_DEATH(chipTypeToFapType(static_cast<ChipType>(11)), "chipTypeToFapType: no chip 11");
    }
}

TEST(DestinationId, HasTwoFormsThatGiveBackEachOther) {
    EXPECT_EQ(Loam::DestinationId(), Loam::DestinationId(65535, 0));
    Kor::U32 same = 0;
    for (Kor::U32 destination = 0; destination < 1u << 19; ++destination) {
        Loam::DestinationId id;
        id.decodeDestId(Loam::fapTypeJericho, destination);
        ASSERT_EQ(id.encodedDestId(Loam::fapTypeJericho), destination);
        Kor::U32 const arad = id.encodedDestId(Loam::fapTypeArad);
        ASSERT_LT(arad, 1u << 19);
        same += arad == destination;
        Loam::DestinationId back;
        back.decodeDestId(Loam::fapTypeArad, arad);
        ASSERT_EQ(back, id);
    }
    EXPECT_LT(same, 16u);
}

} // namespace
