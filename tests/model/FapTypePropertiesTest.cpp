#include "model/LoamTunnelModel.h"

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

/// Sets a variable for a scope.
class Environment {
public:
    Environment(char const* name, char const* value) : name_(name) { setenv(name, value, 1); }
    ~Environment() { unsetenv(name_); }

private:
    char const* name_;
};

TEST(FapTypeProperties, IsCompleteWhenItIsMade) {
    Kor::Ptr<FapTypeProperties const> const all = fapTypePropertiesFactory();
    EXPECT_TRUE(
        std::invoke(&FapTypeProperties::initialized, *all)); // one function, whose address can be taken
    EXPECT_TRUE(all->initialized());
    EXPECT_EQ(all->name(), "");
    auto const arad = all->properties(Loam::fapTypeArad);
    auto const jericho = all->properties(Loam::fapTypeJericho);
    ASSERT_TRUE(arad && jericho);
    EXPECT_FALSE(all->properties(Loam::fapTypeOther));
    EXPECT_EQ(arad->fapType(), Loam::fapTypeArad);
    EXPECT_EQ(arad->isemHwSize(), 32768u);
    EXPECT_EQ(arad->esemHwSize(), 16384u);
    EXPECT_EQ(arad->evecProfileSize(), 4u);
    EXPECT_EQ(arad->lifEntriesPerBank(), 16384u);
    EXPECT_EQ(arad->tcamEntriesPerBank(), 1024u);
    EXPECT_EQ(jericho->esemHwSize(), 65536u);
    EXPECT_EQ(jericho->evecProfileSize(), 5u);
    EXPECT_EQ(jericho->lifEntriesPerBank(), 32768u);
    EXPECT_EQ(jericho->tcamEntriesPerBank(), 2048u);
}

struct CompletenessReactor : FapTypeProperties::Notifiee {
    void onInitialized() override {
        seen = notifier()->initialized() ? notifier()->propertiesMap().count() : 0;
    }
    U32 seen = 0;
};

TEST(FapTypeProperties, AreAllThereWhenTheySaySo) {
    auto const all = fapTypePropertiesFactory();
    all->propertiesDelAll();
    all->initializedIs(false);
    auto const reactor = Kor::observe<CompletenessReactor>(all);
    all->handleInitialized();
    EXPECT_EQ(reactor->seen, 2u);
}

TEST(FapTypeProperties, TurnsAnIndexIntoAPlace) {
    Kor::Ptr<FapTypeProperties const> const all = fapTypePropertiesFactory();
    auto const arad = all->properties(Loam::fapTypeArad);
    auto const jericho = all->properties(Loam::fapTypeJericho);
    AradLifIndex const index(20000, lifBankManaged);
    AradLifIndex const next(20001, lifBankManaged);
    EXPECT_EQ(arad->lifBankFromIndex(index), 3);
    EXPECT_EQ(arad->lifOffsetFromIndex(index), 3616u);
    EXPECT_EQ(index.hwOffset(Loam::fapTypeArad, all), 52768u);
    EXPECT_EQ(jericho->lifBankFromIndex(index), 4);
    EXPECT_EQ(jericho->lifOffsetFromIndex(index), 10000u);
    EXPECT_EQ(jericho->lifBankFromIndex(next), 5);
    EXPECT_EQ(jericho->lifOffsetFromIndex(next), 10000u);
    EXPECT_EQ(index.hwOffset(Loam::fapTypeJericho, all), 85536u);
    EXPECT_EQ(arad->lifDnldIndexToLifBank(3, 4096), 2u);
    EXPECT_EQ(arad->lifDnldIndexToLifOffset(3, 4096), 12288u);
    EXPECT_EQ(arad->lifDnldIndexToDmaAddr(4096, 3, 4096, 16), 200704u);
    EXPECT_EQ(jericho->lifDnldIndexToLifBank(3, 4096), 5u);
    EXPECT_EQ(jericho->lifDnldIndexToLifOffset(3, 4096), 4096u);
    EXPECT_EQ(jericho->lifDnldIndexToDmaAddr(4096, 3, 4096, 16), 856064u);
    EXPECT_EQ(arad->lifDnldIndexToDmaAddr(5, 0x10000, 0x10000, 3), 5u); // wraps
    auto const bare = FapTypeProperties::propertiesFactory(Loam::fapTypeArad);
    EXPECT_EQ(bare->lifBankFromIndex(index), 0);
    EXPECT_EQ(bare->lifDnldIndexToLifOffset(3, 4096), 0u);
    auto const unset = FapTypeProperties::aradPropertiesFactory(Loam::fapTypeArad); // all sizes are 0
    EXPECT_EQ(unset->lifBankFromIndex(index), lifBankManaged);
    EXPECT_EQ(unset->lifOffsetFromIndex(index), 0u);
    if constexpr (Kor::contractChecks) {
        EXPECT_DEATH(arad->lifBankFromIndex(AradLifIndex()), "the LIF index is null");
        EXPECT_DEATH(AradLifIndex().hwOffset(Loam::fapTypeArad, all), "the LIF index is in no bank");
        EXPECT_DEATH(index.hwOffset(Loam::fapTypeOther, all), "no such chip family");
    }
}

TEST(FapTypeProperties, ReadsTheEnvironmentAtConstructionAlone) {
    auto const tcam = [](FapTypeProperties const& all, Loam::FapType family) {
        return all.properties(family)->tcamEntriesPerBank();
    };
    auto const before = fapTypePropertiesFactory();
    {
        Environment const arad("MAX_ARAD_TCAM_ENTRIES", "512");
        auto const all = fapTypePropertiesFactory();
        EXPECT_EQ(tcam(*all, Loam::fapTypeArad), 512u);
        EXPECT_EQ(tcam(*all, Loam::fapTypeJericho), 2048u);
        EXPECT_EQ(tcam(*before, Loam::fapTypeArad), 1024u);
    }
    Environment const arad("MAX_ARAD_TCAM_ENTRIES", "many");
    Environment const jericho("MAX_JERICHO_TCAM_ENTRIES", "0");
    auto const all = fapTypePropertiesFactory();
    EXPECT_EQ(tcam(*all, Loam::fapTypeArad), 0u);
    EXPECT_EQ(tcam(*all, Loam::fapTypeJericho), 0u);
}

} // namespace
