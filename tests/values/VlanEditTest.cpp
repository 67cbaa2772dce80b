#include "../bench/HandWrittenPairs.h"
#include "support/Refusal.h"
#include "support/Values.h"
#include "tables/LoamTunnelMetaInfo.h"
#include "values/LoamTunnelTypes.h"

#include <array>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Sideband::Fapmask;
using support::refusal;

TEST(Encoders, WritePairsAsByHandOnEveryChipAndLeaveOtherBits) {
    support::Random random;
    for (int round = 0; round < 4000; ++round) {
        OutAcValue acs(static_cast<U32>(random.next()), static_cast<U32>(random.next()),
                       static_cast<U32>(random.next()));
        EvecValue const evecs(random.next() & EvecValue::limit);
        for (ChipType const chip : support::supportedChips) {
            OutAcValue fitting = acs;
            fitting.ac0EntryFormatIs(acs.ac0EntryFormat() & (chip == aradChip3 ? 7 : 3));
            fitting.ac1EntryFormatIs(acs.ac1EntryFormat() & (chip == aradChip4 ? 3 : 7));
            std::array<U8, 16> noise;
            random.fill(noise.data(), noise.size());
            auto row = noise;
            auto expected = noise;
            fitting.writeToChipFormat(chip, row.data());
            HandWritten::encode(fitting, chip, expected.data());
            ASSERT_EQ(row, expected) << "out-ACs on " << chip;
            row = expected = noise;
            evecs.writeToChipFormat(chip, row.data());
            HandWritten::encode(evecs, chip, expected.data());
            ASSERT_EQ(row, expected) << "commands on " << chip;
        }
    }
}

TEST(Encoders, TheLinesOfTheEgressEncoderComeInOrder) {
    Kor::TraceFacility& types = Kor::traceFacility("LoamTunnelTypes");
    std::string lines;
    Kor::traceSinkIs([&](Kor::TraceRecord const& r) {
        EXPECT_EQ(r.function, "writeToChipFormat");
        EXPECT_EQ(r.level, 8);
        for (char const c : r.text) { // small numbers come as the bytes that they are
            lines += c < ' ' ? "\\" + std::to_string(c) : std::string(1, c);
        }
        lines += '\n';
    });
    types.enabledIs(true);
    types.levelIs(8, true);
    EvecFormat command;
    command.nTagsToRemoveIs(2);
    command.innerPcpDeiSrcIs(evePcpDeiSrcMap);
    command.outerVidSrcIs(6);
    command.innerTpidIdxIs(7);
    EvecValue value;
    value.evecFormatIs(true, command);
    for (bool const late : {false, true}) {
        U8 buffer[8] = {};
        lines.clear();
        value.writeToChipFormat(late ? jerichoChip8 : jerichoChip5, buffer);
        std::string const membership = late ? "membershipcheck:\\1\n" : "";
        EXPECT_EQ(lines, std::string("writeToChipFormat: chipType: ") +
                             (late ? "jerichoChip8" : "jerichoChip5") +
                             "\nwriteToChipFormat: data : " + std::to_string(value.word0()) +
                             "\nwriteToChipFormat: evec0 : " + std::to_string(command.value()) +
                             "\ntag:\\2\ninnerpcp:\\3\nouterpcp:\\0\ninnervid:\\0\noutervid:\\6\ninnertpid:"
                             "\\7\ninnertpid trunc:" +
                             (late ? "7" : "3") + "\noutertpid:\\0\noutertpid trunc:0\n" + membership +
                             "writeToChipFormat: evec1 : "
                             "262144\ntag:\\0\ninnerpcp:\\0\nouterpcp:\\0\ninnervid:\\0\noutervid:"
                             "\\0\ninnertpid:\\0\ninnertpid trunc:0"
                             "\noutertpid:\\0\noutertpid trunc:0\n" +
                             membership);
    }
    types.enabledIs(false);
    types.levelIs(8, false);
    Kor::traceSinkIs({});
}

TEST(OutAc, HalvesAreReadAndWrittenApart) {
    OutAcFormat ac(0x1fffffffff | U64{5} << 37);
    EXPECT_EQ(ac.unused(), 5u);
    OutAcValue pair(1, 2, 3);
    OutAcFormat const other = pair.acFormat(false);
    pair.acFormatIs(true, ac);
    EXPECT_EQ(pair.acFormat(true), OutAcFormat(0x1fffffffff));
    EXPECT_NE(pair.acFormat(true), ac);
    EXPECT_NE(OutAcFormat(0x1fffffffff).hash(), ac.hash());
    EXPECT_EQ(pair.acFormat(false), other);

    OutAcValue second(0x12345678, 0x15, 0xfffffc00);
    second.acFormatIs(false, ac);
    EXPECT_EQ(second, OutAcValue(0x12345678, 0xfffffff5, 0xffffffff));
    EXPECT_EQ(second.ac1EntryFormat(), 7);
    EXPECT_FALSE(second.valid());
    EXPECT_TRUE(OutAcValue().valid());
    if constexpr (Kor::contractChecks) {
        U8 buffer[12] = {};
        EXPECT_DEATH(pair.writeToChipFormat(aradChip4, buffer),
                     "ac0EntryFormatIs: value 7 is above 3 \\(chip 4");
    }
}

TEST(OutAc, TheFormatOfARowFollowsItsBits) {
    for (U32 kind = 0; kind < 16; ++kind) {
        EedbFormat const expected = kind >= 8   ? mpls
                                    : kind >= 6 ? data
                                    : kind >= 4 ? arp
                                    : kind      ? invalid
                                                : ac;
        EXPECT_EQ(EedbValue(0, 0, kind << 10).format(), expected) << kind;
    }
    EXPECT_EQ(EedbValue(0, 4, 0).format(), invalid);
    EXPECT_EQ(EedbValue(0, 0, 1u << 9).format(), invalid);
    EXPECT_EQ(EedbValue(0, 0, 1u << 8).format(), ac);
    EXPECT_EQ(OutAcValue().format(), ac);
    EXPECT_EQ(EedbAcConstants::acBaseIndex(Loam::fapTypeArad), EedbAcConstants::aradAcStartIndex);
    EXPECT_EQ(EedbAcConstants::acBaseIndex(Loam::fapTypeJericho), 8192u);
    EXPECT_EQ(EedbAcConstants(), EedbAcConstants());
}

/// Of the chip 0 alone, by hand.
Kor::OneAtATime maskOfOne() {
    return Kor::OneAtATime().add(1u).add(0u).add(0u).add(0u);
}

TEST(OutAc, KeysOrderByChipsFirstAndHashTheHashOfTheFormat) {
    OutAcKey const low(Fapmask::of({0}), OutAcFormat(9));
    OutAcKey const high(Fapmask::of({1}), OutAcFormat(1));
    EXPECT_LT(low, high);
    EXPECT_EQ(low.hash(), maskOfOne().add(OutAcFormat(9).hash()).finish());
}

TEST(Evec, ACommandMadeFromANumberHasItsMembershipCheck) {
    EXPECT_EQ(EvecFormat().value(), 0x40000u);
    EXPECT_EQ(EvecFormat(5).value(), 0x40005u);
    EXPECT_EQ(EvecFormat(5).membershipCheckType(), 1);
    constexpr char words[] = "EvecFormat::value < 0 or > 0x7ffff not allowed";
    EXPECT_EQ(refusal([] { EvecFormat(0x80000); }), words);
    EvecFormat command;
    command.valueIs(5);
    EXPECT_EQ(command.membershipCheckType(), 0);
    EXPECT_EQ(refusal([&] { command.valueIs(0x80000); }), words);
    EXPECT_EQ(refusal([&] { command.nTagsToRemoveIs(1); }), words);
    command.valueIs(0);
    command.innerVlanIdSrcIs(static_cast<EveVlanIdSource>(0xfffffffe));
    EXPECT_EQ(command.value(), 6u << 6);
    EXPECT_EQ(command.innerVlanIdSrc(), static_cast<EveVlanIdSource>(6));
    EXPECT_EQ(command.outerVlanIdSrc(), eveVidSrcEmpty);
}

TEST(Evec, APairDoesNotSeeTheMembershipBits) {
    EvecValue pair;
    EXPECT_EQ(pair.evecFormat(true).value(), 0x40000u);
    EvecFormat command(0x12345);
    command.membershipCheckTypeIs(0);
    pair.evecFormatIs(true, command);
    EXPECT_EQ(pair.evec0(), 0x12345u);
    EXPECT_EQ(pair.evecFormat(true).value(), 0x52345u);
    pair.evecFormatIs(false, EvecFormat(0x7ffff));
    EXPECT_EQ(pair.word0(), U64{0x7ffff} << 19 | 0x12345);

    constexpr char words[] = "EvecValue::word0 < 0 or > 0x3fffffffffL not allowed";
    EXPECT_EQ(refusal([] { EvecValue(U64{1} << 38); }), words);
    EXPECT_EQ(refusal([&] { pair.word0Is(U64{1} << 38 | 7); }), words);
    EXPECT_EQ(pair.evec0(), 7u);
}

TEST(Evec, ASlotIsNullWithoutChipOrIndex) {
    EXPECT_TRUE(!EvecKey());
    EXPECT_TRUE(!EvecKey(Fapmask::of({0})));
    EXPECT_TRUE(!EvecKey(Fapmask(), Loam::EvecIndex(3)));
    EvecKey const slot(Fapmask::of({0}), Loam::EvecIndex(3));
    EXPECT_FALSE(!slot);
    EXPECT_FALSE(!EvecEntry(slot));
    EXPECT_TRUE(!EvecEntry());
    EXPECT_EQ(slot.hash(), maskOfOne().add(U16{3}).finish());
}

TEST(Ivec, CommandsHaveTheLayoutOfTheirRows) {
    AradIvecFormat command(0x1fffff);
    U8 buffer[4];
    U32 const word = command.word();
    std::memcpy(buffer, &word, sizeof buffer);
    for (ChipType const chip : support::supportedChips) {
        EpniIvecTable row(chip, buffer, 4, false, 0);
        EXPECT_EQ(row.getAllFields(), word);
        EXPECT_EQ(row.tpidProfile(), command.tpidProfile());
        EXPECT_EQ(row.outerTpidIndex(), command.outerTpidIndex());
        EXPECT_EQ(row.innerPcpDeiSrc(), command.innerPcpDeiSrc());
        EXPECT_EQ(row.tagsToRemove(), command.tagsToRemove());
    }
    EXPECT_NE(command, AradIvecFormat(0x3fffff));
    command.outerVidSrcIs(iveVidSrcOuterTag);
    command.tagsToRemoveIs(AradIvecFormat::removeOneTag);
    EXPECT_EQ(command.word(), 0x1fffffu & ~(3u << 5) & ~(2u << 19));
    EXPECT_EQ(refusal([] { IveVlanIdSourceInstance(1); }), "IveVlanIdSource");
    EXPECT_EQ(refusal([] { IveVlanPcpDeiSourceInstance(1); }), "IveVlanPcpDeiSource");
    EXPECT_EQ(refusal([] { IveVlanPcpDeiSourceInstance(5); }), "accepted");
    EXPECT_EQ(refusal([] { AradIvecFormat::TagsToRemoveOptionInstance(3); }),
              "AradIvecFormat::TagsToRemoveOption");
    EXPECT_EQ(refusal([] { AradIvecFormat::TagsToRemoveOptionInstance("x"); }), "TagsToRemoveOption");
    std::ostringstream text;
    text << AradIvecFormat::removeTwoTags << ' ' << static_cast<AradIvecFormat::TagsToRemoveOption>(9);
    EXPECT_EQ(text.str(), "removeTwoTags AradIvecFormat::TagsToRemoveOption(9)");
}

TEST(Ivec, SlotsThatDifferInLaterWordsAreUnequalAndHashAlike) {
    AradIvecKey const slot(Fapmask::of({2}), Loam::AradIvecIndex(5, 1, 2));
    AradIvecKey const other(Fapmask::of({2}), Loam::AradIvecIndex(5, 1, 3));
    EXPECT_NE(slot, other);
    EXPECT_LT(slot, other);
    EXPECT_EQ(slot.hash(), other.hash());
    EXPECT_EQ(slot.hash(), AradIvecKey(Fapmask::of({2}), Loam::AradIvecIndex(0x105)).hash());
    EXPECT_NE(slot.hash(), AradIvecKey(Fapmask::of({2}), Loam::AradIvecIndex(6)).hash());
    EXPECT_FALSE(!slot);
    EXPECT_TRUE(!AradIvecKey(Fapmask::of({2})));
    EXPECT_TRUE(!AradIvecKey(Fapmask(), Loam::AradIvecIndex(5)));
    EXPECT_TRUE(!AradIvecKey(Fapmask::of({2}), Loam::AradIvecIndex(64, 7, 0)));
}

TEST(Ivect, EveryViewGoesThroughTheIndex) {
    constexpr char words[] =
        "AradIhpIvectIndex::index < AradIhpIvectIndex::min or > AradIhpIvectIndex::null not allowed";
    AradIhpIvectIndex index;
    EXPECT_EQ(index.index(), 256);
    EXPECT_FALSE(index.valid());
    EXPECT_EQ(refusal([&] { index.iveProfileIs(Loam::iveProfile5); }), words);
    index.setProfileAndFormat(Loam::iveProfile5, Loam::vlanTagS);
    EXPECT_EQ(index.index(), 29);
    EXPECT_TRUE(index.valid());
    EXPECT_EQ(index.iveProfile(), Loam::iveProfile5);
    EXPECT_EQ(index.vlanTagFormat(), Loam::vlanTagS);
    index.setProfileAndFormat(static_cast<Loam::IveProfile>(0xff), static_cast<Loam::VlanTagFormat>(0xff));
    EXPECT_EQ(index.index(), 127);
    index.hashIs(7);
    EXPECT_EQ(index.index(), 7);
    EXPECT_EQ(index.hash(), 7);
    EXPECT_EQ(refusal([&] { index.hashIs(257); }), words);
    EXPECT_EQ(refusal([] { AradIhpIvectIndex(257); }), words);
}

} // namespace
