/// What the value pattern promises of setters, views and order.

#include "platform/Hardware/Loam/Ports.h"
#include "values/EvecFormat.h"

#include <gtest/gtest.h>

namespace {

using namespace Hardware;

TEST(Value, ThatIsRefusedStaysStored) {
    Loam::FapId id(3);
    EXPECT_THROW(id.valueIs(2049), Kor::RangeException);
    EXPECT_EQ(id.value(), 2049);
    id.valueIs(2049); // changes nothing, so that nothing is checked
    id.valueIs(2048);
    EXPECT_FALSE(Loam::FapId(3) == id);
}

TEST(Value, IsOrderedByItsFirstAttributeThenTheOthers) {
    Loam::PortMap const first(Loam::FapId(1), 9);
    Loam::PortMap const second(Loam::FapId(2), 1);
    EXPECT_LT(first, second);
    EXPECT_LT(Loam::PortMap(Loam::FapId(1), 8), first);
    EXPECT_FALSE(first < first);
}

TEST(Value, AViewIsCutAndKeepsTheRestOfItsWord) {
    LoamTunnel::EvecFormat format(0x7ffff);
    format.nTagsToRemoveIs(4);
    EXPECT_EQ(format.nTagsToRemove(), 0);
    EXPECT_EQ(format.value(), 0x7fffcu);
}

} // namespace
