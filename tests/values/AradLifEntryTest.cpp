#include "../bench/HandWrittenLif.h"
#include "support/Values.h"
#include "tables/LifTable.h"
#include "values/LoamTunnelTypes.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

constexpr LifType writable[] = {lifAcMp, lifAcP2pToAc, lifAcP2pToPwe, lifLabelPweP2p, lifLabelProtocolOrLsp};

using Row = std::array<Kor::U8, 16>;

Row encoded(AradLifEntry const& entry, ChipType chip, Row row = {}) {
    entry.writeToChipFormat(chip, row.data());
    return row;
}

LifTable view(Row& row, ChipType chip, AradLifEntry const& entry) {
    return LifTable(chip, row.data(), static_cast<Kor::U16>(row.size()), false, entry.variant());
}

TEST(AradLifEntry, IsWrittenAsByHandOnEveryChipAndLeavesOtherBits) {
    support::Random random;
    for (int round = 0; round < 4000; ++round) {
        for (LifType const type : writable) {
            AradLifEntry entry(type, random.next(), random.next());
            if (type == lifAcP2pToAc) {
                entry.dword0Is(entry.dword0() & ~(Kor::U64{0x3ff} << 36)); // outLif of 16 bits
            }
            for (ChipType const chip : support::supportedChips) {
                Row noise;
                random.fill(noise.data(), noise.size());
                Row expected = noise;
                HandWritten::encode(entry, chip, expected.data());
                ASSERT_EQ(encoded(entry, chip, noise), expected) << type << " on " << chip;
            }
        }
    }
}

/// The encoders have a way without a dispatch a field when trace is quiet; it must not be told from the
/// other.
TEST(Encoders, WriteAndCountAlikeWhateverIsTraced) {
    support::Random random;
    std::vector<Kor::TraceFacility*> const all{&Kor::traceFacility("LoamTunnelMetaInfo"),
                                               &Kor::traceFacility("LoamTunnelTypes")};
    auto const enabledIs = [&](bool isEnabled, bool isShown) {
        for (Kor::TraceFacility* each : all) {
            each->enabledIs(isEnabled);
            each->levelIs(7, isShown);
            each->levelIs(8, isShown);
        }
    };
    auto const counters = [&] { return all[0]->testCounter + all[1]->testCounter; };
    auto const written = [&](auto const& value, ChipType chip) {
        Kor::U32 const start = counters();
        Row row{};
        value.writeToChipFormat(chip, row.data());
        return std::pair(row, counters() - start);
    };
    auto const check = [&](auto const& value) {
        for (ChipType const chip : support::supportedChips) {
            SCOPED_TRACE(std::string(Kor::valueToStrep(value).view()) + " on " + std::to_string(chip));
            auto const [row, points] = written(value, chip);
            enabledIs(true, false);
            EXPECT_EQ(written(value, chip), std::pair(row, 2 * points));
            Kor::U32 records = 0;
            Kor::traceSinkIs([&](Kor::TraceRecord const&) { ++records; });
            enabledIs(true, true);
            EXPECT_EQ(written(value, chip), std::pair(row, 2 * points));
            EXPECT_EQ(records, points);
            Kor::traceSinkIs({});
            enabledIs(false, false);
        }
    };
    for (LifType const type : writable) {
        check(AradLifEntry(type, random.next() & ~(Kor::U64{0x3ff} << 36), random.next()));
    }
    check(OutAcValue());
    check(EvecValue());
}

TEST(AradLifEntry, OutLifOf26BitsIsCutOnTheAradFamilyAndRefusedOnTheOther) {
    AradLifAcP2pToAc lif(lifAcP2pToAc);
    lif.outLifIs(65535);
    Row row = encoded(lif, jerichoChip5);
    EXPECT_EQ(view(row, jerichoChip5, lif).outLifLsb(), 65535u);
    lif.outLifIs(65536);
    row = encoded(lif, aradChip3);
    EXPECT_EQ(view(row, aradChip3, lif).outLif(), 0);
    if constexpr (Kor::contractChecks) {
        EXPECT_DEATH(encoded(lif, jerichoChip5), "writeToChipFormat: outLif 65536 is above 65535");
        EXPECT_DEATH(encoded(lif, jerichoChip6), "LifTable::writeRow: no such row on chip 6, variant 0");
        EXPECT_DEATH(encoded(AradLifEntry(), aradChip3), "variant: lifGeneral has no row format");
    }
}

TEST(AradLifEntry, ViewsCutTheirArgumentAndDerivedOnesCombine) {
    AradLifPweToP2p pwe(lifLabelPweP2p);
    pwe.terminationProfileIs(0xf5);
    EXPECT_EQ(pwe.terminationProfileMsb(), 1);
    EXPECT_EQ(pwe.terminationProfileLsb(), 1);
    EXPECT_EQ(pwe.terminationProfile(), 5);
    pwe.destinationIs(0xfff7ffff);
    EXPECT_EQ(pwe.destinationLo(), 127u);
    EXPECT_EQ(pwe.destinationHi(), 4095);
    EXPECT_EQ(pwe.destination(), 0x7ffffu);
    EXPECT_EQ(pwe.destinationValid(), 0);
    pwe.eeiOrOutLifIs(0x1ffff);
    EXPECT_EQ(pwe.outLifValue(), 0xffffu);
    EXPECT_EQ(pwe.outLifValidBit(), 1);
}

TEST(AradLifEntry, IsAKey) {
    AradLifEntry const entry(lifAcMp, 0x0123456789abcdef, 0xfedcba9876543210);
    EXPECT_EQ(entry.hash(),
              Kor::OneAtATime().add(Kor::U32{lifAcMp}).add(entry.dword0()).add(entry.dword1()).finish());
    EXPECT_EQ(AradLifEntry().hash(), 0u);

    EXPECT_EQ(AradLifEntry().lifType(), lifGeneral);
    EXPECT_NE(static_cast<AradLifEntry>(AradLifAcMp(lifAcMp)), AradLifEntry(AradLifPweToP2p(lifLabelPweP2p)));
}

} // namespace
