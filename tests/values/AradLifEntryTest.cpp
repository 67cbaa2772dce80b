#include "../bench/HandWrittenLif.h"
#include "support/Values.h"
#include "tables/LifTable.h"
#include "values/LoamTunnelTypes.h"

#include <array>
#include <gtest/gtest.h>

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

/// The encoder has a way without a dispatch a field when trace is quiet; it must not be told from the other.
TEST(AradLifEntry, IsWrittenAndCountedAlikeWithTraceOnAndOff) {
    support::Random random;
    Kor::TraceFacility& rows = Kor::traceFacility("LoamTunnelMetaInfo");
    for (LifType const type : writable) {
        for (ChipType const chip : support::supportedChips) {
            AradLifEntry const entry(type, random.next() & ~(Kor::U64{0x3ff} << 36), random.next());
            Kor::U32 start = rows.testCounter;
            Row const quiet = encoded(entry, chip);
            Kor::U32 const off = rows.testCounter - start;
            rows.enabledIs(true);
            start = rows.testCounter;
            Row const enabled = encoded(entry, chip);
            Kor::U32 const counted = rows.testCounter - start;
            rows.levelIs(8, true);
            Kor::U32 records = 0;
            Kor::traceSinkIs([&](Kor::TraceRecord const&) { ++records; });
            start = rows.testCounter;
            Row const traced = encoded(entry, chip);
            Kor::U32 const on = rows.testCounter - start;
            Kor::traceSinkIs({});
            rows.levelIs(8, false);
            rows.enabledIs(false);
            EXPECT_EQ(enabled, quiet);
            EXPECT_EQ(traced, quiet);
            EXPECT_EQ(records, off) << type << " on " << chip;
            EXPECT_EQ(counted, 2 * off);
            EXPECT_EQ(on, 2 * off);
        }
    }
}

TEST(AradLifEntry, SharedRowBitsGoToTheFieldWrittenLast) {
    AradLifLabelProtocolOrLsp label(lifLabelProtocolOrLsp);
    label.vsiIs(0x7fff);
    label.expectBosIs(1);
    Row arad = encoded(label, aradChip3);
    EXPECT_EQ(view(arad, aradChip3, label).vsi(), 0x7ffc); // daNotFoundProfile is 0
    EXPECT_EQ(view(arad, aradChip3, label).expectBos(), 1);
    Row jericho = encoded(label, jerichoChip8);
    EXPECT_EQ(view(jericho, jerichoChip8, label).vsi(), 0x7fff);
    EXPECT_EQ(view(jericho, jerichoChip8, label).expectBos(), 0); // forwardingCode is 0
}

TEST(AradLifEntry, ADestinationIsConvertedForTheAradFamilyButNotToAPseudowire) {
    constexpr Kor::U32 destination = 0x10005;
    constexpr Kor::U32 onArad = 0x5 << 3 | 6;
    AradLifPweToP2p pwe(lifLabelPweP2p);
    pwe.destinationIs(destination);
    AradLifAcP2pToPwe ac(lifAcP2pToPwe);
    ac.destinationIs(destination);
    Row row = encoded(pwe, aradChip4);
    EXPECT_EQ(view(row, aradChip4, pwe).destination(), onArad);
    row = encoded(pwe, jerichoChip7);
    EXPECT_EQ(view(row, jerichoChip7, pwe).destination(), destination);
    row = encoded(ac, aradChip4);
    EXPECT_EQ(view(row, aradChip4, ac).destination(), destination);
}

TEST(AradLifEntry, TheStoredTypeBitsAreComparedButNeverWritten) {
    AradLifAcMp one(lifAcMp);
    AradLifAcMp other(lifAcMp);
    other.typeIs(2);
    EXPECT_NE(one, other);
    EXPECT_EQ(encoded(one, aradChip3), encoded(other, aradChip3));
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
    AradLifAcMp mp(lifAcMp, ~Kor::U64{0}, ~Kor::U64{0});
    mp.vlanEditVid1Is(0xf005);
    EXPECT_EQ(mp.vlanEditVid1(), 5);
    EXPECT_EQ(mp.dword0(), 0xf005ffffffffffffu);
    EXPECT_EQ(mp.dword1(), ~Kor::U64{0});

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
    // The hash by hand: 20 bytes, one running state.
    auto byHand = [](AradLifEntry const& entry) {
        Kor::U32 h = 0;
        auto fold = [&](Kor::U64 value, int bytes) {
            for (int i = 0; i < bytes; ++i) {
                h += (value >> (8 * i)) & 0xff;
                h += h << 10;
                h ^= h >> 6;
            }
        };
        fold(entry.lifType(), 4);
        fold(entry.dword0(), 8);
        fold(entry.dword1(), 8);
        h += h << 3;
        h ^= h >> 11;
        return h + (h << 15);
    };
    AradLifEntry const entry(lifAcMp, 0x0123456789abcdef, 0xfedcba9876543210);
    EXPECT_EQ(entry.hash(), byHand(entry));
    EXPECT_EQ(AradLifEntry().hash(), 0u);

    EXPECT_EQ(AradLifEntry().lifType(), lifGeneral);
    EXPECT_LT(AradLifEntry(), entry);
    EXPECT_LT(AradLifEntry(lifAcP2pToAc, 9, 9), AradLifEntry(lifAcMp));
    EXPECT_LT(AradLifEntry(lifAcMp, 1, 9), AradLifEntry(lifAcMp, ~Kor::U64{0}, 0));
    EXPECT_LE(AradLifEntry(lifAcMp, 1, 2), AradLifEntry(lifAcMp, 1, 2));
    EXPECT_GT(AradLifEntry(lifAcMp, 1, 3), AradLifEntry(lifAcMp, 1, 2));
    EXPECT_NE(static_cast<AradLifEntry>(AradLifAcMp(lifAcMp)), AradLifEntry(AradLifPweToP2p(lifLabelPweP2p)));
}

} // namespace
