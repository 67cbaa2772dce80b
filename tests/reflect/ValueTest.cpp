/// What the value pattern promises of setters, views and order.

#include "platform/Hardware/Loam/Ports.h"
#include "support/Values.h"

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

/// One with several, too, of which all but the first have their defaults.
TEST(Value, IsNotMadeOfItsFirstAttributeUnasked) {
    support::eachValue([]<class T>() {
        using Stored = typename std::remove_cvref_t<decltype(T::storage(T()))>::Attributes;
        if constexpr (Stored::size != 0) {
            using First = typename Kor::detail::AttributeAt<0, Stored>::type::Type;
            static_assert(!std::is_convertible_v<First, T>);
        }
    });
    support::Random random;
    auto const key = support::randomValue<LoamTunnel::EvecKey>(random);
    EXPECT_EQ(LoamTunnel::EvecEntry(key).key(), key);
    EXPECT_EQ(Loam::AradIvecIndex(3), Loam::AradIvecIndex(3, 7, 0)); // as the declaration has them
}

} // namespace
