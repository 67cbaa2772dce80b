#include "tables/LoamTunnelMetaInfo.h"

#include <algorithm>
#include <bit>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using namespace Hardware;

struct Address {
    U32 address;
    U8 block;

    bool operator==(Address const&) const = default;
};

template <class Row>
Address addressOf(U32 chip, U8 variant, U16 identifier, U32 entry, U16 element) {
    Address at{};
    U8 aux = 9;
    EXPECT_TRUE(Row::getSchanAddress(chip, variant, at.address, aux, at.block, identifier, entry, element));
    EXPECT_EQ(aux, 0);
    return at;
}

TEST(Addresses, OfKnownRows) {
    EXPECT_EQ(addressOf<LifTable>(8, 2, 0, 5, 1), (Address{0x688005, 0x3a}));
    EXPECT_EQ(addressOf<LifTable>(10, 4, 0, 0, 0), (Address{0x2000000, 0x47}));
    EXPECT_EQ(addressOf<OutAcBank>(5, 0, 0, 7, 3), (Address{0x103007, 0x34}));
    EXPECT_EQ(addressOf<OutAcBank>(5, 1, 0, 7, 3), (Address{0x101807, 0x34}));
    EXPECT_EQ(addressOf<EvecTable>(10, 99, 1, 511, 0), (Address{0x1c01ff, 0x35}));
    EXPECT_EQ(addressOf<IngressVECTable>(10, 0, 0, 0, 0), (Address{0x430000, 0x3e}));
    EXPECT_EQ(addressOf<EpniIvecTable>(3, 0, 0, 63, 0), (Address{0x2d003f, 3}));
    EXPECT_EQ(addressOf<EgqIvecTable>(3, 0, 0, 63, 0), (Address{0x60003f, 2}));
    EXPECT_EQ(addressOf<TcamActionTable>(5, 0, 0, 2047, 23), (Address{0x1a10bfff, 0x3f}));
    EXPECT_EQ(addressOf<EpniIsidTable>(7, 3, 1, 0, 0), (Address{0x150000, 0x31}));
    EXPECT_EQ(addressOf<IsemMgmtReq>(5, 0, 1, 0, 0), (Address{0x1000000, 0x3d}));
    EXPECT_EQ(addressOf<EsemMgmtReq>(10, 0, 0, 0, 0), (Address{0x7a0000, 0x38}));
    EXPECT_EQ(addressOf<EsemMgmtReq>(10, 1, 0, 0, 0), (Address{0x7c0000, 0x38}));
}

TEST(Addresses, OfUnknownVariantsAreRefused) {
    auto refused = []<class Row>(U32 chip, U8 variant) {
        U32 address = 1;
        U8 aux = 1, block = 1;
        return !Row::getSchanAddress(chip, variant, address, aux, block, 0, 0, 0) && address == 1;
    };
    EXPECT_TRUE(refused.operator()<LifTable>(8, 5));
    EXPECT_TRUE(refused.operator()<OutAcBank>(8, 3));
    EXPECT_TRUE(refused.operator()<IsemMgmtReq>(8, 1));
    EXPECT_TRUE(refused.operator()<EsemMgmtReq>(9, 1));
    EXPECT_TRUE(refused.operator()<EsemMgmtReq>(10, 2));
    EXPECT_TRUE(refused.operator()<TcamBankTable>(5, 1));
    EXPECT_TRUE(refused.operator()<TcamActionTable>(5, 1));
}

/// How many bits the mask of a row has.
template <class Row>
int maskBits(ChipType chip, U8 variant) {
    U8 buffer[32];
    std::fill(std::begin(buffer), std::end(buffer), U8{0xff});
    auto const whole = Row(chip, buffer, sizeof buffer, false, variant).getAllFields();
    U8 bytes[sizeof whole];
    std::memcpy(bytes, &whole, sizeof whole);
    return std::accumulate(std::begin(bytes), std::end(bytes), 0,
                           [](int sum, U8 b) { return sum + std::popcount(b); });
}

TEST(Masks, HaveTheirNumberOfBits) {
    for (auto const chip :
         {aradChip3, aradChip4, jerichoChip5, jerichoChip7, jerichoChip8, jerichoChip9, jerichoChip10}) {
        bool const arad = chip <= aradChip4;
        bool const late = chip >= jerichoChip8;
        bool const odd = chip == jerichoChip8 || chip == jerichoChip9;
        EXPECT_EQ(maskBits<OutAcBank>(chip, 0), arad ? 81 : 88) << chip;
        EXPECT_EQ(maskBits<OutAcBank>(chip, 1), arad ? 78 : 88) << chip;
        EXPECT_EQ(maskBits<OutAcBank>(chip, 2), arad ? 78 : 88) << chip;
        EXPECT_EQ(maskBits<EvecTable>(chip, 7), late ? 40 : 33) << chip;
        EXPECT_EQ(maskBits<IngressVECTable>(chip, 0), 7) << chip;
        EXPECT_EQ(maskBits<EpniIvecTable>(chip, 0), 21) << chip;
        EXPECT_EQ(maskBits<EgqIvecTable>(chip, 0), 21) << chip;
        EXPECT_EQ(maskBits<IsemMgmtReq>(chip, 0), arad ? 72 : odd ? 82 : 83) << chip;
        EXPECT_EQ(maskBits<EsemMgmtReq>(chip, 0), arad ? 68 : 73) << chip;
        EXPECT_EQ(maskBits<TcamBankTable>(chip, 0), arad ? 178 : 180) << chip;
        EXPECT_EQ(maskBits<TcamActionTable>(chip, 0), arad ? 21 : 24) << chip;
        EXPECT_EQ(maskBits<EpniIsidTable>(chip, 0), 25) << chip;
    }
    EXPECT_EQ(maskBits<EsemMgmtReq>(jerichoChip10, 1), 73);
}

TEST(LifTable, AFieldAcrossAWordLeavesItsNeighboursAlone) {
    U32 words[4] = {};
    LifTable row(jerichoChip8, reinterpret_cast<U8*>(words), sizeof words, false, 3);
    row.destinationIs(0x5a5a5);
    EXPECT_EQ(words[1], 0x4a000000u);
    EXPECT_EQ(words[2], 0xb4bu);
    row.typeIs(3);
    EXPECT_EQ(words[3], 3u);
    LifTable arad(aradChip3, reinterpret_cast<U8*>(words), sizeof words, false, 0);
    words[3] = 0;
    arad.typeIs(3);
    EXPECT_EQ(words[3], 6u);
}

TEST(LifTable, WidthsFollowTheChipAndSoDoesTheCut) {
    U8 buffer[16] = {};
    LifTable arad(aradChip3, buffer, sizeof buffer, false, 1);
    arad.learnInfoIs(0x12345);
    EXPECT_EQ(arad.learnInfo(), 0x2345u);
    LifTable jericho(jerichoChip5, buffer, sizeof buffer, false, 1);
    jericho.learnInfoIs(0x12345);
    EXPECT_EQ(jericho.learnInfo(), 0x12345u);
    EXPECT_EQ(jericho.destinationLen(), 0);
    EXPECT_FALSE(jericho.isDestinationValid());
    EXPECT_EQ(LifTable(jerichoChip5, buffer, sizeof buffer, false, 0).destinationLen(), 19);

    auto lsp = [&](ChipType chip) { return LifTable(chip, buffer, sizeof buffer, false, 4); };
    EXPECT_EQ(lsp(aradChip3).expectBosOffset(), 54);
    EXPECT_EQ(lsp(jerichoChip9).expectBosOffset(), 51);
    EXPECT_FALSE(lsp(jerichoChip10).isExpectBosValid());
    EXPECT_EQ(lsp(aradChip3).daNotFoundProfileOffset(), 19);
    EXPECT_EQ(lsp(jerichoChip8).daNotFoundProfileOffset(), 55);
}

TEST(SharedBits, TheLastWritePrevails) {
    U8 buffer[24] = {};
    LifTable lif(aradChip3, buffer, sizeof buffer, false, 4);
    lif.vsiIs(0x7fff);
    lif.daNotFoundProfileIs(0);
    EXPECT_EQ(lif.vsi(), 0x7ffc);

    EsemMgmtReq esem(jerichoChip10, buffer, sizeof buffer, false, 1);
    esem.esemKeyIs(0xabcdef0123);
    EXPECT_EQ(esem.esem1Key(), 0xabcdef0123u);
    EXPECT_FALSE(esem.isEsem0KeyValid());
    EXPECT_FALSE(esem.isEsemStampValid());
}

TEST(Blocks, OfMoreThan64BitsReachTheRowUpToTheirWidth) {
    U32 words[6] = {};
    auto* const buffer = reinterpret_cast<U8*>(words);
    Raw128 const ones{{~0u, ~0u, ~0u, ~0u}};
    OutAcBank bank(aradChip3, buffer, 10, false, 0);
    bank.eedbBankDataIs(ones);
    EXPECT_EQ(words[2], 0x3fffu);
    EXPECT_EQ(bank.eedbBankData(), (Raw128{{~0u, ~0u, 0x3fff, 0}}));
    EXPECT_EQ(bank.fieldWidth(42), 78);

    Raw256 all;
    std::fill(std::begin(all.word), std::end(all.word), ~0u);
    std::fill(std::begin(words), std::end(words), 0u);
    TcamBankTable tcam(jerichoChip8, buffer, 24, false, 0);
    tcam.tcamCpuCmdDiIs(all);
    EXPECT_EQ(words[0], 0xfffffff0u);
    EXPECT_EQ(words[5], 0xffu);
    EXPECT_EQ(tcam.fieldOffset(151), 4);
    EXPECT_EQ(tcam.getAllFields().word[5], 0xffu);
}

TEST(ById, AValueIsCutToTheTypeOfTheFieldFirst) {
    U8 buffer[4] = {};
    EpniIsidTable row(aradChip3, buffer, sizeof buffer, false, 0);
    row.setField64(144, 0x101);
    EXPECT_EQ(row.parity(), 1);
    row.setField64(144, 0x100);
    EXPECT_EQ(row.parity(), 0);
    OutAcBank bank(jerichoChip8, buffer, sizeof buffer, false, 0);
    EXPECT_EQ(bank.fieldWidth(144), 0);
    EXPECT_EQ(OutAcBank(aradChip4, buffer, sizeof buffer, false, 0).fieldWidth(144), 3);
}

} // namespace
