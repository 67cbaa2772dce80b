#include "support/Random.h"
#include "support/Tables.h"
#include "tables/TableInfos.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace {

using namespace Hardware;
using support::eachField;
using support::eachLayout;
using support::eachTable;
using support::where;

constexpr std::size_t bufferBytes = 40;
using Buffer = std::array<U8, bufferBytes>;
using Bits = std::array<U8, 32>;

template <class T>
Bits bytesOf(T const& value) {
    Bits bits{};
    std::memcpy(bits.data(), &value, sizeof value);
    return bits;
}

void cutTo(Bits& bits, U32 width) {
    for (U32 bit = width; bit < 256; ++bit) {
        bits[bit / 8] = static_cast<U8>(bits[bit / 8] & ~(1u << (bit % 8)));
    }
}

/// The buffer with a field written one bit at a time.
Buffer withField(Buffer buffer, U32 offset, U32 width, Bits const& value) {
    for (U32 i = 0; i < width; ++i) {
        U32 const at = offset + i;
        U32 const bit = (value[i / 8] >> (i % 8)) & 1;
        buffer[at / 8] = static_cast<U8>((buffer[at / 8] & ~(1u << (at % 8))) | bit << (at % 8));
    }
    return buffer;
}

TEST(AllRows, AFieldWritesOnlyItsOwnBitsAndReadsBack) {
    support::Random random;
    eachTable([&]<class Row>() {
        eachLayout<Row>([&](ChipType chip, U8 variant) {
            eachField<Row>([&]<class F>() {
                for (int round = 0; round < 6; ++round) {
                    Buffer buffer;
                    if (round < 2) {
                        buffer.fill(round ? 0xff : 0);
                    } else {
                        random.fill(buffer.data(), buffer.size());
                    }
                    U16 const len = static_cast<U16>(Row::tableWidth(chip, variant) * 4);
                    Row row(chip, buffer.data(), len, false, variant);
                    U16 const width = row.template fieldLen<F>();
                    ASSERT_EQ(row.template isFieldValid<F>(), width != 0);
                    ASSERT_EQ(row.fieldWidth(F::id), width);
                    if (width == 0) {
                        return;
                    }
                    U16 const offset = row.template fieldStart<F>();
                    ASSERT_EQ(row.fieldOffset(F::id), offset);

                    typename F::Type value;
                    random.fill(&value, sizeof value);
                    Bits bits = bytesOf(value);
                    cutTo(bits, width);
                    // At these widths excess bits are no breach: they are dropped.
                    if (!(F::isRaw || width == 8 || width == 16 || width == 32)) {
                        std::memcpy(&value, bits.data(), sizeof value);
                    }
                    Buffer const expected = withField(buffer, offset, width, bits);
                    row.template fieldIs<F>(value);
                    ASSERT_EQ(buffer, expected) << where(Row::tableName, F::name, chip, variant);
                    ASSERT_EQ(bytesOf(row.template field<F>()), bits)
                        << where(Row::tableName, F::name, chip, variant);
                    if constexpr (!F::isRaw) {
                        ASSERT_EQ(bytesOf(row.getField64(F::id)), bits);
                        U64 const other = random.next() & SiliconKit::detail::lowBits(width);
                        row.setField64(F::id, other);
                        ASSERT_EQ(buffer, withField(expected, offset, width, bytesOf(other)));
                    }
                }
            });
        });
    });
}

TEST(AllRows, TheMaskIsExactlyTheUnionOfTheFields) {
    eachTable([&]<class Row>() {
        eachLayout<Row>([&](ChipType chip, U8 variant) {
            Buffer buffer;
            buffer.fill(0xff);
            U16 const len = static_cast<U16>(Row::tableWidth(chip, variant) * 4);
            Row row(chip, buffer.data(), len, false, variant);
            Bits expected{};
            eachField<Row>([&]<class F>() {
                U32 const width = row.template fieldLen<F>();
                for (U32 i = 0; i < width; ++i) {
                    U32 const at = row.template fieldStart<F>() + i;
                    ASSERT_LT(at, len * 8u) << where(Row::tableName, F::name, chip, variant);
                    expected[at / 8] = static_cast<U8>(expected[at / 8] | 1u << (at % 8));
                }
            });
            ASSERT_EQ(bytesOf(row.getAllFields()), expected) << where(Row::tableName, "", chip, variant);
        });
    });
}

// Nor a variant that a known chip does not have; which there are stands in layouts.txt.
TEST(AllRows, WhatATableDoesNotKnowIsAnsweredByLengthAndAddressAlone) {
    eachTable([&]<class Row>() {
        for (U32 const chip : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 200u}) {
            for (U8 variant = 0; variant < 6; ++variant) {
                if (tableInfo(Row::tableName)->has(chip, variant)) {
                    continue;
                }
                U32 address = 77;
                U8 aux = 7, block = 8;
                EXPECT_FALSE(Row::getSchanAddress(chip, variant, address, aux, block, 0, 0, 0));
                EXPECT_EQ(address, 77u);
                EXPECT_EQ(aux, 7);
                EXPECT_EQ(block, 8);
                Buffer buffer{};
                Row row(static_cast<ChipType>(chip), buffer.data(), bufferBytes, false, variant);
                eachField<Row>([&]<class F>() {
                    EXPECT_EQ(row.template fieldLen<F>(), 0);
                    EXPECT_FALSE(row.template isFieldValid<F>());
                    EXPECT_EQ(row.fieldWidth(F::id), 0);
                });
            }
        }
    });
}

TEST(AllRows, AddressesOfATableNeverMeet) {
    eachTable([&]<class Row>() {
        eachLayout<Row>([&](ChipType chip, U8 variant) {
            U32 const entries = Row::entries(chip, variant);
            U32 const elements = Row::arrayElements(chip, variant);
            EXPECT_EQ(Row::index_min(chip, variant), 0u);
            EXPECT_EQ(Row::tableWidth(chip, variant), Row::width(chip, variant));
            U32 first, last;
            U8 aux, block;
            ASSERT_TRUE(Row::getSchanAddress(chip, variant, first, aux, block, 0, 0, 0));
            ASSERT_TRUE(Row::getSchanAddress(chip, variant, last, aux, block, 0, entries - 1,
                                             static_cast<U16>(elements - 1)));
            EXPECT_EQ(last - first, entries * elements - 1);
            EXPECT_EQ(aux, 0);
            Buffer buffer{};
            Row row(chip, buffer.data(), bufferBytes, false, variant);
            SiliconKit::BcmAsicBase const& base = row;
            EXPECT_EQ(base.entries(), entries);
            EXPECT_EQ(base.width(), Row::width(chip, variant));
            U32 same;
            ASSERT_TRUE(base.getSchanAddress(same, aux, block, 0, 0, 0));
            EXPECT_EQ(same, first);
        });
    });
}

/// Where checks are compiled in, each broken precondition names the operation, the chip and the variant.
TEST(AllRows, ABrokenContractStopsACheckedBuild) {
    if constexpr (!Kor::contractChecks) {
        GTEST_SKIP() << "contract checks are compiled out";
    }
    U8 buffer[16] = {};
    LifTable row(jerichoChip8, buffer, sizeof buffer, false, 1);
    EXPECT_DEATH(row.destinationIs(1),
                 "LifTable::destinationIs: there is no such field \\(chip 8, variant 1\\)");
    EXPECT_DEATH(row.learnInfoIs(0x20000), "LifTable::learnInfoIs: value 131072 is above 131071 \\(chip 8");
    EXPECT_DEATH(row.fieldWidth(41), "LifTable::fieldWidth: no field has id 41");
    EXPECT_DEATH(LifTable::entries(6, 0), "LifTable::entries: no such row on chip 6, variant 0");
    LifTable cut(aradChip3, buffer, 13, false, 0);
    cut.typeIs(3);
    EXPECT_DEATH(cut.getAllFields(), "LifTable::getAllFields: a buffer of 13 bytes is too short for 4 words");
    LifTable cutToo(jerichoChip8, buffer, 14, false, 1);
    EXPECT_DEATH(cutToo.doubleDataEntryIs(1), "14 bytes is too short for bits 116:116");
    U32 address;
    U8 aux, block;
    EXPECT_DEATH(LifTable::getSchanAddress(8, 0, address, aux, block, 0, 5, 2),
                 "LifTable::getSchanAddress: no row 5 of element 2, identifier 0 \\(chip 8, variant 0\\)");
    EXPECT_DEATH(row.sdkDefinedId(), "sdkDefinedId");
}

} // namespace
