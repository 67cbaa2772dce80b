#include "tables/LoamTunnelMetaInfo.h"

#include <gtest/gtest.h>

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

// Where each table begins stands in layouts.txt.
TEST(Addresses, OfKnownRows) {
    EXPECT_EQ(addressOf<LifTable>(8, 2, 0, 5, 1), (Address{0x688005, 0x3a}));
    EXPECT_EQ(addressOf<OutAcBank>(5, 0, 0, 7, 3), (Address{0x103007, 0x34}));
    EXPECT_EQ(addressOf<EvecTable>(10, 99, 1, 511, 0), (Address{0x1c01ff, 0x35}));
    EXPECT_EQ(addressOf<TcamActionTable>(5, 0, 0, 2047, 23), (Address{0x1a10bfff, 0x3f}));
    EXPECT_EQ(addressOf<EsemMgmtReq>(10, 1, 0, 0, 0), (Address{0x7c0000, 0x38}));
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
