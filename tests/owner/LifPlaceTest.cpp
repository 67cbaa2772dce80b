#include "owner/LifPlace.h"

#include "runtime/Exception.h"
#include "support/Refusal.h"
#include "tables/LifTable.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

namespace Hardware::LoamTunnel {

void PrintTo(LifPlace const& place, std::ostream* out) {
    *out << "bank " << U32{place.bank} << " offset " << place.offset << " array " << place.array << " entry "
         << place.entry << " address " << std::hex << "0x" << place.address << " block 0x" << U32{place.block}
         << std::dec << " aux " << U32{place.aux};
}

} // namespace Hardware::LoamTunnel

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

ChipType const chips[] = {aradChip3,    aradChip4,    jerichoChip5, jerichoChip7,
                          jerichoChip8, jerichoChip9, jerichoChip10};

/// Chips of one column of the data sheet, and where an index lies on them.
struct Case {
    std::vector<ChipType> chips;
    U32 index;
    AradLifBank startingBank;
    LifPlace place;
};

std::vector<Case> const cases{
    // chips                        index  starts in        bank offset array entry address   block
    {{aradChip3, aradChip4}, 0, lifBankManaged, {2, 0, 2, 0, 0x1078000, 0x34, 0}},
    {{aradChip3, aradChip4}, 16383, lifBankManaged, {2, 16383, 2, 16383, 0x107bfff, 0x34, 0}},
    {{aradChip3, aradChip4}, 16384, lifBankManaged, {3, 0, 3, 0, 0x107c000, 0x34, 0}},
    {{aradChip3, aradChip4}, 32767, lifBankManaged, {3, 16383, 3, 16383, 0x107ffff, 0x34, 0}},
    {{aradChip3, aradChip4}, 0, lifBankTunnelTermination, {1, 0, 1, 0, 0x1074000, 0x34, 0}},

    {{jerichoChip5, jerichoChip7}, 1, lifBankManaged, {5, 0, 5, 0, 0x2014000, 0x40, 0}},
    {{jerichoChip5, jerichoChip7}, 4097, lifBankManaged, {5, 2048, 5, 2048, 0x2014800, 0x40, 0}},
    {{jerichoChip5, jerichoChip7}, 32766, lifBankManaged, {4, 16383, 4, 16383, 0x2013fff, 0x40, 0}},
    {{jerichoChip5, jerichoChip7}, 32767, lifBankManaged, {5, 16383, 5, 16383, 0x2017fff, 0x40, 0}},
    {{jerichoChip5, jerichoChip7}, 32768, lifBankManaged, {6, 0, 6, 0, 0x2018000, 0x40, 0}},
    {{jerichoChip5, jerichoChip7}, 65535, lifBankManaged, {7, 16383, 7, 16383, 0x201ffff, 0x40, 0}},
    {{jerichoChip5, jerichoChip7}, 1, lifBankTunnelTermination, {3, 0, 3, 0, 0x200c000, 0x40, 0}},
    {{jerichoChip10}, 65535, lifBankManaged, {7, 16383, 7, 16383, 0x201ffff, 0x47, 0}},
    {{jerichoChip10}, 32767, lifBankTunnelTermination, {3, 16383, 3, 16383, 0x200ffff, 0x47, 0}},

    {{jerichoChip8, jerichoChip9}, 1, lifBankManaged, {5, 0, 0, 16384, 0x684000, 0x3a, 0}},
    {{jerichoChip8, jerichoChip9}, 2, lifBankManaged, {4, 1, 0, 1, 0x680001, 0x3a, 0}},
    {{jerichoChip8, jerichoChip9}, 4097, lifBankManaged, {5, 2048, 0, 18432, 0x684800, 0x3a, 0}},
    {{jerichoChip8, jerichoChip9}, 32768, lifBankManaged, {6, 0, 1, 0, 0x688000, 0x3a, 0}},
    {{jerichoChip8, jerichoChip9}, 65535, lifBankManaged, {7, 16383, 1, 32767, 0x68ffff, 0x3a, 0}},
};

TEST(LifPlace, IsWhereTheRuleSays) {
    for (Case const& each : cases) {
        for (ChipType const chip : each.chips) {
            EXPECT_EQ(LifPlaces(chip).at(AradLifIndex(each.index, each.startingBank)), each.place)
                << "chip " << chip << ", index " << each.index;
        }
    }
}

TEST(LifPlace, EachIndexHasARowOfItsOwn) {
    for (ChipType const chip : chips) {
        LifPlaces const places(chip);
        U32 const entries = LifTable::entries(chip, 0);
        U32 const arrays = LifTable::arrayElements(chip, 0);
        std::vector<U32> addresses;
        U32 expected = 0;
        for (AradLifBank const bank : {lifBankTunnelTermination, lifBankManaged}) {
            U32 const count = places.capacity(bank);
            expected += count;
            for (U32 i = 0; i < count; ++i) {
                LifPlace const place = places.at(AradLifIndex(i, bank));
                ASSERT_LT(place.array, arrays) << "chip " << chip << ", index " << i;
                ASSERT_LT(place.entry, entries) << "chip " << chip << ", index " << i;
                addresses.push_back(place.address);
            }
        }
        std::ranges::sort(addresses);
        EXPECT_EQ(std::ranges::adjacent_find(addresses), addresses.end()) << "chip " << chip;
        EXPECT_EQ(addresses.size(), expected) << "chip " << chip;
    }
}

TEST(LifPlace, WhatHasNoPlaceIsRefusedInWords) {
    struct {
        ChipType chip;
        AradLifIndex index;
        char const* message;
    } const refused[] = {
        {aradChip3, AradLifIndex(32768, lifBankManaged),
         "LIF index 32768 is too large; lifBankManaged on chip 3 has 32768 places, at most 32767"},
        {jerichoChip8, AradLifIndex(65536, lifBankManaged),
         "LIF index 65536 is too large; lifBankManaged on chip 8 has 65536 places, at most 65535"},
        {jerichoChip10, AradLifIndex(131072, lifBankManaged),
         "LIF index 131072 is too large; lifBankManaged on chip 10 has 65536 places, at most 65535"},
        {aradChip4, AradLifIndex(16384, lifBankTunnelTermination),
         "LIF index 16384 is too large; lifBankTunnelTermination on chip 4 has 16384 places, at most 16383"},
        {jerichoChip9, AradLifIndex(0, lifBankTunnelTermination),
         "no LIF can start in lifBankTunnelTermination on chip 9; right would be lifBankManaged"},
        {jerichoChip5, AradLifIndex(5),
         "no LIF can start in lifBankMax on chip 5; right would be lifBankManaged"},
        {jerichoChip7, AradLifIndex(), "the LIF index is null, and has no place"},
    };
    for (auto const& each : refused) {
        EXPECT_EQ(support::refusal([&] { (void)LifPlaces(each.chip).at(each.index); }), each.message);
    }
    for (U32 const chip : {0u, 1u, 2u, 6u, 11u, 64u, 0xffffffffu}) {
        EXPECT_EQ(support::refusal([&] { LifPlaces(static_cast<ChipType>(chip)); }),
                  "no LIF table on chip " + std::to_string(chip) +
                      "; there are chips 3, 4, 5, 7, 8, 9 and 10");
    }
}

} // namespace
